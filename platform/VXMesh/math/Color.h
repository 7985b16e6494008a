#pragma once

#include <cstdint>

namespace VX
{

/// sRGB colour with straight alpha, 8 bits a channel.
struct Color
{
    uint8_t r = 0, g = 0, b = 0, a = 255;
    bool operator==( const Color& ) const = default;
};

} // namespace VX
