#pragma once

#include <VXMesh/volume/Volume.h>

#include <algorithm>

namespace VX
{

/// One brick of a volume: its voxels x fastest, then y, then z.
template <Voxel T>
struct BrickView
{
    VoxelIndex begin; ///< its first voxel in the volume
    VoxelIndex size;
    std::span<const T> voxels;

    /// Voxels side by side along x; y and z from the brick's first voxel.
    [[nodiscard]] std::span<const T> row( int y, int z ) const
    {
        return voxels.subspan(
            ( size_t( z ) * size_t( size[1] ) + size_t( y ) ) * size_t( size[0] ), size_t( size[0] ) );
    }
};

/// A volume whose type of voxel is known. Refers to the volume, which has to outlive it. Any thread.
template <Voxel T>
class VoxelView
{
public:
    using Value = T;

    explicit VoxelView( const Volume& volume )
        : volume_( volume )
        , counts_( volume.brickCounts() )
    {
    }

    [[nodiscard]] const Volume& volume() const { return volume_; }
    [[nodiscard]] const VoxelIndex& size() const { return volume_.size(); }
    [[nodiscard]] size_t brickCount() const { return volume_.bricks().size(); }
    [[nodiscard]] BrickView<T> brick( size_t index ) const
    {
        const VoxelIndex size = volume_.brickSize( index );
        const size_t count = size_t( size[0] ) * size_t( size[1] ) * size_t( size[2] );
        return { volume_.brickBegin( index ), size, { data_( index ), count } };
    }

    /// A place in memory.
    struct Place
    {
        const T* voxel;
        /// To the voxels next to it along y and z, as long as they are in the same brick; along x it is 1.
        size_t row, slice;
    };
    /// Of a voxel that has to be there.
    [[nodiscard]] Place place( int x, int y, int z ) const
    {
        const int bx = x >> cShift[0], by = y >> cShift[1], bz = z >> cShift[2];
        const size_t width = extent_( bx, 0 ), height = extent_( by, 1 );
        const size_t brick =
            ( size_t( bz ) * size_t( counts_[1] ) + size_t( by ) ) * size_t( counts_[0] ) + size_t( bx );
        const size_t inside = ( inside_( z, 2 ) * height + inside_( y, 1 ) ) * width + inside_( x, 0 );
        return { data_( brick ) + inside, width, width * height };
    }
    /// A voxel that has to be there.
    [[nodiscard]] T operator()( int x, int y, int z ) const { return *place( x, y, z ).voxel; }

    /// Copies the voxels from `x` on of one row, as many as `out` has room for; they have to be there.
    void copyRow( int x, int y, int z, std::span<T> out ) const
    {
        const int by = y >> cShift[1], bz = z >> cShift[2];
        const size_t row = inside_( z, 2 ) * extent_( by, 1 ) + inside_( y, 1 );
        for ( size_t done = 0; done < out.size(); )
        {
            const int at = x + int( done ), bx = at >> cShift[0];
            const size_t width = extent_( bx, 0 ), first = inside_( at, 0 );
            const size_t count = std::min( width - first, out.size() - done );
            const T* from = data_( volume_.brickIndex( { bx, by, bz } ) ) + row * width + first;
            std::copy_n( from, count, out.data() + done );
            done += count;
        }
    }

private:
    static constexpr VoxelIndex cShift = Volume::cBrickShift;

    [[nodiscard]] const T* data_( size_t brick ) const
    {
        return reinterpret_cast<const T*>( volume_.bricks()[brick].get() );
    }
    [[nodiscard]] static size_t inside_( int at, size_t axis )
    {
        return size_t( at & ( Volume::cBrickSize[axis] - 1 ) );
    }
    /// Voxels along an axis of the bricks at this place.
    [[nodiscard]] size_t extent_( int place, size_t axis ) const
    {
        return size_t( std::min( Volume::cBrickSize[axis], size()[axis] - ( place << cShift[axis] ) ) );
    }

    const Volume& volume_;
    VoxelIndex counts_;
};

/// Calls `work` with the `VoxelView` of a volume, by which the compiler knows the type of its voxels, and returns what
/// it returns.
///
///     const double first = visit( volume, []( const auto& voxels ) { return double( voxels( 0, 0, 0 ) ); } );
template <typename Work>
decltype( auto ) visit( const Volume& volume, const Work& work )
{
    return withVoxelType(
        volume.type(), [&]<typename T>( T ) -> decltype( auto ) { return work( VoxelView<T>( volume ) ); } );
}

} // namespace VX
