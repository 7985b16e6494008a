#include "TestPlaces.h"
#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"
#include "support/ui/Frames.h"

#include <AboutTool.h>
#include <LocalSetup.h>
#include <open/FileOpener.h>
#include <step/LocalConverter.h>
#include <step/StepFormat.h>
#include <step/StepTools.h>

#include <AppSetup.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/window/OffscreenWindow.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <cstdlib>

using namespace VX;

namespace
{

/// The program as `--local` starts it, in a window without a display and with the real converter within reach.
class Local : public testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        ::setenv( "HOME", folder_.path().c_str(), 1 );
        ::setenv( "PATH", std::filesystem::path( ORVANTA_BACKEND ).parent_path().c_str(), 1 );
        // A sign-in of another day is there for whoever looks.
        std::filesystem::create_directories( folder_.path() / "Orvanta/Token" );
        folder_.write( "Orvanta/Token/.token", R"({"login":"ann@example.org","token":"kept","endpoint":"e"})" );
        App::registerLocalStepFormat();
        App::registerAboutTool();
        App::registerConvertTool();
        setWebTransport( transport_ );
        LaunchParams params;
        params.appName = "Orvanta";
        params.windowless = true;
        const auto started = viewer().start( params, setup_ );
        ASSERT_TRUE( started ) << started.error();
        opener_.onError = [this]( const std::string& text ) { errors_.push_back( text ); };
        Testing::settleFrames();
    }
    void TearDown() override
    {
        EXPECT_TRUE( viewer().stop() );
        EXPECT_TRUE( transport_->sent().empty() ) << transport_->sent().front().url;
        setWebTransport( nullptr );
        App::registerStepFormat();
    }
    static Viewer& viewer() { return getViewerInstance(); }
    static std::shared_ptr<RibbonMenu> menu()
    {
        return std::dynamic_pointer_cast<RibbonMenu>( viewer().getMenuPlugin() );
    }
    void open( const std::vector<std::filesystem::path>& files )
    {
        opener_.open( files );
        while ( opener_.pending() > 0 )
            viewer().step( -1 );
        Testing::settleFrames();
    }
    static void press( int key, int modifiers )
    {
        auto& window = dynamic_cast<OffscreenWindow&>( *viewer().window() );
        window.pressKey( key, true, modifiers );
        Testing::settleFrames();
        window.pressKey( key, false, 0 );
        Testing::settleFrames();
    }
    static size_t objects() { return viewer().sceneRoot().children().size(); }

    Testing::ScratchFolder folder_;
    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
    App::LocalSetup setup_{ App::mergedConfig( {} ) };
    App::FileOpener opener_;
    std::vector<std::string> errors_;
};

} // namespace

TEST_F( Local, SaysWhatIsWrongInItsConfiguration )
{
    EXPECT_EQ( menu()->notificationCount(), 0u );
    const App::LocalSetup wrong( App::mergedConfig( {} ), { "\"Fonst\" is not known" } );
    wrong.setupExtendedLibraries();
    EXPECT_EQ( menu()->notificationCount(), 1u );
}

TEST_F( Local, HasTheRibbonAndTheToolsWithoutTheServices )
{
    ASSERT_TRUE( menu() );
    EXPECT_FALSE( OrvantaRibbonMenu::instance() );
    const auto& schema = RibbonSchemaHolder::schema();
    ASSERT_EQ( schema.tabs.size(), 3u );
    EXPECT_EQ( schema.tabs[0].name, "Home" );
    EXPECT_TRUE( schema.items.contains( "Measure distance" ) );
    for ( const char* name : { "Sign out", "Privacy", "Quickstart video" } )
        EXPECT_FALSE( schema.items.contains( name ) ) << name;
    EXPECT_TRUE( RibbonSchemaHolder::search( "sign out" ).empty() );
    for ( const auto& group : schema.tabs[2].groups )
        EXPECT_NE( group.name, "Account" );
    EXPECT_EQ( menu()->notificationCount(), 0u ) << "the configuration does not fit";
}

TEST_F( Local, TheKeysForEditingMeetTheirTools )
{
    const auto& keys = *menu()->getShortcutManager();
    for ( const auto& [tool, key] :
        { std::pair{ "Undo", "Ctrl+Z" }, std::pair{ "Redo", "Ctrl+Shift+Z" }, std::pair{ "Delete Selection", "Del" },
            std::pair{ "Select Primitives", "Ctrl+W" }, std::pair{ "Clear Selections", "Ctrl+X" } } )
    {
        const auto bound = keys.findShortcutByName( tool );
        EXPECT_EQ( bound ? ShortcutManager::getKeyFullString( *bound ) : "no key", key ) << tool;
    }
}

TEST_F( Local, NothingStandsInTheWayOfTheScene )
{
    for ( const char* name : { "Auth", "Background", "elcome", "odal", "ersion" } )
        EXPECT_FALSE( Testing::isWindowShown( name ) ) << name;
    // Frames of a long day.
    for ( int i = 0; i < 100; ++i )
    {
        viewer().incrementForceRedrawFrames();
        viewer().step( 0 );
    }
    EXPECT_TRUE( transport_->sent().empty() );
}

TEST_F( Local, StepFilesAreConvertedOnThisMachine )
{
    const std::filesystem::path samples = ORVANTA_SAMPLES;
    open( { samples / "bracket.step", samples / "drive.step" } );
    EXPECT_TRUE( errors_.empty() ) << errors_.front();
    EXPECT_EQ( objects(), 2u );
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( objects(), 0u ) << "what was opened together is one step";
    press( 'Z', GLFW_MOD_CONTROL | GLFW_MOD_SHIFT );
    EXPECT_EQ( objects(), 2u );
    press( 'Z', GLFW_MOD_CONTROL );
    open( { samples / "bracket.step" } );
    ASSERT_EQ( objects(), 1u );
    press( 'A', GLFW_MOD_CONTROL );
    press( GLFW_KEY_DELETE, 0 );
    EXPECT_EQ( objects(), 0u );
}

TEST_F( Local, WithoutTheConverterItSaysWhatToInstall )
{
    ::setenv( "PATH", "/nowhere", 1 );
    open( { std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" } );
    ASSERT_EQ( errors_.size(), 1u );
    EXPECT_EQ( errors_[0],
        "Cannot open \"bracket.step\": STEP files are converted by the program orvanta-backend, which is not installed "
        "here. Install the Debian package \"orvanta-backend-bin\", or put orvanta-backend into a folder of PATH" );
    EXPECT_EQ( objects(), 0u );
}

TEST_F( Local, MeshesNeedNoConverter )
{
    ::setenv( "PATH", "/nowhere", 1 );
    open( { folder_.write( "cube.vxu", Testing::cubeFile() ) } );
    EXPECT_TRUE( errors_.empty() );
    EXPECT_EQ( objects(), 1u );
}

TEST( AfterLocal, TheToolsOfTheServiceAreBack )
{
    for ( const char* name : { "Sign out", "Privacy", "Quickstart video" } )
        EXPECT_TRUE( RibbonSchemaHolder::findItem( name ) ) << name;
}
