#include <VXMesh/scene/Object.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/core/SystemInfoJson.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// A viewer that was never started.
class ViewerAtRest : public testing::Test
{
protected:
    Viewer viewer_;
};

} // namespace

TEST_F( ViewerAtRest, HasASceneAHistoryAndATitle )
{
    EXPECT_EQ( viewer_.sceneRoot().name(), "Scene" );
    EXPECT_TRUE( viewer_.sceneRoot().children().empty() );
    ASSERT_TRUE( viewer_.getHistoryStore() );
    EXPECT_TRUE( viewer_.getHistoryStore()->isSaved() );
    EXPECT_TRUE( viewer_.viewerTitle() );
    EXPECT_FALSE( viewer_.isRunning() );
    EXPECT_EQ( viewer_.window(), nullptr );
    EXPECT_EQ( viewer_.getMenuPlugin(), nullptr );
}

TEST_F( ViewerAtRest, TakesWhatIsAskedOfARunningOne )
{
    viewer_.postEmptyEvent();
    viewer_.incrementForceRedrawFrames( 3, true );
    viewer_.requestFrameIn( 0 );
    viewer_.setWindowTitle( "title" );
    viewer_.setOverlays( "tool", { {} } );
    EXPECT_EQ( viewer_.scale(), 1 );
    EXPECT_FALSE( viewer_.turningPoint() );
    EXPECT_EQ( viewer_.framesDrawn(), 0u );
}

TEST_F( ViewerAtRest, IsKeptOpenByWhoeverTakesTheRequestToClose )
{
    int asked = 0;
    {
        const boost::signals2::scoped_connection keeps =
            viewer_.signals().closeRequest.connect( [&] { return ++asked; } );
        viewer_.requestClose();
        EXPECT_FALSE( viewer_.isClosing() );
    }
    const boost::signals2::scoped_connection lets =
        viewer_.signals().closeRequest.connect( [&] { return ++asked > 100; } );
    viewer_.requestClose();
    EXPECT_TRUE( viewer_.isClosing() );
    EXPECT_EQ( asked, 2 );
}

TEST_F( ViewerAtRest, ClosesWhereNobodyIsAsked )
{
    viewer_.requestClose();
    EXPECT_TRUE( viewer_.isClosing() );
    viewer_.run();
}

TEST_F( ViewerAtRest, TellsWhenAnotherHistoryHasTakenThePlace )
{
    std::vector<const HistoryStore*> seen;
    const boost::signals2::scoped_connection connection =
        viewer_.historyReplacedSignal.connect( [&] { seen.push_back( viewer_.getHistoryStore().get() ); } );
    const auto other = std::make_shared<HistoryStore>();
    viewer_.setHistoryStore( other );
    viewer_.setHistoryStore( nullptr );
    EXPECT_EQ( seen, ( std::vector<const HistoryStore*>{ other.get(), nullptr } ) ) << "after it has";
}

TEST_F( ViewerAtRest, TheOneOfTheProcessIsTheSameForAll )
{
    EXPECT_EQ( &getViewerInstance(), &getViewerInstance() );
    EXPECT_NE( &getViewerInstance(), &viewer_ );
    EXPECT_EQ( viewWindow(), nullptr );
    EXPECT_EQ( viewScale(), 1 );
    setViewOverlays( "tool", {} );
}

TEST_F( ViewerAtRest, TellsOfTheMachineAndOfNoScreen )
{
    const auto info = GetSystemInfoJson();
    EXPECT_TRUE( info["OS Version"].isString() );
    EXPECT_GT( info["CPU Info"]["Concurrent threads"].asInt(), 0 );
    EXPECT_FALSE( info.isMember( "Graphics Info" ) );
    EXPECT_FALSE( info.isMember( "Window Info" ) );
}
