#pragma once

#include <VXViewer/Export.h>

#include <tl/expected.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace VX
{

/// A picture of 8-bit pixels, rows from top to bottom: RGB, or RGBA with colours that alpha is not multiplied into.
struct Image
{
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
    int channels = 3;
};

/// Reads a framebuffer; UI thread, with the context. With `transparent` its colours are taken for blended over black
/// and the picture has alpha.
[[nodiscard]] VXVIEWER_API Image readFramebuffer(
    unsigned framebuffer, int width, int height, bool transparent = false );

/// Writes a PNG file, replacing it in one step; any thread.
[[nodiscard]] VXVIEWER_API tl::expected<void, std::string> savePng(
    const std::filesystem::path& file, const Image& image );

} // namespace VX
