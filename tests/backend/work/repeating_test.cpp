#include "work/Repeating.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <utility>
#include <vector>

using namespace VX::Backend;

TEST( Repeating, WorksAtOnceAndAgainUntilItEnds )
{
    std::atomic<int> calls{ 0 };
    std::promise<void> thrice;
    {
        const Repeating work( std::chrono::milliseconds( 1 ),
            [&]
            {
                if ( ++calls == 3 )
                    thrice.set_value();
            } );
        thrice.get_future().wait();
    }
    const int seen = calls;
    EXPECT_GE( seen, 3 );
    EXPECT_EQ( calls, seen ) << "nothing is done after the end";
}

TEST( Repeating, EndsInTheMiddleOfALongPause )
{
    std::promise<void> once;
    const Repeating work( std::chrono::hours( 1 ), [&] { once.set_value(); } );
    once.get_future().wait();
}

namespace
{

/// Work that tells of each of its turns and pauses as it is told; without more to say, for ever.
class Turns
{
public:
    explicit Turns( std::vector<std::chrono::milliseconds> pauses = {} )
        : pauses_( std::move( pauses ) )
    {
    }
    std::chrono::milliseconds turn()
    {
        const std::lock_guard lock( mutex_ );
        ++done_;
        changed_.notify_all();
        return done_ <= pauses_.size() ? pauses_[done_ - 1] : std::chrono::hours( 1 );
    }
    bool wait( size_t turns )
    {
        std::unique_lock lock( mutex_ );
        return changed_.wait_for( lock, std::chrono::minutes( 1 ), [&] { return done_ >= turns; } );
    }
    size_t done()
    {
        const std::lock_guard lock( mutex_ );
        return done_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::chrono::milliseconds> pauses_;
    size_t done_ = 0;
};

} // namespace

TEST( Repeating, PausesAsTheWorkSays )
{
    Turns turns( { std::chrono::milliseconds( 0 ), std::chrono::milliseconds( 1 ) } );
    Repeating work( [&] { return turns.turn(); } );
    EXPECT_TRUE( turns.wait( 3 ) );
    work.stop();
    EXPECT_EQ( turns.done(), 3u ) << "the third asked for an hour";
}

TEST( Repeating, IsWokenFromALongPause )
{
    Turns turns;
    Repeating work( [&] { return turns.turn(); } );
    ASSERT_TRUE( turns.wait( 1 ) );
    work.wake();
    EXPECT_TRUE( turns.wait( 2 ) );
    work.stop();
    EXPECT_EQ( turns.done(), 2u ) << "once for each call";
}

TEST( Repeating, ACallDuringATurnIsNotForgotten )
{
    std::promise<void> begun, mayEnd;
    Turns turns;
    Repeating work(
        [&, first = true]() mutable
        {
            if ( std::exchange( first, false ) )
            {
                begun.set_value();
                mayEnd.get_future().wait();
            }
            return turns.turn();
        } );
    begun.get_future().wait();
    work.wake();
    mayEnd.set_value();
    EXPECT_TRUE( turns.wait( 2 ) );
}

TEST( Repeating, HasNoTurnOnceItWasStopped )
{
    Turns turns;
    Repeating work( [&] { return turns.turn(); } );
    ASSERT_TRUE( turns.wait( 1 ) );
    work.stop();
    work.wake();
    work.stop();
    EXPECT_EQ( turns.done(), 1u );
}
