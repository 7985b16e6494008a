#include "support/ui/DrawnWindow.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;
using Testing::DrawnWindow;

namespace
{

using Names = std::vector<std::string>;
using Face = RibbonFontManager::FontType;

constexpr const char* cNote = "TelemetryDisclaimer##TelemetryDisclaimer";
constexpr const char* cTitle = "We'd Like to Improve Your Experience";
constexpr Face cHeading = Face( 6 );

/// How the note about statistics looks. It is opened once in a process, so each test needs one of its own.
class TelemetryNote : public Testing::UiFixture
{
protected:
    [[nodiscard]] std::string settings() const override { return R"({"cShowWelcomeWindow":false})"; }
    void TearDown() override
    {
        UserInfo::setAccessToken( {} );
        UiFixture::TearDown();
        SessionLogsTestAccess::reset();
    }
    bool isAt( Vector2f place, const char* button )
    {
        window().moveMouse( DrawnWindow( cNote ).corner() + place );
        drawFrames( 2 );
        return DrawnWindow( cNote ).isPointedAt( { button } );
    }
    void expectButton( const char* button, Vector2f low, Vector2f high )
    {
        EXPECT_TRUE( isAt( low + Vector2f{ 2, 2 }, button ) ) << button;
        EXPECT_TRUE( isAt( high - Vector2f{ 2, 2 }, button ) ) << button;
        EXPECT_FALSE( isAt( { low.x - 2, low.y + 2 }, button ) ) << button;
        EXPECT_FALSE( isAt( { low.x + 2, low.y - 2 }, button ) ) << button;
        EXPECT_FALSE( isAt( { high.x + 2, high.y - 2 }, button ) ) << button;
        EXPECT_FALSE( isAt( { high.x - 2, high.y + 2 }, button ) ) << button;
    }
};

void expectText( const std::string& line, Face face, Vector2f place )
{
    const auto found = DrawnWindow( cNote ).text( line, face );
    ASSERT_TRUE( found ) << line;
    EXPECT_NEAR( found->place.x, place.x, 1 ) << line;
    EXPECT_NEAR( found->place.y, place.y, 1 ) << line;
}

} // namespace

TEST_F( TelemetryNote, EverythingInItHasItsPlaceAtEveryScale )
{
    for ( const float s : { 1.f, 2.f } )
    {
        window().resize( int( 1280 * s ), int( 800 * s ), s );
        settle();
        const auto title = DrawnWindow( cNote ).text( cTitle, cHeading );
        ASSERT_TRUE( title );
        expectText( cTitle, cHeading, { ( 800 * s - title->size.x ) / 2, 20 * s } );
        // Below the title is half of the gap that is between the text and the buttons.
        expectText( "To help us understand how you use Orvanta and make it better, we'll collect data on the tools you",
            Face::Default, { 28 * s, 54 * s } );
        expectText( "No personal info or file data is collected, and you can opt out anytime in the settings.",
            Face::Default, { 28 * s, 99 * s } );
        expectButton( "Ok", Vector2f{ 150, 138 } * s, Vector2f{ 392, 169 } * s );
        expectButton( "Manage Settings", Vector2f{ 408, 138 } * s, Vector2f{ 650, 169 } * s );
        constexpr auto cFlags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_Modal;
        EXPECT_EQ( DrawnWindow( cNote ).window().Flags & cFlags, cFlags );
        EXPECT_EQ( DrawnWindow( cNote ).window().ScrollMax.y, 0 );
    }
}

TEST_F( TelemetryNote, ItsTitleIsInTheCurrentFaceWhereItsOwnIsMissing )
{
    (void)frame();
    ASSERT_TRUE( DrawnWindow( cNote ).text( cTitle, cHeading ) );
    const auto* letter = RibbonFontManager::getFontByTypeStatic( Face::Default )->FindGlyph( 'W' );
    {
        // It becomes the one in use, and has loaded nothing.
        const RibbonFontManager nothing;
        ASSERT_FALSE( RibbonFontManager::getFontByTypeStatic( cHeading ) );
        drawFrames( 2 );
    }
    bool drawn = false;
    for ( const auto& point : DrawnWindow( cNote ).window().DrawList->VtxBuffer )
        drawn |= point.uv.x == letter->U0 && point.uv.y == letter->V0;
    EXPECT_TRUE( drawn );
}

namespace
{

/// Started with "-noTelemetry", before anybody has asked for it in this process.
class SilencedTelemetry : public TelemetryNote
{
protected:
    [[nodiscard]] std::vector<std::string> programArguments() const override { return { "-noTelemetry" }; }
    [[nodiscard]] bool isSignedIn() const override { return false; }
    static void actOften()
    {
        SceneEdits::add( "Create Cube", {} );
        pressTheme();
    }
    static void pressTheme() { ColorTheme::setupPreset( ColorTheme::Preset::Light ); }
};

} // namespace

TEST_F( SilencedTelemetry, NothingIsKeptSentOrAsked )
{
    EXPECT_FALSE( SessionLogs::isEnabled() );
    EXPECT_FALSE( SessionLogs::isAllowed() ) << "nobody has signed in, so it is the argument's doing";
    actOften();
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
    UserInfo::setEmail( "ann@example.org" );
    UserInfo::setAccessToken( "access" );
    OrvantaMenuTestAccess::setAuthed( *menu_, true );
    (void)frame();
    EXPECT_FALSE( isWindowShown( "TelemetryDisclaimer" ) );
    EXPECT_FALSE( SessionLogs::isAllowed() ) << "whatever consent is stored";
    actOften();
    pressTool( "Select all" );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
    for ( const auto& request : transport_->sent() )
        EXPECT_FALSE( request.url.ends_with( "/stats/log" ) );
    for ( const auto& entry :
        ViewerSettingsPlugin::instance()->comboSettings( ViewerSettingsPlugin::TabType::Application ) )
        EXPECT_NE( entry->getName(), "Collect Usage Statistics" );
    SessionLogsTestAccess::reset();
    pressTheme();
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{ "Color Theme Changed: Light" } ) << "the hooks were there";
}
