#include "support/LogCapture.h"
#include "support/OwnSettings.h"
#include "support/ParsedJson.h"
#include "support/ui/BareInterface.h"

#include <VXViewer/core/Viewer.h>
#include <VXViewer/ribbon/RibbonConfig.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui.h>

using namespace VX;

namespace
{

/// Notes what is told; its inside is open to the tests.
class Menu final : public RibbonMenu
{
public:
    using RibbonMenu::captionOf_;
    using RibbonMenu::itemPressed_;
    using RibbonMenu::onEscape_;
    using RibbonMenu::onKeyDown_;
    using RibbonMenu::onKeyRepeat_;
    using RibbonMenu::setupShortcuts_;

    void pushNotification( const RibbonNotification& notification ) override
    {
        RibbonMenu::pushNotification( notification );
        told.push_back( notification );
    }
    std::vector<RibbonNotification> told;
};

/// A menu of the viewer that has no window, with tools of its own.
class RibbonMenus : public Testing::BareInterface
{
protected:
    RibbonMenus() { getViewerInstance().setMenuPlugin( menu_ ); }
    ~RibbonMenus() override
    {
        getViewerInstance().setMenuPlugin( nullptr );
        for ( const auto& name : names_ )
            RibbonSchemaHolder::removeItem( name );
        ColorTheme::setupPreset( ColorTheme::Preset::Dark );
    }
    std::shared_ptr<RibbonMenuItem> add( FunctionItemParams params )
    {
        const auto name = params.name;
        names_.push_back( name );
        if ( !params.action )
            params.action = [this, name] { done_ += name + " "; };
        const auto item = std::make_shared<FunctionItem>( std::move( params ) );
        RibbonSchemaHolder::addItem( item );
        return item;
    }
    static ToolShortcut key( int key, int modifiers ) { return { { key, modifiers } }; }
    static std::string_view never( const SelectedObjects& ) { return "Wait for a miracle"; }
    [[nodiscard]] std::string boundTo( int code, int modifiers ) const
    {
        for ( const auto& entry : menu_->getShortcutManager()->getShortcutList() )
            if ( entry.key == ShortcutKey{ code, modifiers } )
                return entry.command->name;
        return {};
    }

    Testing::OwnSettings settings_;
    std::shared_ptr<Menu> menu_ = std::make_shared<Menu>();
    std::string done_;

private:
    std::vector<std::string> names_;
};

} // namespace

TEST_F( RibbonMenus, APressWithoutWhatItNeedsTellsThatAndDoesNothing )
{
    const auto item = add( { .name = "Test wish", .action = {}, .requirements = &never, .isOn = {} } );
    EXPECT_EQ( RibbonSchemaHolder::loadSchema(
                   Testing::json( R"({"Items":[{"Name":"Test wish","Caption":"Make a wish"}]})" ) ),
        std::vector<std::string>{} );
    menu_->emitItemPressed( item );
    EXPECT_EQ( done_, "" );
    ASSERT_EQ( menu_->told.size(), 1u );
    EXPECT_EQ( menu_->told[0].header, "Make a wish" );
    EXPECT_EQ( menu_->told[0].text, "Wait for a miracle" );
    EXPECT_GT( menu_->told[0].lifeTimeSec, 0 );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    menu_->emitItemPressed( item );
    EXPECT_EQ( menu_->notificationCount(), 1u ) << "the same is counted";
}

TEST_F( RibbonMenus, AToolAtWorkCanBeEndedWhateverItNeeds )
{
    bool on = true;
    const auto item = add(
        { .name = "Test switch", .action = [&] { on = !on; }, .requirements = &never, .isOn = [&] { return on; } } );
    EXPECT_TRUE( menu_->itemPressed_( item, "missing" ) );
    EXPECT_FALSE( on );
    EXPECT_FALSE( menu_->itemPressed_( item, "missing" ) );
    EXPECT_FALSE( on );
    EXPECT_EQ( menu_->told.size(), 1u );
    EXPECT_FALSE( menu_->itemPressed_( nullptr, "" ) );
}

TEST_F( RibbonMenus, NotesAreLeftOutByTheirTagsAndGoByTheirKey )
{
    menu_->setAllowedNotificationTags( ImportantTag | ReportTag );
    menu_->pushNotification( { .header = "a", .tags = RecommendationTag | ImplicitTag } );
    EXPECT_EQ( menu_->notificationCount(), 0u );
    menu_->pushNotification( { .header = "b", .tags = ImplicitTag | ReportTag, .key = "news" } );
    menu_->pushNotification( { .header = "c", .tags = NoNotificationTags } );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    menu_->removeNotification( "news" );
    EXPECT_EQ( menu_->notificationCount(), 0u );
}

TEST_F( RibbonMenus, OfTwoToolsWithOneKeyTheFirstByNameHasItAndTheLogSaysSo )
{
    add( { .name = "Test b", .action = {}, .requirements = {}, .isOn = {}, .shortcuts = { key( 'J', 8 ) } } );
    add( { .name = "Test a", .action = {}, .requirements = {}, .isOn = {}, .shortcuts = { key( 'J', 8 ) } } );
    const Testing::LogCapture log;
    menu_->setupShortcuts_();
    EXPECT_EQ( boundTo( 'J', 8 ), "Test a" );
    EXPECT_TRUE( log.contains( "Super+J is the key of \"Test a\" and cannot be that of \"Test b\", too" ) );
}

TEST_F( RibbonMenus, KeysFollowTheSchema )
{
    add( { .name = "Test a", .action = {}, .requirements = {}, .isOn = {}, .shortcuts = { key( 'J', 8 ) } } );
    menu_->schemaChanged();
    EXPECT_EQ( menu_->getShortcutManager(), nullptr ) << "none are bound before they are first set up";
    menu_->setupShortcuts_();
    EXPECT_EQ( boundTo( 'F', ControlModifier ), "Search" );
    applyRibbonConfig( createRibbonConfigFromJson(
        Testing::json( R"({"Schema":{"Items":[{"Name":"Test a","Shortcut":["Super+K","Super+L"]}]}})" ) ) );
    EXPECT_EQ( boundTo( 'J', 8 ), "" );
    EXPECT_EQ( boundTo( 'K', 8 ), "Test a" );
    EXPECT_EQ( boundTo( 'L', 8 ), "Test a" );
    EXPECT_EQ( menu_->getShortcutManager()->findShortcutByName( "Test a" ), ( ShortcutKey{ 'K', 8 } ) );
    EXPECT_EQ( boundTo( GLFW_KEY_F1, 0 ), "Show shortcuts" ) << "the basic ones are there still";
}

TEST_F( RibbonMenus, KeysStartToolsUnlessSomethingElseHasTheKeyboard )
{
    add( { .name = "Test a", .action = {}, .requirements = {}, .isOn = {}, .shortcuts = { key( 'J', 8 ) } } );
    menu_->setupShortcuts_();
    frames( 1 );
    const auto press = [this] { return menu_->onKeyDown_( 'J', 8 ); };
    EXPECT_TRUE( press() );
    EXPECT_EQ( done_, "Test a " );
    EXPECT_FALSE( menu_->onKeyDown_( 'J', ShiftModifier | 8 ) ) << "nobody's key";
    EXPECT_FALSE( menu_->onKeyRepeat_( 'J', 8 ) ) << "holding it down starts it once";
    ImGui::GetIO().WantTextInput = true;
    EXPECT_TRUE( press() ) << "kept from the scene, too";
    ImGui::GetIO().WantTextInput = false;
    menu_->allowInput( false );
    EXPECT_TRUE( press() );
    menu_->allowInput( true );
    menu_->showModalMessage( "Wait", NotificationType::Info );
    EXPECT_TRUE( menu_->isModalShown() );
    EXPECT_TRUE( press() );
    EXPECT_EQ( done_, "Test a " );
}

TEST_F( RibbonMenus, EscapeEndsTheToolAtWork )
{
    class Tool final : public StatePlugin
    {
    public:
        Tool()
            : StatePlugin( "Test tool" )
        {
        }
    };
    const auto tool = std::make_shared<Tool>();
    menu_->emitItemPressed( tool );
    EXPECT_TRUE( tool->isActive() && menu_->hasAnyActiveItem() );
    menu_->onEscape_();
    EXPECT_FALSE( tool->isActive() || menu_->hasAnyActiveItem() );
}

TEST_F( RibbonMenus, ACommandIsCalledByItsToolsCaption )
{
    add( { .name = "Test a", .action = {}, .requirements = {}, .isOn = {} } );
    EXPECT_EQ( RibbonSchemaHolder::loadSchema( Testing::json( R"({"Items":[{"Name":"Test a","Caption":"A"}]})" ) ),
        std::vector<std::string>{} );
    EXPECT_EQ( menu_->captionOf_( "Test a" ), "A" );
    EXPECT_EQ( menu_->captionOf_( "Show shortcuts" ), "Show shortcuts" );
}

TEST_F( RibbonMenus, CoversNoMoreThanItDraws )
{
    const auto whole = menu_->coveredPixels();
    EXPECT_EQ( whole.x, 252 );
    EXPECT_EQ( whole.y, menu_->getTopPanelHeight() );
    menu_->setMenuUIConfig( { .topLayout = TopPanelLayoutMode::RibbonNoTabs } );
    EXPECT_LT( menu_->coveredPixels().y, whole.y );
    EXPECT_GT( menu_->coveredPixels().y, 0 );
    menu_->setMenuUIConfig( { .topLayout = TopPanelLayoutMode::None, .drawScenePanel = false } );
    EXPECT_EQ( menu_->coveredPixels(), ( Vector2f{ 0, 0 } ) );
    menu_->setMenuUIConfig( {} );
    ImGui::GetIO().DisplaySize = { 400, 300 };
    EXPECT_EQ( menu_->coveredPixels().x, 160 ) << "a small window is shared with the scene";
    menu_->setUserScaling( 0.5f );
    EXPECT_EQ( menu_->coveredPixels().x, 126 );
}

TEST_F( RibbonMenus, TheSizeOfTheInterfaceIsLimitedAndKept )
{
    menu_->setUserScaling( 1.5f );
    EXPECT_EQ( menu_->menu_scaling(), 1.5f );
    EXPECT_EQ( Config::instance().getJsonValue( "interfaceScale" ).asFloat(), 1.5f );
    menu_->setUserScaling( 99 );
    EXPECT_EQ( menu_->userScaling(), 3 );
    menu_->setUserScaling( -1 );
    EXPECT_EQ( menu_->userScaling(), 0.5f );
}

TEST_F( RibbonMenus, AConfigurationSwitchesPartsAndOneNoteTellsWhatIsWrong )
{
    const Testing::LogCapture log;
    applyRibbonConfig( createRibbonConfigFromJson( Testing::json( R"({"Schema":7,"Structure":[],"UISettings":
        {"TopPanel":"NoTabs","ScenePanel":false,"Toolbar":"no","Notifications":0,"Theme":"Light"}})" ) ) );
    const auto& config = menu_->getMenuUIConfig();
    EXPECT_EQ( config.topLayout, TopPanelLayoutMode::RibbonNoTabs );
    EXPECT_FALSE( config.drawScenePanel );
    EXPECT_TRUE( config.drawToolbar && config.drawNotifications && config.drawViewportTags ) << "as they were";
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
    ASSERT_EQ( menu_->told.size(), 1u );
    EXPECT_EQ( menu_->told[0].text, "\"Toolbar\" is neither true nor false\nThe log has 1 more of this kind." );
    EXPECT_TRUE( log.contains( "Configuration: \"Notifications\" is neither true nor false" ) );
    for ( const char* member : { "Schema", "Structure" } )
        EXPECT_TRUE(
            log.contains( std::string( "The configuration's \"" ) + member + "\" is not an object and is left out" ) );
}

TEST_F( RibbonMenus, AConfigurationThatIsWrongLeavesEverythingAsItWas )
{
    const Testing::LogCapture log;
    applyRibbonConfig( createRibbonConfigFromJson( Testing::json( R"({"UISettings":{"TopPanel":"Sideways"}})" ) ) );
    EXPECT_EQ( menu_->getMenuUIConfig().topLayout, TopPanelLayoutMode::RibbonWithTabs );
    ASSERT_EQ( menu_->told.size(), 1u );
    EXPECT_EQ( menu_->told[0].text, R"("TopPanel" is none of "None", "NoTabs" and "WithTabs")" );
    applyRibbonConfig( createRibbonConfigFromJson( Testing::json( R"({"UISettings":{"Theme":"Blue"}})" ) ) );
    EXPECT_EQ( menu_->told.back().text, "There is no theme \"Blue\"" );
    menu_->told.clear();
    for ( const char* text : { "null", "[]", "7", "{}", R"({"UISettings":{}})" } )
        applyRibbonConfig( createRibbonConfigFromJson( Testing::json( text ) ) );
    EXPECT_TRUE( menu_->told.empty() );
}

TEST_F( RibbonMenus, TheUsersThemeStandsAboveTheConfigurations )
{
    Config::instance().setJsonValue( cColorThemeConfigKey, "Dark" );
    applyRibbonConfig( createRibbonConfigFromJson( Testing::json( R"({"UISettings":{"Theme":"Light"}})" ) ) );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Dark );
}

TEST_F( RibbonMenus, ToolsOfTheInterfaceSwitchItsParts )
{
    const auto tool = []( const char* name ) { return RibbonSchemaHolder::findItem( name ); };
    EXPECT_TRUE( tool( "Scene list" )->isActive() );
    menu_->emitItemPressed( tool( "Scene list" ) );
    EXPECT_FALSE( menu_->getMenuUIConfig().drawScenePanel );
    EXPECT_FALSE( tool( "Scene list" )->isActive() || menu_->hasAnyActiveItem() );
    menu_->emitItemPressed( tool( "Switch theme" ) );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
    EXPECT_EQ( Config::instance().getJsonValue( cColorThemeConfigKey ), "Light" );
    menu_->emitItemPressed( tool( "Switch theme" ) );
    EXPECT_EQ( Config::instance().getJsonValue( cColorThemeConfigKey ), "Dark" );
    EXPECT_FALSE( menu_->isModalShown() );
    menu_->emitItemPressed( tool( "Mouse help" ) );
    EXPECT_TRUE( menu_->isModalShown() );
}

TEST_F( RibbonMenus, ToolsOfTheInterfaceAreOffWhereThereIsNoSuchMenu )
{
    getViewerInstance().setMenuPlugin( nullptr );
    for ( const char* name : { "Scene list", "Shortcuts", "Customize toolbar", "Mouse help" } )
    {
        const auto item = RibbonSchemaHolder::findItem( name );
        EXPECT_TRUE( item->action() ) << name;
        EXPECT_FALSE( item->isActive() ) << name;
    }
}
