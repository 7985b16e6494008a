#include "support/ScratchFolder.h"
#include "support/voxels/SixtyVoxels.h"
#include "support/voxels/WrittenTiff.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/VolumeFormats.h>
#include <VXMesh/scene/ObjectVolume.h>

#include <gtest/gtest.h>

#include <fmt/format.h>

using namespace VX;
using namespace VX::Testing;

namespace
{

constexpr auto cLittle = std::endian::little;

/// Five pages of 3 x 4 pixels.
template <typename T>
std::vector<WrittenPage> fivePages( std::endian order, uint16_t format )
{
    std::vector<WrittenPage> out;
    for ( size_t z = 0; z < 5; ++z )
        out.push_back( { .bits = 8 * sizeof( T ),
            .format = format,
            .pixels = voxelBytes<T>( 12, order, [&]( size_t i ) { return sixtyNumber( z * 12 + i ); } ) } );
    return out;
}

std::shared_ptr<const Volume> volumeOf( const LoadResult& loaded )
{
    EXPECT_TRUE( loaded ) << loaded.error();
    const auto object = loaded ? std::dynamic_pointer_cast<ObjectVolume>( loaded->objects.at( 0 ) ) : nullptr;
    return object ? object->volume() : nullptr;
}

std::shared_ptr<const Volume> readOf( const std::string& bytes )
{
    const ScratchFolder folder;
    return volumeOf( loadObjectFromFile( folder.write( "a.tif", bytes ) ) );
}

std::string refusal( const std::string& bytes )
{
    const ScratchFolder folder;
    const auto loaded = loadObjectFromFile( folder.write( "a.tif", bytes ) );
    return loaded ? "" : loaded.error();
}

template <typename T>
void expectReads( uint16_t format, VoxelType kept )
{
    for ( const auto order : { std::endian::little, std::endian::big } )
        for ( const bool isBig : { false, true } )
        {
            const auto volume = readOf( tiffFile( fivePages<T>( order, format ), order, isBig ) );
            ASSERT_TRUE( volume );
            EXPECT_EQ( volume->type(), kept );
            EXPECT_EQ( wrongOfSixty( *volume ), 0u ) << nameOf( kept );
        }
}

} // namespace

TEST( TiffStack, ReadsEveryTypeInBothByteOrdersAndSizesOfFile )
{
    expectReads<uint8_t>( 1, VoxelType::UInt8 );
    expectReads<int8_t>( 2, VoxelType::Int8 );
    expectReads<uint16_t>( 1, VoxelType::UInt16 );
    expectReads<int16_t>( 2, VoxelType::Int16 );
    expectReads<uint32_t>( 1, VoxelType::UInt32 );
    expectReads<int32_t>( 2, VoxelType::Int32 );
    expectReads<float>( 3, VoxelType::Float32 );
    expectReads<double>( 3, VoxelType::Float32 );
}

TEST( TiffStack, ReadsTheFilesOfAFolderByTheirNumbers )
{
    const ScratchFolder folder;
    const auto pages = fivePages<uint16_t>( cLittle, 1 );
    // By their letters 10 would come before 8.
    for ( size_t z = 0; z < 5; ++z )
        (void)folder.write( fmt::format( "slice{}.tif", z + 7 ), tiffFile( { pages[z] }, cLittle ) );
    (void)folder.write( "notes.txt", "no picture" );
    (void)folder.write( ".hidden.tif", "no picture" );
    const auto volume = volumeOf( loadTiffFolder( folder.path() ) );
    ASSERT_TRUE( volume );
    EXPECT_EQ( wrongOfSixty( *volume ), 0u );
}

TEST( TiffStack, NamesTheFileOfAFolderThatDoesNotFit )
{
    const ScratchFolder folder;
    const auto pages = fivePages<uint16_t>( cLittle, 1 );
    EXPECT_NE( loadTiffFolder( folder.path() ).error().find( "there is no TIFF file in it" ), std::string::npos );
    (void)folder.write( "a1.tif", tiffFile( { pages[0] }, cLittle ) );
    (void)folder.write( "a2.tif", tiffFile( { { .pixels = std::string( 12, 'x' ) } }, cLittle ) );
    const auto loaded = loadTiffFolder( folder.path() );
    ASSERT_FALSE( loaded );
    EXPECT_NE( loaded.error().find( "\"a2.tif\": page 2 has 3 x 4 pixels of 8 bits and the first one 3 x 4 pixels of "
                                    "16 bits, or another kind of number; all have to be alike" ),
        std::string::npos )
        << loaded.error();
    EXPECT_FALSE( loadTiffFolder( folder.path() / "a1.tif" ) );
}

TEST( TiffStack, ReadsTiles )
{
    // Two by two tiles of 16 x 16 over 20 x 18 pixels; each pixel tells its tile.
    std::string pixels;
    for ( const char tile : { 'a', 'b', 'c', 'd' } )
        pixels += std::string( 256, tile );
    const auto volume = readOf( tiffFile( { { .width = 20, .height = 18, .tile = 16, .pixels = pixels } }, cLittle ) );
    ASSERT_TRUE( volume );
    ASSERT_EQ( volume->size(), ( VoxelIndex{ 20, 18, 1 } ) );
    EXPECT_EQ( volume->value( { 15, 15, 0 } ), 'a' );
    EXPECT_EQ( volume->value( { 16, 0, 0 } ), 'b' );
    EXPECT_EQ( volume->value( { 0, 17, 0 } ), 'c' );
    EXPECT_EQ( volume->value( { 19, 17, 0 } ), 'd' );
}

TEST( TiffStack, LeavesOutThumbnailsAndTurnsWhiteRound )
{
    auto pages = fivePages<uint8_t>( cLittle, 1 );
    for ( auto& page : pages )
    {
        page.photometric = 0;
        for ( char& c : page.pixels )
            c = char( ~c );
    }
    pages.insert( pages.begin() + 1, { .width = 1, .height = 1, .subfile = 1, .pixels = "x" } );
    const auto volume = readOf( tiffFile( pages, cLittle ) );
    ASSERT_TRUE( volume );
    EXPECT_EQ( wrongOfSixty( *volume ), 0u );
}

TEST( TiffStack, TakesTheStepsFromTheFirstPage )
{
    auto pages = fivePages<uint8_t>( cLittle, 1 );
    pages[0].perCentimetre = 20;
    pages[0].description = "images=5\nspacing=0.25\nunit=cm\n";
    const auto volume = readOf( tiffFile( pages, cLittle ) );
    ASSERT_TRUE( volume );
    EXPECT_LT( ( volume->grid().spacing - Vector3d{ 0.5, 0.5, 2.5 } ).length(), 1e-6 );
}

TEST( TiffStack, ReadsColoursAsBrightness )
{
    const WrittenPage page{ .width = 2, .height = 1, .samples = 3, .photometric = 2, .pixels = "ddd222" };
    const ScratchFolder folder;
    const auto loaded = loadObjectFromFile( folder.write( "a.tif", tiffFile( { page }, cLittle ) ) );
    const auto volume = volumeOf( loaded );
    ASSERT_TRUE( volume );
    EXPECT_EQ( volume->value( { 0, 0, 0 } ), 'd' );
    EXPECT_EQ( volume->value( { 1, 0, 0 } ), '2' );
    EXPECT_EQ( loaded->warnings, "Its colours were read as brightness" );
}

TEST( TiffStack, SaysWhatIsWrong )
{
    const auto cannot = []( const std::string& why ) { return "Cannot read \"a.tif\": " + why; };
    EXPECT_EQ( refusal( "nonsense" ), cannot( "it is no TIFF file, or damaged" ) );
    auto pages = fivePages<uint8_t>( cLittle, 1 );
    pages[3].width = 4;
    pages[3].pixels += "1234";
    EXPECT_EQ( refusal( tiffFile( pages, cLittle ) ),
        cannot( "page 4 has 4 x 4 pixels of 8 bits and the first one 3 x 4 pixels of 8 bits, or another kind of "
                "number; all have to be alike" ) );
    EXPECT_EQ( refusal( tiffFile( { { .bits = 12, .pixels = std::string( 100, 'x' ) } }, cLittle ) ),
        cannot( "its pixels of 12 bits cannot be read; 8, 16 and 32 bits can" ) );
    EXPECT_EQ( refusal( tiffFile( { { .samples = 2, .pixels = std::string( 24, 'x' ) } }, cLittle ) ),
        cannot( "its pixels have 2 numbers each, and there can be only one" ) );
    EXPECT_EQ( refusal( tiffFile( { { .width = 3'000'000'000, .pixels = "x" } }, cLittle ) ),
        cannot( "a page claims 3000000000 x 4 pixels" ) );
}

TEST( TiffStack, SurvivesPagesThatLie )
{
    const auto whole = tiffFile( fivePages<uint8_t>( cLittle, 1 ), cLittle );
    auto lost = whole;
    // Where the strip of the last page is said to be.
    const auto entry = lost.rfind( std::string( "\x11\x01\x04\x00\x01\x00\x00\x00", 8 ) );
    ASSERT_NE( entry, lost.npos );
    put<uint32_t>( lost, entry + 8, uint32_t( lost.size() ), cLittle );
    EXPECT_EQ( refusal( lost ), "Cannot read \"a.tif\": It is cut off: only 4 of its 5 slices are whole" );
    EXPECT_NE( refusal( tiffFile( { { .width = 1 << 20, .height = 1 << 20, .pixels = "x" } }, cLittle ) ), "" );
    EXPECT_NE(
        refusal( tiffFile( { { .width = 1 << 20, .height = 16, .tile = 1 << 20, .pixels = "x" } }, cLittle ) ), "" );
    for ( size_t size = 0; size < whole.size(); size += 61 )
        EXPECT_NE( refusal( whole.substr( 0, size ) ), "" ) << size;
}

TEST( TiffStack, StopsWhenAsked )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a.tif", tiffFile( fivePages<uint8_t>( cLittle, 1 ), cLittle ) );
    const auto loaded = loadObjectFromFile( file, []( float ) { return false; } );
    ASSERT_FALSE( loaded );
    EXPECT_EQ( loaded.error(), cOperationCanceled );
}
