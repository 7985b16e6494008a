#include "support/ScratchFolder.h"
#include "support/voxels/SixtyVoxels.h"

#include <VXMesh/formats/voxels/MetaImage.h>

#include <gtest/gtest.h>

#include <fmt/format.h>

using namespace VX;
using namespace VX::Testing;

namespace
{

std::string header( const std::string& type, const std::string& more = "", const std::string& data = "LOCAL" )
{
    return fmt::format( "ObjectType = Image\nNDims = 3\nDimSize = 3 4 5\n{}ElementType = {}\nElementDataFile = {}\n",
        more, type, data );
}

tl::expected<ReadVolume, std::string> readOf( const std::string& bytes )
{
    const ScratchFolder folder;
    return readMetaImage( folder.write( "a.mha", bytes ) );
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

TEST( MetaImage, ReadsEveryTypeInBothByteOrders )
{
    for ( const auto& [name, order] : { std::pair( "True", std::endian::big ), { "False", std::endian::little } } )
    {
        const auto more = fmt::format( "BinaryDataByteOrderMSB = {}\n", name );
        expectReads( header( "MET_CHAR", more ) + sixty<int8_t>( order ) );
        expectReads( header( "MET_UCHAR", more ) + sixty<uint8_t>( order ) );
        expectReads( header( "MET_SHORT", more ) + sixty<int16_t>( order ) );
        expectReads( header( "MET_USHORT", more ) + sixty<uint16_t>( order ) );
        expectReads( header( "MET_INT", more ) + sixty<int32_t>( order ) );
        expectReads( header( "MET_UINT", more ) + sixty<uint32_t>( order ) );
        expectReads( header( "MET_LONG_LONG", more ) + sixty<int64_t>( order ) );
        expectReads( header( "MET_ULONG_LONG", more ) + sixty<uint64_t>( order ) );
        expectReads( header( "MET_FLOAT", more ) + sixty<float>( order ) );
        expectReads( header( "MET_DOUBLE", more ) + sixty<double>( order ) );
    }
}

TEST( MetaImage, ReadsPackedVoxelsAndText )
{
    expectReads( header( "MET_SHORT", "CompressedData = True\n" ) + zlibPacked( sixty<int16_t>() ) );
    std::string text;
    for ( size_t i = 0; i < 60; ++i )
        text += fmt::format( "{} ", sixtyNumber( i ) );
    expectReads( header( "MET_SHORT", "BinaryData = False\n" ) + text );
}

TEST( MetaImage, ReadsVoxelsFromFilesBesideIt )
{
    const ScratchFolder folder;
    const auto voxels = sixty<int16_t>();
    (void)folder.write( "all.raw", voxels );
    (void)folder.write( "behind.raw", "a header" + voxels );
    for ( size_t z = 0; z < 5; ++z )
        (void)folder.write( fmt::format( "s{:02}.raw", z + 1 ), voxels.substr( z * 24, 24 ) );
    const std::array headers{ header( "MET_SHORT", "", "all.raw" ),
        header( "MET_SHORT", "HeaderSize = -1\n", "behind.raw" ),
        header( "MET_SHORT", "HeaderSize = 8\n", "behind.raw" ), header( "MET_SHORT", "", "s%02d.raw 1 5 1" ),
        header( "MET_SHORT", "", "LIST\ns01.raw\ns02.raw\ns03.raw\ns04.raw\ns05.raw" ) };
    for ( const auto& text : headers )
    {
        const auto read = readMetaImage( folder.write( "a.mhd", text ) );
        ASSERT_TRUE( read ) << read.error() << text;
        EXPECT_EQ( wrongOfSixty( read->volume ), 0u ) << text;
    }
    EXPECT_EQ( readMetaImage( folder.write( "a.mhd", header( "MET_SHORT", "", "../all.raw" ) ) ).error(),
        "Its voxels are said to be in \"../all.raw\", which is not in its folder" );
}

TEST( MetaImage, StandsWhereItsMatrixSays )
{
    // The first three numbers are the direction of the first axis.
    const auto read = readOf( header( "MET_UCHAR", "ElementSpacing = 0.5 2 3\nOffset = 10 20 30\n"
                                                   "TransformMatrix = 0 1 0 0 0 1 1 0 0\n" ) +
                              sixty<uint8_t>() );
    ASSERT_TRUE( read ) << read.error();
    EXPECT_LT( ( read->volume.worldOf( { 1, 0, 0 } ) - Vector3d{ 10, 20.5, 30 } ).length(), 1e-9 );
    EXPECT_LT( ( read->volume.worldOf( { 0, 1, 0 } ) - Vector3d{ 10, 20, 32 } ).length(), 1e-9 );
    EXPECT_LT( ( read->volume.worldOf( { 0, 0, 1 } ) - Vector3d{ 13, 20, 30 } ).length(), 1e-9 );
}

TEST( MetaImage, SaysWhatIsWrong )
{
    EXPECT_EQ( refusal( "nonsense" ), "It has no header of MetaImage" );
    EXPECT_EQ( refusal( header( "MET_OTHER" ) ), "Its type of voxel, \"MET_OTHER\", cannot be read" );
    EXPECT_EQ( refusal( header( "MET_SHORT" ) + std::string( 100, 'x' ) ),
        "It is cut off: it claims 120 bytes of voxels and has 100 bytes" );
    EXPECT_EQ( refusal( header( "MET_SHORT", "ElementSpacing = 1 what 1\n" ) ),
        "The numbers of \"elementspacing\" in its header make no sense" );
    EXPECT_EQ( refusal( header( "MET_SHORT", "Offset = 1 nan 1\n" ) + sixty<int16_t>() ),
        "The spacing, the directions or the origin of its voxels make no sense" );
    EXPECT_EQ( refusal( header( "MET_SHORT", "ElementNumberOfChannels = 9\n" ) ),
        "Each of its voxels has 9 numbers, and there can be only one" );
    EXPECT_EQ( refusal( header( "MET_SHORT", "HeaderSize = -7\n" ) + sixty<int16_t>() ),
        "It makes no sense how much of its data has to be left out" );
    EXPECT_EQ(
        refusal( "NDims = 9\nElementType = MET_CHAR\nElementDataFile = LOCAL\n" ), "It has to have 1 to 4 axes" );
    EXPECT_EQ( refusal( "NDims = 3\nDimSize = 1 2\nElementType = MET_CHAR\nElementDataFile = LOCAL\n" ),
        "Its header does not tell how many voxels there are" );
    EXPECT_EQ( refusal( "NDims = 3\nDimSize = 1 2 -7\nElementType = MET_CHAR\nElementDataFile = LOCAL\n" ),
        "It claims -7 voxels along an axis; there have to be 1 to 1048576" );
    EXPECT_EQ(
        refusal( header( "MET_SHORT", "CompressedData = True\n" ) + "no zlib stream" ), "Its packed data is damaged" );
}
