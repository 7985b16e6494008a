#include "support/ui/AllocationCount.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/deferred/WebRequestFuture.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/ui/Scale.h>

#include <gtest/gtest.h>

#include <thread>

using namespace VX;

using Frames = Testing::UiFixture;

TEST_F( Frames, AnIdleWindowDrawsNone )
{
    const auto before = viewer().framesDrawn();
    for ( int i = 0; i < 50; ++i )
        viewer().step( 0 );
    EXPECT_EQ( viewer().framesDrawn(), before );
}

TEST_F( Frames, APostedEventDrawsOne )
{
    const auto before = viewer().framesDrawn();
    std::thread( [] { getViewerInstance().postEmptyEvent(); } ).join();
    settle();
    EXPECT_EQ( viewer().framesDrawn(), before + 1 );
}

TEST_F( Frames, ForcedOnesAreDrawnAndNoMore )
{
    const auto before = viewer().framesDrawn();
    viewer().incrementForceRedrawFrames( 3, true );
    settle();
    EXPECT_EQ( viewer().framesDrawn(), before + 3 );
}

TEST_F( Frames, SignalIsEmittedOnceAFrameOnTheUiThread )
{
    int count = 0;
    const auto here = std::this_thread::get_id();
    const boost::signals2::scoped_connection connection = viewer().perFrameSignal.connect(
        [&]
        {
            ++count;
            EXPECT_EQ( std::this_thread::get_id(), here );
        } );
    const auto before = viewer().framesDrawn();
    viewer().incrementForceRedrawFrames( 2 );
    settle();
    EXPECT_EQ( uint64_t( count ), viewer().framesDrawn() - before );
}

TEST_F( Frames, ACommandOfAnotherThreadWakesTheLoop )
{
    bool ran = false;
    std::thread other( [&] { CommandLoop::appendCommand( [&] { ran = true; } ); } );
    turnUntil( [&] { return ran; } );
    other.join();
}

TEST_F( Frames, AResponseThatIsAwaitedDrawsOneInWhichItIsSeen )
{
    WebRequestFuture future( WebRequest( "https://x" ) );
    settle();
    bool seen = false;
    const boost::signals2::scoped_connection polling =
        viewer().perFrameSignal.connect( [&] { seen = seen || future().has_value(); } );
    const auto before = viewer().framesDrawn();
    const auto begin = std::chrono::steady_clock::now();
    while ( transport_->deliver( ScriptedTransport::response( 200, "" ) ) )
        ;
    constexpr int cLong = 20;
    viewer().step( cLong );
    EXPECT_LT( std::chrono::steady_clock::now() - begin, std::chrono::seconds( cLong ) );
    EXPECT_EQ( viewer().framesDrawn(), before + 1 );
    EXPECT_TRUE( seen );
}

TEST_F( Frames, AChangeOfTheSceneDrawsOne )
{
    openCube();
    const auto before = viewer().framesDrawn();
    viewer().sceneRoot().children()[0]->setVisible( false );
    settle();
    EXPECT_GT( viewer().framesDrawn(), before );
}

TEST_F( Frames, OneInWhichNothingChangedAllocatesNothing )
{
    if ( !Testing::cCountsAllocations )
        GTEST_SKIP() << "this build has an allocator of its own";
    openCube();
    drawFrames( 10 );
    const auto before = Testing::allocationCount();
    drawFrames( 10 );
    EXPECT_EQ( Testing::allocationCount() - before, 0u );
}

TEST_F( Frames, TheHintsOfAnEmptySceneAreNotMadeAnewInEach )
{
    if ( !Testing::cCountsAllocations )
        GTEST_SKIP() << "this build has an allocator of its own";
    drawFrames( 10 );
    const auto before = Testing::allocationCount();
    drawFrames( 10 );
    EXPECT_EQ( Testing::allocationCount() - before, 0u );
}

TEST_F( Frames, EveryScaleAndSizeIsDrawn )
{
    openCube();
    for ( const auto& [width, height, scale] : { std::tuple( 1024, 700, 1.f ), std::tuple( 1920, 1080, 1.5f ),
              std::tuple( 2560, 1440, 2.f ), std::tuple( 300, 200, 1.f ) } )
    {
        window().resize( width, height, scale );
        settle();
        const auto image = frame();
        EXPECT_EQ( image.width, width );
        EXPECT_FLOAT_EQ( menu_->menu_scaling(), scale );
    }
}

TEST_F( Frames, EachHasOneScaleWhichIsThatOfTheMenuAtItsBegin )
{
    std::vector<float> scales;
    const boost::signals2::scoped_connection connection = viewer().perFrameSignal.connect(
        [&]
        {
            if ( scales.empty() )
                menu_->setUserScaling( 1.25f );
            scales.push_back( UI::scale() );
        } );
    window().resize( 2560, 1600, 2 );
    settle();
    ASSERT_GE( scales.size(), 2u );
    EXPECT_EQ( scales.front(), 2 ) << "what is chosen within a frame waits for the next";
    EXPECT_EQ( scales[1], 2.5f );
    EXPECT_EQ( scales.back(), menu_->menu_scaling() );
    EXPECT_EQ( UI::scale(), 2.5f ) << "between two frames, that of the last";
}

TEST_F( Frames, TitleNamesTheProgramAndTheScene )
{
    openCube();
    EXPECT_TRUE( window().title().starts_with( "cube.vxu - Orvanta" ) );
}

TEST_F( Frames, ClosingEndsTheLoop )
{
    window().requestClose();
    viewer().run();
    EXPECT_TRUE( viewer().isClosing() );
}
