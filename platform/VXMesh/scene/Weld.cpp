#include <VXMesh/scene/Weld.h>

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>

namespace VX
{

std::vector<uint32_t> firstAtSamePlace( const std::vector<Vector3f>& points )
{
    std::vector<uint32_t> order( points.size() );
    std::iota( order.begin(), order.end(), 0u );
    // By their bits, so that what is not a number has its place in the order, too; adding zero makes both zeros one.
    const auto key = [&]( uint32_t i )
    {
        return std::array{ std::bit_cast<uint32_t>( points[i].x + 0.f ), std::bit_cast<uint32_t>( points[i].y + 0.f ),
            std::bit_cast<uint32_t>( points[i].z + 0.f ) };
    };
    std::sort( order.begin(), order.end(),
        [&]( uint32_t a, uint32_t b )
        {
            const auto ka = key( a ), kb = key( b );
            return ka != kb ? ka < kb : a < b;
        } );
    std::vector<uint32_t> first( points.size() );
    for ( size_t i = 0; i < order.size(); ++i )
        first[order[i]] = i > 0 && key( order[i] ) == key( order[i - 1] ) ? first[order[i - 1]] : order[i];
    return first;
}

} // namespace VX
