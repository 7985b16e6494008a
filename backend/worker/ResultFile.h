#pragma once

#include <tl/expected.hpp>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

namespace VX::Backend
{

/// Makes the file, or empties it, and writes all of it. The text is for the person whose file was converted, and tells
/// a result that is larger than a process may write, which is the file's fault, from a disk without room, which is not.
[[nodiscard]] tl::expected<void, std::string> writeResult(
    const std::filesystem::path& file, std::span<const std::byte> bytes );

} // namespace VX::Backend
