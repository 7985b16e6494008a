#include <VXViewer/ribbon/RibbonGroupLayout.h>

#include <cstddef>

namespace VX
{

std::vector<RibbonGroupSize> fitRibbonGroups( const std::vector<RibbonGroupWidths>& groups, float available )
{
    std::vector<RibbonGroupSize> out( groups.size(), RibbonGroupSize::Full );
    float total = 0;
    for ( const auto& group : groups )
        total += group[0];
    for ( size_t size = 1; size < std::tuple_size_v<RibbonGroupWidths>; ++size )
        for ( size_t i = groups.size(); i > 0 && total > available; --i )
        {
            const float saved = groups[i - 1][size_t( out[i - 1] )] - groups[i - 1][size];
            // A group of two tools may be wider with captions at the side than below.
            if ( saved <= 0 )
                continue;
            total -= saved;
            out[i - 1] = RibbonGroupSize( size );
        }
    return out;
}

} // namespace VX
