#include "support/ScratchFolder.h"

#include "database/Schema.h"
#include "database/sqlite/WriteTurn.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

using namespace VX;
using namespace VX::Backend;

namespace
{

class SqliteFile : public testing::Test
{
protected:
    SqliteFile() { EXPECT_TRUE( makeTable( *database_, { "t", "id INTEGER PRIMARY KEY, text TEXT" } ) ); }
    DatabaseResult<int> insert( int64_t id, const std::string& text = "x" )
    {
        return database_->execute( "INSERT INTO t VALUES(?, ?)", { id, text } );
    }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Database> database_ = std::move( Database::open( folder_.path() / "db" ).value() );
};

} // namespace

TEST_F( SqliteFile, AFullDiskIsToldAsSuch )
{
    ASSERT_TRUE( database_->query( "PRAGMA max_page_count = 3" ) );
    const auto full = insert( 2, std::string( 100'000, 'x' ) );
    ASSERT_FALSE( full );
    EXPECT_EQ( full.error().kind, DatabaseTrouble::Unavailable );
    EXPECT_NE( full.error().text, "" );
}

TEST_F( SqliteFile, WhatIsWrittenIsFlushedAndWhatIsDeletedIsOverwritten )
{
    EXPECT_EQ( integerOf( database_->query( "PRAGMA synchronous" ).value()[0][0] ), 2 ) << "at each commit";
    EXPECT_EQ( integerOf( database_->query( "PRAGMA secure_delete" ).value()[0][0] ), 1 );
}

TEST_F( SqliteFile, NothingIsMadeWhereThereIsNoDatabase )
{
    EXPECT_EQ( Database::openExisting( folder_.path() / "other" ).error(),
        "There is no database in \"" + folder_.path().string() + "\"" );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "other" ) );
}

TEST_F( SqliteFile, WhyOneCannotBeOpenedIsTold )
{
    std::filesystem::create_directory( folder_.path() / "folder" );
    EXPECT_EQ( Database::open( folder_.path() / "folder" ).error(),
        "Cannot open the database \"" + ( folder_.path() / "folder" ).string() + "\": unable to open database file" );
    const auto garbage = folder_.write( "garbage", std::string( 5000, 'x' ) );
    EXPECT_EQ( Database::open( garbage ).error(), "The database \"" + garbage.string() + "\" is damaged" );
}

TEST_F( SqliteFile, WhoWaitsForOthersHearsOfItBeforeClientsGiveUp )
{
    EXPECT_EQ( integerOf( database_->query( "PRAGMA busy_timeout" ).value()[0][0] ), 4000 );
}

TEST_F( SqliteFile, IsOneFileOnceItIsClosed )
{
    ASSERT_TRUE( insert( 1 ) );
    EXPECT_TRUE( std::filesystem::exists( folder_.path() / "db-wal" ) );
    database_.reset();
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "db-wal" ) );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "db-shm" ) );
}

TEST_F( SqliteFile, ASessionThatCannotBeOpenedFailsWhatNeedsIt )
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
