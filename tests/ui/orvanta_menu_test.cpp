#include "support/TestAccess.h"
#include "support/UiFixture.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/shell/OrvantaWindowTitle.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/FunctionItem.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace VX;

namespace
{

using Names = std::vector<std::string>;

/// The menu with a log of what is drawn, in its order.
class RecordingMenu final : public OrvantaRibbonMenu
{
public:
    Names drawn;

protected:
    void drawTopPanel_( bool tabs, bool center ) override
    {
        drawn.push_back( std::string( "top" ) + ( tabs ? " tabs" : "" ) + ( center ? " center" : "" ) );
    }
    void drawActiveBlockingDialog_() override { drawn.emplace_back( "blocking" ); }
    void drawActiveNonBlockingDialogs_() override { drawn.emplace_back( "nonblocking" ); }
    void drawRibbonSceneList_() override { drawn.emplace_back( "scene" ); }
    void drawRibbonViewportsLabels_() override { drawn.emplace_back( "labels" ); }
    void drawActiveList_() override { drawn.emplace_back( "active" ); }
    void drawWelcomeWindow_() override { drawn.emplace_back( "welcome" ); }
    void drawVersionWindow_() override { drawn.emplace_back( "version" ); }
    void drawNotifications_() override { drawn.emplace_back( "notifications" ); }

public:
    void draw_helpers() override { drawn.emplace_back( "helpers" ); }
};

class RecordingSetup final : public OrvantaSetup
{
public:
    void setupBasePlugins( Viewer* viewer ) const override
    {
        viewer->setMenuPlugin( std::make_shared<RecordingMenu>() );
    }
};

class DrawOrder : public testing::Test
{
protected:
    DrawOrder()
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setWebTransport( std::make_shared<ScriptedTransport>() );
        LaunchParams params;
        params.windowless = true;
        EXPECT_TRUE( getViewerInstance().start( params, setup_ ) );
        menu_ = std::dynamic_pointer_cast<RecordingMenu>( getViewerInstance().getMenuPlugin() );
    }
    ~DrawOrder() override
    {
        menu_.reset();
        EXPECT_TRUE( getViewerInstance().stop() );
        setWebTransport( nullptr );
    }
    Names frame( const RibbonMenuUIConfig& config )
    {
        menu_->setMenuUIConfig( config );
        while ( getViewerInstance().framesDrawn() == 0 )
            getViewerInstance().step( 0 );
        menu_->drawn.clear();
        const auto before = getViewerInstance().framesDrawn();
        getViewerInstance().incrementForceRedrawFrames();
        while ( getViewerInstance().framesDrawn() == before )
            getViewerInstance().step( 0 );
        return menu_->drawn;
    }
    Testing::ScratchFolder folder_;
    RecordingSetup setup_;
    std::shared_ptr<RecordingMenu> menu_;
};

class OrvantaMenu : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        SessionLogsTestAccess::take();
    }
    void TearDown() override
    {
        UserInfo::setAccessToken( {} );
        UiFixture::TearDown();
        SessionLogsTestAccess::take();
    }
    [[nodiscard]] Names shortcuts() const
    {
        Names out;
        for ( const auto& entry : menu_->getShortcutManager()->getShortcutList() )
            out.push_back( entry.command->name );
        std::sort( out.begin(), out.end() );
        return out;
    }
    static Names logged() { return SessionLogsTestAccess::take(); }
    /// The answer to a latest-version query, as it comes to a menu that has just been started.
    void answerVersion( const Json::Value& response )
    {
        const auto transport = std::make_shared<ScriptedTransport>(
            [response]( const WebRequestData& ) -> std::optional<Json::Value> { return response; } );
        setWebTransport( transport );
        // A menu of its own asks again; this one has asked when the program started.
        fresh_ = std::make_shared<OrvantaRibbonMenu>();
        viewer().setMenuPlugin( fresh_ );
        fresh_->init( &viewer() );
        settle();
        OrvantaMenuTestAccess::setAuthed( *fresh_, true );
        (void)frame();
        (void)frame();
        for ( const auto& request : transport->sent() )
            if ( request.logName == "version" )
                requests_.push_back( request );
    }
    std::shared_ptr<OrvantaRibbonMenu> fresh_;
    std::vector<WebRequestData> requests_;
};

class FailingItem final : public RibbonMenuItem
{
public:
    using RibbonMenuItem::RibbonMenuItem;
    bool action() override { return false; }
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& ) const override { return requirement; }
    std::string requirement;
};

} // namespace

TEST_F( DrawOrder, EverythingInItsOrder )
{
    EXPECT_EQ( frame( {} ), ( Names{ "top tabs", "blocking", "nonblocking", "scene", "labels", "active", "welcome",
                                "helpers", "version", "notifications" } ) );
}

TEST_F( DrawOrder, SwitchesLeaveTheirPartsOut )
{
    RibbonMenuUIConfig config;
    config.topLayout = TopPanelLayoutMode::None;
    EXPECT_EQ( frame( config ), ( Names{ "scene", "labels", "welcome", "helpers", "version", "notifications" } ) );
    config.drawScenePanel = false;
    EXPECT_EQ( frame( config ), ( Names{ "labels", "welcome", "notifications" } ) );
    config.topLayout = TopPanelLayoutMode::RibbonNoTabs;
    config.centerRibbonItems = true;
    config.drawViewportTags = config.drawNotifications = false;
    EXPECT_EQ( frame( config ),
        ( Names{ "top center", "blocking", "nonblocking", "active", "welcome", "helpers", "version" } ) );
}

TEST_F( DrawOrder, WelcomeWindowIsSwitchedOff )
{
    menu_->setOrvantaMenuConfig( { .drawWelcomeWindow = false } );
    const auto drawn = frame( {} );
    EXPECT_EQ( std::count( drawn.begin(), drawn.end(), "welcome" ), 0 );
}

TEST_F( OrvantaMenu, IsFoundByItsClassOnly )
{
    EXPECT_EQ( OrvantaRibbonMenu::instance(), viewer().getMenuPlugin() );
    const auto menu = viewer().getMenuPlugin();
    viewer().setMenuPlugin( nullptr );
    EXPECT_FALSE( OrvantaRibbonMenu::instance() );
    viewer().setMenuPlugin( std::make_shared<RibbonMenu>() );
    EXPECT_FALSE( OrvantaRibbonMenu::instance() );
    viewer().setMenuPlugin( menu );
}

TEST_F( OrvantaMenu, BindsItsFiveKeys )
{
    const auto& manager = *menu_->getShortcutManager();
    EXPECT_EQ( manager.findShortcutByName( "Undo" ), ( ShortcutKey{ 90, 2 } ) );
    EXPECT_EQ( manager.findShortcutByName( "Redo" ), ( ShortcutKey{ 90, 3 } ) );
    EXPECT_EQ( manager.findShortcutByName( "Select Primitives" ), ( ShortcutKey{ 87, 2 } ) );
    EXPECT_EQ( manager.findShortcutByName( "Clear Selections" ), ( ShortcutKey{ 88, 2 } ) );
    EXPECT_EQ( manager.findShortcutByName( "Delete Selection" ), ( ShortcutKey{ 261, 0 } ) );
    const std::map<std::string, int> categories{ { "Undo", 1 }, { "Redo", 1 }, { "Delete Selection", 1 },
        { "Select Primitives", 5 }, { "Clear Selections", 5 } };
    for ( const auto& entry : manager.getShortcutList() )
        if ( const auto it = categories.find( entry.command->name ); it != categories.end() )
        {
            EXPECT_EQ( int( entry.command->category ), it->second ) << it->first;
        }
}

TEST_F( OrvantaMenu, SwitchesOfShortcutsCountAtOnce )
{
    const Names minimal{ "Leave", "Show shortcuts" };
    menu_->setOrvantaMenuConfig( { .allowBaseShortcuts = false } );
    EXPECT_EQ( shortcuts(), ( Names{ "Leave", "Redo", "Show shortcuts", "Undo" } ) );
    menu_->setOrvantaMenuConfig( { .allowBaseShortcuts = false, .allowHistoryShortcuts = false } );
    EXPECT_EQ( shortcuts(), minimal );
    menu_->setOrvantaMenuConfig( { .allowHistoryShortcuts = false } );
    const auto base = shortcuts();
    EXPECT_EQ( std::count( base.begin(), base.end(), "Undo" ), 0 );
    EXPECT_EQ( std::count( base.begin(), base.end(), "Delete Selection" ), 1 );
    menu_->setOrvantaMenuConfig( {} );
    EXPECT_GT( shortcuts().size(), base.size() );
}

TEST_F( OrvantaMenu, SwitchesBeforeTheShortcutsExistAreOnlyKept )
{
    OrvantaRibbonMenu menu;
    menu.setOrvantaMenuConfig( { .allowBaseShortcuts = false } );
    EXPECT_FALSE( menu.getShortcutManager() );
}

TEST_F( OrvantaMenu, ReportsModalsButNotACancel )
{
    menu_->showModalMessage( "Operation was canceled", NotificationType::Error );
    EXPECT_TRUE( menu_->isModalShown() );
    EXPECT_EQ( logged(), Names{} );
    menu_->showModalMessage( "It broke", NotificationType::Error );
    menu_->showModalMessage( "Careful", NotificationType::Warning );
    menu_->showModalMessage( "By the way", NotificationType::Info );
    EXPECT_EQ( logged(), ( Names{ "Error Modal", "Warning Modal" } ) );
}

TEST_F( OrvantaMenu, ReportsErrorNotificationsOnly )
{
    menu_->pushNotification( { .header = "a", .type = NotificationType::Error } );
    menu_->pushNotification( { .header = "b", .type = NotificationType::Warning } );
    menu_->pushNotification( { .header = "c", .type = NotificationType::Info } );
    EXPECT_EQ( logged(), Names{ "Error Notification" } );
    EXPECT_EQ( menu_->notificationCount(), 3u );
}

TEST_F( OrvantaMenu, ReportsToolsThatAreStartedAndRequirementsThatAreFaced )
{
    openCube();
    logged();
    pressTool( "Measure distance" );
    EXPECT_EQ( logged(), Names{ "Tool Activated: Measure distance" } );
    pressTool( "Measure distance" );
    EXPECT_EQ( logged(), Names{} ) << "it was active before";
    pressTool( "Hide selected" );
    EXPECT_EQ( logged(), Names{ "Requirements Faced: Hide selected" } );
}

TEST_F( OrvantaMenu, DoesNotReportFailuresWithoutAReasonNorStrangers )
{
    const auto failing = std::make_shared<FailingItem>( "Test failing" );
    menu_->emitItemPressed( failing );
    EXPECT_EQ( logged(), Names{} ) << "not in the schema";
    RibbonSchemaHolder::addItem( failing );
    menu_->emitItemPressed( failing );
    EXPECT_EQ( logged(), Names{} ) << "no requirement";
    failing->requirement = "Do something else first";
    menu_->emitItemPressed( failing );
    EXPECT_EQ( logged(), Names{ "Requirements Faced: Test failing" } );
    RibbonSchemaHolder::removeItem( "Test failing" );
}

TEST_F( OrvantaMenu, RunsTheSignedInHookOncePerSignIn )
{
    UserInfo::setAccessToken( {} );
    (void)frame();
    EXPECT_FALSE( OrvantaMenuTestAccess::firstSignedInFrameDone( *menu_ ) );
    Config::instance().setJsonValue( "telemetryDisclaimerModalShowed", 0 );
    UserInfo::setAccessToken( "token" );
    (void)frame();
    EXPECT_TRUE( OrvantaMenuTestAccess::firstSignedInFrameDone( *menu_ ) );
    menu_->signOut();
    EXPECT_FALSE( OrvantaMenuTestAccess::firstSignedInFrameDone( *menu_ ) );
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
    UserInfo::setAccessToken( "token" );
    (void)frame();
    EXPECT_TRUE( OrvantaMenuTestAccess::firstSignedInFrameDone( *menu_ ) );
    UserInfo::setAccessToken( {} );
    (void)frame();
    EXPECT_FALSE( OrvantaMenuTestAccess::firstSignedInFrameDone( *menu_ ) );
}

TEST_F( OrvantaMenu, TitleIsTheProductsAndFollowsTheUser )
{
    const auto title = std::dynamic_pointer_cast<OrvantaWindowTitle>( viewer().viewerTitle() );
    ASSERT_TRUE( title );
    EXPECT_TRUE( window().title().ends_with( " ann@example.org" ) ) << window().title();
    title->setEmail( {} );
    const auto plain = window().title();
    title->setEmail( "a@b.org" );
    EXPECT_EQ( window().title(), plain + " a@b.org" );
    UserInfo::setEmail( {} );
    EXPECT_EQ( window().title(), plain );
}

TEST_F( OrvantaMenu, AfterItsShutdownThereIsNoSignIn )
{
    auto menu = std::make_shared<OrvantaRibbonMenu>();
    menu->init( &viewer() );
    EXPECT_FALSE( menu->isAuthInProcess() );
    EXPECT_TRUE( menu->isAuthEnabled() );
    EXPECT_FALSE( menu->drawQuickSetupWindow_() );
    logged();
    menu->shutdown();
    EXPECT_EQ( logged(), Names{ "Close Application" } );
    menu->signOut();
    EXPECT_EQ( logged(), Names{} );
    EXPECT_FALSE( menu->isAuthInProcess() );
    viewer().perFrameSignal.disconnect_all_slots();
}

TEST_F( OrvantaMenu, AsksOnceForTheNewestReleaseAndTellsOfIt )
{
    Json::Value response;
    response["code"] = 200;
    response["text"] = "999.0.0.1-beta";
    answerVersion( response );
    ASSERT_EQ( requests_.size(), 1u );
    EXPECT_TRUE( requests_[0].url.ends_with( "/version/latesttag" ) );
    EXPECT_EQ( requests_[0].method, WebMethod::Get );
    EXPECT_TRUE( requests_[0].body.empty() && requests_[0].headers.empty() && requests_[0].parameters.empty() );
    EXPECT_TRUE( isWindowShown( "##VersionUpdateWindow" ) );
    const auto corner = windowPointFromTop( "##VersionUpdateWindow", 0, 0 );
    EXPECT_EQ( corner.x, 1280 - 320 );
    EXPECT_EQ( corner.y, 120 );
    (void)frame();
    OrvantaMenuTestAccess::setAuthed( *fresh_, false );
    (void)frame();
    EXPECT_FALSE( isWindowShown( "##VersionUpdateWindow" ) ) << "the notice waits until sign-in";
    OrvantaMenuTestAccess::setAuthed( *fresh_, true );
    (void)frame();
    EXPECT_TRUE( isWindowShown( "##VersionUpdateWindow" ) );
    const auto notes = fresh_->notificationCount();
    click( windowPoint( "##VersionUpdateWindow", 40, 20 ) );
    EXPECT_EQ( fresh_->notificationCount(), notes + 1 ) << "there is no browser that could show the page";
    click( windowPointFromTop( "##VersionUpdateWindow", 20, 20 ) );
    EXPECT_FALSE( isWindowShown( "##VersionUpdateWindow" ) );
    (void)frame();
    EXPECT_FALSE( isWindowShown( "##VersionUpdateWindow" ) ) << "it does not come back";
    viewer().perFrameSignal.disconnect_all_slots();
}

TEST_F( OrvantaMenu, IsSilentAboutAnyOtherAnswer )
{
    Json::Value response;
    response["code"] = 500;
    response["text"] = "999.0.0.1";
    answerVersion( response );
    EXPECT_FALSE( isWindowShown( "##VersionUpdateWindow" ) );
    EXPECT_FALSE( fresh_->isModalShown() );
    viewer().perFrameSignal.disconnect_all_slots();
}

TEST_F( OrvantaMenu, FontsOfTheConfigurationReplaceTheirOwnOnly )
{
    auto& manager = menu_->fontManager();
    const auto before = manager.getAllFontPaths();
    OrvantaConfig config;
    applyOrvantaConfig( config );
    EXPECT_FALSE( manager.isOutdated() ) << "no font given";
    config.fonts[2] = before[0];
    applyOrvantaConfig( config );
    EXPECT_TRUE( manager.isOutdated() );
    EXPECT_EQ(
        manager.getAllFontPaths(), ( RibbonFontManager::FontPaths{ before[0], before[1], before[0], before[3] } ) );
    (void)frame();
    EXPECT_FALSE( manager.isOutdated() );
}

TEST_F( OrvantaMenu, BrokenFontsAreReplacedAndTheInterfaceStaysLegible )
{
    OrvantaConfig config;
    config.fonts[0] = folder_.write( "a.ttf", "this is no font" );
    config.fonts[1] = folder_.write( "b.ttf", std::string( "\0\1\0\0 but no more", 16 ) );
    applyOrvantaConfig( config );
    const auto image = frame();
    EXPECT_EQ( image.width, 1280 );
    ASSERT_TRUE( menu_->fontManager().getFontByType( RibbonFontManager::FontType::Default ) );
}

TEST_F( OrvantaMenu, AConfigurationThatIsWrongIsReportedByName )
{
    const auto apply = []( const std::string& text )
    { applyOrvantaConfig( createOrvantaConfigFromJson( *deserializeJsonValue( text ) ) ); };
    apply( R"({"Structure":{"Tabs":[{"Name":"X","Groups":[{"Name":"Y","List":["No such tool","Undo"]}]}]}})" );
    settle();
    EXPECT_EQ( menu_->notificationCount(), 1u );
    EXPECT_EQ( menu_->currentTab(), "X" );
    apply( R"({"UISettings":{"TopPanel":"Sideways","Toolbar":1,"ScenePanel":false,"Theme":"Pink"}})" );
    settle();
    EXPECT_EQ( menu_->notificationCount(), 2u );
    EXPECT_FALSE( menu_->getMenuUIConfig().drawScenePanel );
    EXPECT_TRUE( menu_->getMenuUIConfig().drawToolbar );
}
