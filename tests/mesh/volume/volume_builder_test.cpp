#include "support/voxels/TestVolumes.h"

#include <VXMesh/volume/VolumeBuilder.h>

#include <gtest/gtest.h>

#include <climits>
#include <limits>

using namespace VX;
using namespace VX::Testing;

namespace
{

VolumeBuilder::Plan planOf( VoxelType type, const VoxelIndex& size, std::endian order = std::endian::native )
{
    VolumeGrid grid;
    grid.size = size;
    return { .type = type, .grid = grid, .meaning = {}, .order = order };
}

std::vector<std::byte> numberedBytes( VoxelType type, const VoxelIndex& size )
{
    std::vector<std::byte> out;
    withVoxelType( type,
        [&]<typename T>( T )
        {
            forEachIndex( size,
                [&]( const VoxelIndex& index )
                {
                    const T v = T( numberAt( index ) );
                    const auto* p = reinterpret_cast<const std::byte*>( &v );
                    out.insert( out.end(), p, p + sizeof v );
                } );
        } );
    return out;
}

/// In pieces that end in the middle of voxels and rows.
tl::expected<Volume, std::string> built( VolumeBuilder builder, std::span<const std::byte> bytes )
{
    while ( !bytes.empty() )
    {
        const size_t count = std::min<size_t>( 1003, bytes.size() );
        if ( auto taken = builder.append( bytes.first( count ) ); !taken )
            return tl::unexpected( taken.error() );
        bytes = bytes.subspan( count );
    }
    return std::move( builder ).finish();
}

std::string refusal( const VolumeBuilder::Plan& plan )
{
    const auto builder = VolumeBuilder::make( plan );
    return builder ? "" : builder.error();
}

} // namespace

TEST( VolumeBuilder, PutsEveryVoxelInItsPlace )
{
    const VoxelIndex size{ 70, 65, 19 };
    for ( const auto type : cAllVoxelTypes )
    {
        auto builder = VolumeBuilder::make( planOf( type, size ) );
        ASSERT_TRUE( builder ) << builder.error();
        const auto volume = built( std::move( *builder ), numberedBytes( type, size ) );
        ASSERT_TRUE( volume ) << volume.error();
        EXPECT_TRUE( volume->isConsistent() );
        EXPECT_EQ( differingVoxels( *volume, numberedVolume( type, size ) ), 0u ) << nameOf( type );
    }
}

TEST( VolumeBuilder, TurnsTheOtherByteOrderRound )
{
    constexpr auto cOther = std::endian::native == std::endian::little ? std::endian::big : std::endian::little;
    const VoxelIndex size{ 65, 3, 17 };
    for ( const auto type : cAllVoxelTypes )
    {
        auto bytes = numberedBytes( type, size );
        for ( size_t at = 0, width = sizeOf( type ); at < bytes.size(); at += width )
            std::reverse( bytes.begin() + ptrdiff_t( at ), bytes.begin() + ptrdiff_t( at + width ) );
        const auto volume = built( *VolumeBuilder::make( planOf( type, size, cOther ) ), bytes );
        ASSERT_TRUE( volume ) << volume.error();
        EXPECT_EQ( differingVoxels( *volume, numberedVolume( type, size ) ), 0u ) << nameOf( type );
    }
}

TEST( VolumeBuilder, SharesBricksOfOneValue )
{
    const VoxelIndex size{ 640, 64, 64 };
    const std::vector<std::byte> bytes( 640 * 64 * 64 * 2 );
    const auto volume = built( *VolumeBuilder::make( planOf( VoxelType::Int16, size ) ), bytes );
    ASSERT_TRUE( volume );
    EXPECT_EQ( volume->bytes(), 64u * 64 * 16 * 2 );
    EXPECT_EQ( volume->stored( { 639, 63, 63 } ), 0 );
}

TEST( VolumeBuilder, SaysHowFarItGotWhenVoxelsAreMissing )
{
    const VoxelIndex size{ 10, 10, 10 };
    const std::vector<std::byte> bytes( 10 * 10 * 4 + 50 );
    const auto volume = built( *VolumeBuilder::make( planOf( VoxelType::UInt8, size ) ), bytes );
    ASSERT_FALSE( volume );
    EXPECT_EQ( volume.error(), "It is cut off: only 4 of its 10 slices are whole" );
}

TEST( VolumeBuilder, RefusesMoreVoxelsThanWereAnnounced )
{
    auto builder = *VolumeBuilder::make( planOf( VoxelType::UInt8, { 2, 2, 2 } ) );
    EXPECT_EQ( builder.missing(), 8u );
    const std::vector<std::byte> bytes( 9 );
    const auto taken = builder.append( bytes );
    ASSERT_FALSE( taken );
    EXPECT_EQ( taken.error(), "There are more voxels than its size tells" );
}

TEST( VolumeBuilder, RefusesSizesThatLie )
{
    EXPECT_EQ( refusal( planOf( VoxelType::UInt8, { 0, 2, 2 } ) ),
        "It claims 0 x 2 x 2 voxels; there have to be 1 to 1048576 along each axis" );
    EXPECT_NE( refusal( planOf( VoxelType::UInt8, { 2, -2, 2 } ) ), "" );
    EXPECT_NE( refusal( planOf( VoxelType::UInt8, { 2, 2, INT_MAX } ) ), "" );
    EXPECT_EQ( refusal( planOf( VoxelType::Float32, { 32767, 32767, 32767 } ) ),
        "It claims 32767 x 32767 x 32767 voxels, more than the 69 GB that can be opened" );
    EXPECT_NE( refusal( planOf( VoxelType::Float32, { 1 << 20, 1 << 20, 1 << 20 } ) ), "" );
}

TEST( VolumeBuilder, RefusesPlacesAndMeaningsThatAreNoNumbers )
{
    auto plan = planOf( VoxelType::UInt8, { 2, 2, 2 } );
    plan.grid.direction.y.y = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ( refusal( plan ), "The spacing, the directions or the origin of its voxels make no sense" );
    plan = planOf( VoxelType::UInt8, { 2, 2, 2 } );
    plan.meaning.slope = 0;
    EXPECT_NE( refusal( plan ), "" );
}
