#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/database/TestDatabase.h"

#include "clock/SystemTime.h"
#include "converter/ConversionJobs.h"
#include "database/postgres/PostgresBell.h"
#include "database/postgres/PostgresEngine.h"
#include "database/postgres/PostgresSession.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// Words that a bell was heard to say.
class Ear
{
public:
    [[nodiscard]] Bell::Heard hears()
    {
        return [this]( const std::string& word )
        {
            {
                const std::lock_guard lock( mutex_ );
                words_.push_back( word );
            }
            more_.notify_all();
        };
    }
    /// Waits for so many, and returns all.
    std::vector<std::string> await( size_t most )
    {
        std::unique_lock lock( mutex_ );
        EXPECT_TRUE( more_.wait_for( lock, std::chrono::minutes( 2 ), [&] { return words_.size() >= most; } ) );
        return words_;
    }

private:
    std::mutex mutex_;
    std::condition_variable more_;
    std::vector<std::string> words_;
};

/// Bells of two processes that share a database. Run by ctest, which starts the server.
class PostgresBells : public testing::Test
{
protected:
    /// The first word is that it hears from now on.
    void listen( Bell& bell, Ear& ear )
    {
        bell.listen( ear.hears() );
        EXPECT_EQ( ear.await( 1 ), std::vector<std::string>{ "" } );
    }
    /// Cuts the connections of all who listen.
    void cut() const
    {
        const auto session = PostgresSession::open( address_, schema_ ).value();
        const auto listeners = "FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND (query LIKE 'LISTEN%' OR query "
                               "LIKE '%pg_notify%' OR query LIKE 'SET synchronous%')";
        ASSERT_FALSE( session->run( std::string( "SELECT pg_terminate_backend(pid) " ) + listeners, {} )->empty() );
    }

    std::string address_ = Testing::newPostgresDatabase(), schema_ = "main";
    Ear ear_, other_;
};

} // namespace

TEST_F( PostgresBells, OthersHearWhatOneRingsInItsOrder )
{
    PostgresBell one( address_, schema_ ), two( address_, schema_ );
    listen( one, ear_ );
    listen( two, other_ );
    one.ring( "first" );
    one.ring( "second 2" );
    EXPECT_EQ( other_.await( 3 ), ( std::vector<std::string>{ "", "first", "second 2" } ) );
    two.ring( "third" );
    EXPECT_EQ( ear_.await( 2 ), ( std::vector<std::string>{ "", "third" } ) ) << "and not its own";
}

TEST_F( PostgresBells, OneThatWasCutOffHearsAgainAndSaysThatItMayHaveMissedSome )
{
    PostgresBell one( address_, schema_ ), two( address_, schema_ );
    listen( one, ear_ );
    listen( two, other_ );
    cut();
    EXPECT_EQ( ear_.await( 2 ).at( 1 ), "" );
    EXPECT_EQ( other_.await( 2 ).at( 1 ), "" );
    one.ring( "after" );
    EXPECT_EQ( other_.await( 3 ).at( 2 ), "after" );
}

TEST_F( PostgresBells, ADatabaseThatIsAwayIsToldOnceAndEndsNothing )
{
    std::promise<std::string> told;
    std::atomic<int> times = 0;
    const Testing::LogCapture log(
        [&]( std::string_view text )
        {
            if ( times++ == 0 )
                told.set_value( std::string( text ) );
        } );
    {
        PostgresBell bell( "postgresql://127.0.0.1:1/orvanta", schema_ );
        bell.listen( ear_.hears() );
        EXPECT_TRUE( told.get_future().get().starts_with( "Changes by others are not heard of at once: " ) );
        for ( int i = 0; i < 5000; ++i )
            bell.ring( "word" );
    }
    EXPECT_EQ( times, 1 ) << log.text();
}

TEST_F( PostgresBells, JobsAreKnownToOthersAtOnce )
{
    const auto database = [this]
    { return Database::open( std::make_unique<PostgresEngine>( address_, schema_ ) ).value(); };
    const auto a = database(), b = database();
    ASSERT_TRUE( ConversionJobs::prepare( *a ) );
    ConversionJobs front( *a, &systemTime ), worker( *b, &systemTime );
    Ear ended;
    front.listen( this, ended.hears() );
    const auto one = a->engine().bell(), two = b->engine().bell();
    const auto before = front.changes(), seen = worker.changes();
    front.connect( *one );
    worker.connect( *two );
    const auto hour = std::chrono::hours( 1 );
    front.waitForChange( before, hour );
    worker.waitForChange( seen, hour );
    // Both hear from now on.
    const auto job = front.create( "step", "ann" ).value();
    const auto idle = worker.changes();
    ASSERT_TRUE( front.queue( job->id ).value() );
    worker.waitForChange( idle, hour );
    const auto taken = worker.take().value();
    ASSERT_TRUE( taken );
    ASSERT_TRUE( worker.finish( *taken ).value() );
    EXPECT_EQ( ended.await( 1 ), std::vector<std::string>{ job->id } );
    front.unlisten( this );
}
