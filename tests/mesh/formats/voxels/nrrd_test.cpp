#include "support/ScratchFolder.h"
#include "support/voxels/SixtyVoxels.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/Nrrd.h>

#include <gtest/gtest.h>

#include <fmt/format.h>

using namespace VX;
using namespace VX::Testing;

namespace
{

std::string header( const std::string& type, const std::string& encoding, const std::string& more = "endian: little\n" )
{
    return fmt::format(
        "NRRD0005\n# made by hand\ntype: {}\ndimension: 3\nsizes: 3 4 5\nencoding: {}\n{}\n", type, encoding, more );
}

tl::expected<ReadVolume, std::string> readOf( const std::string& bytes )
{
    const ScratchFolder folder;
    return readNrrd( folder.write( "a.nrrd", bytes ) );
}

void expectReads( const std::string& bytes )
{
    expectSixty( readOf( bytes ), bytes );
}

std::string refusal( const std::string& bytes )
{
    return refusalOf( readOf( bytes ) );
}

} // namespace

TEST( Nrrd, ReadsEveryTypeInBothByteOrders )
{
    for ( const auto& [name, order] : { std::pair( "big", std::endian::big ), { "little", std::endian::little } } )
    {
        const auto more = fmt::format( "endian: {}\n", name );
        expectReads( header( "signed char", "raw", more ) + sixty<int8_t>( order ) );
        expectReads( header( "uchar", "raw", more ) + sixty<uint8_t>( order ) );
        expectReads( header( "short", "raw", more ) + sixty<int16_t>( order ) );
        expectReads( header( "unsigned short", "raw", more ) + sixty<uint16_t>( order ) );
        expectReads( header( "int32", "raw", more ) + sixty<int32_t>( order ) );
        expectReads( header( "uint", "raw", more ) + sixty<uint32_t>( order ) );
        expectReads( header( "longlong", "raw", more ) + sixty<int64_t>( order ) );
        expectReads( header( "uint64_t", "raw", more ) + sixty<uint64_t>( order ) );
        expectReads( header( "float", "raw", more ) + sixty<float>( order ) );
        expectReads( header( "double", "raw", more ) + sixty<double>( order ) );
    }
}

TEST( Nrrd, ReadsEveryEncoding )
{
    expectReads( header( "short", "gzip" ) + gzipped( sixty<int16_t>() ) );
    std::string text, hex;
    for ( size_t i = 0; i < 60; ++i )
    {
        text += fmt::format( "{}{}", sixtyNumber( i ), i % 7 == 0 ? "\n" : " " );
        hex += fmt::format( "{:02X}{}", sixtyNumber( i ), i % 9 == 0 ? "\n" : "" );
    }
    expectReads( header( "short", "ascii", "" ) + text );
    expectReads( header( "float", "text", "" ) + text );
    expectReads( header( "uchar", "hex", "" ) + hex );
}

TEST( Nrrd, LeavesOutWhatStandsBeforeTheVoxels )
{
    const auto voxels = sixty<int16_t>();
    expectReads( header( "short", "raw", "endian: little\nline skip: 2\nbyte skip: 3\n" ) + "one\ntwo\nabc" + voxels );
    expectReads( header( "short", "raw", "endian: little\nbyte skip: -1\n" ) + "anything at all" + voxels );
    expectReads( header( "short", "gzip", "endian: little\nbyte skip: 3\n" ) + gzipped( "abc" + voxels ) );
}

TEST( Nrrd, ReadsVoxelsFromFilesBesideIt )
{
    const ScratchFolder folder;
    const auto voxels = sixty<int16_t>();
    (void)folder.write( "all.raw", voxels );
    for ( size_t z = 0; z < 5; ++z )
        (void)folder.write( fmt::format( "s{:02}.raw", z + 1 ), voxels.substr( z * 24, 24 ) );
    for ( const auto* data :
        { "all.raw", "s%02d.raw 1 5 1", "s%02d.raw 1 5 1 2", "LIST\ns01.raw\ns02.raw\ns03.raw\ns04.raw\ns05.raw" } )
    {
        const auto file =
            folder.write( "a.nhdr", header( "short", "raw", fmt::format( "endian: little\ndata file: {}\n", data ) ) );
        const auto read = readNrrd( file );
        ASSERT_TRUE( read ) << read.error() << data;
        EXPECT_EQ( wrongOfSixty( read->volume ), 0u ) << data;
    }
}

TEST( Nrrd, NamesNoFilesOutsideOfItsFolder )
{
    const ScratchFolder folder;
    for ( const auto* data : { "/etc/passwd", "../other.raw", "a/../../other.raw" } )
    {
        const auto file =
            folder.write( "a.nhdr", header( "short", "raw", fmt::format( "endian: little\ndata file: {}\n", data ) ) );
        EXPECT_EQ( readNrrd( file ).error(),
            fmt::format( "Its voxels are said to be in \"{}\", which is not in its folder", data ) );
    }
    const auto file = folder.write( "a.nhdr", header( "short", "raw", "endian: little\ndata file: none.raw\n" ) );
    EXPECT_EQ( readNrrd( file ).error(), "The file with its voxels, \"none.raw\", cannot be read" );
}

TEST( Nrrd, StandsWhereItsDirectionsSay )
{
    const auto voxels = sixty<uint8_t>();
    const auto left = readOf( header( "uchar", "raw",
                                  "space: left-posterior-superior\nspace directions: (0,2,0) (0, 0, 3) (0.5,0,0)\n"
                                  "space origin: (1,2,3)\nsample units: \"HU\"\n" ) +
                              voxels );
    ASSERT_TRUE( left ) << left.error();
    EXPECT_LT( ( left->volume.worldOf( { 1, 1, 1 } ) - Vector3d{ 1.5, 4, 6 } ).length(), 1e-9 );
    EXPECT_EQ( left->volume.meaning().unit, "HU" );
    const auto right = readOf(
        header( "uchar", "raw", "space: RAS\nspace directions: (1,0,0) (0,1,0) (0,0,1)\nspace origin: (1,2,3)\n" ) +
        voxels );
    ASSERT_TRUE( right ) << right.error();
    EXPECT_LT( ( right->volume.worldOf( { 1, 1, 1 } ) - Vector3d{ -2, -3, 4 } ).length(), 1e-9 );
    const auto spaced = readOf( header( "uchar", "raw", "spacings: 0.5 nan 2\n" ) + voxels );
    ASSERT_TRUE( spaced ) << spaced.error();
    EXPECT_EQ( spaced->volume.grid().spacing, ( Vector3d{ 0.5, 1, 2 } ) );
}

TEST( Nrrd, TellsChannelsAndSeveralVolumesFromSpace )
{
    const auto colours = readOf( "NRRD0005\ntype: uchar\ndimension: 4\nsizes: 3 2 2 2\nkinds: RGB-color space space "
                                 "space\nencoding: raw\nspace directions: none (1,0,0) (0,1,0) (0,0,2)\n\n" +
                                 std::string( 24, '\x32' ) );
    ASSERT_TRUE( colours ) << colours.error();
    EXPECT_EQ( colours->volume.size(), ( VoxelIndex{ 2, 2, 2 } ) );
    EXPECT_EQ( colours->volume.value( { 1, 1, 1 } ), 50 );
    const auto several = readOf( "NRRD0005\ntype: uchar\ndimension: 4\nsizes: 3 4 5 6\nencoding: raw\n\n" +
                                 sixty<uint8_t>() + std::string( 300, 'x' ) );
    ASSERT_TRUE( several ) << several.error();
    EXPECT_EQ( wrongOfSixty( several->volume ), 0u );
    EXPECT_EQ( several->warnings, "It holds 6 volumes; the first one was read" );
    EXPECT_EQ( refusal( "NRRD0005\ntype: uchar\ndimension: 4\nsizes: 9 2 2 2\nkinds: vector space space space\n"
                        "encoding: raw\n\n" +
                        std::string( 72, 'x' ) ),
        "Each of its voxels has 9 numbers, and there can be only one" );
}

TEST( Nrrd, SaysWhatIsWrong )
{
    const auto voxels = sixty<int16_t>();
    EXPECT_EQ( refusal( "nonsense" ), "It has no header of NRRD" );
    EXPECT_EQ( refusal( "NRRD0005\ntype: short\n" ), "Its header has no end" );
    EXPECT_EQ( refusal( header( "block", "raw" ) + voxels ), "Its type of voxel, \"block\", cannot be read" );
    EXPECT_EQ( refusal( header( "short", "bzip2" ) + voxels ), "Its encoding, \"bzip2\", cannot be read" );
    EXPECT_EQ( refusal( header( "short", "raw", "" ) + voxels ),
        "Its header does not tell the order of the bytes of a voxel" );
    EXPECT_EQ( refusal( header( "short", "raw" ) + voxels.substr( 0, 100 ) ),
        "It is cut off: it claims 120 bytes of voxels and has 100 bytes" );
    EXPECT_EQ( refusal( header( "short", "gzip" ) + gzipped( voxels.substr( 0, 100 ) ) ),
        "It is cut off: only 4 of its 5 slices are whole" );
    EXPECT_EQ( refusal( header( "short", "ascii", "" ) + "1 2 three" ),
        "Its voxels are text, and something in it is no number that fits" );
    EXPECT_EQ( refusal( header( "uchar", "ascii", "" ) + "1 2 300" ),
        "Its voxels are text, and something in it is no number that fits" );
    EXPECT_EQ( refusal( header( "uchar", "hex", "" ) + "01 0g" ),
        "Its voxels are hexadecimal text, and something in it is no digit" );
    EXPECT_EQ(
        refusal( header( "short", "raw", "endian: little\nspace directions: (nan,0,0) (0,1,0) (0,0,1)\n" ) + voxels ),
        "The spacing, the directions or the origin of its voxels make no sense" );
    EXPECT_EQ( refusal( header( "short", "raw", "endian: little\nspace directions: (1,0,0) what\n" ) + voxels ),
        "The directions of its axes make no sense" );
    EXPECT_EQ( refusal( "NRRD0005\ntype: uchar\ndimension: 3\nsizes: 1000000 1000000 1000000\nencoding: raw\n\n" ),
        "It claims 1000000 x 1000000 x 1000000 voxels, more than the 69 GB that can be opened" );
    EXPECT_EQ( refusal( "NRRD0005\ntype: uchar\ndimension: 3\nsizes: 3 4\nencoding: raw\n\n" ),
        "Its header does not tell how many voxels there are" );
    EXPECT_EQ( refusal( "NRRD0005\ntype: uchar\ndimension: 3\nsizes: 3 4 -1\nencoding: raw\n\n" ),
        "It claims -1 voxels along an axis; there have to be 1 to 1048576" );
}

TEST( NumberedNames, AreAsThePatternSays )
{
    EXPECT_EQ(
        *numberedNames( "a%03d.raw", 8, 10, 1 ), ( std::vector<std::string>{ "a008.raw", "a009.raw", "a010.raw" } ) );
    EXPECT_EQ( *numberedNames( "a%d", 3, 1, -1 ), ( std::vector<std::string>{ "a3", "a2", "a1" } ) );
    for ( const auto* pattern : { "a", "%s", "%d%d", "%999d", "%", "%99999999999d" } )
        EXPECT_FALSE( numberedNames( pattern, 1, 2, 1 ) ) << pattern;
    EXPECT_FALSE( numberedNames( "%d", 1, 2, 0 ) );
    EXPECT_FALSE( numberedNames( "%d", 2, 1, 1 ) );
    EXPECT_FALSE( numberedNames( "%d", INT64_MIN, INT64_MAX, 1 ) );
}
