#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace VX::Testing
{

/// A page of a TIFF file of one strip, or of tiles.
struct WrittenPage
{
    uint32_t width = 3, height = 4;
    uint16_t bits = 8, format = 1, samples = 1, photometric = 1;
    uint32_t subfile = 0;
    /// Of tiles; 0 for a strip.
    uint32_t tile = 0;
    std::string pixels = {}; ///< of the strip, or of each tile one after the other
    std::string description = {};
    float perCentimetre = 0;
};

/// A file of such pages, not packed, with 32 or 64 bits for each place in it.
[[nodiscard]] std::string tiffFile( const std::vector<WrittenPage>& pages, std::endian order, bool isBig = false );

} // namespace VX::Testing
