#include <VXOrvanta/account/form/FormLayout.h>

#include <algorithm>
#include <cmath>

namespace VX
{

float allowedGap( float gap, float scaling )
{
    constexpr float cSmallest = 4, cLargest = 16;
    return std::floor( std::clamp( gap, cSmallest * scaling, cLargest * scaling ) );
}

RowPlaces placeRows( float height, float rows, int count, float scaling )
{
    const float gaps = float( count - 1 );
    const float gap = allowedGap( ( height - rows ) / gaps, scaling );
    return { gap, std::max( 0.f, std::round( ( height - rows - gaps * gap ) * 0.5f ) ) };
}

std::string beginningOf( const std::string& text, std::size_t most )
{
    if ( text.size() <= most )
        return text;
    std::size_t end = most;
    while ( end > 0 && ( static_cast<unsigned char>( text[end] ) & 0xc0 ) == 0x80 )
        --end;
    return text.substr( 0, end ) + "...";
}

} // namespace VX
