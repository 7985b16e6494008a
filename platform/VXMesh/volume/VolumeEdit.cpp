#include <VXMesh/volume/VolumeEdit.h>

#include <VXMesh/volume/HeldTo.h>

#include <cstring>
#include <utility>

namespace VX
{

VolumeEdit::VolumeEdit( Volume volume )
    : volume_( std::move( volume ) )
    , own_( volume_.bricks().size(), nullptr )
{
}

std::byte* VolumeEdit::ownBytes_( size_t brick )
{
    if ( own_[brick] )
        return own_[brick];
    const size_t bytes = volume_.brickBytes( brick );
    auto copy = std::make_shared_for_overwrite<std::byte[]>( bytes );
    std::memcpy( copy.get(), volume_.bricks_[brick].get(), bytes );
    own_[brick] = copy.get();
    volume_.bricks_[brick] = std::move( copy );
    return own_[brick];
}

void VolumeEdit::setStored( const VoxelIndex& index, double stored )
{
    if ( own_.empty() || !volume_.grid().contains( index ) )
        return;
    constexpr auto shift = Volume::cBrickShift;
    const size_t number = volume_.brickIndex( { index[0] >> shift[0], index[1] >> shift[1], index[2] >> shift[2] } );
    const VoxelIndex begin = volume_.brickBegin( number ), size = volume_.brickSize( number );
    const auto at = [&]( size_t axis ) { return size_t( index[axis] - begin[axis] ); };
    const size_t place = ( at( 2 ) * size_t( size[1] ) + at( 1 ) ) * size_t( size[0] ) + at( 0 );
    withVoxelType( volume_.type(), [&]<typename T>( T ) { brick<T>( number )[place] = heldTo<T>( stored ); } );
}

Volume VolumeEdit::finish() &&
{
    own_.clear();
    return std::exchange( volume_, Volume() );
}

} // namespace VX
