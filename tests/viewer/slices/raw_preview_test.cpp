#include "support/ScratchFolder.h"

#include <VXViewer/slices/RawPreview.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// 4 x 3 x 2 voxels of 8 bits that count from 0, under a name that tells it.
class RawPreviews : public testing::Test
{
protected:
    std::filesystem::path file( const std::string& name, size_t bytes = 24 )
    {
        std::string text;
        for ( size_t i = 0; i < bytes; ++i )
            text += char( i );
        return folder_.write( name, text );
    }
    static double firstOf( RawPreview& preview ) { return preview.picture()->stored( { 0, 0, 0 } ); }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( RawPreviews, BeginWithWhatTheNameTells )
{
    RawPreview preview( file( "a_4x3x2_uint8.raw" ) );
    EXPECT_EQ( preview.raw().size, ( VoxelIndex{ 4, 3, 2 } ) );
    EXPECT_EQ( describe( preview.raw() ), "4 x 3 x 2, 8 bit unsigned" );
    EXPECT_EQ( preview.problem(), "" );
    EXPECT_EQ( preview.slice(), 1 );
    EXPECT_EQ( firstOf( preview ), 12 );
    EXPECT_EQ( preview.picture()->size(), ( VoxelIndex{ 4, 3, 1 } ) );
    EXPECT_GT( preview.picture()->meaning().window.width, 0 );
}

TEST_F( RawPreviews, ShowTheSliceThatIsLookedAtAsItIsDescribed )
{
    RawPreview preview( file( "a_4x3x2_uint8.raw" ) );
    preview.look( -5 );
    EXPECT_EQ( preview.slice(), 0 );
    EXPECT_EQ( firstOf( preview ), 0 );
    auto raw = preview.raw();
    raw.headerBytes = 3;
    raw.size = { 5, 2, 2 };
    preview.describe( raw );
    EXPECT_EQ( firstOf( preview ), 3 );
    preview.look( 9 );
    EXPECT_EQ( preview.slice(), 1 );
    EXPECT_EQ( firstOf( preview ), 13 );
    raw.type = VoxelType::UInt16;
    raw.size = { 2, 2, 2 };
    raw.order = std::endian::big;
    preview.describe( raw );
    EXPECT_EQ( firstOf( preview ), 11 * 256 + 12 );
    EXPECT_EQ( describe( preview.raw() ), "2 x 2 x 2, 16 bit unsigned, big endian" );
}

TEST_F( RawPreviews, SayWhenTheFileIsTooShort )
{
    RawPreview preview( file( "a_4x3x2_uint8.raw", 20 ) );
    auto raw = preview.raw();
    raw.size = { 4, 3, 2 };
    raw.type = VoxelType::UInt8;
    raw.headerBytes = 0;
    preview.describe( raw );
    EXPECT_EQ( preview.problem(), "The file is 4 bytes too short" );
    EXPECT_FALSE( preview.picture() );
    raw.size = { 1 << 20, 1 << 20, 1 << 20 };
    preview.describe( raw );
    EXPECT_EQ( preview.problem(), "These are more voxels than can be opened" );
}

TEST_F( RawPreviews, HoldWhatIsSaidToWhatCanBe )
{
    RawPreview preview( file( "a_4x3x2_uint8.raw" ) );
    preview.describe( { .size = { 0, -4, 1 << 30 }, .headerBytes = 1000, .spacing = { 0, -1, 1e300 } } );
    EXPECT_EQ( preview.raw().size, ( VoxelIndex{ 1, 1, 1 << 20 } ) );
    EXPECT_EQ( preview.raw().headerBytes, 24u );
    EXPECT_EQ( preview.raw().spacing, ( Vector3d{ 1e-6, 1e-6, 1e6 } ) );
}

TEST_F( RawPreviews, AFileThatIsNotThereHasNothing )
{
    RawPreview preview( folder_.path() / "none.raw" );
    EXPECT_EQ( preview.fileBytes(), 0u );
    EXPECT_EQ( preview.problem(), "The file is 1 bytes too short" );
    EXPECT_FALSE( preview.picture() );
}
