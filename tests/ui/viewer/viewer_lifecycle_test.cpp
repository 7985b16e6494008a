#include "support/ScratchFolder.h"

#include <AppSetup.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/ribbon/RibbonSetup.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

using namespace VX;

namespace
{

/// The viewer as a host uses it, started and stopped by the test.
class ViewerLifecycle : public testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        ::unsetenv( "DISPLAY" );
        ::unsetenv( "WAYLAND_DISPLAY" );
        setWebTransport( std::make_shared<ScriptedTransport>() );
    }
    void TearDown() override { setWebTransport( nullptr ); }

    tl::expected<void, std::string> start( bool windowless = true )
    {
        LaunchParams params;
        params.appName = "Orvanta";
        params.windowless = windowless;
        return viewer().start( params, setup_ );
    }
    static Viewer& viewer() { return getViewerInstance(); }

    Testing::ScratchFolder folder_;
    App::AppSetup setup_{ App::builtInConfig() };
};

} // namespace

TEST_F( ViewerLifecycle, AFailedStartCanBeStoppedAndStartedAgain )
{
    const auto failed = start( false );
    ASSERT_FALSE( failed );
    EXPECT_NE( failed.error(), "" );
    EXPECT_TRUE( viewer().stop() );
    ASSERT_TRUE( start() );
    viewer().step( 0 );
    EXPECT_TRUE( viewer().stop() );
}

TEST_F( ViewerLifecycle, TheTitleOfARunEndsWithIt )
{
    ASSERT_TRUE( start() );
    viewer().viewerTitle()->setSceneName( "part.step" );
    EXPECT_EQ( viewer().viewerTitle()->compose(), "part.step - Orvanta" );
    EXPECT_TRUE( viewer().stop() );
    ASSERT_TRUE( start() );
    EXPECT_EQ( viewer().viewerTitle()->compose(), "Orvanta" );
    EXPECT_TRUE( viewer().stop() );
}

TEST_F( ViewerLifecycle, RequestsAreSentAgainInTheNextRun )
{
    setWebTransport( nullptr );
    const auto errorOfARequest = []
    {
        std::promise<std::string> error;
        WebRequest( "https://localhost:1/" )
            .send( [&]( const Json::Value& response ) { error.set_value( response["error"].asString() ); } );
        return error.get_future().get();
    };
    ASSERT_TRUE( start() );
    EXPECT_TRUE( viewer().stop() );
    EXPECT_EQ( errorOfARequest(), "The program is closing" );
    ASSERT_TRUE( start() );
    EXPECT_NE( errorOfARequest(), "The program is closing" ) << "nobody listens there, but it was tried";
    EXPECT_TRUE( viewer().stop() );
}

TEST_F( ViewerLifecycle, NothingOfTheSceneOutlivesIt )
{
    ASSERT_TRUE( start() );
    auto object = std::make_shared<Object>();
    const std::weak_ptr<Object> weak = object;
    viewer().sceneRoot().addChild( std::move( object ) );
    sceneDocument().setFile( "part.vxu" );
    EXPECT_EQ( ( SceneCache::getAllObjects<Object, ObjectSelectivityType::Selectable>().size() ), 1u );
    EXPECT_TRUE( viewer().stop() );
    EXPECT_TRUE( weak.expired() );
    EXPECT_EQ( sceneDocument().file(), "" );
}

TEST_F( ViewerLifecycle, AProgramMayHaveTheFrameworksMenuAlone )
{
    RibbonSetup setup;
    LaunchParams params;
    params.appName = "Orvanta";
    params.windowless = true;
    ASSERT_TRUE( viewer().start( params, setup ) );
    const auto menu = viewer().getMenuPlugin();
    ASSERT_TRUE( menu );
    EXPECT_EQ( typeid( *menu ), typeid( RibbonMenu ) );
    EXPECT_EQ( currentMenu(), menu.get() );
    EXPECT_EQ( currentRibbonMenu(), menu.get() );
    viewer().step( 0 );
    EXPECT_GT( viewer().framesDrawn(), 0u );
    EXPECT_TRUE( viewer().stop() );
    EXPECT_EQ( currentMenu(), nullptr );
}
