#include "ui/viewer/RibbonFixture.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXViewer/dialogs/FileDialogSignals.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

class Ribbon : public Testing::RibbonFixture
{
};

} // namespace

TEST_F( Ribbon, TabsAreChosenByMouse )
{
    EXPECT_EQ( menu_->currentTab(), "Home" );
    click( { 98, 20 } );
    EXPECT_EQ( menu_->currentTab(), "View" );
}

TEST_F( Ribbon, AToolIsPressedInThePanel )
{
    openCube();
    click( { 98, 20 } );
    const auto before = viewer().camera().isOrthographic();
    pressTool( "Orthographic" );
    EXPECT_NE( viewer().camera().isOrthographic(), before );
    click( { 40, 60 } ); // "Fit all" is the first of the tab
    EXPECT_FALSE( isWindowShown( "##notification" ) );
}

TEST_F( Ribbon, APressThatCannotBeDoneTellsWhatIsMissing )
{
    pressTool( "Hide selected" );
    EXPECT_TRUE( isWindowShown( "##notification" ) );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    pressTool( "Hide selected" );
    EXPECT_EQ( menu_->notificationCount(), 1u ) << "the same again is counted";
}

TEST_F( Ribbon, ANoteWithAKeyTakesThePlaceOfTheFormer )
{
    menu_->pushNotification( { .header = "Opening", .text = "1 of 2", .lifeTimeSec = 0, .key = "opening" } );
    menu_->pushNotification( { .header = "Opening", .text = "2 of 2", .lifeTimeSec = 0, .key = "opening" } );
    menu_->pushNotification( { .header = "Saved", .lifeTimeSec = 0 } );
    settle();
    EXPECT_EQ( menu_->notificationCount(), 2u );
    menu_->removeNotification( "opening" );
    EXPECT_EQ( menu_->notificationCount(), 1u );
}

TEST_F( Ribbon, TwoBlockingToolsAreNeverActiveTogether )
{
    openCube();
    pressTool( "Measure distance" );
    EXPECT_TRUE( isActive( "Measure distance" ) );
    pressTool( "Select Primitives" );
    EXPECT_FALSE( isActive( "Measure distance" ) );
    EXPECT_TRUE( isActive( "Select Primitives" ) );
    pressTool( "Viewer settings" );
    EXPECT_TRUE( isActive( "Viewer settings" ) && isActive( "Select Primitives" ) );
    EXPECT_TRUE( isWindowShown( "##activeTools" ) );
}

TEST_F( Ribbon, EscapeEndsToolsOneByOneAndThenClearsTheSelection )
{
    openCube();
    cube().select( true );
    pressTool( "Viewer settings" );
    pressTool( "Measure distance" );
    press( GLFW_KEY_ESCAPE );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( menu_->hasAnyActiveItem() );
    EXPECT_TRUE( cube().isSelected() );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( cube().isSelected() );
}

TEST_F( Ribbon, ToolsEndWithTheProgram )
{
    openCube();
    pressTool( "Measure distance" );
    restart();
    EXPECT_FALSE( isActive( "Measure distance" ) );
    EXPECT_FALSE( menu_->hasAnyActiveItem() );
}

TEST_F( Ribbon, DeletionIsTakenBackAndDoneAgainByKeyboard )
{
    openCube();
    press( GLFW_KEY_A, GLFW_MOD_CONTROL );
    press( GLFW_KEY_DELETE );
    EXPECT_EQ( objects(), 0u );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( objects(), 1u );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT );
    EXPECT_EQ( objects(), 0u );
}

TEST_F( Ribbon, OpeningAFileIsOneStep )
{
    openCube();
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( objects(), 0u );
}

TEST_F( Ribbon, SearchFindsAndPressesAToolByKeyboard )
{
    openCube();
    int focused = 0;
    std::string activated;
    const boost::signals2::scoped_connection a = menu_->getSearch().onFocus.connect( [&] { ++focused; } );
    const boost::signals2::scoped_connection b = menu_->getSearch().onToolActivate.connect(
        [&]( const std::shared_ptr<RibbonMenuItem>& item ) { activated = item->name(); } );
    press( GLFW_KEY_F, GLFW_MOD_CONTROL );
    type( "wire" );
    EXPECT_TRUE( isWindowShown( "##searchResults" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( focused, 1 );
    EXPECT_EQ( activated, "Wireframe" );
    EXPECT_TRUE( viewer().drawSettings().wireframe );
    EXPECT_FALSE( isWindowShown( "##searchResults" ) );
}

TEST_F( Ribbon, SearchGoesThroughItsResultsByArrows )
{
    std::string activated;
    const boost::signals2::scoped_connection b = menu_->getSearch().onToolActivate.connect(
        [&]( const std::shared_ptr<RibbonMenuItem>& item ) { activated = item->name(); } );
    press( GLFW_KEY_F, GLFW_MOD_CONTROL );
    type( "shading" );
    const auto results = RibbonSchemaHolder::search( "shading" );
    ASSERT_GT( results.size(), 2u );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_UP );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( activated, results[1].name );
}

TEST_F( Ribbon, EnterThatOpensADialogDoesNotAnswerItToo )
{
    press( GLFW_KEY_F, GLFW_MOD_CONTROL );
    type( "toolb" );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( isWindowShown( "Customize the toolbar" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( "Customize the toolbar" ) );
    press( GLFW_KEY_F, GLFW_MOD_CONTROL );
    type( "create" );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( isActive( "Create Simple Objects" ) );
    EXPECT_TRUE( viewer().sceneRoot().children().empty() );
}

TEST_F( Ribbon, SearchIsLeftByEscapeAndTakesNoShortcuts )
{
    openCube();
    press( GLFW_KEY_F, GLFW_MOD_CONTROL );
    press( GLFW_KEY_E );
    EXPECT_TRUE( viewer().drawSettings().edges ) << "a letter typed is no shortcut";
    type( "zzzz" );
    EXPECT_TRUE( isWindowShown( "##searchResults" ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isWindowShown( "##searchResults" ) );
    press( GLFW_KEY_E );
    EXPECT_FALSE( viewer().drawSettings().edges );
}

TEST_F( Ribbon, NameIsEditedInTheList )
{
    openCube();
    cube().select( true );
    settle();
    press( GLFW_KEY_F2 );
    type( "Housing" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( cube().name(), "Housing" );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( cube().name(), "Cube" );
    press( GLFW_KEY_F2 );
    type( "Other" );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( cube().name(), "Cube" );
}

TEST_F( Ribbon, ContextMenuOfARowSelectsIt )
{
    openCube();
    int drawn = 0;
    auto* list = dynamic_cast<RibbonSceneObjectsListDrawer*>( menu_->getSceneObjectsList().get() );
    ASSERT_TRUE( list );
    const boost::signals2::scoped_connection c = list->onDrawContextSignal.connect( [&] { ++drawn; } );
    window().moveMouse( windowPointFromTop( "##rows", 100, 14 ) );
    settle();
    window().pressMouse( MouseButton::Right, true );
    settle();
    window().pressMouse( MouseButton::Right, false );
    settle();
    EXPECT_GT( drawn, 0 );
    EXPECT_TRUE( cube().isSelected() );
}

TEST_F( Ribbon, EndsAboveTheNoticesOfTheProgram )
{
    for ( const float scale : { 1.f, 1.25f, 1.5f, 2.f } )
    {
        window().resize( int( 1280 * scale ), int( 800 * scale ), scale );
        settle();
        EXPECT_LT( windowPoint( "##topPanel", 0, 0 ).y, 120 * scale );
    }
}

TEST_F( Ribbon, HintOfAnEmptySceneMakesRoomForDialogs )
{
    // What is drawn behind all windows comes first.
    const auto drawnBehind = [this]
    {
        (void)frame();
        return ImGui::GetDrawData()->CmdLists[0]->VtxBuffer.Size;
    };
    const int hint = drawnBehind();
    menu_->showModalMessage( "Something", NotificationType::Info );
    EXPECT_LT( drawnBehind(), hint - 60 );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( drawnBehind(), hint );
}

TEST_F( Ribbon, ToolbarIsChosenAndKept )
{
    menu_->getToolbar().setItems( { "Undo", "Quit" } );
    restart();
    EXPECT_EQ( menu_->getToolbar().items(), ( Toolbar::Items{ "Undo", "Quit" } ) );
    menu_->getToolbar().resetToDefault();
    EXPECT_EQ( menu_->getToolbar().items().front(), "Open files" );
    pressTool( "Customize toolbar" );
    EXPECT_TRUE( isWindowShown( "Customize the toolbar" ) );
    EXPECT_TRUE( menu_->isModalShown() );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isWindowShown( "Customize the toolbar" ) );
}

TEST_F( Ribbon, SavedToolbarsOfOtherVersionsAreUpgraded )
{
    const auto save = []( int version, const std::vector<std::string>& names )
    {
        Json::Value value;
        value["Version"] = version;
        for ( const auto& name : names )
            value["List"].append( name );
        Config::instance().setJsonValue( "quickAccess", value );
    };
    save( 1, { "Face Selector", "Camera", "Undo" } );
    menu_->schemaChanged();
    EXPECT_EQ( menu_->getToolbar().items(), ( Toolbar::Items{ "Select Primitives", "Undo" } ) );
    save( 2, { "Face Selector", "Undo" } );
    menu_->schemaChanged();
    EXPECT_EQ( menu_->getToolbar().items(), ( Toolbar::Items{ "Undo" } ) ) << "of a tool that does not exist";
    save( 99, { "Redo", "Redo", "Later Tool" } );
    menu_->schemaChanged();
    EXPECT_EQ( menu_->getToolbar().items(), ( Toolbar::Items{ "Redo" } ) );
    EXPECT_EQ( menu_->getToolbar().upgraded( { "Face Selector", "Camera", "Measure" }, 1 ),
        ( Toolbar::Items{ "Select Primitives", "Measure" } ) );
    EXPECT_EQ( menu_->getToolbar().upgraded( { "Measure" }, 1 ), ( Toolbar::Items{ "Measure" } ) );
    EXPECT_EQ( menu_->getToolbar().upgraded( {}, 1 ), Toolbar::Items{} );
    Config::instance().setJsonValue( "quickAccess", "nonsense" );
    menu_->schemaChanged();
    EXPECT_EQ( menu_->getToolbar().items(), RibbonSchemaHolder::schema().quickAccess );
}

TEST_F( Ribbon, ThemeIsSwitchedAndKept )
{
    const auto dark = frame();
    pressTool( "Switch theme" );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
    EXPECT_GT( difference( dark, frame() ), 500'000u );
    restart();
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Light );
}

TEST_F( Ribbon, InterfaceSizeIsKeptAndLimited )
{
    menu_->setUserScaling( 1.5f );
    settle();
    EXPECT_FLOAT_EQ( menu_->menu_scaling(), 1.5f );
    restart();
    EXPECT_FLOAT_EQ( menu_->menu_scaling(), 1.5f );
    menu_->setUserScaling( 100 );
    EXPECT_FLOAT_EQ( menu_->userScaling(), 3 );
    settle();
}

TEST_F( Ribbon, SceneListCanBeHidden )
{
    pressTool( "Scene list" );
    EXPECT_FALSE( isWindowShown( "##sceneList" ) );
    EXPECT_EQ( menu_->getSceneListWidth(), 0 );
    pressTool( "Scene list" );
    EXPECT_TRUE( isWindowShown( "##sceneList" ) );
}

TEST_F( Ribbon, NothingIsLostInASmallWindow )
{
    openCube();
    for ( const auto& [width, height] : { std::pair( 1024, 700 ), std::pair( 640, 480 ), std::pair( 300, 200 ) } )
    {
        window().resize( width, height );
        settle();
        pressTool( "Viewer settings" );
        (void)frame();
        pressTool( "Viewer settings" );
        EXPECT_LE( menu_->getSceneListWidth(), float( width ) * 0.4f + 1 );
    }
}

TEST_F( Ribbon, SavingTellsTheFileAndWritesIt )
{
    openCube();
    std::filesystem::path told;
    const boost::signals2::scoped_connection c =
        FileDialogSignals::instance().onSaveFile.connect( [&]( const std::filesystem::path& file ) { told = file; } );
    press( GLFW_KEY_S, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT );
    ASSERT_TRUE( isWindowShown( "Save##fileDialog" ) );
    type( "kept" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told.filename(), "kept.vxu" );
    EXPECT_TRUE( std::filesystem::exists( folder_.path() / "kept.vxu" ) );
    EXPECT_TRUE( isWindowShown( "##notification" ) );
}

TEST_F( Ribbon, SelectedObjectsAreSavedByThemselves )
{
    openCube();
    opener_->open( { folder_.write( "points.xyz", "0 0 0\n1 1 1\n" ) } );
    turnUntil( [this] { return opener_->pending() == 0; } );
    pressTool( "Clear Selections" );
    pressTool( "Save selected" );
    EXPECT_FALSE( isWindowShown( "Save##fileDialog" ) );
    cube().select( true );
    settle();
    pressTool( "Save selected" );
    ASSERT_TRUE( isWindowShown( "Save##fileDialog" ) );
    type( "alone" );
    press( GLFW_KEY_ENTER );
    const auto loaded = loadObjectFromFile( folder_.path() / "alone.vxu" );
    ASSERT_TRUE( loaded ) << loaded.error();
    ASSERT_EQ( loaded->objects.size(), 1u );
    EXPECT_EQ( loaded->objects[0]->name(), "Cube" );
}

TEST_F( Ribbon, FilesHaveANameInCommon )
{
    EXPECT_EQ( commonFilesName( { "a/part.stl" } ), "STL file" );
    EXPECT_EQ( commonFilesName( { "a.stl", "b.STL" } ), "2 STL files" );
    EXPECT_EQ( commonFilesName( { "a.stl", "b.ply" } ), "2 files" );
    EXPECT_EQ( commonFilesName( { "README" } ), "file" );
    EXPECT_EQ( commonFilesName( {} ), "no files" );
}

TEST_F( Ribbon, SettingsGroupEntriesOfOthersUnderTheirHeading )
{
    class Entry final : public ViewerSettingsPlugin::ExternalSettings
    {
    public:
        [[nodiscard]] const std::string& getName() const override { return name_; }
        void draw( float ) override { ++drawn; }
        void reset() override { ++resets; }
        [[nodiscard]] const char* separatorName() const override { return "Behavior"; }
        int drawn = 0, resets = 0;

    private:
        std::string name_ = "Entry";
    };
    const auto entry = std::make_shared<Entry>();
    EXPECT_EQ( entry->resetEffect(), "\"Entry\" goes back to its default" );
    auto* settings = ViewerSettingsPlugin::instance();
    ASSERT_TRUE( settings );
    settings->addComboSettings( ViewerSettingsPlugin::TabType::Viewport, entry );
    pressTool( "Viewer settings" );
    EXPECT_EQ( entry->drawn, 0 );
    settings->setActiveTab( ViewerSettingsPlugin::TabType::Viewport );
    settle();
    EXPECT_GT( entry->drawn, 0 );
    viewer().drawSettings().edges = false;
    const auto pressLowest = [&]( float left )
    { click( { windowPointFromTop( "Viewer settings", left, 0 ).x, windowPoint( "Viewer settings", 0, 32 ).y } ); };
    const auto before = frame();
    pressLowest( 60 ); // Reset...
    EXPECT_EQ( entry->resets, 0 ) << "it asks first";
    EXPECT_GT( difference( before, frame() ), 500u ) << "and says what would be done";
    pressLowest( 170 ); // Cancel
    EXPECT_EQ( entry->resets, 0 );
    EXPECT_FALSE( viewer().drawSettings().edges );
    pressLowest( 60 );
    pressLowest( 60 ); // Reset
    EXPECT_EQ( entry->resets, 1 );
    EXPECT_TRUE( viewer().drawSettings().edges );
    settings->delComboSettings( ViewerSettingsPlugin::TabType::Viewport, entry );
    const int drawn = entry->drawn;
    (void)frame();
    EXPECT_EQ( entry->drawn, drawn );
}

TEST_F( Ribbon, AMonitorsChangeOfScaleRebuildsTheFonts )
{
    const float before = ImGui::GetFontSize();
    window().resize( 1280, 800, 2 );
    settle();
    EXPECT_NEAR( ImGui::GetIO().Fonts->Fonts[0]->FontSize, before * 2, 1 );
    EXPECT_FLOAT_EQ( menu_->menu_scaling(), 2 );
}

namespace
{

/// Started with a configuration in which nearly all is wrong.
class WronglyConfigured : public Testing::UiFixture
{
protected:
    [[nodiscard]] Json::Value config() const override
    {
        Json::Value out;
        out["Structure"] = 5;
        out["Fonts"]["Regular"] = "/nowhere/a.ttf";
        out["UISettings"]["Theme"] = "Drak";
        return out;
    }
};

} // namespace

TEST_F( WronglyConfigured, TheProgramHasItsToolsAndSaysWhatIsWrongOnce )
{
    EXPECT_FALSE( RibbonSchemaHolder::schema().tabs.empty() );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Dark );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    EXPECT_TRUE( isWindowShown( "##notification" ) );
}
