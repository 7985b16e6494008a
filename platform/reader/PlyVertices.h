#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace VX
{

/// Where the vertices of a PLY file stand, and where their places in space are.
struct PlyVertices
{
    bool isText = false;
    bool isBigEndian = false;
    bool isDouble = false; ///< all three coordinates
    size_t begin = 0;      ///< byte of the file
    size_t count = 0;
    /// Of one vertex: bytes in a binary file, numbers in a text.
    size_t stride = 0;
    /// In it, as bytes or as numbers.
    size_t x = 0, y = 0, z = 0;

    /// Nothing when the header is damaged, when other things stand before the vertices, when a vertex has lists, or no
    /// place.
    [[nodiscard]] static std::optional<PlyVertices> parse( std::string_view file );
};

} // namespace VX
