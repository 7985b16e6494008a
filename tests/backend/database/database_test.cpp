#include "support/ScratchFolder.h"
#include "support/database/TestDatabase.h"

#include "database/Schema.h"

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
    DatabaseTest() { EXPECT_TRUE( makeTable( *database_, { "t", "id INTEGER PRIMARY KEY, text TEXT" } ) ); }
    std::unique_ptr<Database> open() { return Testing::openTestDatabase( folder_.path() / "db" ); }
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

TEST_F( DatabaseTest, AColumnIsAddedOnceAndThatIsTold )
{
    EXPECT_TRUE( addColumn( *database_, "t", "size", "INTEGER NOT NULL DEFAULT 7" ).value() );
    EXPECT_FALSE( addColumn( *database_, "t", "size", "INTEGER NOT NULL DEFAULT 7" ).value() );
    ASSERT_TRUE( database_->execute( "INSERT INTO t(id) VALUES(1)" ) );
    EXPECT_EQ( integerOf( database_->query( "SELECT size FROM t" ).value()[0][0] ), 7 );
    const auto nowhere = addColumn( *database_, "nowhere", "size", "INTEGER" );
    ASSERT_FALSE( nowhere );
    EXPECT_NE( nowhere.error().text.find( "nowhere" ), std::string::npos ) << nowhere.error().text;
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
