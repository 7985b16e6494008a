#include "support/voxels/TestVolumes.h"
#include "ui/viewer/RibbonFixture.h"

#include <VXMesh/scene/ObjectVolume.h>
#include <VXViewer/history/HistoryStore.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui.h>

using namespace VX;

namespace
{

constexpr VoxelIndex cSize{ 40, 40, 40 };

/// A volume that is opened from a file, with a bright block in one of its corners.
class SlicesTest : public Testing::RibbonFixture
{
protected:
    void openBlock()
    {
        const auto file = Testing::nrrdOf(
            cSize, []( const VoxelIndex& at ) { return at[0] < 20 && at[1] < 20 && at[2] < 20 ? 200 : at[0]; } );
        opener_->open( { folder_.write( "block.nrrd", file ) } );
        turnUntil( [this] { return objects() == 1; } );
        settle();
    }
    /// The file behind the folder of the settings.
    void chooseFirst()
    {
        pressTool( "Open RAW voxels" );
        for ( const int key : { GLFW_KEY_DOWN, GLFW_KEY_DOWN, GLFW_KEY_ENTER } )
            press( key );
    }
    ObjectVolume& volume() { return dynamic_cast<ObjectVolume&>( cube() ); }
    /// The middle of a pane; they share what is between the name and the value.
    static Vector2f middleOf( int pane )
    {
        const auto low = windowPointFromTop( "##slices", 0, 0 ), high = windowPoint( "##slices", 0, 0 );
        const float top = low.y + 30, bottom = high.y - 108;
        return { ( low.x + high.x ) / 2, top + ( bottom - top ) * ( float( pane ) + 0.5f ) / 3 };
    }
    void scroll( Vector2f place, float steps )
    {
        window().moveMouse( place );
        settle();
        window().scroll( steps );
        settle();
    }
    double width() { return volume().volume()->meaning().window.width; }
    double center() { return volume().volume()->meaning().window.center; }
};

} // namespace

TEST_F( SlicesTest, ComeWithTheFirstVolumeThatIsOpened )
{
    const auto covered = menu_->coveredPixels();
    openBlock();
    EXPECT_TRUE( isActive( "Slices" ) );
    EXPECT_TRUE( isWindowShown( "##slices" ) );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 20, 20 } ) );
    const float panel = menu_->coveredPixels().x - covered.x;
    EXPECT_GT( panel, 200 );
    const auto box = volume().treeBox();
    for ( int corner = 0; corner < 8; ++corner )
    {
        const Vector3d at{ corner & 1 ? box.min.x : box.max.x, corner & 2 ? box.min.y : box.max.y,
            corner & 4 ? box.min.z : box.max.z };
        EXPECT_GT( viewer().camera().project( at ).x, menu_->coveredPixels().x )
            << "all of it is seen beside the panel";
    }
    pressTool( "Slices" );
    EXPECT_FALSE( isWindowShown( "##slices" ) );
    EXPECT_EQ( menu_->coveredPixels().x, covered.x );
}

TEST_F( SlicesTest, TheirNameStandsBelowTheToolbarWhereTheWindowIsNarrow )
{
    openBlock();
    const auto lowerEdge = [] { return windowPoint( "##toolbar", 0, 0 ).y; };
    EXPECT_LT( windowPointFromTop( "##activeTools", 0, 0 ).y, lowerEdge() );
    window().resize( 1024, 700 );
    settle();
    EXPECT_GE( windowPointFromTop( "##activeTools", 0, 0 ).y, lowerEdge() );
}

TEST_F( SlicesTest, WantAVolume )
{
    openCube();
    pressTool( "Slices" );
    EXPECT_FALSE( isActive( "Slices" ) );
    EXPECT_EQ( menu_->notificationCount(), 1u );
}

TEST_F( SlicesTest, APressMovesTheCursorOfAllThree )
{
    openBlock();
    const auto before = frame();
    const auto at = middleOf( 0 );
    click( at );
    const auto first = volume().cursor();
    EXPECT_NEAR( first[0], 20, 1 );
    EXPECT_NEAR( first[1], 20, 1 );
    EXPECT_EQ( first[2], 20 );
    click( at + Vector2f{ -40, -20 } );
    const auto second = volume().cursor();
    EXPECT_LT( second[0], first[0] - 5 );
    EXPECT_LT( second[1], first[1] - 2 );
    EXPECT_EQ( second[2], 20 ) << "of the axial slice";
    EXPECT_GT( difference( before, frame() ), 3000u ) << "the others go through it, in the scene, too";
    click( middleOf( 1 ) + Vector2f{ 20, -30 } );
    EXPECT_GT( volume().cursor()[2], 23 ) << "the head is at the top";
    EXPECT_EQ( volume().cursor()[1], second[1] );
}

TEST_F( SlicesTest, WheelAndKeysGoFromSliceToSlice )
{
    openBlock();
    scroll( middleOf( 0 ), 1 );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 20, 21 } ) );
    press( GLFW_KEY_PAGE_DOWN );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 20, 11 } ) );
    press( GLFW_KEY_UP );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 20, 12 } ) );
    scroll( middleOf( 1 ), -3 );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 17, 12 } ) );
    scroll( middleOf( 2 ), 1000 );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 39, 17, 12 } ) ) << "no further than the last";
}

TEST_F( SlicesTest, ADragWithTheRightButtonChangesWhatIsShown )
{
    openBlock();
    const double wide = width(), middle = center();
    const auto voxels = volume().volume()->bricks();
    const auto at = middleOf( 0 );
    drag( MouseButton::Right, at, at + Vector2f{ 50, 0 } );
    EXPECT_GT( width(), wide * 1.2 );
    EXPECT_NEAR( center(), middle, wide * 0.02 );
    drag( MouseButton::Right, at, at + Vector2f{ 0, 30 } );
    EXPECT_LT( center(), middle - wide * 0.1 );
    EXPECT_EQ( volume().volume()->bricks(), voxels ) << "no voxel is copied";
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 20, 20 } ) );
}

TEST_F( SlicesTest, OneCanHaveTheWholePanel )
{
    openBlock();
    // However slow the machine is.
    ImGui::GetIO().MouseDoubleClickTime = 60;
    const auto before = windowImage( "##slices" );
    const auto at = middleOf( 1 );
    click( at );
    click( at );
    EXPECT_GT( difference( before, windowImage( "##slices" ) ), 20'000u );
    // Where the third one was, the second is.
    const int slice = volume().cursor()[0];
    scroll( middleOf( 2 ), 1 );
    EXPECT_EQ( volume().cursor()[0], slice );
}

TEST_F( SlicesTest, ZoomIsForThePaneAlone )
{
    openBlock();
    const auto at = middleOf( 0 );
    window().moveMouse( at );
    settle();
    const auto before = frame();
    const auto cursor = volume().cursor();
    window().pressKey( GLFW_KEY_LEFT_CONTROL, true, GLFW_MOD_CONTROL );
    window().scroll( 5 );
    settle();
    window().pressKey( GLFW_KEY_LEFT_CONTROL, false );
    settle();
    EXPECT_EQ( volume().cursor(), cursor );
    EXPECT_GT( difference( before, frame() ), 500u );
}

TEST_F( SlicesTest, AFileOfBareVoxelsIsAskedAbout )
{
    folder_.write( "bare.bin", std::string( 64 * 64 * 64, 'v' ) );
    chooseFirst();
    ASSERT_TRUE( isActive( "Raw voxels" ) );
    EXPECT_TRUE( isWindowShown( "Open raw voxels" ) );
    press( GLFW_KEY_ENTER );
    turnUntil( [this] { return objects() == 1; } );
    settle();
    EXPECT_FALSE( isActive( "Raw voxels" ) );
    EXPECT_TRUE( isActive( "Slices" ) );
    EXPECT_EQ( volume().name(), "bare" );
    const auto& size = volume().volume()->size();
    EXPECT_EQ( size[0] * size[1] * size[2] * int( sizeOf( volume().volume()->type() ) ), 64 * 64 * 64 )
        << "the likeliest";
    EXPECT_EQ( viewer().getHistoryStore()->getLastActionName( HistoryAction::Type::Undo ), "Open raw voxels" );
}

TEST_F( SlicesTest, NobodyHasToDescribeAFile )
{
    folder_.write( "bare.bin", std::string( 100, 'v' ) );
    chooseFirst();
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isActive( "Raw voxels" ) );
    EXPECT_FALSE( isWindowShown( "Open raw voxels" ) );
    EXPECT_EQ( objects(), 0u );
    // Other files are for this question alone.
    press( GLFW_KEY_O, GLFW_MOD_CONTROL );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( isWindowShown( "Open files" ) ) << "it is in the folder now, not at the file";
}

TEST_F( SlicesTest, EndWithTheLastVolume )
{
    openBlock();
    pressTool( "Select all" );
    pressTool( "Delete Selection" );
    EXPECT_FALSE( isActive( "Slices" ) );
    EXPECT_FALSE( isWindowShown( "##slices" ) );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( objects(), 1u );
    EXPECT_EQ( volume().cursor(), ( VoxelIndex{ 20, 20, 20 } ) );
}

TEST_F( SlicesTest, AreSeenAndPickedInTheScene )
{
    openBlock();
    const auto center = volume().treeBox().center();
    const auto at = viewer().camera().project( center );
    EXPECT_EQ( viewer().pick( at ), &volume() );
    click( at );
    EXPECT_TRUE( volume().isSelected() );
    const auto with = viewer().sceneImage();
    volume().setVisible( false );
    EXPECT_GT( difference( with, viewer().sceneImage() ), 20'000u );
    EXPECT_EQ( viewer().pick( at ), nullptr );
}
