#include "support/LogCapture.h"

#include <VXViewer/loop/CommandLoop.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace VX;

namespace
{

class CommandLoopEnds : public testing::Test
{
protected:
    CommandLoopEnds()
    {
        CommandLoop::open();
        CommandLoop::processCommands();
    }
    ~CommandLoopEnds() override
    {
        CommandLoop::open();
        CommandLoop::processCommands();
    }
};

/// Calls back when it goes.
class Farewell
{
public:
    explicit Farewell( std::function<void()> say )
        : say_( std::move( say ) )
    {
    }
    ~Farewell() { say_(); }
    Farewell( const Farewell& ) = delete;
    Farewell& operator=( const Farewell& ) = delete;

private:
    std::function<void()> say_;
};

} // namespace

TEST_F( CommandLoopEnds, ACallerIsLetGoWhenItsCommandFails )
{
    const Testing::LogCapture log;
    std::atomic<bool> returned{ false };
    std::thread other(
        [&]
        {
            CommandLoop::runCommandFromGUIThread( [] { throw std::runtime_error( "no" ); } );
            returned = true;
        } );
    while ( !returned )
        CommandLoop::processCommands();
    other.join();
    EXPECT_EQ( log.text(), "error: A command failed: no\n" );
}

TEST_F( CommandLoopEnds, ACommandThatThrowsWhatIsNoExceptionKeepsNoOtherFromRunning )
{
    const Testing::LogCapture log;
    bool ran = false;
    CommandLoop::appendCommand( [] { throw 7; } );
    CommandLoop::appendCommand( [&] { ran = true; } );
    EXPECT_NO_THROW( CommandLoop::processCommands() );
    EXPECT_TRUE( ran );
    EXPECT_EQ( log.text(), "error: A command failed: unknown error\n" );
}

TEST_F( CommandLoopEnds, WhatACommandHoldsGoesBeforeTheNextOneRuns )
{
    std::string order;
    for ( const char* name : { "a", "b" } )
        CommandLoop::appendCommand(
            [&order, name, held = std::make_shared<Farewell>( [&order, name] { order += std::string( "-" ) + name; } )]
            { order += std::string( "+" ) + name; } );
    EXPECT_FALSE( CommandLoop::isEmpty() );
    CommandLoop::processCommands();
    EXPECT_EQ( order, "+a-a+b-b" );
    EXPECT_TRUE( CommandLoop::isEmpty() );
}

TEST_F( CommandLoopEnds, WhatIsDroppedMayQueueWhatIsDroppedToo )
{
    bool gone = false, ran = false;
    CommandLoop::appendCommand( [&ran, held = std::make_shared<Farewell>(
                                           [&gone, &ran]
                                           {
                                               gone = true;
                                               CommandLoop::appendCommand( [&ran] { ran = true; } );
                                           } )] { ran = true; } );
    CommandLoop::close();
    EXPECT_TRUE( gone ) << "at once, and without the lock that queueing takes";
    CommandLoop::open();
    CommandLoop::processCommands();
    EXPECT_FALSE( ran );
}

TEST_F( CommandLoopEnds, ACommandMayCloseTheLoop )
{
    std::string order;
    CommandLoop::appendCommand(
        [&]
        {
            order += "a";
            CommandLoop::appendCommand( [&] { order += "never"; } );
            CommandLoop::close();
            CommandLoop::appendCommand( [&] { order += "never"; } );
        } );
    CommandLoop::appendCommand( [&] { order += "b"; } );
    CommandLoop::processCommands();
    CommandLoop::open();
    CommandLoop::processCommands();
    EXPECT_EQ( order, "ab" ) << "what was queued with it still runs";
}

TEST_F( CommandLoopEnds, AnOpenedLoopRunsWhatComesThen )
{
    int runs = 0;
    CommandLoop::close();
    CommandLoop::appendCommand( [&] { ++runs; } );
    EXPECT_TRUE( CommandLoop::isEmpty() );
    CommandLoop::open();
    CommandLoop::appendCommand( [&] { ++runs; } );
    CommandLoop::processCommands();
    EXPECT_EQ( runs, 1 );
}
