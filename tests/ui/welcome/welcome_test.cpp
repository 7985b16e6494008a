#include "support/ui/LoggedFixture.h"
#include "support/ui/ShownText.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/welcome/WelcomeWindow.h>
#include <VXOrvanta/welcome/YoutubeLogo.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

class Welcome : public Testing::LoggedFixture
{
protected:
    [[nodiscard]] std::string settings() const override { return R"({"telemetryDisclaimerModalShowed":0})"; }
    [[nodiscard]] WelcomeWindow& welcome() { return OrvantaMenuTestAccess::welcomeWindow( *menu_ ); }
    [[nodiscard]] static bool isShown() { return isWindowShown( "##DragDropArea" ); }
    /// Place and size of a panel.
    static ImVec4 panel( const char* name )
    {
        const auto* window = ImGui::FindWindowByName( name );
        EXPECT_TRUE( window && window->Active ) << name;
        return window ? ImVec4{ window->Pos.x, window->Pos.y, window->Size.x, window->Size.y } : ImVec4{};
    }
    /// The middle of the free area.
    [[nodiscard]] Vector2f middle() const
    {
        const float s = menu_->menu_scaling();
        const auto* shown = viewer().window();
        return { ( menu_->getSceneListWidth() + float( shown->width() ) ) * 0.5f,
            ( menu_->getTopPanelHeight() * s + float( shown->height() ) ) * 0.5f };
    }
    void clearScene()
    {
        SceneEdits::remove( "Delete", SceneCache::getAllObjects<Object, ObjectSelectivityType::Selectable>() );
        (void)frame();
    }
    void tickOnStartup() { click( windowPointFromTop( "##CheckboxWindow", 26, 24 ) ); }
};

void expectPanel( ImVec4 panel, Vector2f middle, Vector2f offset, Vector2f size, float s )
{
    EXPECT_NEAR( panel.x, middle.x + offset.x * s, 1 );
    EXPECT_NEAR( panel.y, middle.y + offset.y * s, 1 );
    EXPECT_NEAR( panel.z, size.x * s, 1 );
    EXPECT_NEAR( panel.w, size.y * s, 1 );
}

} // namespace

TEST( WelcomeChoice, IsToShowItWhereNobodyHasChosen )
{
    const WelcomeWindow window;
    EXPECT_TRUE( window.isShownOnStartup() );
    EXPECT_TRUE( window.isVisible() );
}

TEST_F( Welcome, FirstFrameWithItHasNoHintBehindIt )
{
    const auto config = menu_->getOrvantaMenuConfig();
    auto without = config;
    without.drawWelcomeWindow = false;
    const auto before = frame();
    menu_->setOrvantaMenuConfig( without );
    EXPECT_GT( difference( before, frame() ), 0u ) << "the hint alone";
    menu_->setOrvantaMenuConfig( config );
    drawFrames( 1 );
    EXPECT_EQ( difference( before, viewer().frameImage() ), 0u );
}

TEST_F( Welcome, WhereItIsNotShownThereIsTheHint )
{
    const auto isHintShown = [this]
    {
        (void)frame();
        return Testing::shownText( "" ).find( "Drop a file here" ) != std::string::npos;
    };
    EXPECT_FALSE( isHintShown() );
    window().resize( 800, 600 );
    EXPECT_TRUE( isHintShown() ) << "too little room for it";
    window().resize( 1280, 800 );
    EXPECT_FALSE( isHintShown() );
    menu_->setOrvantaMenuConfig( { .drawWelcomeWindow = false } );
    EXPECT_TRUE( isHintShown() ) << "it is switched off";
    menu_->setOrvantaMenuConfig( {} );
    EXPECT_FALSE( isHintShown() );
    welcome().setShowOnStartup( false, true );
    EXPECT_TRUE( isHintShown() ) << "nobody wants it";
}

TEST_F( Welcome, PanelsStandAroundTheMiddleOfTheFreeAreaAtEveryScale )
{
    for ( const float s : { 0.5f, 1.f, 1.5f, 2.f, 3.f } )
    {
        window().resize( int( 1400 * s ), int( 900 * s ), s );
        (void)frame();
        ASSERT_TRUE( isShown() ) << s;
        EXPECT_EQ( menu_->menu_scaling(), s );
        expectPanel( panel( "##DragDropArea" ), middle(), { -433, -238 }, { 425, 476 }, s );
        expectPanel( panel( "##Quickstart" ), middle(), { 8, -238 }, { 425, 230 }, s );
        expectPanel( panel( "##CreateSimpleObject" ), middle(), { 8, 8 }, { 425, 230 }, s );
        const auto checkbox = panel( "##CheckboxWindow" );
        EXPECT_NEAR( checkbox.x, middle().x - 433 * s, 1 );
        EXPECT_NEAR( checkbox.y, middle().y + 238 * s, 1 );
        EXPECT_NEAR( checkbox.z, 425 * s, 1 );
    }
}

TEST_F( Welcome, IsPendingWhereThereIsOnePixelTooLittle )
{
    const int left = int( menu_->getSceneListWidth() ), top = int( menu_->getTopPanelHeight() );
    const auto shownAt = [&]( int width, int height )
    {
        window().resize( left + width, top + height );
        (void)frame();
        return isShown();
    };
    EXPECT_TRUE( shownAt( 898, 540 ) );
    EXPECT_FALSE( shownAt( 897, 540 ) );
    EXPECT_TRUE( welcome().isVisible() ) << "it is not hidden";
    EXPECT_FALSE( shownAt( 898, 539 ) );
    EXPECT_TRUE( shownAt( 898, 540 ) ) << "it comes back when the window grows";
}

TEST_F( Welcome, HidesForAnObjectAndReturnsToAnEmptyScene )
{
    EXPECT_TRUE( isShown() );
    openCube();
    (void)frame();
    EXPECT_FALSE( isShown() );
    clearScene();
    EXPECT_TRUE( isShown() );
}

TEST_F( Welcome, HidesWhileAToolIsAtWork )
{
    pressTool( "Privacy" );
    (void)frame();
    EXPECT_FALSE( isShown() );
    pressTool( "Privacy" );
    (void)frame();
    EXPECT_TRUE( isShown() );
}

TEST_F( Welcome, UntickedItStaysUntilAnObjectComesAndThenIsGone )
{
    tickOnStartup();
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{ "Welcome Screen Disabled" } );
    EXPECT_FALSE( Config::instance().getBool( "cShowWelcomeWindow", true ) );
    EXPECT_TRUE( isShown() ) << "for the rest of this run";
    tickOnStartup();
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
    EXPECT_TRUE( Config::instance().getBool( "cShowWelcomeWindow", false ) );
    tickOnStartup();
    openCube();
    (void)frame();
    clearScene();
    EXPECT_FALSE( isShown() );
    welcome().setShowOnStartup( true, true );
    (void)frame();
    EXPECT_TRUE( isShown() );
    welcome().setShowOnStartup( true, true );
    EXPECT_TRUE( welcome().isVisible() ) << "nothing new, so nothing changes";
    welcome().setShowOnStartup( false, false );
    EXPECT_TRUE( welcome().isVisible() );
}

TEST_F( Welcome, ChoiceIsKeptForTheNextStart )
{
    tickOnStartup();
    restart();
    EXPECT_FALSE( welcome().isShownOnStartup() );
    EXPECT_FALSE( welcome().isVisible() );
    EXPECT_FALSE( isShown() );
}

TEST_F( Welcome, StoredChoicesOfOtherTypesAreNone )
{
    for ( const char* value : { "\"no\"", "0", "null", "[]", "{}" } )
    {
        folder_.write( "Orvanta/config.json",
            std::string( R"({"telemetryDisclaimerModalShowed":0,"cShowWelcomeWindow":)" ) + value + "}" );
        restart();
        EXPECT_TRUE( welcome().isShownOnStartup() ) << value;
    }
}

TEST_F( Welcome, SignInHasTheScreenForItself )
{
    menu_->signOut();
    (void)frame();
    EXPECT_FALSE( isShown() );
}

TEST_F( Welcome, CreateObjectStartsTheToolAndIsReported )
{
    click( windowPointFromTop( "##CreateSimpleObject", 90, 188 ) );
    EXPECT_TRUE( isActive( "Create Simple Objects" ) );
    EXPECT_EQ( SessionLogsTestAccess::take(),
        ( Names{ "Welcome Screen: \"Create Object\" Clicked", "Tool Activated: Create Simple Objects" } ) );
    (void)frame();
    EXPECT_FALSE( isShown() );
}

TEST_F( Welcome, AnObjectThatWasMadeAndDeletedLeavesNothingBehind )
{
    (void)frame();
    const auto before = viewer().sceneImage();
    click( windowPointFromTop( "##CreateSimpleObject", 90, 188 ) );
    press( GLFW_KEY_ENTER );
    ASSERT_EQ( viewer().sceneRoot().children().size(), 1u );
    EXPECT_GT( difference( before, viewer().sceneImage() ), 10000u );
    clearScene();
    EXPECT_TRUE( isShown() );
    EXPECT_LT( difference( before, viewer().sceneImage() ), 100u );
}

TEST_F( Welcome, WithoutTheToolTheButtonIsOnlyReported )
{
    const auto item = RibbonSchemaHolder::findItem( "Create Simple Objects" );
    RibbonSchemaHolder::removeItem( "Create Simple Objects" );
    click( windowPointFromTop( "##CreateSimpleObject", 90, 188 ) );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{ "Welcome Screen: \"Create Object\" Clicked" } );
    RibbonSchemaHolder::addItem( item );
}

TEST_F( Welcome, ShapesOnlyIllustrate )
{
    for ( const float x : { 305.f, 377.f } )
        for ( const float y : { 65.f, 123.f, 181.f } )
            click( windowPointFromTop( "##CreateSimpleObject", x, y ) );
    EXPECT_TRUE( isShown() );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
    EXPECT_TRUE( viewer().sceneRoot().children().empty() );
}

TEST_F( Welcome, VideoIsReported )
{
    click( windowPointFromTop( "##Quickstart", 90, 188 ) );
    EXPECT_EQ(
        SessionLogsTestAccess::take(), ( Names{ "Welcome Screen: \"Watch Video\" Clicked", "Error Notification" } ) )
        << "there is no browser here, and that is told";
}

TEST_F( Welcome, EverythingOnItIsInTheRibbonToo )
{
    for ( const char* name : { "Open files", "Quickstart video", "Create Simple Objects", "Viewer settings" } )
        EXPECT_TRUE( RibbonSchemaHolder::findItem( name ) ) << name;
}

TEST_F( Welcome, EntryOfTheSettingsMirrorsTheChoice )
{
    ShowWelcomeWindowSetting setting( "Show Welcome Window", &welcome() );
    EXPECT_EQ( setting.getName(), "Show Welcome Window" );
    EXPECT_STREQ( setting.separatorName(), "Behavior" );
    tickOnStartup();
    setting.reset();
    EXPECT_TRUE( welcome().isShownOnStartup() );
    EXPECT_FALSE( Config::instance().getBool( "cShowWelcomeWindow", true ) ) << "the stored choice is kept";
}

TEST_F( Welcome, EntryOfTheSettingsWithoutAnOwnerDoesNothing )
{
    ShowWelcomeWindowSetting setting( "Show Welcome Window", nullptr );
    setting.reset();
    const boost::signals2::scoped_connection drawing = viewer().perFrameSignal.connect( [&] { setting.draw( 1 ); } );
    drawFrames( 2 );
    EXPECT_TRUE( welcome().isShownOnStartup() );
}

TEST_F( Welcome, TheSceneMayChangeInTheFrameThatDrawsIt )
{
    const boost::signals2::scoped_connection connection = viewer().perFrameSignal.connect(
        [this]
        {
            if ( viewer().sceneRoot().children().empty() )
                viewer().sceneRoot().addChild( std::make_shared<ObjectMesh>() );
            else
                viewer().sceneRoot().children().front()->detach();
            viewer().incrementForceRedrawFrames();
        } );
    int shown = 0;
    viewer().incrementForceRedrawFrames();
    for ( int i = 0; i < 20; ++i )
    {
        const bool empty = viewer().sceneRoot().children().empty();
        viewer().step( 0 );
        EXPECT_EQ( isShown(), empty ) << i;
        shown += isShown();
    }
    EXPECT_EQ( shown, 10 );
}

TEST_F( Welcome, DrawsNoFrameWhenNothingHappens )
{
    settle();
    const auto frames = viewer().framesDrawn();
    for ( int i = 0; i < 5; ++i )
        viewer().step( 0 );
    EXPECT_EQ( viewer().framesDrawn(), frames );
}

TEST_F( Welcome, LogoIsMadeOfItsCurves )
{
    viewer().incrementForceRedrawFrames();
    std::vector<ImVec2> points;
    std::vector<ImU32> colors;
    const boost::signals2::scoped_connection connection = viewer().perFrameSignal.connect(
        [&]
        {
            auto& list = *ImGui::GetForegroundDrawList();
            const int before = list.VtxBuffer.Size;
            list.Flags &= ~ImDrawListFlags_AntiAliasedFill;
            drawYoutubePolyBezier( list, { 100, 200 }, 2 );
            for ( int i = before; i < list.VtxBuffer.Size; ++i )
            {
                points.push_back( list.VtxBuffer[i].pos );
                colors.push_back( list.VtxBuffer[i].col );
            }
        } );
    viewer().step( 0 );
    ASSERT_GT( points.size(), 20u );
    // Ends of the eight curves, added up from the logo's corner by hand.
    const std::vector<ImVec2> ends{ { 12.001f, 33.542f }, { 14.517f, 20.114f }, { 32.762f, 17.999f },
        { 52.294f, 20.734f }, { 53.994f, 33.542f }, { 51.961f, 45.652f }, { 32.762f, 48 }, { 14.217f, 45.652f } };
    for ( const auto& end : ends )
        EXPECT_TRUE( std::any_of( points.begin(), points.end() - 3, [&]( ImVec2 p )
            { return std::abs( p.x - 100 - 2 * end.x ) < 0.05f && std::abs( p.y - 200 - 2 * end.y ) < 0.05f; } ) )
            << end.x << " " << end.y;
    for ( size_t i = 0; i < points.size() - 3; ++i )
        EXPECT_EQ( colors[i], 0xff0000ffu );
    const std::vector<ImVec2> mark( points.end() - 3, points.end() );
    EXPECT_EQ( mark[0].x, 160 );
    EXPECT_EQ( mark[0].y, 252 );
    EXPECT_EQ( mark[1].y, 280 );
    EXPECT_EQ( mark[2].x, 180 );
    EXPECT_EQ( mark[2].y, 266 );
    EXPECT_EQ( colors.back(), 0xffffffffu );
}
