#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/work/ProgressBar.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

using namespace VX;

namespace
{

class ProgressBarTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CommandLoop::open();
        CommandLoop::processCommands();
    }
    void TearDown() override { EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) ); }

    template <typename Condition>
    static void turnUntil( const Condition& condition )
    {
        while ( !condition() )
            CommandLoop::processCommands();
    }
};

} // namespace

TEST_F( ProgressBarTest, RunsTheJobElsewhereAndItsEndHere )
{
    std::thread::id jobThread, endThread;
    ASSERT_TRUE( ProgressBar::orderWithMainThreadPostProcessing( "job",
        [&]() -> ProgressBar::PostProcessing
        {
            jobThread = std::this_thread::get_id();
            return [&] { endThread = std::this_thread::get_id(); };
        } ) );
    EXPECT_TRUE( ProgressBar::isOrdered() );
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    EXPECT_NE( jobThread, std::this_thread::get_id() );
    EXPECT_EQ( endThread, std::this_thread::get_id() );
    EXPECT_FALSE( ProgressBar::isCanceled() );
}

TEST_F( ProgressBarTest, ShowsNameStageAndFraction )
{
    std::promise<void> go, reported;
    auto goOn = go.get_future();
    ProgressBar::order( "Opening a",
        [&]
        {
            ProgressBar::forceSetTaskName( "Uploading" );
            EXPECT_TRUE( ProgressBar::setProgress( 0.25f ) );
            reported.set_value();
            goOn.wait();
            ProgressBar::resetTaskName();
        } );
    reported.get_future().wait();
    const auto state = ProgressBar::state();
    ASSERT_TRUE( state );
    EXPECT_EQ( state->name, "Opening a" );
    EXPECT_EQ( state->task, "Uploading" );
    EXPECT_FLOAT_EQ( state->fraction, 0.25f );
    go.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}

TEST_F( ProgressBarTest, ShowsOneJobAtATime )
{
    std::promise<void> go;
    auto goOn = go.get_future();
    ASSERT_TRUE( ProgressBar::order( "first", [&] { goOn.wait(); } ) );
    EXPECT_FALSE( ProgressBar::order( "second", [] {} ) );
    go.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}

TEST_F( ProgressBarTest, CancelAnswersAtOnceAndDropsTheResult )
{
    std::promise<void> started;
    std::atomic<bool> told{ false }, ended{ false };
    ProgressBar::orderWithMainThreadPostProcessing( "job",
        [&]() -> ProgressBar::PostProcessing
        {
            started.set_value();
            while ( ProgressBar::setProgress( 0.5f ) )
                std::this_thread::yield();
            told = ProgressBar::isCanceled();
            return [&] { ended = true; };
        } );
    started.get_future().wait();
    ProgressBar::cancel();
    EXPECT_FALSE( ProgressBar::isOrdered() );
    ASSERT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
    CommandLoop::processCommands();
    EXPECT_TRUE( told );
    EXPECT_FALSE( ended );
}

TEST_F( ProgressBarTest, ATransferOfTheJobOnAnotherThreadIsShownAndHearsOfTheCancel )
{
    std::promise<void> reported, canceled, answered;
    std::atomic<bool> goesOn{ true };
    ProgressBar::order( "Opening a",
        [&]
        {
            std::thread(
                [&, progress = subprogress( ProgressBar::jobProgress(), 0, 0.25f )]
                {
                    EXPECT_TRUE( progress( 0.5f ) );
                    reported.set_value();
                    canceled.get_future().wait();
                    goesOn = progress( 0.6f );
                    answered.set_value();
                } )
                .join();
        } );
    reported.get_future().wait();
    const auto state = ProgressBar::state();
    ASSERT_TRUE( state );
    EXPECT_FLOAT_EQ( state->fraction, 0.125f );
    ProgressBar::cancel();
    canceled.set_value();
    answered.get_future().wait();
    EXPECT_FALSE( goesOn );
}

TEST_F( ProgressBarTest, ProgressOfAJobThatHasEndedReachesNoOtherJob )
{
    ProgressCallback former;
    ProgressBar::order( "first", [&] { former = ProgressBar::jobProgress(); } );
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    std::promise<void> go;
    ProgressBar::order( "second", [&] { go.get_future().wait(); } );
    EXPECT_TRUE( former( 0.7f ) );
    EXPECT_FLOAT_EQ( ProgressBar::state()->fraction, 0 );
    go.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    EXPECT_FALSE( ProgressBar::jobProgress() ) << "there is no job here";
}

TEST_F( ProgressBarTest, AnExceptionEndsTheJob )
{
    ProgressBar::order( "job", [] { throw std::runtime_error( "broken" ); } );
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}

TEST_F( ProgressBarTest, ReportsFromOutsideOfAJobAreIgnored )
{
    EXPECT_TRUE( ProgressBar::setProgress( 0.1f ) );
    ProgressBar::forceSetTaskName( "nobody" );
    EXPECT_FALSE( ProgressBar::state() );
}

TEST_F( ProgressBarTest, ACanceledJobIsNeitherInTheWayOfTheNextNorEndsIt )
{
    std::promise<void> started, releaseSecond;
    ProgressBar::order( "first",
        [&]
        {
            started.set_value();
            while ( !ProgressBar::isCanceled() )
                std::this_thread::yield();
        } );
    started.get_future().wait();
    ProgressBar::cancel();
    auto goOn = releaseSecond.get_future();
    ASSERT_TRUE( ProgressBar::order( "second", [&] { goOn.wait(); } ) );
    // The end of the first one is the only command there can be.
    while ( CommandLoop::isEmpty() )
        std::this_thread::yield();
    CommandLoop::processCommands();
    ASSERT_TRUE( ProgressBar::isOrdered() );
    EXPECT_EQ( ProgressBar::state()->name, "second" );
    releaseSecond.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}

TEST_F( ProgressBarTest, CancelWithoutAJobIsNothing )
{
    ProgressBar::cancel();
    EXPECT_FALSE( ProgressBar::isCanceled() );
    EXPECT_FALSE( ProgressBar::isOrdered() );
}

TEST_F( ProgressBarTest, AStageLastsUntilItIsResetAndTheTimeGoesOn )
{
    std::promise<void> reset, go;
    auto goOn = go.get_future();
    ProgressBar::order( "job",
        [&]
        {
            ProgressBar::forceSetTaskName( "Uploading" );
            ProgressBar::forceSetTaskName( "Converting" );
            ProgressBar::resetTaskName();
            reset.set_value();
            goOn.wait();
        } );
    const auto before = ProgressBar::state()->elapsed;
    EXPECT_GE( before.count(), 0 );
    EXPECT_LT( before, std::chrono::seconds( 60 ) );
    reset.get_future().wait();
    EXPECT_EQ( ProgressBar::state()->task, "" );
    EXPECT_GT( ProgressBar::state()->elapsed, before );
    go.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}

TEST_F( ProgressBarTest, ShutdownTellsOfAJobThatDoesNotEnd )
{
    std::promise<void> started, release;
    auto released = release.get_future();
    ProgressBar::order( "stubborn",
        [&]
        {
            started.set_value();
            released.wait();
        } );
    started.get_future().wait();
    EXPECT_FALSE( ProgressBar::shutdown( std::chrono::milliseconds( 10 ) ) );
    EXPECT_FALSE( ProgressBar::isOrdered() );
    release.set_value();
    EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
}

TEST_F( ProgressBarTest, WhatAJobHoldsHasGoneWhenShutdownReturns )
{
    const auto held = std::make_shared<int>();
    ProgressBar::order( "job", [held] {} );
    EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
    EXPECT_EQ( held.use_count(), 1 );
}

TEST_F( ProgressBarTest, AsksForTheNextFrameWhileAJobIsShown )
{
    struct Frames final : LoopToWake
    {
        Frames() { setLoopToWake( this ); }
        ~Frames() { setLoopToWake( nullptr ); }
        Frames( const Frames& ) = delete;
        Frames& operator=( const Frames& ) = delete;
        void postEmptyEvent() override {}
        void incrementForceRedrawFrames( int, bool ) override {}
        void requestFrameIn( double seconds ) override { asked.push_back( seconds ); }
        std::vector<double> asked;
    };
    Frames frames;
    std::promise<void> go;
    auto goOn = go.get_future();
    ProgressBar::update();
    EXPECT_TRUE( frames.asked.empty() ) << "nothing is shown";
    ProgressBar::order( "job", [&] { goOn.wait(); } );
    ProgressBar::update();
    EXPECT_EQ( frames.asked, std::vector{ 0.25 } ) << "the time goes on, whatever the job reports";
    go.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    ProgressBar::update();
    EXPECT_EQ( frames.asked.size(), 1u );
}

TEST_F( ProgressBarTest, WhatFollowsAJobStandsInNoOneElsesWay )
{
    bool ordered = false;
    ProgressBar::orderWithMainThreadPostProcessing( "first",
        [&]() -> ProgressBar::PostProcessing { return [&] { ordered = ProgressBar::order( "second", [] {} ); }; } );
    turnUntil( [&] { return ordered; } );
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}
