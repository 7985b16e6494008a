#include "support/ScratchFolder.h"

#include <AppSetup.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>
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
