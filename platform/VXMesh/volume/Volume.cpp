#include <VXMesh/volume/Volume.h>

#include <VXMesh/volume/HeldTo.h>
#include <VXMesh/volume/VoxelView.h>

#include <limits>
#include <map>
#include <unordered_set>

namespace VX
{
namespace
{

VolumeBrick brickOf( VoxelType type, size_t bytes, double stored )
{
    auto brick = std::make_shared_for_overwrite<std::byte[]>( bytes );
    withVoxelType( type, [&]<typename T>( T )
        { std::fill_n( reinterpret_cast<T*>( brick.get() ), bytes / sizeof( T ), heldTo<T>( stored ) ); } );
    return brick;
}

} // namespace

VoxelIndex brickCountsOf( const VoxelIndex& size )
{
    VoxelIndex out{};
    for ( size_t i = 0; i < 3; ++i )
        out[i] = size[i] <= 0 ? 0 : ( ( size[i] - 1 ) >> Volume::cBrickShift[i] ) + 1;
    return out;
}

Volume::Volume( VoxelType type, const VolumeGrid& grid, VoxelMeaning meaning, std::vector<VolumeBrick> bricks )
    : type_( type )
    , grid_( grid )
    , meaning_( std::move( meaning ) )
    , bricks_( std::move( bricks ) )
{
}

Volume Volume::filled( VoxelType type, const VolumeGrid& grid, double stored )
{
    Volume out( type, grid, {}, {} );
    const VoxelIndex counts = out.brickCounts();
    out.bricks_.resize( size_t( counts[0] ) * size_t( counts[1] ) * size_t( counts[2] ) );
    std::map<size_t, VolumeBrick> bySize;
    for ( size_t i = 0; i < out.bricks_.size(); ++i )
    {
        auto& brick = bySize[out.brickBytes( i )];
        if ( !brick )
            brick = brickOf( type, out.brickBytes( i ), stored );
        out.bricks_[i] = brick;
    }
    return out;
}

Volume Volume::with( VoxelMeaning meaning ) const
{
    return { type_, grid_, std::move( meaning ), bricks_ };
}

Volume Volume::with( const VolumeGrid& grid ) const
{
    return grid.size == grid_.size ? Volume( type_, grid, meaning_, bricks_ ) : Volume();
}

double Volume::stored( const VoxelIndex& index ) const
{
    if ( bricks_.empty() || !grid_.contains( index ) )
        return std::numeric_limits<double>::quiet_NaN();
    const auto [x, y, z] = index;
    return visit( *this, [&]( const auto& voxels ) { return double( voxels( x, y, z ) ); } );
}

VoxelIndex Volume::brickCounts() const
{
    return brickCountsOf( grid_.size );
}

size_t Volume::brickIndex( const VoxelIndex& place ) const
{
    const VoxelIndex counts = brickCounts();
    return ( size_t( place[2] ) * size_t( counts[1] ) + size_t( place[1] ) ) * size_t( counts[0] ) + size_t( place[0] );
}

VoxelIndex Volume::brickBegin( size_t brick ) const
{
    const VoxelIndex counts = brickCounts();
    const auto nx = size_t( counts[0] ), ny = size_t( counts[1] );
    return { int( brick % nx ) << cBrickShift[0], int( brick / nx % ny ) << cBrickShift[1],
        int( brick / nx / ny ) << cBrickShift[2] };
}

VoxelIndex Volume::brickSize( size_t brick ) const
{
    VoxelIndex out = brickBegin( brick );
    for ( size_t i = 0; i < 3; ++i )
        out[i] = std::min( cBrickSize[i], grid_.size[i] - out[i] );
    return out;
}

size_t Volume::brickBytes( size_t brick ) const
{
    const VoxelIndex size = brickSize( brick );
    return size_t( size[0] ) * size_t( size[1] ) * size_t( size[2] ) * sizeOf( type_ );
}

uint64_t Volume::bytes() const
{
    std::unordered_set<const void*> known;
    uint64_t out = 0;
    for ( size_t i = 0; i < bricks_.size(); ++i )
        if ( known.insert( bricks_[i].get() ).second )
            out += brickBytes( i );
    return out;
}

bool Volume::hasSense() const
{
    const auto& m = meaning_;
    return grid_.isConsistent() && std::isfinite( m.slope ) && m.slope != 0 && std::isfinite( m.intercept ) &&
           std::isfinite( m.window.center ) && std::isfinite( m.window.width ) && m.window.width >= 0;
}

bool Volume::isConsistent() const
{
    const VoxelIndex counts = brickCounts();
    return hasSense() && bricks_.size() == size_t( counts[0] ) * size_t( counts[1] ) * size_t( counts[2] ) &&
           std::none_of( bricks_.begin(), bricks_.end(), []( const VolumeBrick& brick ) { return !brick; } );
}

} // namespace VX
