#include "support/ScratchFolder.h"
#include "support/database/TestDatabase.h"

#include "clock/SystemTime.h"
#include "converter/ConversionJobs.h"
#include "database/Schema.h"
#include "database/postgres/PostgresEngine.h"
#include "database/postgres/PostgresSession.h"

#include <gtest/gtest.h>

#include <barrier>
#include <chrono>
#include <future>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// What is so with a PostgreSQL alone. Run by ctest, which starts one.
class Postgres : public testing::Test
{
protected:
    Postgres()
    {
        EXPECT_TRUE( makeTable( *database_, { "t", "id INTEGER PRIMARY KEY, text TEXT", RowNumbers::Kept } ) );
    }
    DatabaseResult<int> insert( int64_t id, const std::string& text = "x" )
    {
        return database_->execute( "INSERT INTO t VALUES(?, ?)", { id, text } );
    }
    SqlValue one( const std::string& sql, const std::vector<SqlValue>& parameters = {} )
    {
        const auto rows = database_->query( sql, parameters );
        EXPECT_TRUE( rows ) << rows.error().text;
        return rows && !rows->empty() ? rows->front().front() : SqlValue();
    }
    std::unique_ptr<PostgresSession> session( std::chrono::milliseconds patience = PostgresSession::cPatience )
    {
        return PostgresSession::open( Testing::postgresAddress(), schema_, patience ).value();
    }

    /// What each of some threads that begin at the same moment is answered.
    template <typename Call>
    static auto atOnce( Call call )
    {
        constexpr int cThreads = 6;
        std::barrier together( cThreads );
        const auto begin = [&]
        {
            together.arrive_and_wait();
            return call();
        };
        std::vector<std::future<decltype( call() )>> begun;
        for ( int i = 0; i < cThreads; ++i )
            begun.push_back( std::async( std::launch::async, begin ) );
        std::vector<decltype( call() )> out;
        for ( auto& each : begun )
            out.push_back( each.get() );
        return out;
    }
    static std::string problemOf( const tl::expected<std::unique_ptr<Database>, std::string>& opened )
    {
        return opened ? "" : opened.error();
    }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Database> database_ = Testing::openTestDatabase( folder_.path() / "db" );
    std::string schema_ = textOf( one( "SELECT current_schema()::text" ) );
};

} // namespace

TEST_F( Postgres, ValuesComeBackAsTheyWereGiven )
{
    EXPECT_EQ( one( "SELECT ?", { INT64_MAX } ), SqlValue( INT64_MAX ) );
    EXPECT_EQ( one( "SELECT ?", { INT64_MIN } ), SqlValue( INT64_MIN ) );
    EXPECT_EQ(
        one( "SELECT ?", { std::string( "it's \"ä\" \\ $1 ?" ) } ), SqlValue( std::string( "it's \"ä\" \\ $1 ?" ) ) );
    EXPECT_EQ( one( "SELECT ?", { std::string() } ), SqlValue( std::string() ) );
    EXPECT_EQ( one( "SELECT ?", { nullptr } ), SqlValue( nullptr ) );
    EXPECT_EQ( one( "SELECT 1 = 1" ), SqlValue( int64_t( 1 ) ) );
    EXPECT_EQ( one( "SELECT 1 = 2" ), SqlValue( int64_t( 0 ) ) );
    EXPECT_EQ( one( "SELECT sum(n) FROM (VALUES(?),(2::bigint)) v(n)", { int64_t( 40 ) } ), SqlValue( int64_t( 42 ) ) );
    EXPECT_EQ( one( "SELECT 1.5" ), SqlValue( std::string( "1.5" ) ) );
}

TEST_F( Postgres, TextsThatAreNoneAreRefusedAndChangeNothing )
{
    for ( const auto& text : { std::string( "a\0b", 3 ), std::string( "\xff" ) } )
    {
        const auto refused = insert( 1, text );
        ASSERT_FALSE( refused );
        EXPECT_EQ( refused.error().kind, DatabaseTrouble::Broken ) << refused.error().text;
    }
    EXPECT_EQ( one( "SELECT count(*) FROM t" ), SqlValue( int64_t( 0 ) ) );
}

TEST_F( Postgres, RowsHaveNumbersInTheirOrder )
{
    for ( const int64_t id : { 7, 3, 5 } )
        ASSERT_TRUE( insert( id ) );
    const auto rows = database_->query( "SELECT id FROM t ORDER BY rowid" ).value();
    EXPECT_EQ( rows, ( std::vector<SqlRow>{ { int64_t( 7 ) }, { int64_t( 3 ) }, { int64_t( 5 ) } } ) );
}

TEST_F( Postgres, AListIsGivenAsJson )
{
    for ( int64_t id = 1; id < 4; ++id )
        ASSERT_TRUE( insert( id, "name " + std::to_string( id ) ) );
    EXPECT_EQ( one( "SELECT count(*) FROM t WHERE text IN (SELECT value FROM json_each(?))",
                   { std::string( R"(["name 1","name 3","other"])" ) } ),
        SqlValue( int64_t( 2 ) ) );
}

TEST_F( Postgres, AConnectionThatWasCutWhileItRestedIsReplaced )
{
    const auto mine = one( "SELECT pg_backend_pid()" );
    ASSERT_EQ( one( "SELECT pg_backend_pid()" ), mine ) << "it is kept";
    const auto other = session();
    ASSERT_TRUE( other->run( "SELECT pg_terminate_backend(?::int)", { mine } ) );
    // The server closes it a moment later.
    while ( !other->run( "SELECT 1 FROM pg_stat_activity WHERE pid = ?", { mine } ).value().empty() )
        std::this_thread::yield();
    EXPECT_TRUE( insert( 1 ) );
    EXPECT_NE( one( "SELECT pg_backend_pid()" ), mine );
}

TEST_F( Postgres, AConnectionThatIsCutInATransactionFailsIt )
{
    {
        Database::Transaction transaction( *database_ );
        ASSERT_TRUE( insert( 1 ) );
        const auto mine = one( "SELECT pg_backend_pid()" );
        ASSERT_TRUE( session()->run( "SELECT pg_terminate_backend(?::int)", { mine } ) );
        const auto next = insert( 2 );
        ASSERT_FALSE( next );
        EXPECT_EQ( next.error().kind, DatabaseTrouble::Unavailable );
        const auto kept = transaction.commit();
        ASSERT_FALSE( kept );
        EXPECT_EQ( kept.error().kind, DatabaseTrouble::Unavailable );
    }
    EXPECT_EQ( one( "SELECT count(*) FROM t" ), SqlValue( int64_t( 0 ) ) );
    EXPECT_TRUE( insert( 3 ) );
}

TEST_F( Postgres, AStatementThatTakesTooLongIsGivenUp )
{
    const auto hasty = session( std::chrono::milliseconds( 50 ) );
    const auto slow = hasty->run( "SELECT pg_sleep(100)", {} );
    ASSERT_FALSE( slow );
    EXPECT_EQ( slow.error().kind, DatabaseTrouble::Unavailable );
    EXPECT_EQ( slow.error().text, "Database: canceling statement due to statement timeout" );
    EXPECT_TRUE( hasty->run( "SELECT 1", {} ) );
}

TEST_F( Postgres, AServerThatDoesNotAnswerIsGivenUp )
{
    const auto hasty = session( std::chrono::milliseconds( 50 ) );
    // The server's own limit is taken away, so it keeps its peace for as long as it is asked to.
    ASSERT_TRUE( hasty->run( "SET statement_timeout TO 0", {} ) );
    const auto never = hasty->run( "SELECT pg_sleep(600)", {} );
    ASSERT_FALSE( never );
    EXPECT_EQ( never.error().kind, DatabaseTrouble::Unavailable );
    EXPECT_EQ( never.error().text, "Database: it does not answer" );
    EXPECT_FALSE( hasty->isAlive() ) << "nobody knows what became of it";
    EXPECT_EQ( hasty->run( "SELECT 1", {} ).error().kind, DatabaseTrouble::Unavailable );
}

TEST_F( Postgres, AStatementThatIsTakenBackForADeadlockIsRunAgain )
{
    ASSERT_TRUE( insert( 1 ) );
    ASSERT_TRUE( insert( 2 ) );
    const auto other = session();
    // Whoever closes the circle is the one to find it.
    ASSERT_TRUE( database_->execute( "SET deadlock_timeout TO '10ms'" ) );
    ASSERT_TRUE( other->run( "SET deadlock_timeout TO '60s'", {} ) );
    const auto pid = std::to_string( integerOf( other->run( "SELECT pg_backend_pid()", {} ).value()[0][0] ) );
    other->begin();
    ASSERT_TRUE( other->run( "UPDATE t SET text = 'other' WHERE id = 1", {} ) );
    // Has the second row, says so, and wants the first one once the other waits for the second or is done.
    auto mine = std::async( std::launch::async,
        [&]
        {
            return database_->execute(
                "DO $$ BEGIN UPDATE t SET text = 'mine' WHERE id = 2; PERFORM pg_advisory_xact_lock(4711); WHILE NOT "
                "EXISTS (SELECT 1 FROM pg_locks WHERE NOT granted AND pid = " +
                pid +
                ") AND (SELECT text FROM t WHERE id = 1) = 'x' LOOP PERFORM pg_sleep(0.001); END LOOP; UPDATE t SET "
                "text = text || ', mine' WHERE id = 1; END $$" );
        } );
    while ( other->run( "SELECT 1 FROM pg_locks WHERE locktype = 'advisory' AND objid = 4711", {} ).value().empty() )
        std::this_thread::yield();
    ASSERT_TRUE( other->run( "UPDATE t SET text = 'other' WHERE id = 2", {} ) );
    ASSERT_TRUE( other->commit() );
    other->end();
    const auto done = mine.get();
    EXPECT_TRUE( done ) << done.error().text;
    EXPECT_EQ( one( "SELECT text FROM t WHERE id = 1" ), SqlValue( std::string( "other, mine" ) ) );
    EXPECT_EQ( one( "SELECT text FROM t WHERE id = 2" ), SqlValue( std::string( "mine" ) ) );
}

TEST_F( Postgres, TransactionsOfAllProcessesTakeTurns )
{
    ASSERT_TRUE( insert( 1, "0" ) );
    constexpr int cTurns = 20;
    const auto count = [&]
    {
        const auto own = Testing::openTestDatabase( folder_.path() / "db" );
        for ( int i = 0; i < cTurns; ++i )
        {
            Database::Transaction transaction( *own );
            const auto seen = std::stoi( textOf( own->query( "SELECT text FROM t WHERE id = 1" ).value()[0][0] ) );
            ASSERT_TRUE( own->execute( "UPDATE t SET text = ? WHERE id = 1", { std::to_string( seen + 1 ) } ) );
            ASSERT_TRUE( transaction.commit() );
        }
    };
    {
        const std::jthread one( count ), two( count ), three( count );
    }
    EXPECT_EQ( one( "SELECT text FROM t" ), SqlValue( std::to_string( 3 * cTurns ) ) );
}

TEST_F( Postgres, ASchemaIsMadeOnceByWhoeverComesFirst )
{
    for ( int round = 0; round < 8; ++round )
    {
        const auto file = folder_.path() / ( "schema" + std::to_string( round ) );
        for ( const auto& problem :
            atOnce( [&] { return problemOf( Database::open( Testing::testEngine( file ) ) ); } ) )
            EXPECT_EQ( problem, "" );
    }
}

TEST_F( Postgres, TablesAreMadeOnceByWhoeverComesFirst )
{
    const auto make = []( Database& database ) -> DatabaseResult<void>
    {
        const auto held = database.engine().holdTables();
        if ( !held )
            return tl::unexpected( held.error() );
        const Trigger counted{ "a_counted", "UPDATE OF text", "a", "UPDATE a SET size = size + 1 WHERE id = new.id;" };
        return makeTable( database, { "a", "id INTEGER PRIMARY KEY AUTOINCREMENT, text TEXT" } )
            .and_then( [&] { return addColumn( database, "a", "size", "INTEGER NOT NULL DEFAULT 0" ); } )
            .and_then( [&]( bool ) { return makeTrigger( database, counted ); } );
    };
    for ( int round = 0; round < 8; ++round )
    {
        const auto own = Testing::openTestDatabase( folder_.path() / ( "tables" + std::to_string( round ) ) );
        for ( const auto& made : atOnce( [&] { return make( *own ); } ) )
            EXPECT_TRUE( made ) << made.error().text;
        ASSERT_TRUE( own->execute( "INSERT INTO a(text) VALUES('x'), ('y')" ) );
        ASSERT_TRUE( own->execute( "UPDATE a SET text = 'z' WHERE text = 'x'" ) );
        EXPECT_EQ( own->query( "SELECT id, size FROM a ORDER BY id" ).value(),
            ( std::vector<SqlRow>{ { int64_t( 1 ), int64_t( 1 ) }, { int64_t( 2 ), int64_t( 0 ) } } ) );
        EXPECT_TRUE( hasTable( *own, "a" ).value() );
        EXPECT_FALSE( hasTable( *own, "t" ).value() ) << "it is in another schema";
        EXPECT_GT( sizeOf( *own ).value(), 0 );
    }
}

TEST_F( Postgres, AJobThatIsCanceledWhileItIsTakenStaysCanceled )
{
    ASSERT_TRUE( ConversionJobs::prepare( *database_ ) );
    ConversionJobs jobs( *database_, &systemTime, {} );
    const auto job = jobs.create( "step", "ann" ).value();
    ASSERT_TRUE( jobs.queue( job->id, "" ).value() );
    const auto other = session();
    ASSERT_TRUE( other->run( "BEGIN", {} ) );
    ASSERT_TRUE( other->run( "UPDATE conversions SET state = 4, error = 'canceled'", {} ) );
    auto taken = std::async( std::launch::async, [&] { return jobs.take(); } );
    while ( other->run( "SELECT 1 FROM pg_locks WHERE NOT granted", {} ).value().empty() )
        std::this_thread::yield();
    ASSERT_TRUE( other->run( "COMMIT", {} ) );
    const auto none = taken.get();
    ASSERT_TRUE( none ) << none.error().text;
    EXPECT_FALSE( *none );
    EXPECT_EQ( jobs.find( job->id ).value()->error, "canceled" );
}

TEST_F( Postgres, WhyOneCannotBeOpenedIsTold )
{
    const auto closed =
        Database::open( std::make_unique<PostgresEngine>( "postgresql://127.0.0.1:1/orvanta", "main" ) );
    ASSERT_FALSE( closed );
    EXPECT_TRUE( closed.error().starts_with( "Cannot open the database \"orvanta at 127.0.0.1\": " ) )
        << closed.error();
    EXPECT_NE( closed.error().find( "Connection refused" ), std::string::npos ) << closed.error();
    auto other = Testing::postgresAddress();
    other.replace( other.rfind( '/' ), std::string::npos, "/nowhere" );
    const auto missing = Database::open( std::make_unique<PostgresEngine>( other, "main" ) );
    ASSERT_FALSE( missing );
    EXPECT_NE( missing.error().find( "database \"nowhere\" does not exist" ), std::string::npos ) << missing.error();
}
