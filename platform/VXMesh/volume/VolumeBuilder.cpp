#include <VXMesh/volume/VolumeBuilder.h>

#include <VXMesh/volume/VolumeText.h>

#include <algorithm>
#include <cstring>

#include <unistd.h>

namespace VX
{
namespace
{

constexpr size_t cMostEven = 4096; // kinds of bricks of one value; few volumes have any

uint64_t memoryOfMachine()
{
    const long pages = ::sysconf( _SC_PHYS_PAGES ), size = ::sysconf( _SC_PAGE_SIZE );
    return pages > 0 && size > 0 ? uint64_t( pages ) * uint64_t( size ) : UINT64_MAX;
}

template <typename Word>
void swapWords( std::span<std::byte> bytes )
{
    for ( size_t at = 0; at + sizeof( Word ) <= bytes.size(); at += sizeof( Word ) )
    {
        Word word;
        std::memcpy( &word, bytes.data() + at, sizeof word );
        if constexpr ( sizeof( Word ) == 2 )
            word = __builtin_bswap16( word );
        else if constexpr ( sizeof( Word ) == 4 )
            word = __builtin_bswap32( word );
        else
            word = __builtin_bswap64( word );
        std::memcpy( bytes.data() + at, &word, sizeof word );
    }
}

/// Whether bytes repeat with this period.
bool isEven( std::span<const std::byte> bytes, size_t period )
{
    return std::memcmp( bytes.data(), bytes.data() + period, bytes.size() - period ) == 0;
}

} // namespace

void swapBytes( std::span<std::byte> voxels, size_t width )
{
    if ( width == 2 )
        swapWords<uint16_t>( voxels );
    else if ( width == 4 )
        swapWords<uint32_t>( voxels );
    else if ( width == 8 )
        swapWords<uint64_t>( voxels );
}

tl::expected<VolumeBuilder, std::string> VolumeBuilder::make( Plan plan )
{
    const auto& grid = plan.grid;
    for ( const int n : grid.size )
        if ( n <= 0 || n > cMostAlong )
            return tl::unexpected( "It claims " + sizeText( grid.size ) + " voxels; there have to be 1 to " +
                                   std::to_string( cMostAlong ) + " along each axis" );
    uint64_t bytes = grid.voxelCount();
    if ( bytes == 0 || __builtin_mul_overflow( bytes, uint64_t( sizeOf( plan.type ) ), &bytes ) || bytes > cMostBytes )
        return tl::unexpected( "It claims " + sizeText( grid.size ) + " voxels, more than the " +
                               bytesText( cMostBytes ) + " that can be opened" );
    if ( const uint64_t memory = memoryOfMachine(); bytes > memory )
        return tl::unexpected( "It claims " + sizeText( grid.size ) + " voxels, which take " + bytesText( bytes ) +
                               "; this machine has " + bytesText( memory ) + " of memory" );
    if ( !Volume( plan.type, grid, plan.meaning, {} ).hasSense() )
        return tl::unexpected( std::string( "The spacing, the directions or the origin of its voxels make no sense" ) );
    return VolumeBuilder( std::move( plan ) );
}

VolumeBuilder::VolumeBuilder( Plan plan )
    : plan_( std::move( plan ) )
    , total_( plan_.grid.voxelCount() * sizeOf( plan_.type ) )
    , rowBytes_( uint64_t( plan_.grid.size[0] ) * sizeOf( plan_.type ) )
    , counts_( brickCountsOf( plan_.grid.size ) )
{
}

std::span<std::byte> VolumeBuilder::room_()
{
    const auto& size = plan_.grid.size;
    const size_t width = sizeOf( plan_.type );
    const uint64_t row = done_ / rowBytes_, inRow = done_ % rowBytes_;
    const int y = int( row % uint64_t( size[1] ) ), z = int( row / uint64_t( size[1] ) );
    const size_t bx = size_t( inRow / width ) >> Volume::cBrickShift[0];
    const size_t by = size_t( y ) >> Volume::cBrickShift[1];

    const auto extent = [&]( size_t axis, size_t place )
    {
        return std::min(
            size_t( Volume::cBrickSize[axis] ), size_t( size[axis] ) - ( place << Volume::cBrickShift[axis] ) );
    };
    const size_t brickRow = extent( 0, bx ) * width, rows = extent( 1, by );
    const size_t layer = extent( 2, size_t( z ) >> Volume::cBrickShift[2] );

    const size_t number = by * size_t( counts_[0] ) + bx;
    if ( layer_.size() <= number )
        layer_.resize( number + 1 );
    if ( !layer_[number] )
        layer_[number] = std::make_shared_for_overwrite<std::byte[]>( brickRow * rows * layer );
    const size_t begin = bx * size_t( Volume::cBrickSize[0] ) * width;
    const size_t inside =
        size_t( z & ( Volume::cBrickSize[2] - 1 ) ) * rows + size_t( y & ( Volume::cBrickSize[1] - 1 ) );
    const size_t at = size_t( inRow ) - begin;
    return { layer_[number].get() + inside * brickRow + at, brickRow - at };
}

tl::expected<void, std::string> VolumeBuilder::append( std::span<const std::byte> bytes )
{
    if ( bytes.size() > missing() )
        return tl::unexpected( std::string( "There are more voxels than its size tells" ) );
    const uint64_t layerBytes = rowBytes_ * uint64_t( plan_.grid.size[1] ) * uint64_t( Volume::cBrickSize[2] );
    while ( !bytes.empty() )
    {
        const auto room = room_();
        const size_t count = std::min( room.size(), bytes.size() );
        std::memcpy( room.data(), bytes.data(), count );
        bytes = bytes.subspan( count );
        done_ += count;
        if ( done_ % layerBytes == 0 || done_ == total_ )
            finishLayer_();
    }
    return {};
}

void VolumeBuilder::finishLayer_()
{
    const Volume shape( plan_.type, plan_.grid, {}, {} );
    for ( auto& brick : layer_ )
        finishBrick_( brick, shape.brickBytes( bricks_.size() ) );
    layer_.clear();
}

void VolumeBuilder::finishBrick_( std::shared_ptr<std::byte[]>& brick, size_t bytes )
{
    const size_t width = sizeOf( plan_.type );
    if ( plan_.order != std::endian::native )
        swapBytes( { brick.get(), bytes }, width );
    if ( !isEven( { brick.get(), bytes }, width ) || even_.size() >= cMostEven )
        return bricks_.push_back( std::move( brick ) );
    uint32_t value = 0;
    std::memcpy( &value, brick.get(), width );
    auto& shared = even_[{ bytes, value }];
    if ( !shared )
        shared = std::move( brick );
    bricks_.push_back( shared );
}

tl::expected<Volume, std::string> VolumeBuilder::finish() &&
{
    if ( missing() == 0 )
        return Volume( plan_.type, plan_.grid, std::move( plan_.meaning ), std::move( bricks_ ) );
    const uint64_t slices = done_ / ( rowBytes_ * uint64_t( plan_.grid.size[1] ) );
    return tl::unexpected( "It is cut off: only " + std::to_string( slices ) + " of its " +
                           std::to_string( plan_.grid.size[2] ) + " slices are whole" );
}

} // namespace VX
