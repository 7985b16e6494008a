#include "support/LogCapture.h"
#include "support/ui/DrawnWindow.h"
#include "support/ui/ShownText.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/welcome/SitePages.h>
#include <VXViewer/ui/ImGuiColor.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <algorithm>

using namespace VX;
using Testing::DrawnWindow;

namespace
{

using Face = RibbonFontManager::FontType;

constexpr const char* cWindow = "##VersionUpdateWindow";

/// The notice of a newer release, in a menu that has just been started: one of its own asks again.
class VersionWindow : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        transport_ = std::make_shared<ScriptedTransport>(
            []( const WebRequestData& request ) -> std::optional<Json::Value>
            {
                if ( request.logName == "version" )
                    return {};
                return request.logName == "signInToken" ? signedInAnswer() : ScriptedTransport::response( 200, "{}" );
            } );
        setWebTransport( transport_ );
        fresh_ = std::make_shared<OrvantaRibbonMenu>();
        viewer().setMenuPlugin( fresh_ );
        fresh_->init( &viewer() );
        settle();
        (void)frame();
    }
    void TearDown() override
    {
        viewer().perFrameSignal.disconnect_all_slots();
        fresh_.reset();
        UiFixture::TearDown();
    }
    void answer( const std::string& text, int code = 200 )
    {
        ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( code, text ) ) );
        settle();
    }
    [[nodiscard]] std::vector<WebRequestData> requests() const
    {
        auto out = transport_->sent();
        std::erase_if( out, []( const WebRequestData& request ) { return request.logName != "version"; } );
        return out;
    }
    /// Draws something of a menu in frames of its own, as a menu that is at work would.
    void drawInFrames( const std::function<void()>& draw )
    {
        const boost::signals2::scoped_connection drawing = viewer().perFrameSignal.connect( draw );
        drawFrames( 3 );
    }
    std::shared_ptr<OrvantaRibbonMenu> fresh_;
};

} // namespace

TEST_F( VersionWindow, IsAskedForOnceInARun )
{
    ASSERT_EQ( requests().size(), 1u );
    EXPECT_TRUE( requests()[0].url.ends_with( "/version/latesttag" ) );
    EXPECT_EQ( requests()[0].method, WebMethod::Get );
    EXPECT_TRUE( requests()[0].body.empty() && requests()[0].headers.empty() && requests()[0].parameters.empty() );
    answer( "999.0.0.1" );
    click( windowPointFromTop( cWindow, 20, 20 ) );
    EXPECT_FALSE( isWindowShown( cWindow ) );
    for ( int i = 0; i < 3; ++i )
        (void)frame();
    EXPECT_EQ( requests().size(), 1u ) << "nor when the notice has been put away";
    EXPECT_FALSE( isWindowShown( cWindow ) ) << "it does not come back";
}

TEST_F( VersionWindow, AnAnswerDrawsTwoFramesAndShowsTheSecond )
{
    settle();
    const auto without = viewer().frameImage();
    const auto before = viewer().framesDrawn();
    // The notice itself is hidden while its size is not known.
    const boost::signals2::scoped_connection drawing = viewer().perFrameSignal.connect(
        [] { ImGui::GetForegroundDrawList()->AddRectFilled( { 100, 300 }, { 200, 400 }, IM_COL32_WHITE ); } );
    ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( 200, "999.0.0.1" ) ) );
    viewer().step( 0 );
    EXPECT_EQ( viewer().framesDrawn(), before + 1 );
    EXPECT_EQ( difference( without, viewer().frameImage() ), 0u );
    settle();
    EXPECT_EQ( viewer().framesDrawn(), before + 2 );
    EXPECT_GT( difference( without, viewer().frameImage() ), 10'000u );
}

TEST_F( VersionWindow, SaysWhichReleaseThereIs )
{
    answer( "999.0.0.1-beta" );
    EXPECT_EQ( Testing::shownText( cWindow ), "Version 999.0.0.1 is available\nGet Update\n" );
    const auto corner = windowPointFromTop( cWindow, 0, 0 );
    EXPECT_EQ( corner.x, 1280 - 320 );
    EXPECT_EQ( corner.y, 120 );
}

TEST_F( VersionWindow, MeasuresGrowWithTheScale )
{
    answer( "999.0.0.1" );
    for ( const float s : { 1.f, 2.f } )
    {
        window().resize( int( 1280 * s ), int( 800 * s ), s );
        (void)frame();
        const DrawnWindow shown( cWindow );
        EXPECT_EQ( shown.corner().x, ( 1280 - 320 ) * s );
        EXPECT_EQ( shown.corner().y, 120 * s );
        EXPECT_EQ( shown.window().WindowRounding, 4 * s );
        EXPECT_EQ( shown.window().WindowPadding.x, 9 * s );
        EXPECT_EQ( shown.window().WindowPadding.y, 8 * s );
        EXPECT_EQ( shown.window().WindowBorderSize, 0 );
        EXPECT_EQ( shown.window().Flags & 0xff, 111 );
        const auto button = Testing::filledBox( cWindow, themeU32( ColorTheme::Accent ) );
        EXPECT_NEAR( button.high.x - button.low.x, 88 * s, 1.1f );
        EXPECT_NEAR( button.high.y - button.low.y, 24 * s, 1.1f );
        EXPECT_NEAR( button.low.y - shown.corner().y, 8 * s, 1.1f ) << "on the line of the exit button";
    }
}

TEST_F( VersionWindow, HasTheFacesAndColoursOfTheTheme )
{
    answer( "999.0.0.1" );
    for ( const auto theme : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( theme );
        (void)frame();
        const DrawnWindow shown( cWindow );
        const auto text = shown.text( "Version 999.0.0.1 is available", Face::SemiBold );
        ASSERT_TRUE( text );
        EXPECT_EQ( text->color, themeU32( ColorTheme::Text ) );
        EXPECT_TRUE( shown.text( "Get Update", Face::Small ) );
        const auto ground = Testing::filledBox( cWindow, themeU32( ColorTheme::DialogBackground ) );
        EXPECT_NEAR( ground.high.x - ground.low.x, shown.window().Size.x, 1.1f );
        EXPECT_NEAR( ground.high.y - ground.low.y, shown.window().Size.y, 1.1f );
    }
}

TEST_F( VersionWindow, IsDrawnInAnIdleProgramByTwoFrames )
{
    const auto before = viewer().framesDrawn();
    answer( "999.0.0.1" );
    EXPECT_EQ( viewer().framesDrawn(), before + 2 );
    EXPECT_NE( Testing::shownText( cWindow ), "" );
}

TEST_F( VersionWindow, WaitsUntilSomebodyIsSignedIn )
{
    OrvantaMenuTestAccess::setAuthed( *fresh_, false );
    answer( "999.0.0.1" );
    EXPECT_FALSE( isWindowShown( cWindow ) );
    OrvantaMenuTestAccess::setAuthed( *fresh_, true );
    (void)frame();
    EXPECT_TRUE( isWindowShown( cWindow ) );
}

TEST_F( VersionWindow, LeadsToTheDownloads )
{
    answer( "999.0.0.1" );
    const Testing::LogCapture log;
    const auto notes = fresh_->notificationCount();
    click( windowPoint( cWindow, 40, 20 ) );
    EXPECT_TRUE( log.contains( "No browser could be started for " + downloadPage() + "\n" ) ) << log.text();
    EXPECT_EQ( fresh_->notificationCount(), notes + 1 ) << "there is no browser that could show the page";
    EXPECT_TRUE( isWindowShown( cWindow ) );
}

TEST_F( VersionWindow, IsSilentAboutAnyOtherAnswer )
{
    answer( "999.0.0.1", 500 );
    EXPECT_FALSE( isWindowShown( cWindow ) );
    EXPECT_FALSE( fresh_->isModalShown() );
    EXPECT_EQ( fresh_->notificationCount(), 0u );
}

TEST_F( VersionWindow, AfterTheMenusEndNobodyHasToBeSignedIn )
{
    OrvantaMenuTestAccess::setAuthed( *fresh_, false );
    OrvantaMenuTestAccess::latestVersion( *fresh_ ) = "999.0.0.1";
    drawInFrames( [this] { OrvantaMenuTestAccess::drawVersionWindowOf( *fresh_ ); } );
    EXPECT_FALSE( isWindowShown( cWindow ) );
    fresh_->shutdown();
    drawInFrames( [this] { OrvantaMenuTestAccess::drawVersionWindowOf( *fresh_ ); } );
    EXPECT_TRUE( isWindowShown( cWindow ) );
}

TEST_F( VersionWindow, NorForTheWelcomeWindow )
{
    OrvantaMenuTestAccess::setAuthed( *fresh_, false );
    OrvantaMenuTestAccess::welcomeWindow( *fresh_ ).setShowOnStartup( true, true );
    drawInFrames( [this] { OrvantaMenuTestAccess::drawWelcomeWindowOf( *fresh_ ); } );
    EXPECT_FALSE( isWindowShown( "##DragDropArea" ) );
    fresh_->shutdown();
    drawInFrames( [this] { OrvantaMenuTestAccess::drawWelcomeWindowOf( *fresh_ ); } );
    EXPECT_TRUE( isWindowShown( "##DragDropArea" ) );
}
