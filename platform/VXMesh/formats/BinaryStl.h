#pragma once

#include <VXMesh/formats/FileFormat.h>

#include <optional>

namespace VX
{

/// Reads a binary STL file, corners at the same place joined. Blocks; uses all cores.
///
/// Nothing when the file is text, or has colours in the bits that some programs keep them in: other readers know those.
[[nodiscard]] VXMESH_API std::optional<tl::expected<LoadedObjects, std::string>> loadBinaryStl(
    const std::filesystem::path& file, const ProgressCallback& progress );

} // namespace VX
