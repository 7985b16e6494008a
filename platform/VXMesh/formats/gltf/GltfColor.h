#pragma once

#include <VXMesh/math/Color.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace VX::Gltf
{

/// The sRGB transfer functions (IEC 61966-2-1); glTF keeps colours linear, our scene keeps them in sRGB.
inline float toLinear( float srgb )
{
    return srgb <= 0.04045f ? srgb / 12.92f : std::pow( ( srgb + 0.055f ) / 1.055f, 2.4f );
}

inline float toSrgb( float linear )
{
    return linear <= 0.0031308f ? linear * 12.92f : 1.055f * std::pow( linear, 1 / 2.4f ) - 0.055f;
}

inline uint8_t toByte( float value )
{
    // The comparison also sends NaN to 0.
    return value > 0 ? uint8_t( std::lround( std::min( value, 1.f ) * 255 ) ) : uint8_t( 0 );
}

inline Color fromLinear( const std::array<float, 4>& c )
{
    return { toByte( toSrgb( c[0] ) ), toByte( toSrgb( c[1] ) ), toByte( toSrgb( c[2] ) ), toByte( c[3] ) };
}

inline std::array<float, 4> toLinear( Color c )
{
    return { toLinear( c.r / 255.f ), toLinear( c.g / 255.f ), toLinear( c.b / 255.f ), c.a / 255.f };
}

} // namespace VX::Gltf
