#include "JobFixture.h"

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/work/Job.h>
#include <VXViewer/work/ProgressBar.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace VX;

namespace
{

using End = Job::End;
using Result = tl::expected<void, std::string>;
using Testing::Door;
using Testing::Told;
using JobTest = Testing::JobFixture;

Result untilCanceled( const Job& job )
{
    while ( job.setProgress( 0.5f ) )
        std::this_thread::yield();
    return {};
}

Result nothing( const Job& )
{
    return {};
}

} // namespace

TEST_F( JobTest, IsDoneOnceAndSaysSoOnTheUiThread )
{
    std::thread::id workThread;
    const auto job = start(
        [&]( const Job& ) -> Result
        {
            workThread = std::this_thread::get_id();
            return {};
        } );
    EXPECT_TRUE( job.isRunning() );
    EXPECT_FALSE( job.end() );
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Done } );
    EXPECT_EQ( told_.error, "" );
    EXPECT_EQ( told_.thread, std::this_thread::get_id() );
    EXPECT_NE( workThread, told_.thread );
    EXPECT_EQ( job.end(), End::Done );
    EXPECT_FALSE( job.isRunning() );
    EXPECT_FALSE( job.isCanceled() );
}

TEST_F( JobTest, FailsOnceWithItsText )
{
    const auto job = start( []( const Job& ) -> Result { return tl::unexpected( std::string( "broken" ) ); } );
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Failed } );
    EXPECT_EQ( told_.error, "broken" );
    EXPECT_EQ( told_.thread, std::this_thread::get_id() );
    EXPECT_EQ( job.end(), End::Failed );
    EXPECT_FALSE( job.isRunning() );
}

TEST_F( JobTest, WhatItsWorkThrowsIsAFailure )
{
    start( []( const Job& ) -> Result { throw std::runtime_error( "thrown" ); } );
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Failed } );
    EXPECT_EQ( told_.error, "thrown" );
}

TEST_F( JobTest, WhatItsWorkThrowsWithoutATextIsAFailureWithOne )
{
    start( []( const Job& ) -> Result { throw std::runtime_error( "" ); } );
    turnUntilTold();
    EXPECT_EQ( told_.error, "Unknown error" );
    told_ = {};
    start( []( const Job& ) -> Result { throw 7; } );
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Failed } );
    EXPECT_EQ( told_.error, "Unknown error" );
}

TEST_F( JobTest, IsCanceledOnceFromAnotherThread )
{
    const auto job = start( &untilCanceled );
    std::thread( [job] { job.cancel(); } ).join();
    EXPECT_TRUE( job.isCanceled() );
    EXPECT_FALSE( job.isRunning() );
    EXPECT_FALSE( job.end() ) << "its starter does not know yet";
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    EXPECT_EQ( told_.thread, std::this_thread::get_id() );
    EXPECT_EQ( job.end(), End::Canceled );
    EXPECT_TRUE( job.isCanceled() );
}

TEST_F( JobTest, ACanceledOneIsNoFailure )
{
    Door door;
    const auto job = start(
        [&]( const Job& ) -> Result
        {
            door.pass();
            return tl::unexpected( std::string( cOperationCanceled ) );
        } );
    door.waitForSomebody();
    job.cancel();
    CommandLoop::processCommands();
    EXPECT_TRUE( told_.ends.empty() ) << "its work goes on";
    door.open();
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    EXPECT_EQ( told_.error, "" );
}

TEST_F( JobTest, ACancelCountsUntilTheEndIsTold )
{
    const auto job = start( &nothing );
    while ( CommandLoop::isEmpty() )
        std::this_thread::yield();
    job.cancel();
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
}

TEST_F( JobTest, ACancelAfterTheEndIsNothing )
{
    const auto job = start( &nothing );
    turnUntilTold();
    job.cancel();
    EXPECT_EQ( job.end(), End::Done );
    EXPECT_FALSE( job.isCanceled() );
    EXPECT_TRUE( job.setProgress( 1 ) );
}

TEST_F( JobTest, WhatTheWorkHeldHasGoneBeforeTheEndIsTold )
{
    struct Held
    {
        explicit Held( std::promise<bool>& goes )
            : goes( goes )
        {
        }
        Held( const Held& ) = delete;
        Held& operator=( const Held& ) = delete;
        ~Held() { goes.set_value( CommandLoop::isEmpty() ); }
        std::promise<bool>& goes;
    };
    std::promise<bool> goes;
    start( [held = std::make_shared<Held>( goes )]( const Job& ) -> Result { return {}; } );
    EXPECT_TRUE( goes.get_future().get() ) << "its end was queued already";
    turnUntilTold();
}

TEST_F( JobTest, HasEndedWhenItsStarterIsTold )
{
    std::optional<Job> job;
    std::optional<End> end;
    bool running = true;
    job = Job::start( "job", &nothing,
        [&]( const Job::Outcome& )
        {
            running = job->isRunning();
            end = job->end();
        } );
    while ( !end )
        CommandLoop::processCommands();
    EXPECT_EQ( end, End::Done );
    EXPECT_FALSE( running );
}

TEST_F( JobTest, WhatItsListenerHoldsGoesWithTheEnd )
{
    const auto held = std::make_shared<int>();
    const auto job = Job::start( "job", &nothing, [held]( const Job::Outcome& ) {} );
    while ( !job->end() )
        CommandLoop::processCommands();
    EXPECT_EQ( held.use_count(), 1 );
}

TEST_F( JobTest, IsAskedFromAnyThread )
{
    Door door;
    const auto job = start(
        [&]( const Job& self ) -> Result
        {
            self.setTask( "Uploading" );
            std::thread( [progress = subprogress( self.progress(), 0, 0.5f )] { EXPECT_TRUE( progress( 0.5f ) ); } )
                .join();
            door.pass();
            return {};
        } );
    door.waitForSomebody();
    EXPECT_EQ( job.name(), "job" );
    EXPECT_EQ( job.task(), "Uploading" );
    EXPECT_FLOAT_EQ( job.fraction(), 0.25f );
    EXPECT_GT( job.elapsed().count(), 0 );
    door.open();
    turnUntilTold();
}

TEST_F( JobTest, TheThreadOfAJobKnowsItAndNoOtherDoes )
{
    std::atomic<bool> its{ false }, others{ true };
    start(
        [&]( const Job& self ) -> Result
        {
            its = Job::current() == &self;
            std::thread( [&] { others = Job::current() != nullptr; } ).join();
            return {};
        } );
    turnUntilTold();
    EXPECT_TRUE( its );
    EXPECT_FALSE( others );
    EXPECT_EQ( Job::current(), nullptr );
}

TEST_F( JobTest, ProgressOfAnOldJobMovesNoOther )
{
    ProgressCallback former;
    start(
        [&]( const Job& self ) -> Result
        {
            former = self.progress();
            return {};
        } );
    turnUntilTold();
    told_ = {};
    Door door;
    const auto next = start(
        [&]( const Job& self ) -> Result
        {
            EXPECT_TRUE( self.setProgress( 0.25f ) );
            door.pass();
            return {};
        } );
    door.waitForSomebody();
    std::thread( [&] { EXPECT_TRUE( former( 0.75f ) ); } ).join();
    EXPECT_FLOAT_EQ( next.fraction(), 0.25f );
    door.open();
    turnUntilTold();
}

TEST_F( JobTest, ACanceledJobKeepsStoppingItsTransfersWhenAnotherHasBegun )
{
    ProgressCallback former;
    const auto first = start(
        [&]( const Job& self ) -> Result
        {
            former = self.progress();
            return untilCanceled( self );
        } );
    first.cancel();
    turnUntilTold();
    const auto second = start( &untilCanceled );
    EXPECT_FALSE( former( 0.5f ) );
    EXPECT_TRUE( second.isRunning() );
    second.cancel();
}

TEST_F( JobTest, ADroppedHandleKeepsNothingBack )
{
    Door door;
    start(
        [&]( const Job& ) -> Result
        {
            door.pass();
            return {};
        } );
    door.waitForSomebody();
    door.open();
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Done } );
}

TEST_F( JobTest, AReplacedHandleLeavesBothTheirEnds )
{
    Told second;
    auto job = start( &untilCanceled );
    job.cancel();
    job = *Job::start( "next", &nothing, second.listener() );
    EXPECT_EQ( job.name(), "next" );
    while ( second.ends.empty() )
        CommandLoop::processCommands();
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    EXPECT_EQ( second.ends, std::vector{ End::Done } );
}

TEST_F( JobTest, TheEndOfTheProgramIsACancelAndIsToldAtOnce )
{
    const auto job = start( &untilCanceled );
    CommandLoop::close();
    EXPECT_TRUE( Job::endAll( cPatience ) );
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    EXPECT_EQ( told_.thread, std::this_thread::get_id() );
    EXPECT_EQ( job.end(), End::Canceled );
    EXPECT_TRUE( Job::endAll( cPatience ) );
    EXPECT_EQ( told_.ends.size(), 1u );
}

TEST_F( JobTest, TheEndOfTheProgramWaitsNoLongerThanTheWorkTakes )
{
    start(
        []( const Job& self ) -> Result
        {
            untilCanceled( self );
            const auto canceled = Job::Clock::now();
            while ( Job::Clock::now() - canceled < std::chrono::milliseconds( 50 ) )
                std::this_thread::yield();
            return {};
        } );
    const auto begin = Job::Clock::now();
    EXPECT_TRUE( Job::endAll( std::chrono::seconds( 40 ) ) );
    EXPECT_LT( Job::Clock::now() - begin, std::chrono::seconds( 30 ) );
}

TEST_F( JobTest, AnEndThatWasQueuedWhenTheProgramEndsIsToldOnce )
{
    start( &nothing );
    while ( CommandLoop::isEmpty() )
        std::this_thread::yield();
    EXPECT_TRUE( Job::endAll( cPatience ) );
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    CommandLoop::processCommands();
    EXPECT_EQ( told_.ends.size(), 1u );
}

TEST_F( JobTest, AStubbornOneIsToldWithinThePatienceAndNeverAgain )
{
    Door door;
    const auto job = startBehind( door );
    EXPECT_FALSE( Job::endAll( std::chrono::milliseconds( 10 ) ) );
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    EXPECT_EQ( job.end(), End::Canceled );
    door.open();
    EXPECT_TRUE( Job::endAll( cPatience ) );
    CommandLoop::processCommands();
    EXPECT_EQ( told_.ends.size(), 1u );
}

TEST_F( JobTest, NothingIsStartedWhileTheProgramEnds )
{
    bool told = false, again = true;
    (void)Job::start( "job", &untilCanceled,
        [&]( const Job::Outcome& )
        {
            told = true;
            again = Job::start( "again", &nothing ).has_value();
        } );
    EXPECT_TRUE( Job::endAll( cPatience ) );
    EXPECT_TRUE( told );
    EXPECT_FALSE( again );
    EXPECT_TRUE( Job::start( "after a new start", &nothing ) );
}

TEST_F( JobTest, UnderTheBarTellsItsStarterAndNobodyElse )
{
    std::vector<std::string> heard;
    const boost::signals2::scoped_connection failures =
        ProgressBar::failedSignal().connect( [&]( const std::string& ) { heard.emplace_back( "menu" ); } );
    const boost::signals2::scoped_connection ends =
        ProgressBar::endedSignal().connect( [&]( Job::Clock::duration ) { heard.emplace_back( "end" ); } );
    const auto ended = [&]( const Job::Outcome& outcome ) { heard.push_back( outcome.error ); };
    const auto fail = []( const Job& ) -> Result { return tl::unexpected( std::string( "broken" ) ); };
    const auto job = ProgressBar::start( "job", fail, ended );
    ASSERT_TRUE( job );
    EXPECT_TRUE( ProgressBar::isOrdered() );
    EXPECT_FALSE( ProgressBar::start( "second", &nothing ) );
    while ( !job->end() )
        CommandLoop::processCommands();
    EXPECT_EQ( heard, ( std::vector<std::string>{ "broken", "end" } ) );
}

TEST_F( JobTest, ACancelElsewhereTakesItOffTheBar )
{
    std::vector<std::string> heard;
    const boost::signals2::scoped_connection ends =
        ProgressBar::endedSignal().connect( [&]( Job::Clock::duration ) { heard.emplace_back( "end" ); } );
    const auto job = ProgressBar::start( "job", &untilCanceled, told_.listener() );
    ASSERT_TRUE( job );
    std::thread( [&] { job->cancel(); } ).join();
    EXPECT_FALSE( ProgressBar::isOrdered() );
    EXPECT_FALSE( ProgressBar::state() );
    turnUntilTold();
    EXPECT_EQ( told_.ends, std::vector{ End::Canceled } );
    EXPECT_TRUE( heard.empty() );
}

TEST_F( JobTest, AFailureOfWhatWasOrderedIsForEverybody )
{
    std::vector<std::string> heard;
    const boost::signals2::scoped_connection failures =
        ProgressBar::failedSignal().connect( [&]( const std::string& text ) { heard.push_back( text ); } );
    const boost::signals2::scoped_connection ends =
        ProgressBar::endedSignal().connect( [&]( Job::Clock::duration ) { heard.emplace_back( "end" ); } );
    ASSERT_TRUE( ProgressBar::order( "job", [] { throw std::runtime_error( "broken" ); } ) );
    while ( heard.size() < 2 )
        CommandLoop::processCommands();
    EXPECT_EQ( heard, ( std::vector<std::string>{ "broken", "end" } ) );
}
