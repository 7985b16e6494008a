#include <VXViewer/loop/CommandLoop.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

using namespace VX;

namespace
{

class CommandLoopTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CommandLoop::open();
        CommandLoop::processCommands();
    }
};

} // namespace

TEST_F( CommandLoopTest, RunsCommandsInTheirOrder )
{
    std::vector<int> seen;
    for ( int i = 0; i < 5; ++i )
        CommandLoop::appendCommand( [&seen, i] { seen.push_back( i ); } );
    CommandLoop::processCommands();
    EXPECT_EQ( seen, ( std::vector<int>{ 0, 1, 2, 3, 4 } ) );
}

TEST_F( CommandLoopTest, ACommandQueuedByACommandWaitsForTheNextTurn )
{
    int runs = 0;
    CommandLoop::appendCommand( [&] { CommandLoop::appendCommand( [&] { ++runs; } ); } );
    CommandLoop::processCommands();
    EXPECT_EQ( runs, 0 );
    CommandLoop::processCommands();
    EXPECT_EQ( runs, 1 );
}

TEST_F( CommandLoopTest, AFailingCommandDoesNotStopTheOthers )
{
    bool ran = false;
    CommandLoop::appendCommand( [] { throw std::runtime_error( "no" ); } );
    CommandLoop::appendCommand( [&] { ran = true; } );
    CommandLoop::processCommands();
    EXPECT_TRUE( ran );
}

TEST_F( CommandLoopTest, LosesNothingFromManyThreads )
{
    std::atomic<bool> done{ false };
    int count = 0;
    std::vector<std::thread> threads;
    for ( int t = 0; t < 4; ++t )
        threads.emplace_back(
            [&]
            {
                for ( int i = 0; i < 500; ++i )
                    CommandLoop::appendCommand( [&] { ++count; } );
            } );
    std::thread joiner(
        [&]
        {
            for ( auto& thread : threads )
                thread.join();
            done = true;
        } );
    while ( !done )
        CommandLoop::processCommands();
    joiner.join();
    CommandLoop::processCommands();
    EXPECT_EQ( count, 2000 );
}

TEST_F( CommandLoopTest, BlockingCommandRunsAtOnceOnTheUiThread )
{
    bool ran = false;
    CommandLoop::runCommandFromGUIThread( [&] { ran = true; } );
    EXPECT_TRUE( ran );
}

TEST_F( CommandLoopTest, BlockingCommandOfAnotherThreadWaitsForItsTurn )
{
    std::atomic<bool> returned{ false };
    bool ran = false;
    std::thread other(
        [&]
        {
            CommandLoop::runCommandFromGUIThread( [&] { ran = true; } );
            returned = true;
        } );
    while ( !returned )
        CommandLoop::processCommands();
    other.join();
    EXPECT_TRUE( ran );
}

TEST_F( CommandLoopTest, ClosingLetsBlockedCallersGo )
{
    bool ran = false;
    std::thread other( [&] { CommandLoop::runCommandFromGUIThread( [&] { ran = true; } ); } );
    while ( CommandLoop::isEmpty() )
        std::this_thread::yield();
    CommandLoop::close();
    other.join();
    EXPECT_FALSE( ran );
    CommandLoop::appendCommand( [&] { ran = true; } );
    EXPECT_TRUE( CommandLoop::isEmpty() );
}
