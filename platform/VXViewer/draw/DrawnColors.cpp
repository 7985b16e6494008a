#include <VXViewer/draw/DrawnColors.h>

#include <algorithm>
#include <cmath>

namespace VX
{
namespace
{

/// How far two colours are apart, 0 to 1.
float difference( Color a, Color b )
{
    const auto channel = []( uint8_t x, uint8_t y ) { return std::abs( float( x ) - float( y ) ) / 255; };
    return std::max( { channel( a.r, b.r ), channel( a.g, b.g ), channel( a.b, b.b ) } );
}

} // namespace

Color tintFor( Color object, Color highlight )
{
    if ( difference( highlight, object ) >= 0.35f )
        return highlight;
    return { uint8_t( 255 - highlight.r ), uint8_t( 255 - highlight.g ), uint8_t( 255 - highlight.b ), highlight.a };
}

Color darker( Color color, float part )
{
    const auto channel = [part]( uint8_t value ) { return uint8_t( float( value ) * part ); };
    return { channel( color.r ), channel( color.g ), channel( color.b ), color.a };
}

LineLook lineLook( float pixels )
{
    constexpr float cApart = 7, cClosed = 3; // pixels
    constexpr float cClosedOpacity = 0.7f;
    if ( pixels < cClosed )
        return { true, true, cClosedOpacity };
    return { pixels < cApart, false, std::min( pixels / cApart, 1.f ) };
}

} // namespace VX
