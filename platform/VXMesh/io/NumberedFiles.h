#pragma once

#include <VXMesh/Export.h>

#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace VX
{

/// Whether a name comes before another when the numbers in them count as numbers: "a2" before "a10".
[[nodiscard]] VXMESH_API bool comesBefore( std::string_view a, std::string_view b );

/// The regular files in a folder that are wanted, by the numbers in their names; hidden ones are left out. Empty when
/// the folder cannot be read.
[[nodiscard]] VXMESH_API std::vector<std::filesystem::path> filesByNumber(
    const std::filesystem::path& folder, const std::function<bool( const std::filesystem::path& )>& isWanted );

} // namespace VX
