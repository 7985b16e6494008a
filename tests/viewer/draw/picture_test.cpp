#include "support/ScratchFolder.h"

#include <VXViewer/draw/FramebufferPixels.h>

#include <gtest/gtest.h>
#include <stb/stb_image.h>

using namespace VX;

namespace
{

using Bytes = std::vector<uint8_t>;

Bytes pictureOf( int width, int height, int channels, Bytes pixels )
{
    Image image{ width, height, std::move( pixels ), channels };
    makePicture( image );
    return image.pixels;
}

/// What another program finds in a file.
Image readPng( const std::filesystem::path& file )
{
    Image out;
    stbi_uc* pixels = stbi_load( file.c_str(), &out.width, &out.height, &out.channels, 0 );
    EXPECT_TRUE( pixels ) << stbi_failure_reason();
    if ( pixels )
        out.pixels.assign( pixels, pixels + out.width * out.height * out.channels );
    stbi_image_free( pixels );
    return out;
}

} // namespace

TEST( Picture, BeginsWithTheUpperRow )
{
    EXPECT_EQ( pictureOf( 1, 3, 3, { 1, 2, 3, 4, 5, 6, 7, 8, 9 } ), ( Bytes{ 7, 8, 9, 4, 5, 6, 1, 2, 3 } ) );
    EXPECT_EQ(
        pictureOf( 2, 2, 3, { 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4 } ), ( Bytes{ 3, 3, 3, 4, 4, 4, 1, 1, 1, 2, 2, 2 } ) );
    EXPECT_EQ( pictureOf( 1, 1, 3, { 1, 2, 3 } ), ( Bytes{ 1, 2, 3 } ) );
}

TEST( Picture, OfNoPixelsIsOne )
{
    EXPECT_TRUE( pictureOf( 0, 0, 4, {} ).empty() );
    EXPECT_TRUE( pictureOf( 3, 0, 3, {} ).empty() );
}

TEST( Picture, TakesTheBlackOutOfWhatIsTransparent )
{
    EXPECT_EQ( pictureOf( 1, 1, 4, { 50, 100, 25, 128 } ), ( Bytes{ 100, 199, 50, 128 } ) );
    EXPECT_EQ( pictureOf( 1, 1, 4, { 1, 2, 3, 255 } ), ( Bytes{ 1, 2, 3, 255 } ) );
    EXPECT_EQ( pictureOf( 1, 1, 4, { 1, 2, 3, 0 } ), ( Bytes{ 1, 2, 3, 0 } ) ) << "nothing to divide by";
    EXPECT_EQ( pictureOf( 1, 1, 4, { 200, 10, 11, 10 } ), ( Bytes{ 255, 255, 255, 10 } ) )
        << "round-off makes nothing brighter than white";
}

TEST( Picture, WithoutAlphaKeepsItsColors )
{
    // Four pixels of three channels, whose fourth bytes are no alpha.
    const Bytes row{ 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120 };
    EXPECT_EQ( pictureOf( 4, 1, 3, row ), row );
}

TEST( Picture, IsReadByOthersAsItWasWritten )
{
    const Testing::ScratchFolder folder;
    for ( const int channels : { 3, 4 } )
    {
        Image image{ 5, 3, {}, channels };
        for ( int i = 0; i < 5 * 3 * channels; ++i )
            image.pixels.push_back( uint8_t( i * 37 ) );
        const auto file = folder.path() / ( std::to_string( channels ) + " ü.png" );
        const auto saved = savePng( file, image );
        ASSERT_TRUE( saved ) << saved.error();
        const auto read = readPng( file );
        EXPECT_EQ( read.width, 5 );
        EXPECT_EQ( read.height, 3 );
        EXPECT_EQ( read.channels, channels );
        EXPECT_EQ( read.pixels, image.pixels );
    }
}

TEST( Picture, ReplacesAFileInOneStepAndLeavesNothingBeside )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "picture.png", "former" );
    ASSERT_TRUE( savePng( file, { 1, 1, { 1, 2, 3 } } ) );
    EXPECT_EQ( readPng( file ).pixels, ( Bytes{ 1, 2, 3 } ) );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( folder.path() ), {} ), 1 );
}

TEST( Picture, ThatHasTooFewPixelsIsNotWritten )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "picture.png", "former" );
    const auto saved = savePng( file, { 100, 100, { 1, 2, 3 } } );
    ASSERT_FALSE( saved );
    EXPECT_EQ( saved.error().rfind( "The picture cannot be encoded: ", 0 ), 0u ) << saved.error();
    EXPECT_EQ( Testing::readFile( file ), "former" );
    const auto empty = savePng( file, {} );
    ASSERT_FALSE( empty );
    EXPECT_EQ( empty.error().rfind( "The picture cannot be encoded: ", 0 ), 0u ) << empty.error();
}

TEST( Picture, NamesTheFileThatCannotBeWritten )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.path() / "nowhere" / "picture.png";
    const auto saved = savePng( file, { 1, 1, { 1, 2, 3 } } );
    ASSERT_FALSE( saved );
    EXPECT_NE( saved.error().find( file.string() ), std::string::npos ) << saved.error();
}
