#pragma once

#include <VXMesh/io/Progress.h>

#include <tl/expected.hpp>

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace VX::App
{

[[nodiscard]] std::array<unsigned char, 32> sha256( std::string_view bytes );

/// The SHA-256 digest of a file in hexadecimal; reads it whole, with constant memory. The error names the file
/// ("Operation was canceled" when `progress` asked to stop). Any thread.
[[nodiscard]] tl::expected<std::string, std::string> fileDigest(
    const std::filesystem::path& file, const ProgressCallback& progress = {} );

} // namespace VX::App
