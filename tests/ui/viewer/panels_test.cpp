#include "support/TestMeshes.h"
#include "support/ui/UiFixture.h"

#include <VXViewer/draw/Camera.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

struct Screen
{
    int width, height;
    float scale;
};

class Panels : public Testing::UiFixture, public testing::WithParamInterface<Screen>
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        resize( GetParam() );
    }
    void resize( const Screen& screen )
    {
        window().resize( screen.width, screen.height, screen.scale );
        settle();
    }
    /// Windows that reach over an edge of the viewport, each by its name.
    static std::string outside()
    {
        std::string out;
        const ImVec2 display = ImGui::GetIO().DisplaySize;
        for ( const ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        {
            const ImVec2 low = window->Pos, high{ low.x + window->Size.x, low.y + window->Size.y };
            const bool inside = low.x >= 0 && low.y >= 0 && high.x <= display.x + 1 && high.y <= display.y + 1;
            if ( window->Active && !window->Hidden && !( window->Flags & ImGuiWindowFlags_ChildWindow ) && !inside )
                out += std::string( window->Name ) + " ";
        }
        return out;
    }
};

} // namespace

TEST_P( Panels, DialogsOfToolsStayInside )
{
    for ( const char* tool : { "Viewer settings", "Create Simple Objects", "Measure distance", "Select Primitives" } )
    {
        openCube();
        pressTool( tool );
        EXPECT_EQ( outside(), "" ) << tool;
        press( GLFW_KEY_ESCAPE );
    }
}

TEST_P( Panels, ADialogFollowsAWindowThatGetsSmaller )
{
    resize( { 2560, 1600, 1 } );
    pressTool( "Viewer settings" );
    resize( GetParam() );
    EXPECT_EQ( outside(), "" );
}

TEST_P( Panels, DialogsThatHaveToBeAnsweredStayInside )
{
    for ( const int way : { 0, 1, 2, 3 } )
    {
        if ( way == 0 )
            press( GLFW_KEY_F1 );
        else if ( way == 1 )
            press( GLFW_KEY_O, GLFW_MOD_CONTROL );
        else if ( way == 2 )
            menu_->getToolbar().openCustomize();
        else
            pressTool( "Mouse help" );
        drawFrames( 4 );
        EXPECT_TRUE( menu_->isModalShown() ) << way;
        EXPECT_EQ( outside(), "" ) << way;
        press( GLFW_KEY_ESCAPE );
    }
}

TEST_P( Panels, FoundToolsStayInside )
{
    press( GLFW_KEY_F, GLFW_MOD_CONTROL );
    type( "e" );
    drawFrames( 3 );
    // The narrowest ribbon has no room for the field.
    EXPECT_EQ( isWindowShown( "##searchResults" ), float( GetParam().width ) / GetParam().scale > 400 );
    EXPECT_EQ( outside(), "" );
}

TEST_P( Panels, NotificationsStayInsideAndTheNewestIsSeen )
{
    for ( int i = 0; i < 30; ++i )
        menu_->pushNotification( { .header = "Note " + std::to_string( i ),
            .text = std::string( 200, 'x' ) + " and some words that have to be wrapped at the end of the line",
            .type = NotificationType::Info,
            .lifeTimeSec = 0 } );
    drawFrames( 6 );
    EXPECT_EQ( outside(), "" );
    EXPECT_TRUE( isWindowShown( "##notification29" ) );
    EXPECT_FALSE( isWindowShown( "##notification0" ) );
    EXPECT_EQ( menu_->notificationCount(), 30u );
}

INSTANTIATE_TEST_SUITE_P( Sizes, Panels,
    testing::Values( Screen{ 1280, 800, 1 }, Screen{ 640, 400, 1 }, Screen{ 1280, 800, 2 }, Screen{ 640, 400, 2 },
        Screen{ 3840, 2160, 2 } ),
    []( const auto& info )
    {
        const Screen& screen = info.param;
        return std::to_string( screen.width ) + "x" + std::to_string( screen.height ) + "at" +
               std::to_string( int( screen.scale ) );
    } );

using WindowChanges = Testing::UiFixture;

TEST_F( WindowChanges, KeepTheModelInTheMiddleAndWhole )
{
    openCube();
    const auto middle = [this]
    {
        const auto covered = menu_->coveredPixels();
        const auto at = viewer().camera().project( viewer().sceneRoot().treeBox().center() );
        return Vector2f{ ( at.x - covered.x ) / ( float( window().width() ) - covered.x ),
            ( at.y - covered.y ) / ( float( window().height() ) - covered.y ) };
    };
    const auto before = middle();
    for ( const auto& [width, height, scale] :
        { Screen{ 2560, 1440, 1 }, { 3840, 2160, 2 }, { 700, 1200, 1 }, { 1280, 800, 1 } } )
    {
        window().resize( width, height, scale );
        settle();
        EXPECT_NEAR( middle().x, before.x, 0.04f ) << width;
        EXPECT_NEAR( middle().y, before.y, 0.04f ) << width;
        for ( const auto& corner : viewer().sceneRoot().treeBox().corners() )
        {
            const auto at = viewer().camera().project( corner );
            EXPECT_GT( at.x, menu_->coveredPixels().x );
            EXPECT_LT( at.x, float( width ) );
        }
    }
}

using FileDialogCursor = Testing::UiFixture;

TEST_F( FileDialogCursor, IsOneForKeyboardAndMouse )
{
    for ( const char* name : { "a.vxu", "b.vxu", "c.vxu", "d.vxu" } )
        folder_.write( name, Testing::cubeFile() );
    press( GLFW_KEY_O, GLFW_MOD_CONTROL );
    for ( int i = 0; i < 3; ++i )
        press( GLFW_KEY_DOWN );
    auto& context = *ImGui::GetCurrentContext();
    EXPECT_TRUE( context.NavId == 0 || context.NavDisableHighlight ) << "a second cursor is drawn";
    // Tab or a click may give the list the keyboard; the arrows still move the one cursor.
    click( windowPointFromTop( "##entries", 60, 20 ) );
    press( GLFW_KEY_DOWN );
    EXPECT_TRUE( context.NavId == 0 || context.NavDisableHighlight ) << "a second cursor is drawn";
}
