#include <VXMesh/volume/OrientedSlice.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace VX
{
namespace
{

/// How far an axis of the grid runs along one of the space.
double along( const VolumeGrid& grid, size_t axis, int ofSpace )
{
    const std::array<Vector3d, 3> rows{ grid.direction.x, grid.direction.y, grid.direction.z };
    return component( rows[size_t( ofSpace )], axis );
}

int heldTo( double at, int size )
{
    return int( std::clamp( std::floor( at ), 0., double( std::max( size - 1, 0 ) ) ) );
}

} // namespace

OrientedSlice OrientedSlice::of( const VolumeGrid& grid, SliceDirection direction )
{
    const bool isAxial = direction == SliceDirection::Axial;
    const int across = isAxial ? 2 : direction == SliceDirection::Coronal ? 1 : 0;
    const int right = direction == SliceDirection::Sagittal ? 1 : 0, down = isAxial ? 1 : 2;
    OrientedSlice out;
    out.across = size_t( grid.axisAlong( across ) );
    out.right = size_t( grid.axisAlong( right ) );
    out.down = size_t( grid.axisAlong( down ) );
    out.turnsRight = along( grid, out.right, right ) < 0;
    out.turnsDown = isAxial ? along( grid, out.down, down ) < 0 : along( grid, out.down, down ) > 0;
    return out;
}

SlicePlane OrientedSlice::plane( const VolumeGrid& grid, int index ) const
{
    auto out = gridPlane( grid, int( across ), index );
    // The lesser of the two axes is to the right there.
    if ( right > down )
    {
        std::swap( out.right, out.down );
        std::swap( out.width, out.height );
    }
    if ( turnsRight )
    {
        out.origin = out.origin + out.right * double( out.width - 1 );
        out.right = -out.right;
    }
    if ( turnsDown )
    {
        out.origin = out.origin + out.down * double( out.height - 1 );
        out.down = -out.down;
    }
    return out;
}

std::array<double, 2> OrientedSlice::pixelOf( const VolumeGrid& grid, const VoxelIndex& voxel ) const
{
    const auto place = [&]( size_t axis, bool turns )
    { return 0.5 + double( turns ? grid.size[axis] - 1 - voxel[axis] : voxel[axis] ); };
    return { place( right, turnsRight ), place( down, turnsDown ) };
}

VoxelIndex OrientedSlice::voxelAt( const VolumeGrid& grid, double x, double y, const VoxelIndex& slice ) const
{
    const auto index = [&]( size_t axis, bool turns, double at )
    {
        const int held = heldTo( at, grid.size[axis] );
        return turns ? grid.size[axis] - 1 - held : held;
    };
    VoxelIndex out = slice;
    out[right] = index( right, turnsRight, x );
    out[down] = index( down, turnsDown, y );
    return out;
}

std::array<double, 2> OrientedSlice::extent( const VolumeGrid& grid ) const
{
    const auto length = [&]( size_t axis ) { return component( grid.spacing, axis ) * grid.size[axis]; };
    return { length( right ), length( down ) };
}

} // namespace VX
