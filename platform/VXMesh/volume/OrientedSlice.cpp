#include <VXMesh/volume/OrientedSlice.h>

#include <algorithm>
#include <cmath>

namespace VX
{
namespace
{

double component( const Vector3d& v, int axis )
{
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

/// How far an axis of the grid runs along one of the space.
double along( const VolumeGrid& grid, size_t axis, int ofSpace )
{
    const auto& rows = grid.direction;
    return component( ofSpace == 0 ? rows.x : ofSpace == 1 ? rows.y : rows.z, int( axis ) );
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
    const auto step = [&]( size_t axis )
    {
        std::array<double, 3> one{};
        one[axis] = 1;
        return grid.worldXf().A * Vector3d{ one[0], one[1], one[2] };
    };
    SlicePlane out{ .origin = grid.origin + step( across ) * double( index ),
        .right = step( right ),
        .down = step( down ),
        .width = grid.size[right],
        .height = grid.size[down] };
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
    const auto length = [&]( size_t axis ) { return component( grid.spacing, int( axis ) ) * grid.size[axis]; };
    return { length( right ), length( down ) };
}

} // namespace VX
