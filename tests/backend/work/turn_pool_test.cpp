#include "support/Patience.h"

#include "work/TurnPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

using namespace VX::Backend;

namespace
{

/// One thread that is held until the test lets it go, so that all else has to wait for its turn.
class Turns : public testing::Test
{
protected:
    explicit Turns( size_t most = 6 )
        : pool_( 1, most )
    {
        pool_.run( "somebody", { [this]
                                   {
                                       began_.set_value();
                                       released_.get_future().wait();
                                   },
                                   [] { FAIL(); } } );
        began_.get_future().wait();
    }
    void give( const std::string& owner, const std::string& name )
    {
        pool_.run( owner, { [this, name] { note_( "+" + name ); }, [this, name] { note_( "-" + name ); } } );
    }
    /// What was done (+) and refused (-), in that order, until a last piece of that owner's is done.
    std::string untilLastOf( const std::string& owner )
    {
        std::promise<void> last;
        pool_.run( owner, { [&] { last.set_value(); }, [] { FAIL(); } } );
        released_.set_value();
        last.get_future().wait();
        pool_.stop();
        const std::lock_guard lock( mutex_ );
        return notes_;
    }

    void note_( const std::string& text )
    {
        const std::lock_guard lock( mutex_ );
        notes_ += text;
    }
    std::promise<void> began_, released_;
    std::mutex mutex_;
    std::string notes_;
    TurnPool pool_;
};

} // namespace

TEST_F( Turns, AreTakenByOwnerWhateverEachOneHasGiven )
{
    for ( const char* name : { "a1", "a2", "a3" } )
        give( "a", name );
    give( "b", "b1" );
    give( "", "c1" );
    EXPECT_EQ( untilLastOf( "a" ), "+a1+b1+c1+a2+a3" );
}

TEST_F( Turns, WhoeverHasMostWaitingGivesWayWhenThereIsNoRoom )
{
    for ( const char* name : { "a1", "a2", "a3", "a4" } )
        give( "a", name );
    give( "b", "b1" );
    give( "b", "b2" );
    give( "c", "c1" ); // in place of a4
    give( "c", "c2" ); // in place of a3
    give( "c", "c3" ); // nobody has more than c would have then
    give( "a", "a5" );
    EXPECT_EQ( notes_, "-a4-a3-c3-a5" );
    EXPECT_TRUE( untilLastOf( "d" ).starts_with( "-a4-a3-c3-a5-a2+a1+b1+c1" ) ) << notes_;
}

TEST_F( Turns, WhatWaitsAtTheEndAndWhatComesLaterIsRefused )
{
    give( "a", "a1" );
    std::thread stopping( [this] { pool_.stop(); } );
    // That it was refused is what tells that the end has begun: the thread is still held.
    const VX::Testing::Patience patience;
    for ( bool refused = false; !refused; patience.check() )
    {
        std::this_thread::yield();
        const std::lock_guard lock( mutex_ );
        refused = notes_ == "-a1";
    }
    give( "a", "a2" );
    EXPECT_EQ( notes_, "-a1-a2" );
    released_.set_value();
    stopping.join();
    EXPECT_EQ( notes_, "-a1-a2" );
}

TEST( TurnPools, WhoHasTheFewestUnderWayIsNext )
{
    TurnPool pool( 2, 10 );
    std::promise<void> first, second, began, done;
    std::atomic<int> holding{ 0 };
    const auto hold = [&]( std::promise<void>& released )
    {
        pool.run( "a", { [&]
                           {
                               if ( ++holding == 2 )
                                   began.set_value();
                               released.get_future().wait();
                           },
                           [] { FAIL(); } } );
    };
    std::string notes; // of the one thread that is let go
    const auto give = [&]( const std::string& owner )
    {
        pool.run( owner, { [&, owner]
                             {
                                 notes += owner;
                                 if ( notes.size() == 3 )
                                     done.set_value();
                             },
                             [] { FAIL(); } } );
    };
    hold( first );
    hold( second );
    began.get_future().wait();
    for ( const char* owner : { "a", "a", "b" } )
        give( owner );
    first.set_value();
    done.get_future().wait();
    EXPECT_EQ( notes, "baa" );
    second.set_value();
}
