#include "support/LogCapture.h"
#include "support/ui/ShownText.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXViewer/ui/ColorTheme.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace VX;

namespace
{

using Names = std::vector<std::string>;

/// What a configuration does to the running menu.
class MenuConfig : public Testing::UiFixture
{
protected:
    static void apply( const std::string& text )
    {
        applyOrvantaConfig( createOrvantaConfigFromJson( deserializeJsonValue( text ).value() ) );
    }
    void expectSwitches( bool welcome, bool base, bool history ) const
    {
        const auto& config = menu_->getOrvantaMenuConfig();
        EXPECT_EQ( config.drawWelcomeWindow, welcome );
        EXPECT_EQ( config.allowBaseShortcuts, base );
        EXPECT_EQ( config.allowHistoryShortcuts, history );
    }
    [[nodiscard]] Names shortcuts() const
    {
        Names out;
        for ( const auto& entry : menu_->getShortcutManager()->getShortcutList() )
            out.push_back( entry.command->name );
        std::sort( out.begin(), out.end() );
        return out;
    }
    [[nodiscard]] bool isBound( const std::string& name ) const
    {
        return menu_->getShortcutManager()->findShortcutByName( name ).has_value();
    }
};

/// Started with a configuration that switches the general shortcuts off.
class FewShortcuts : public MenuConfig
{
protected:
    [[nodiscard]] Json::Value config() const override
    {
        return deserializeJsonValue(
            std::string( R"({"MenuLayout":{"drawWelcomeWindow":false,"allowBaseShortcuts":false}})" ) )
            .value();
    }
};

const Names cFew{ "Leave", "Redo", "Show shortcuts", "Undo" };

} // namespace

TEST_F( MenuConfig, SwitchesReachTheMenuAndItsKeys )
{
    apply( R"({"MenuLayout":{"drawWelcomeWindow":false,"allowBaseShortcuts":false}})" );
    expectSwitches( false, false, true );
    EXPECT_EQ( shortcuts(), cFew );
    apply( "{}" );
    expectSwitches( false, false, true );
    EXPECT_EQ( shortcuts(), cFew ) << "nothing was said about them";
    apply( R"({"MenuLayout":{}})" );
    expectSwitches( true, true, true );
    EXPECT_TRUE( isBound( "Delete Selection" ) && isBound( "Search" ) && isBound( "Undo" ) );
    apply( R"({"MenuLayout":{"allowHistoryShortcuts":false}})" );
    expectSwitches( true, true, false );
    EXPECT_FALSE( isBound( "Undo" ) );
}

TEST_F( MenuConfig, AToolStartsByTheKeyThatItIsGiven )
{
    const auto bound = [&] { return menu_->getShortcutManager()->findShortcutByName( "Scene list" ); };
    ASSERT_FALSE( bound() );
    apply( R"({"Schema":{"Items":[{"Name":"Scene list","Shortcut":"Ctrl+L"}]}})" );
    EXPECT_EQ( bound(), ( ShortcutKey{ 'L', ControlModifier } ) );
    EXPECT_TRUE( isBound( "Undo" ) ) << "the menu's own stay";
    const bool shown = menu_->getMenuUIConfig().drawScenePanel;
    press( GLFW_KEY_L, GLFW_MOD_CONTROL );
    EXPECT_NE( menu_->getMenuUIConfig().drawScenePanel, shown );
    apply( R"({"Schema":{"Items":[{"Name":"Scene list","Shortcut":[]}]}})" );
    EXPECT_FALSE( bound() );
}

TEST_F( MenuConfig, FreshMenuHasEverySwitchOn )
{
    expectSwitches( true, true, true );
}

TEST_F( FewShortcuts, AreBoundWhenTheMenuIsMadeAfterwards )
{
    expectSwitches( false, false, true );
    EXPECT_EQ( shortcuts(), cFew );
}

TEST_F( FewShortcuts, NoTextNamesAKeyThatDoesNothing )
{
    (void)frame();
    const auto text = Testing::shownText( "" );
    EXPECT_NE( text.find( "Drop a file here\n" ), std::string::npos ) << text;
    EXPECT_NE( text.find( "Search\n" ), std::string::npos ) << text;
    EXPECT_EQ( text.find( "Ctrl" ), std::string::npos ) << text;
}

TEST_F( MenuConfig, TextsNameTheKeysThatAreBound )
{
    (void)frame();
    auto text = Testing::shownText( "" );
    EXPECT_NE( text.find( "or press Ctrl+O to open one\n" ), std::string::npos ) << text;
    EXPECT_NE( text.find( "Search (Ctrl+F)\n" ), std::string::npos ) << text;
    auto& manager = *menu_->getShortcutManager();
    manager.clear();
    using Category = ShortcutManager::Category;
    ASSERT_TRUE( manager.setShortcut(
        { 'U', ControlModifier }, { .category = Category::Scene, .name = "Open files", .action = [] {} } ) );
    ASSERT_TRUE(
        manager.setShortcut( { GLFW_KEY_F3, 0 }, { .category = Category::Info, .name = "Search", .action = [] {} } ) );
    (void)frame();
    text = Testing::shownText( "" );
    EXPECT_NE( text.find( "or press Ctrl+U to open one\n" ), std::string::npos ) << text;
    EXPECT_NE( text.find( "Search (F3)\n" ), std::string::npos ) << text;
    openCube();
    ASSERT_TRUE(
        manager.setShortcut( { GLFW_KEY_F2, 0 }, { .category = Category::Info, .name = "Search", .action = [] {} } ) );
    (void)frame();
    text = Testing::shownText( "" );
    EXPECT_NE( text.find( "Search (F2)\n" ), std::string::npos ) << "also over a scene that is not empty: " << text;
}

TEST_F( MenuConfig, AnotherClassOfMenuGetsNothingOfIt )
{
    const auto own = viewer().getMenuPlugin();
    const auto plain = std::make_shared<RibbonMenu>();
    viewer().setMenuPlugin( plain );
    const auto revision = RibbonSchemaHolder::revision();
    const Testing::LogCapture log;
    apply( R"({"MenuLayout":{},"Structure":{"Tabs":[{"Name":"X","Groups":[{"Name":"Y","List":["Undo"]}]}]},
        "UISettings":{"Theme":"Light","ScenePanel":false}})" );
    viewer().setMenuPlugin( own );
    EXPECT_EQ( log.text(), "warning: Cannot apply layout config\n" );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Dark );
    EXPECT_EQ( RibbonSchemaHolder::revision(), revision );
    EXPECT_TRUE( plain->getMenuUIConfig().drawScenePanel );
}

TEST_F( MenuConfig, FontsReplaceTheirOwnOnly )
{
    auto& manager = menu_->fontManager();
    const auto before = manager.getAllFontPaths();
    apply( R"({"Fonts":{}})" );
    EXPECT_FALSE( manager.isOutdated() ) << "no font given";
    apply( R"({"Fonts":{"Monospace":")" + utf8string( before[0] ) + R"("}})" );
    EXPECT_TRUE( manager.isOutdated() );
    EXPECT_EQ(
        manager.getAllFontPaths(), ( RibbonFontManager::FontPaths{ before[0], before[1], before[0], before[3] } ) );
    (void)frame();
    EXPECT_FALSE( manager.isOutdated() );
}

namespace
{

class ConfiguredTheme : public Testing::UiFixture
{
protected:
    [[nodiscard]] Json::Value config() const override
    {
        return deserializeJsonValue( std::string( R"({"UISettings":{"Theme":"Light"}})" ) ).value();
    }
    void SetUp() override
    {
        SessionLogsTestAccess::reset();
        UiFixture::SetUp();
    }
    void TearDown() override
    {
        UiFixture::TearDown();
        SessionLogsTestAccess::reset();
        ColorTheme::setupPreset( ColorTheme::Preset::Dark );
    }
};

} // namespace

TEST_F( ConfiguredTheme, IsThereFromTheFirstFrameAndNoActionOfTheUser )
{
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{ "Sign In" } );
}
