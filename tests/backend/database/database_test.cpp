#include "support/ScratchFolder.h"

#include "database/Database.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

using namespace VX;
using namespace VX::Backend;

namespace
{

class DatabaseTest : public testing::Test
{
protected:
    DatabaseTest() { EXPECT_TRUE( executeAll( *database_, { "CREATE TABLE t(id INTEGER PRIMARY KEY, text TEXT)" } ) ); }
    std::unique_ptr<Database> open() { return std::move( Database::open( folder_.path() / "db" ).value() ); }
    DatabaseResult<int> insert( int64_t id, const std::string& text = "x" )
    {
        return database_->execute( "INSERT INTO t VALUES(?, ?)", { id, text } );
    }
    int64_t rows() { return integerOf( open()->query( "SELECT count(*) FROM t" ).value()[0][0] ); }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Database> database_ = open();
};

} // namespace

TEST_F( DatabaseTest, AFailureIsToldByItsKind )
{
    ASSERT_EQ( insert( 1 ).value(), 1 );
    const auto twice = insert( 1 );
    ASSERT_FALSE( twice );
    EXPECT_EQ( twice.error().kind, DatabaseTrouble::Conflict );
    const auto unknown = database_->query( "SELECT 1 FROM nowhere" );
    ASSERT_FALSE( unknown );
    EXPECT_EQ( unknown.error().kind, DatabaseTrouble::Broken );
    ASSERT_TRUE( database_->query( "PRAGMA max_page_count = 3" ) );
    const auto full = insert( 2, std::string( 100'000, 'x' ) );
    ASSERT_FALSE( full );
    EXPECT_EQ( full.error().kind, DatabaseTrouble::Unavailable );
    EXPECT_NE( full.error().text, "" );
}

TEST_F( DatabaseTest, AStatementThatFailsFailsItsTransaction )
{
    {
        Database::Transaction transaction( *database_ );
        ASSERT_TRUE( insert( 1 ) );
        ASSERT_FALSE( insert( 1 ) );
        EXPECT_FALSE( insert( 2 ) );
        const auto kept = transaction.commit();
        ASSERT_FALSE( kept );
        EXPECT_EQ( kept.error().kind, DatabaseTrouble::Conflict );
    }
    EXPECT_EQ( rows(), 0 );
    EXPECT_TRUE( insert( 3 ) ) << "the next one is another matter";
}

TEST_F( DatabaseTest, ATransactionThatCannotBeginWritesNothing )
{
    const auto other = open();
    ASSERT_TRUE( database_->query( "PRAGMA busy_timeout = 10" ) );
    const Database::Transaction elsewhere( *other );
    {
        Database::Transaction transaction( *database_ );
        EXPECT_FALSE( insert( 1 ) );
        const auto kept = transaction.commit();
        ASSERT_FALSE( kept );
        EXPECT_EQ( kept.error().kind, DatabaseTrouble::Unavailable );
    }
    EXPECT_EQ( rows(), 0 );
}

TEST_F( DatabaseTest, WhatIsWrittenIsFlushedAndWhatIsDeletedIsOverwritten )
{
    EXPECT_EQ( integerOf( database_->query( "PRAGMA synchronous" ).value()[0][0] ), 2 ) << "at each commit";
    EXPECT_EQ( integerOf( database_->query( "PRAGMA secure_delete" ).value()[0][0] ), 1 );
}

TEST_F( DatabaseTest, NothingIsMadeWhereThereIsNoDatabase )
{
    EXPECT_EQ( Database::openExisting( folder_.path() / "other" ).error(),
        "There is no database in \"" + folder_.path().string() + "\"" );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "other" ) );
}

TEST_F( DatabaseTest, WhyOneCannotBeOpenedIsTold )
{
    std::filesystem::create_directory( folder_.path() / "folder" );
    EXPECT_EQ( Database::open( folder_.path() / "folder" ).error(),
        "Cannot open the database \"" + ( folder_.path() / "folder" ).string() + "\": unable to open database file" );
    const auto garbage = folder_.write( "garbage", std::string( 5000, 'x' ) );
    EXPECT_EQ( Database::open( garbage ).error(), "The database \"" + garbage.string() + "\" is damaged" );
}

TEST_F( DatabaseTest, WhoWaitsForOthersHearsOfItBeforeClientsGiveUp )
{
    EXPECT_EQ( integerOf( database_->query( "PRAGMA busy_timeout" ).value()[0][0] ), 4000 );
}

TEST_F( DatabaseTest, IsOneFileOnceItIsClosed )
{
    ASSERT_TRUE( insert( 1 ) );
    EXPECT_TRUE( std::filesystem::exists( folder_.path() / "db-wal" ) );
    database_.reset();
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "db-wal" ) );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "db-shm" ) );
}

TEST_F( DatabaseTest, AColumnIsAddedOnceAndThatIsTold )
{
    EXPECT_TRUE( addColumn( *database_, "t", "size", "INTEGER NOT NULL DEFAULT 7" ).value() );
    EXPECT_FALSE( addColumn( *database_, "t", "size", "INTEGER NOT NULL DEFAULT 7" ).value() );
    ASSERT_TRUE( database_->execute( "INSERT INTO t(id) VALUES(1)" ) );
    EXPECT_EQ( integerOf( database_->query( "SELECT size FROM t" ).value()[0][0] ), 7 );
    EXPECT_EQ( addColumn( *database_, "nowhere", "size", "INTEGER" ).error().text, "Database: no such table: nowhere" );
}

TEST_F( DatabaseTest, WhoReadsWaitsForNoTransaction )
{
    ASSERT_TRUE( insert( 1 ) );
    std::future<int64_t> seen;
    {
        Database::Transaction transaction( *database_ );
        ASSERT_TRUE( insert( 2 ) );
        seen = std::async( std::launch::async,
            [this] { return integerOf( database_->query( "SELECT count(*) FROM t" ).value()[0][0] ); } );
        EXPECT_EQ( seen.wait_for( std::chrono::minutes( 2 ) ), std::future_status::ready );
        ASSERT_TRUE( transaction.commit() );
    }
    EXPECT_EQ( seen.get(), 1 ) << "and sees what was before it";
    EXPECT_EQ( rows(), 2 );
}

TEST_F( DatabaseTest, ATransactionIsThatOfItsThread )
{
    std::future<DatabaseResult<int>> other;
    {
        const Database::Transaction transaction( *database_ );
        ASSERT_TRUE( insert( 1 ) );
        other = std::async( std::launch::async, [this] { return insert( 2 ); } );
    }
    ASSERT_TRUE( other.get() );
    EXPECT_EQ( rows(), 1 ) << "the other one's is kept";
}

TEST_F( DatabaseTest, ASessionThatCannotBeOpenedFailsWhatNeedsIt )
{
    const auto away = folder_.path() / "away";
    const Database::Transaction holds( *database_ );
    std::filesystem::rename( folder_.path() / "db", away );
    std::filesystem::create_directory( folder_.path() / "db" );
    const auto kinds = std::async( std::launch::async,
        [this]
        {
            Database::Transaction transaction( *database_ );
            return std::pair( insert( 1 ).error().kind, transaction.commit().error().kind );
        } ).get();
    EXPECT_EQ( kinds.first, DatabaseTrouble::Unavailable );
    EXPECT_EQ( kinds.second, DatabaseTrouble::Unavailable );
}

TEST( WriteTurns, OneAtATimeAndWokenWhenItIsFree )
{
    WriteTurn turn;
    EXPECT_TRUE( turn.take( std::chrono::milliseconds( 0 ) ) );
    EXPECT_FALSE( turn.take( std::chrono::milliseconds( 1 ) ) );
    auto waiting = std::async( std::launch::async, [&] { return turn.take( std::chrono::hours( 1 ) ); } );
    turn.giveBack();
    ASSERT_EQ( waiting.wait_for( std::chrono::minutes( 2 ) ), std::future_status::ready );
    EXPECT_TRUE( waiting.get() );
}
