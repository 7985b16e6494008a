#include "support/ScratchFolder.h"
#include "support/voxels/SixtyVoxels.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/voxels/RawVolume.h>
#include <VXMesh/scene/ObjectVolume.h>

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Testing;

TEST( RawVolume, IsReadAsDescribed )
{
    const ScratchFolder folder;
    for ( const auto type : cAllVoxelTypes )
        for ( const auto order : { std::endian::little, std::endian::big } )
        {
            const auto voxels =
                withVoxelType( type, [&]<typename T>( T ) { return voxelBytes<T>( 60, order, sixtyNumber ); } );
            const RawVolume raw{
                .size = { 3, 4, 5 }, .type = type, .order = order, .headerBytes = 7, .spacing = { 0.5, 2, 3 } };
            for ( const auto& bytes : { "header:" + voxels, gzipped( "header:" + voxels ) } )
            {
                const auto read = readRaw( folder.write( "a.raw", bytes ), raw );
                ASSERT_TRUE( read ) << read.error();
                EXPECT_EQ( wrongOfSixty( read->volume ), 0u ) << nameOf( type );
                EXPECT_EQ( read->volume.grid().spacing, raw.spacing );
                EXPECT_EQ( read->warnings, "" );
            }
        }
}

TEST( RawVolume, SaysWhenTheFileDoesNotFit )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a.raw", std::string( 100, 'x' ) );
    const RawVolume large{ .size = { 3, 4, 5 }, .type = VoxelType::Int16, .headerBytes = 10 };
    EXPECT_EQ( readRaw( file, large ).error(),
        "It has 100 bytes, and 3 x 4 x 5 voxels of 16 bit signed after a header of 10 bytes take 130 bytes" );
    const auto small = readRaw( file, { .size = { 3, 4, 5 } } );
    ASSERT_TRUE( small );
    EXPECT_EQ( small->warnings, "40 bytes after its voxels were left out" );
    EXPECT_FALSE( readRaw( file, { .size = { 1 << 20, 1 << 20, 1 << 20 } } ) );
    EXPECT_FALSE( readRaw( file, { .size = { 0, 4, 5 } } ) );
    EXPECT_FALSE( readRaw( file, { .size = { 3, 4, 5 }, .spacing = { 0, 1, 1 } } ) );
    EXPECT_FALSE( readRaw( file, { .size = { 3, 4, 5 }, .headerBytes = UINT64_MAX } ) );
}

TEST( RawGuess, ReadsTheName )
{
    const auto guesses = guessRaw( "head_256x128x64_uint16_be_0.5x0.5x1.2mm.raw", 256 * 128 * 64 * 2 );
    ASSERT_EQ( guesses.candidates.size(), 1u );
    EXPECT_TRUE( guesses.isNamed );
    EXPECT_EQ( guesses.candidates[0], ( RawVolume{ .size = { 256, 128, 64 },
                                          .type = VoxelType::UInt16,
                                          .order = std::endian::big,
                                          .headerBytes = 0,
                                          .spacing = { 0.5, 0.5, 1.2 } } ) );
}

TEST( RawGuess, TakesTheTypeFromTheFilesSize )
{
    const auto guesses = guessRaw( "/data/foot 256x256x100.raw", 256 * 256 * 100 );
    ASSERT_FALSE( guesses.candidates.empty() );
    EXPECT_TRUE( guesses.isNamed );
    EXPECT_EQ( guesses.candidates[0].type, VoxelType::UInt8 );
    EXPECT_FALSE( guessRaw( "a_256x256x100_u16.raw", 256 * 256 * 100 * 2 + 5 ).isNamed );
    EXPECT_EQ( guessRaw( "a_256x256x100_u16.raw", 256 * 256 * 100 * 2 + 5 ).candidates.at( 0 ).headerBytes, 5u );
    EXPECT_TRUE( guessRaw( "a_256x256x100_u16.raw", 256 ).candidates.empty() );
}

TEST( RawGuess, KnowsUsualSizes )
{
    const auto cube = guessRaw( "what.raw", 100 * 100 * 100 );
    ASSERT_FALSE( cube.candidates.empty() );
    EXPECT_FALSE( cube.isNamed );
    EXPECT_EQ( cube.candidates[0].size, ( VoxelIndex{ 100, 100, 100 } ) );
    EXPECT_EQ( cube.candidates[0].type, VoxelType::UInt8 );
    const auto slices = guessRaw( "what.raw", uint64_t( 512 ) * 512 * 133 * 2 );
    ASSERT_FALSE( slices.candidates.empty() );
    EXPECT_EQ( slices.candidates[0].size, ( VoxelIndex{ 512, 512, 133 } ) );
    EXPECT_EQ( slices.candidates[0].type, VoxelType::UInt16 );
    for ( const auto& raw : slices.candidates )
        EXPECT_EQ( raw.fileBytes(), uint64_t( 512 ) * 512 * 133 * 2 );
    EXPECT_TRUE( guessRaw( "what.raw", 0 ).candidates.empty() );
    EXPECT_TRUE( guessRaw( "what.raw", 17 ).candidates.empty() );
}

TEST( RawFile, OpensByItsNameAlone )
{
    const ScratchFolder folder;
    const auto bytes = voxelBytes<uint8_t>( 60, std::endian::little, sixtyNumber );
    const auto loaded = loadObjectFromFile( folder.write( "part_3x4x5_uint8.raw", bytes ) );
    ASSERT_TRUE( loaded ) << loaded.error();
    const auto object = std::dynamic_pointer_cast<ObjectVolume>( loaded->objects.at( 0 ) );
    ASSERT_TRUE( object );
    EXPECT_EQ( wrongOfSixty( *object->volume() ), 0u );
    const auto unnamed = loadObjectFromFile( folder.write( "part.raw", bytes ) );
    ASSERT_FALSE( unnamed );
    EXPECT_EQ( unnamed.error(), "Cannot read \"part.raw\": its name does not tell the size and the type of its "
                                "voxels, as \"head_256x256x128_uint16.raw\" does" );
}
