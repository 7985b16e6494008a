#include "support/ScratchFolder.h"

#include "database/Database.h"

#include <gtest/gtest.h>

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
    EXPECT_FALSE( Database::openExisting( folder_.path() / "other" ) );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "other" ) );
}
