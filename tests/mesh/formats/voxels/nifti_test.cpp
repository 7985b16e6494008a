#include "support/ScratchFolder.h"
#include "support/voxels/SixtyVoxels.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/voxels/Nifti.h>
#include <VXMesh/scene/ObjectVolume.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace VX;
using namespace VX::Testing;

namespace
{

constexpr std::array cOrders{ std::endian::little, std::endian::big };

/// A NIfTI-1 header of 3 x 4 x 5 voxels.
std::string header1( int16_t type, std::endian order, const char* magic = "n+1" )
{
    std::string out( 352, '\0' );
    put<int32_t>( out, 0, 348, order );
    const int16_t dims[]{ 3, 3, 4, 5, 1, 1, 1, 1 };
    for ( size_t i = 0; i < 8; ++i )
        put<int16_t>( out, 40 + 2 * i, dims[i], order );
    put<int16_t>( out, 70, type, order );
    const float steps[]{ 1, 0.5f, 2, 3 };
    for ( size_t i = 0; i < 4; ++i )
        put<float>( out, 76 + 4 * i, steps[i], order );
    put<float>( out, 108, 352, order );
    put<float>( out, 112, 1, order );
    out[123] = 2;
    out.replace( 344, 3, magic );
    return out;
}

std::string header2( int16_t type, std::endian order )
{
    std::string out( 544, '\0' );
    put<int32_t>( out, 0, 540, order );
    out.replace( 4, 8, std::string( "n+2\0\r\n\032\n", 8 ) );
    put<int16_t>( out, 12, type, order );
    const int64_t dims[]{ 3, 3, 4, 5, 1, 1, 1, 1 };
    for ( size_t i = 0; i < 8; ++i )
        put<int64_t>( out, 16 + 8 * i, dims[i], order );
    for ( size_t i = 0; i < 4; ++i )
        put<double>( out, 104 + 8 * i, double( i + 1 ), order );
    put<int64_t>( out, 168, 544, order );
    put<double>( out, 176, 1, order );
    return out;
}

template <typename T>
void expectReads( int16_t type, VoxelType kept )
{
    const ScratchFolder folder;
    for ( const auto order : cOrders )
        for ( const auto& header : { header1( type, order ), header2( type, order ) } )
        {
            const auto read = readNifti( folder.write( "a.nii", header + sixty<T>( order ) ) );
            ASSERT_TRUE( read ) << read.error();
            EXPECT_EQ( read->volume.type(), kept ) << type;
            EXPECT_TRUE( read->volume.isConsistent() );
            EXPECT_EQ( wrongOfSixty( read->volume ), 0u ) << type;
        }
}

std::string refusal( const std::string& bytes, const char* name = "a.nii" )
{
    const ScratchFolder folder;
    const auto read = readNifti( folder.write( name, bytes ) );
    return read ? "" : read.error();
}

tl::expected<ReadVolume, std::string> readOf( const std::string& bytes )
{
    const ScratchFolder folder;
    return readNifti( folder.write( "a.nii", bytes ) );
}

} // namespace

TEST( Nifti, ReadsEveryTypeInBothByteOrdersAndVersions )
{
    expectReads<uint8_t>( 2, VoxelType::UInt8 );
    expectReads<int16_t>( 4, VoxelType::Int16 );
    expectReads<int32_t>( 8, VoxelType::Int32 );
    expectReads<float>( 16, VoxelType::Float32 );
    expectReads<double>( 64, VoxelType::Float32 );
    expectReads<int8_t>( 256, VoxelType::Int8 );
    expectReads<uint16_t>( 512, VoxelType::UInt16 );
    expectReads<uint32_t>( 768, VoxelType::UInt32 );
    expectReads<int64_t>( 1024, VoxelType::Int32 );
    expectReads<uint64_t>( 1280, VoxelType::Int32 );
}

TEST( Nifti, TurnsWhatNoVolumeKeepsIntoWhatItDoes )
{
    const auto order = std::endian::native;
    std::string complex, colour, large;
    for ( int i = 0; i < 60; ++i )
    {
        complex += bytesOf( 3.f * float( i ) ) + bytesOf( 4.f * float( i ) );
        colour += std::string{ char( 100 ), char( 100 ), char( 100 ) };
        large += bytesOf( int64_t( i ) << 40 );
    }
    const auto magnitude = readOf( header1( 32, order ) + complex );
    ASSERT_TRUE( magnitude ) << magnitude.error();
    EXPECT_EQ( magnitude->volume.value( { 2, 0, 0 } ), 10 );
    EXPECT_EQ( magnitude->warnings, "Its complex numbers were read as their magnitude" );
    const auto bright = readOf( header1( 128, order ) + colour );
    ASSERT_TRUE( bright ) << bright.error();
    EXPECT_EQ( bright->volume.value( { 2, 3, 4 } ), 100 );
    EXPECT_EQ( bright->warnings, "Its colours were read as brightness" );
    const auto rounded = readOf( header1( 1024, order ) + large );
    ASSERT_TRUE( rounded ) << rounded.error();
    EXPECT_EQ( rounded->volume.type(), VoxelType::Float32 );
    EXPECT_EQ( rounded->volume.value( { 2, 0, 0 } ), double( int64_t( 2 ) << 40 ) );
    EXPECT_EQ( rounded->warnings, "Its numbers of 64 bits were rounded to floats of 32 bits" );
}

TEST( Nifti, ScalesValuesAndTakesTheWindow )
{
    auto bytes = header1( 4, std::endian::little );
    put<float>( bytes, 112, 2, std::endian::little );
    put<float>( bytes, 116, -10, std::endian::little );
    put<float>( bytes, 124, 300, std::endian::little );
    put<float>( bytes, 128, 100, std::endian::little );
    const auto read = readOf( bytes + sixty<int16_t>( std::endian::little ) );
    ASSERT_TRUE( read );
    EXPECT_EQ( read->volume.value( { 1, 0, 0 } ), 2 * 37 - 10 );
    EXPECT_EQ( read->volume.meaning().window, ( VolumeWindow{ 200, 200 } ) );
}

TEST( Nifti, StandsWhereTheQformSays )
{
    auto bytes = header1( 2, std::endian::little );
    put<int16_t>( bytes, 252, 1, std::endian::little );
    put<float>( bytes, 76, -1, std::endian::little );
    // Half a turn about z: x and y point back.
    put<float>( bytes, 264, 1, std::endian::little );
    for ( size_t i = 0; i < 3; ++i )
        put<float>( bytes, 268 + 4 * i, float( 10 * ( i + 1 ) ), std::endian::little );
    const auto read = readOf( bytes + sixty<uint8_t>() );
    ASSERT_TRUE( read ) << read.error();
    // x to the right is -x to the left.
    EXPECT_LT( ( read->volume.worldOf( { 0, 0, 0 } ) - Vector3d{ -10, -20, 30 } ).length(), 1e-9 );
    EXPECT_LT( ( read->volume.worldOf( { 1, 1, 1 } ) - Vector3d{ -9.5, -18, 27 } ).length(), 1e-9 );
}

TEST( Nifti, StandsWhereTheSformSaysInMillimetres )
{
    auto bytes = header1( 2, std::endian::little );
    put<int16_t>( bytes, 254, 1, std::endian::little );
    bytes[123] = 3;
    const float rows[]{ 0, 0, 3000, 1000, 2000, 0, 0, 2000, 0, 1000, 0, 3000 };
    for ( size_t i = 0; i < 12; ++i )
        put<float>( bytes, 280 + 4 * i, rows[i], std::endian::little );
    const auto read = readOf( bytes + sixty<uint8_t>() );
    ASSERT_TRUE( read ) << read.error();
    EXPECT_LT( ( read->volume.worldOf( { 0, 0, 0 } ) - Vector3d{ -1, -2, 3 } ).length(), 1e-9 );
    EXPECT_LT( ( read->volume.worldOf( { 1, 1, 1 } ) - Vector3d{ -4, -4, 4 } ).length(), 1e-9 );
    EXPECT_LT( ( read->volume.grid().spacing - Vector3d{ 2, 1, 3 } ).length(), 1e-9 );
    EXPECT_EQ( read->warnings, "" );
}

TEST( Nifti, StraightensShearedAxesAndSaysSo )
{
    auto bytes = header1( 2, std::endian::little );
    put<int16_t>( bytes, 254, 1, std::endian::little );
    const float rows[]{ 1, 0.2f, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0 };
    for ( size_t i = 0; i < 12; ++i )
        put<float>( bytes, 280 + 4 * i, rows[i], std::endian::little );
    const auto read = readOf( bytes + sixty<uint8_t>() );
    ASSERT_TRUE( read ) << read.error();
    EXPECT_TRUE( read->volume.isConsistent() );
    EXPECT_EQ( read->warnings, "Its axes are not at right angles; it is shown as if they were" );
}

TEST( Nifti, ReadsPackedFilesOfOneAndMoreMembers )
{
    const ScratchFolder folder;
    const auto bytes = header1( 4, std::endian::big ) + sixty<int16_t>( std::endian::big );
    const auto half = bytes.size() / 2;
    for ( const auto& packed : { gzipped( bytes ), gzipped( bytes.substr( 0, half ) ) + gzipped( bytes.substr( half ) ),
              gzipped( bytes ) + std::string( 100, '\0' ) } )
    {
        const auto loaded = loadObjectFromFile( folder.write( "brain.nii.gz", packed ) );
        ASSERT_TRUE( loaded ) << loaded.error();
        const auto object = std::dynamic_pointer_cast<ObjectVolume>( loaded->objects.at( 0 ) );
        ASSERT_TRUE( object );
        EXPECT_EQ( object->name(), "brain" );
        EXPECT_EQ( wrongOfSixty( *object->volume() ), 0u );
    }
}

TEST( Nifti, ReadsTwoFilesByEitherName )
{
    const ScratchFolder folder;
    auto header = header1( 4, std::endian::little, "ni1" );
    put<float>( header, 108, 16, std::endian::little );
    const auto first = folder.write( "a.hdr", header );
    EXPECT_EQ( readNifti( first ).error(), "The file \"a.img\" that belongs to it is missing" );
    const auto second = folder.write( "a.img", std::string( 16, 'x' ) + sixty<int16_t>( std::endian::little ) );
    for ( const auto& file : { first, second } )
    {
        const auto read = readNifti( file );
        ASSERT_TRUE( read ) << read.error();
        EXPECT_EQ( wrongOfSixty( read->volume ), 0u );
    }
    std::filesystem::remove( first );
    EXPECT_EQ( readNifti( second ).error(), "The file \"a.hdr\" that belongs to it is missing" );
}

TEST( Nifti, ReadsWhatCameBeforeAndSaysWhatItLacks )
{
    const ScratchFolder folder;
    auto header = header1( 4, std::endian::big, "" );
    put<float>( header, 108, 0, std::endian::big );
    put<float>( header, 112, 5, std::endian::big );
    header.resize( 348 );
    const auto file = folder.write( "a.hdr", header );
    (void)folder.write( "a.img", sixty<int16_t>( std::endian::big ) );
    const auto read = readNifti( file );
    ASSERT_TRUE( read ) << read.error();
    EXPECT_EQ( wrongOfSixty( read->volume ), 0u );
    EXPECT_EQ( read->warnings, "It is of a kind that does not tell where left and right are" );
}

TEST( Nifti, ReadsTheFirstOfSeveralVolumesAndCountsThem )
{
    auto bytes = header1( 2, std::endian::little );
    put<int16_t>( bytes, 40, 4, std::endian::little );
    put<int16_t>( bytes, 48, 7, std::endian::little );
    const auto read = readOf( bytes + sixty<uint8_t>() + std::string( 360, 'x' ) );
    ASSERT_TRUE( read ) << read.error();
    EXPECT_EQ( wrongOfSixty( read->volume ), 0u );
    EXPECT_EQ( read->warnings, "It holds 7 volumes; the first one was read" );
}

TEST( Nifti, SaysWhatIsWrong )
{
    const auto little = std::endian::little;
    const auto good = header1( 2, little ) + sixty<uint8_t>();
    const auto with = [&]( size_t offset, auto value )
    {
        auto bytes = good;
        put( bytes, offset, value, little );
        return refusal( bytes );
    };
    EXPECT_EQ( refusal( "nonsense" ), "It has no header of NIfTI" );
    EXPECT_EQ( refusal( good.substr( 0, 400 ) ), "It is cut off: only 4 of its 5 slices are whole" );
    EXPECT_EQ( refusal( gzipped( good ).substr( 0, 60 ) ), "Its packed data is cut off" );
    auto damaged = gzipped( good );
    for ( size_t i = 20; i < 40; ++i )
        damaged[i] = char( 0xff );
    EXPECT_EQ( refusal( damaged ), "Its packed data is damaged" );
    EXPECT_EQ( with( 40, int16_t( 9 ) ), "It claims 9 axes; there have to be 1 to 7" );
    EXPECT_EQ( with( 42, int16_t( -5 ) ), "It claims -5 voxels along axis 1; there have to be 1 to 1048576" );
    EXPECT_EQ( with( 70, int16_t( 1536 ) ), "Its kind of voxel (number 1536) cannot be read" );
    EXPECT_EQ( with( 108, std::nanf( "" ) ), "It claims that its voxels begin beyond every file" );
    EXPECT_EQ( with( 108, 4000.f ), "It is cut off: only 0 of its 5 slices are whole" );
    auto turned = good;
    put<int16_t>( turned, 254, 1, little );
    put<float>( turned, 280, std::nanf( "" ), little );
    EXPECT_EQ( refusal( turned ), "The spacing, the directions or the origin of its voxels make no sense" );
    auto flat = good;
    put<int16_t>( flat, 254, 1, little );
    EXPECT_EQ( refusal( flat ), "The spacing, the directions or the origin of its voxels make no sense" );
}

TEST( Nifti, AllocatesNothingThatIsOnlyClaimed )
{
    auto bytes = header1( 16, std::endian::little );
    for ( size_t i = 42; i < 48; i += 2 )
        put<int16_t>( bytes, i, 32767, std::endian::little );
    EXPECT_EQ( refusal( bytes ), "It claims 32767 x 32767 x 32767 voxels, more than the 69 GB that can be opened" );
    // 1.3 GB, a thousandth of it packed.
    auto large = header1( 2, std::endian::little );
    for ( size_t i = 42; i < 48; i += 2 )
        put<int16_t>( large, i, 1100, std::endian::little );
    EXPECT_EQ( refusal( gzipped( large + std::string( 1'000'000, '\0' ) ) ),
        "It is cut off: only 0 of its 1100 slices are whole" );
}

TEST( Nifti, StopsWhenAsked )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a.nii", header1( 2, std::endian::little ) + sixty<uint8_t>() );
    const auto loaded = loadObjectFromFile( file, []( float ) { return false; } );
    ASSERT_FALSE( loaded );
    EXPECT_EQ( loaded.error(), cOperationCanceled );
}
