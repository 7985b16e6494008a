#include "support/ui/DrawnWindow.h"
#include "support/ui/LoggedFixture.h"
#include "support/ui/ShownText.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/dialogs/FileDialogSignals.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <algorithm>

using namespace VX;

namespace
{

// The note opens the tab of this number; that it opens "Application" says nothing of which one that is.
static_assert( int( ViewerSettingsPlugin::TabType::Application ) == 1 );

/// The hooks on what a user does, and the note about them.
class Telemetry : public Testing::LoggedFixture
{
protected:
    [[nodiscard]] std::string settings() const override { return R"({"cShowWelcomeWindow":false})"; }
    static bool isNoteShown() { return isWindowShown( "TelemetryDisclaimer##TelemetryDisclaimer" ); }
    /// The note is opened once in a process, so each test that wants it has a program of its own.
    [[nodiscard]] std::string storedAnswer() const
    {
        return deserializeJsonValue( folder_.path() / "Orvanta/config.json" )
            .value()["telemetryDisclaimerModalShowed"]
            .toStyledString();
    }
    static bool storedConsent() { return Config::instance().getBool( "allowSimpleTelemetry", true ); }
};

class AnsweredTelemetry : public Telemetry
{
protected:
    [[nodiscard]] std::string settings() const override
    {
        return R"({"telemetryDisclaimerModalShowed":0,"cShowWelcomeWindow":false})";
    }
};

class OddAnswer : public Telemetry, public testing::WithParamInterface<const char*>
{
protected:
    [[nodiscard]] std::string settings() const override
    {
        return std::string( R"({"cShowWelcomeWindow":false,"telemetryDisclaimerModalShowed":)" ) + GetParam() + "}";
    }
};

} // namespace

TEST_F( Telemetry, NoteStandsInTheMiddleAndOkIsConsent )
{
    (void)frame();
    ASSERT_TRUE( isNoteShown() );
    const auto low = windowPointFromTop( "TelemetryDisclaimer", 0, 0 ),
               high = windowPoint( "TelemetryDisclaimer", 0, 0 );
    EXPECT_EQ( low.x, ( 1280 - 800 ) / 2 );
    EXPECT_EQ( low.y, ( 800 - 190 ) / 2 );
    EXPECT_EQ( high.x - low.x, 800 );
    EXPECT_EQ( high.y - low.y, 190 );
    EXPECT_EQ( ImGui::FindWindowByName( "TelemetryDisclaimer##TelemetryDisclaimer" )->ScrollMax.y, 0 ) << "all fits";
    SessionLogs::allow( false );
    click( windowPointFromTop( "TelemetryDisclaimer", 270, 155 ) );
    EXPECT_FALSE( isNoteShown() );
    EXPECT_TRUE( SessionLogs::isAllowed() );
    EXPECT_TRUE( storedConsent() );
    EXPECT_EQ( storedAnswer(), "0\n" );
}

TEST_F( Telemetry, NoteIsAnsweredByEnter )
{
    (void)frame();
    ASSERT_TRUE( isNoteShown() );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isNoteShown() );
    EXPECT_EQ( storedAnswer(), "0\n" );
}

TEST_F( Telemetry, NoteLeadsToTheSettingsAndLeavesTheConsent )
{
    Config::instance().setBool( "allowSimpleTelemetry", false );
    (void)frame();
    ASSERT_TRUE( isNoteShown() );
    click( windowPointFromTop( "TelemetryDisclaimer", 530, 155 ) );
    EXPECT_FALSE( isNoteShown() );
    EXPECT_TRUE( ViewerSettingsPlugin::instance()->isActive() );
    EXPECT_EQ( ViewerSettingsPlugin::instance()->activeTab(), ViewerSettingsPlugin::TabType::Application );
    EXPECT_FALSE( storedConsent() );
    EXPECT_TRUE( SessionLogs::isAllowed() ) << "as it was";
    EXPECT_EQ( logged(), Names{} ) << "nobody has pressed a tool";
    EXPECT_EQ( storedAnswer(), "0\n" );
    pressTool( "Viewer settings" );
}

TEST_F( Telemetry, NoteLeavesOpenSettingsOpen )
{
    pressTool( "Viewer settings" );
    ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Quick );
    SessionLogs::allow( false );
    (void)frame();
    ASSERT_TRUE( isNoteShown() );
    click( windowPointFromTop( "TelemetryDisclaimer", 530, 155 ) );
    EXPECT_TRUE( isActive( "Viewer settings" ) );
    EXPECT_EQ( ViewerSettingsPlugin::instance()->activeTab(), ViewerSettingsPlugin::TabType::Application );
    EXPECT_FALSE( SessionLogs::isAllowed() ) << "as it was";
    pressTool( "Viewer settings" );
}

TEST_F( Telemetry, NoteClosedOtherwiseIsNotAnswered )
{
    (void)frame();
    ASSERT_TRUE( isNoteShown() );
    menu_->signOut();
    (void)frame();
    EXPECT_FALSE( isNoteShown() );
    EXPECT_EQ( storedAnswer(), "null\n" );
    UserInfo::setAccessToken( "access" );
    OrvantaMenuTestAccess::setAuthed( *menu_, true );
    (void)frame();
    EXPECT_FALSE( isNoteShown() ) << "it comes again with the next start";
}

TEST_P( OddAnswer, IsNone )
{
    (void)frame();
    EXPECT_TRUE( isNoteShown() );
    press( GLFW_KEY_ENTER );
}

INSTANTIATE_TEST_SUITE_P(
    Values, OddAnswer, testing::Values( "1", "-1", "\"0\"", "null", "false", "0.5", "0.0", "-0.0", "[0]" ) );

TEST_F( AnsweredTelemetry, NoteIsNotShownAgain )
{
    (void)frame();
    EXPECT_FALSE( isNoteShown() );
}

TEST_F( AnsweredTelemetry, EachHookFiresForWhatTheUserDoes )
{
    SceneEdits::add( "Create Cube", {} );
    opener_->open( { folder_.write( "triangle.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n" ) } );
    turnUntil( [this] { return opener_->pending() == 0; } );
    settle();
    EXPECT_EQ( logged(), ( Names{ "History Added: Create Cube", "History Added: Open File" } ) );
    pressTool( "Undo" );
    EXPECT_EQ( logged(), Names{ "Tool Activated: Undo" } ) << "only what is added";
    pressTool( "Redo" );
    logged();

    press( 'F', GLFW_MOD_CONTROL );
    EXPECT_EQ( logged(), Names{ "Search Focused" } );
    type( "theme" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ(
        logged(), ( Names{ "Search Tool Activated", "Color Theme Changed: Light", "Tool Activated: Switch theme" } ) );

    FileDialogSignals::instance().onSaveFile( "/home/ann/secret plans.stl" );
    EXPECT_EQ( logged(), Names{ "Save " + commonFilesName( { "part.stl" } ) } ) << "the kind of file, not its name";
    ColorTheme::setupPreset( ColorTheme::Preset::Dark );
    EXPECT_EQ( logged(), Names{ "Color Theme Changed: Dark" } );
    ASSERT_TRUE( ColorTheme::setupUserTheme( deserializeJsonValue( std::string( R"({"Name":"Sea"})" ) ).value() ) );
    EXPECT_EQ( logged(), Names{ "Color Theme Changed: Custom" } );
}

TEST_F( AnsweredTelemetry, SavingByTheDialogTellsTheKindOfFile )
{
    openCube();
    pressTool( "Save scene as" );
    ASSERT_TRUE( isWindowShown( "Save" ) );
    logged();
    type( "another" );
    press( GLFW_KEY_ENTER );
    drawUntil(
        [this] { return std::filesystem::exists( folder_.path() / "another.vxu" ) && !isWindowShown( "Save" ); } );
    const auto names = logged();
    EXPECT_EQ( std::count( names.begin(), names.end(), "Save VXU file" ), 1 ) << testing::PrintToString( names );
}

TEST_F( AnsweredTelemetry, ContextMenuIsReportedOnceForEachOpening )
{
    openCube();
    logged();
    const auto row = Vector2f{ 60, 170 };
    window().moveMouse( row );
    settle();
    window().pressMouse( MouseButton::Right, true );
    settle();
    window().pressMouse( MouseButton::Right, false );
    settle();
    drawFrames( 10 );
    EXPECT_EQ( logged(), Names{ "Scene Context Opened" } );
}

TEST_F( AnsweredTelemetry, EntryOfTheSettings )
{
    pressTool( "Viewer settings" );
    ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Application );
    (void)frame();
    const auto& entries = ViewerSettingsPlugin::instance()->comboSettings( ViewerSettingsPlugin::TabType::Application );
    const auto entry = std::find_if(
        entries.begin(), entries.end(), []( const auto& e ) { return e->getName() == "Collect Usage Statistics"; } );
    ASSERT_NE( entry, entries.end() );
    EXPECT_STREQ( ( *entry )->separatorName(), "Behavior" );
    Config::instance().setBool( "allowSimpleTelemetry", false );
    SessionLogs::allow( false );
    EXPECT_EQ( ( *entry )->resetEffect(), "Usage statistics are collected until the next sign-in, whatever you have "
                                          "chosen; then your choice counts again" );
    ( *entry )->reset();
    EXPECT_TRUE( SessionLogs::isAllowed() );
    EXPECT_FALSE( storedConsent() ) << "until the next sign-in reads it again";
    UserInfo::setEmail( "ann@example.org" );
    EXPECT_FALSE( SessionLogs::isAllowed() );
    pressTool( "Viewer settings" );
}

TEST_F( AnsweredTelemetry, EntryOfTheSettingsIsThereOnceHoweverOftenTheMenuIsMade )
{
    for ( int i = 0; i < 2; ++i )
    {
        const auto& entries =
            ViewerSettingsPlugin::instance()->comboSettings( ViewerSettingsPlugin::TabType::Application );
        EXPECT_EQ( std::count_if( entries.begin(), entries.end(),
                       []( const auto& entry ) { return entry->getName() == "Collect Usage Statistics"; } ),
            1 );
        restart();
    }
}

TEST_F( AnsweredTelemetry, ClickingTheEntryOfTheSettingsIsTheUsersChoice )
{
    pressTool( "Viewer settings" );
    ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Application );
    (void)frame();
    logged();
    const auto entry = Testing::DrawnWindow( "Viewer settings" ).middleOf( "Collect Usage Statistics" );
    click( entry );
    EXPECT_FALSE( Config::instance().getBool( "allowSimpleTelemetry", true ) );
    EXPECT_FALSE( SessionLogs::isAllowed() );
    EXPECT_EQ( logged(), Names{ "Forbid Telemetry" } );
    auto tip = Testing::shownText( "##Tooltip" );
    std::replace( tip.begin(), tip.end(), '\n', ' ' );
    EXPECT_EQ(
        tip, "Allow application to collect (non-personal) data about tools that are used to improve performance. " );
    click( entry );
    EXPECT_TRUE( Config::instance().getBool( "allowSimpleTelemetry", false ) );
    EXPECT_TRUE( SessionLogs::isAllowed() );
    EXPECT_EQ( logged(), Names{} );
    pressTool( "Viewer settings" );
}

TEST_F( AnsweredTelemetry, StepsOfTheHistoryNameNoObjectAndNoFile )
{
    openCube();
    pressTool( "Select all" );
    pressTool( "Hide selected" );
    pressTool( "Select all" );
    pressTool( "Delete Selection" );
    for ( const auto& name : logged() )
        EXPECT_EQ( name.find( "cube" ), std::string::npos ) << name;
}

namespace
{

/// Started with "-noTelemetry".
class Vetoed : public Telemetry
{
protected:
    void SetUp() override
    {
        SessionLogsTestAccess::reset();
        SessionLogsTestAccess::veto();
        UiFixture::SetUp();
    }
};

} // namespace

TEST_F( Vetoed, NoNoteNoEntryAndNothingWaits )
{
    (void)frame();
    EXPECT_FALSE( isNoteShown() );
    for ( const auto& entry :
        ViewerSettingsPlugin::instance()->comboSettings( ViewerSettingsPlugin::TabType::Application ) )
        EXPECT_NE( entry->getName(), "Collect Usage Statistics" );
    SessionLogsTestAccess::take();
    SceneEdits::add( "Create Cube", {} );
    pressTool( "Switch theme" );
    EXPECT_EQ( logged(), Names{} );
    for ( const auto& request : transport_->sent() )
        EXPECT_FALSE( request.url.ends_with( "/stats/log" ) );
}
