#include "support/ui/LoggedFixture.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/shell/OrvantaWindowTitle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace VX;

namespace
{

class OrvantaMenu : public Testing::LoggedFixture
{
protected:
    static Names shortcutsOf( const OrvantaRibbonMenu& menu )
    {
        Names out;
        for ( const auto& entry : menu.getShortcutManager()->getShortcutList() )
            out.push_back( entry.command->name );
        std::sort( out.begin(), out.end() );
        return out;
    }
    [[nodiscard]] Names shortcuts() const { return shortcutsOf( *menu_ ); }
};

} // namespace

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
    EXPECT_FALSE( menu.getOrvantaMenuConfig().allowBaseShortcuts );
    menu.init( &viewer() );
    EXPECT_EQ( shortcutsOf( menu ), ( Names{ "Leave", "Redo", "Show shortcuts", "Undo" } ) );
    viewer().perFrameSignal.disconnect_all_slots();
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
