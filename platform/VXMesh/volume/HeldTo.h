#pragma once

#include <VXMesh/volume/VoxelType.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace VX
{

/// A number as a voxel keeps it: rounded, held to the range of the type, and 0 where it is none. Floats take anything.
template <Voxel T>
[[nodiscard]] T heldTo( double stored )
{
    if constexpr ( std::same_as<T, float> )
    {
        constexpr double cMost = std::numeric_limits<float>::max();
        return std::isfinite( stored ) ? float( std::clamp( stored, -cMost, cMost ) ) : float( stored );
    }
    else
    {
        using Limits = std::numeric_limits<T>;
        return std::isnan( stored )
                   ? T{}
                   : T( std::clamp( std::round( stored ), double( Limits::min() ), double( Limits::max() ) ) );
    }
}

} // namespace VX
