#include "support/ui/UiFixture.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

class Scene : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        openCube();
    }
    Object& cube() { return *viewer().sceneRoot().children().at( 0 ); }
    Vector2f cubeOnScreen() { return viewer().camera().project( cube().treeBox().center() ); }
};

} // namespace

TEST_F( Scene, ShowsTheCubeBesideTheList )
{
    const auto with = frame();
    cube().setVisible( false );
    EXPECT_GT( difference( with, frame() ), 50'000u );
    EXPECT_GT( cubeOnScreen().x, 400 );
}

TEST_F( Scene, LeftDragTurnsTheView )
{
    const auto before = frame();
    drag( MouseButton::Left, { 700, 300 }, { 800, 360 } );
    EXPECT_GT( difference( before, frame() ), 10'000u );
    EXPECT_FALSE( cube().isSelected() );
}

TEST_F( Scene, RightDragMovesIt )
{
    const auto before = cubeOnScreen();
    drag( MouseButton::Right, { 700, 300 }, { 760, 340 } );
    EXPECT_NEAR( cubeOnScreen().x - before.x, 60, 2 );
    EXPECT_NEAR( cubeOnScreen().y - before.y, 40, 2 );
}

TEST_F( Scene, WheelZoomsAndStopsOverTheList )
{
    const auto revision = viewer().camera().revision();
    window().moveMouse( { 100, 400 } );
    settle();
    window().scroll( 1 );
    settle();
    EXPECT_EQ( viewer().camera().revision(), revision );
    window().moveMouse( { 700, 400 } );
    settle();
    window().scroll( 1 );
    settle();
    EXPECT_GT( viewer().camera().revision(), revision );
}

TEST_F( Scene, ClickSelectsAndAClickBesideItSelectsNothing )
{
    click( cubeOnScreen() );
    EXPECT_TRUE( cube().isSelected() );
    click( { 300, 700 } );
    EXPECT_FALSE( cube().isSelected() );
}

TEST_F( Scene, DeleteRemovesTheSelection )
{
    click( cubeOnScreen() );
    press( GLFW_KEY_DELETE );
    EXPECT_TRUE( viewer().sceneRoot().children().empty() );
}

TEST_F( Scene, DeletingAllOfAGroupDeletesTheGroupToo )
{
    auto outer = std::make_shared<Object>(), inner = std::make_shared<Object>(), second = cloneTree( cube() );
    inner->addChild( viewer().sceneRoot().children()[0] );
    outer->addChild( inner );
    outer->addChild( second );
    viewer().sceneRoot().addChild( outer );
    settle();
    settle();
    inner->children().at( 0 )->select( true );
    (void)frame();
    pressTool( "Delete Selection" );
    ASSERT_EQ( outer->children().size(), 1u ) << "what holds something stays";
    pressTool( "Undo" );
    pressTool( "Select all" );
    pressTool( "Delete Selection" );
    EXPECT_TRUE( viewer().sceneRoot().children().empty() );
    pressTool( "Undo" );
    ASSERT_EQ( viewer().sceneRoot().children().size(), 1u );
    EXPECT_EQ( outer->children().size(), 2u );
    EXPECT_EQ( inner->children().size(), 1u );
}

TEST_F( Scene, EyeInTheListHidesAndShows )
{
    const Vector2f row{ windowPoint( "##rows", 17, 0 ).x, windowPointFromTop( "##rows", 0, 14 ).y };
    click( row );
    EXPECT_FALSE( cube().isVisible() );
    click( row );
    EXPECT_TRUE( cube().isVisible() );
}

TEST_F( Scene, RowInTheListSelects )
{
    click( windowPointFromTop( "##rows", 100, 14 ) );
    EXPECT_TRUE( cube().isSelected() );
}

TEST_F( Scene, KeysChangeViewAndStyle )
{
    press( GLFW_KEY_7 );
    EXPECT_NEAR( viewer().camera().rotation().z.z, 1, 1e-5 );
    press( GLFW_KEY_5 );
    EXPECT_TRUE( viewer().camera().isOrthographic() );
    press( GLFW_KEY_E );
    EXPECT_FALSE( viewer().drawSettings().edges );
    press( GLFW_KEY_W );
    EXPECT_TRUE( viewer().drawSettings().wireframe );
}

TEST_F( Scene, PictureOfTheSceneHasNoInterfaceInIt )
{
    const auto picture = viewer().sceneImage();
    EXPECT_EQ( picture.width, 1280 );
    // The upper left corner is background, not menu bar: a slow gradient.
    EXPECT_NEAR( picture.pixels[0], picture.pixels[size_t( 30 ) * 1280 * 3], 12 );
}
