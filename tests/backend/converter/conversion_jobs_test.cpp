#include "support/ScratchFolder.h"
#include "support/service/MemoryStore.h"
#include "support/service/OpenDatabase.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

class ConversionJobsTest : public testing::Test
{
protected:
    void SetUp() override { reopen(); }
    void reopen( JobLimits limits = {} )
    {
        jobs_.reset();
        database_.reset();
        database_ = Testing::openDatabase( folder_.path() / "db" );
        jobs_ = std::make_unique<ConversionJobs>( *database_, [this] { return now_; }, limits );
    }
    std::string created( const std::string& owner = "ann" ) { return jobs_->create( "step", owner ).value()->id; }
    std::string queued( const std::string& owner = "ann" )
    {
        const auto id = created( owner );
        EXPECT_TRUE( jobs_->queue( id ).value() );
        return id;
    }
    ConversionJob taken() { return jobs_->take().value().value(); }
    JobState stateOf( const std::string& id ) { return jobs_->find( id ).value()->state; }
    /// Of the sums that are kept for an owner.
    int64_t sum( const std::string& column, const std::string& owner = "ann" )
    {
        const auto rows =
            database_->query( "SELECT " + column + " FROM conversion_owners WHERE owner = ?", { owner } ).value();
        return rows.empty() ? 0 : integerOf( rows[0][0] );
    }

    Testing::ScratchFolder folder_;
    std::chrono::sys_seconds now_{ std::chrono::seconds( 1'000'000 ) };
    std::unique_ptr<Database> database_;
    std::unique_ptr<ConversionJobs> jobs_;
};

} // namespace

TEST_F( ConversionJobsTest, IdsAreLongAndDifferent )
{
    std::set<std::string> ids;
    for ( int i = 0; i < 100; ++i )
        ids.insert( created() );
    EXPECT_EQ( ids.size(), 100u );
    EXPECT_EQ( ids.begin()->size(), 32u );
}

TEST_F( ConversionJobsTest, OldestQueuedJobIsTakenFirstAndOnlyOnce )
{
    const auto first = queued();
    now_ += std::chrono::seconds( 1 );
    const auto second = queued();
    EXPECT_EQ( jobs_->take().value()->id, first );
    EXPECT_EQ( jobs_->take().value()->id, second );
    EXPECT_FALSE( jobs_->take().value() );
}

TEST_F( ConversionJobsTest, TwoTakersNeverGetTheSameJob )
{
    for ( int i = 0; i < 100; ++i )
        queued();
    std::mutex mutex;
    std::multiset<std::string> taken;
    std::vector<std::thread> threads;
    for ( int t = 0; t < 4; ++t )
        threads.emplace_back(
            [&]
            {
                while ( const auto job = jobs_->take().value() )
                {
                    const std::lock_guard lock( mutex );
                    taken.insert( job->id );
                }
            } );
    for ( auto& thread : threads )
        thread.join();
    EXPECT_EQ( taken.size(), 100u );
    EXPECT_EQ( std::set( taken.begin(), taken.end() ).size(), 100u );
}

TEST_F( ConversionJobsTest, QueueingTwiceDoesNotStartItTwice )
{
    const auto id = queued();
    EXPECT_FALSE( jobs_->queue( id ).value() );
    EXPECT_TRUE( jobs_->take().value() );
    EXPECT_FALSE( jobs_->take().value() );
}

TEST_F( ConversionJobsTest, KeepsResultAndErrorAcrossARestart )
{
    const auto good = queued(), bad = queued();
    ASSERT_TRUE( jobs_->finish( taken() ).value() );
    ASSERT_TRUE( jobs_->fail( taken(), "no solids" ).value() );
    reopen();
    EXPECT_EQ( jobs_->find( good ).value()->state, JobState::Finished );
    EXPECT_EQ( jobs_->find( bad ).value()->error, "no solids" );
    EXPECT_FALSE( jobs_->find( "unknown" ).value() );
}

TEST_F( ConversionJobsTest, OwnersTakeTurns )
{
    const auto first = queued( "ann" ), second = queued( "ann" ), third = queued( "ann" );
    now_ += std::chrono::seconds( 1 );
    const auto others = queued( "bob" ), othersNext = queued( "bob" );
    const auto one = taken(), two = taken();
    EXPECT_EQ( one.id, first );
    EXPECT_EQ( two.id, others ) << "who has none running is next";
    ASSERT_TRUE( jobs_->finish( one ).value() );
    const auto next = taken();
    EXPECT_EQ( next.id, second );
    ASSERT_TRUE( jobs_->finish( next ).value() );
    ASSERT_TRUE( jobs_->finish( two ).value() );
    EXPECT_EQ( taken().id, othersNext ) << "whose turn is the longest ago";
    EXPECT_EQ( taken().id, third );
}

TEST_F( ConversionJobsTest, AnOwnerHasSoManyAtOnceAndSoManyInAll )
{
    reopen( { .atOnce = 2, .kept = 3 } );
    const auto first = queued();
    (void)created();
    EXPECT_FALSE( jobs_->create( "step", "ann" ).value() );
    EXPECT_TRUE( jobs_->create( "step", "bob" ).value() ) << "others are not concerned";
    ASSERT_TRUE( jobs_->finish( taken() ).value() );
    (void)created();
    EXPECT_FALSE( jobs_->create( "step", "ann" ).value() );
    reopen( { .atOnce = 5, .kept = 3 } );
    EXPECT_FALSE( jobs_->create( "step", "ann" ).value() ) << "what has ended lies there, too";
    now_ += std::chrono::hours( 2 );
    EXPECT_EQ( jobs_->expire( std::chrono::hours( 1 ) ).value().size(), 4u ) << "and the other one's";
    EXPECT_FALSE( jobs_->find( first ).value() );
    EXPECT_TRUE( jobs_->create( "step", "ann" ).value() );
}

TEST_F( ConversionJobsTest, UploadsAreAdmittedWithinWhatTheirOwnerMayHave )
{
    reopen( { .bytes = 100 } );
    const auto first = created(), second = created();
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + first, 60 ), Admission::Welcome );
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + second, 41 ), Admission::NoRoom ) << "also before the first has come";
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + second, 40 ), Admission::Welcome );
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + created( "bob" ), 100 ), Admission::Welcome );
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + created( "bob" ), 101 ), Admission::NoRoom );
    jobs_->forgetUpload( "uploads/" + first, 60 );
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + created(), 60 ), Admission::Welcome );
    EXPECT_EQ( sum( "bytes" ), 100 );
}

TEST_F( ConversionJobsTest, WhatFailedJobsHaveLeftCountsAndGivesWayToTheirOwnersUploads )
{
    reopen( { .bytes = 100 } );
    Testing::MemoryStore store;
    const auto admit = [&]( const std::string& id, uint64_t bytes )
    { return admitUploadInto( store, *jobs_, "uploads/" + id, bytes ); };
    const auto first = queued(), second = queued(), canceled = queued();
    for ( const auto& id : { first, second, canceled } )
    {
        ASSERT_EQ( admit( id, 30 ), Admission::Welcome );
        store.put( "uploads/" + id, "bytes" );
    }
    ASSERT_TRUE( jobs_->fail( taken(), "too slow", UploadStays::Yes ).value() );
    ASSERT_TRUE( jobs_->fail( taken(), "no solids" ).value() );
    EXPECT_EQ( sum( "bytes" ), 60 ) << "of which the second holds nothing any more";
    ASSERT_TRUE( jobs_->cancel( canceled, "stopped" ).value() );
    EXPECT_EQ( sum( "bytes" ), 60 );
    const auto next = created(), other = created( "bob" );
    EXPECT_EQ( admit( other, 100 ), Admission::Welcome );
    EXPECT_EQ( admit( next, 101 ), Admission::NoRoom );
    EXPECT_EQ( admit( next, 40 ), Admission::Welcome );
    EXPECT_TRUE( store.contains( "uploads/" + first ) ) << "there was room, and else it would not have been enough";
    EXPECT_EQ( admit( created(), 60 ), Admission::Welcome );
    EXPECT_FALSE( store.contains( "uploads/" + first ) );
    EXPECT_FALSE( store.contains( "uploads/" + canceled ) );
    EXPECT_EQ( sum( "bytes" ), 100 );
    EXPECT_EQ( jobs_->find( first ).value()->error, "too slow" ) << "its user is told still";
    EXPECT_EQ( admit( created(), 1 ), Admission::NoRoom );
    EXPECT_EQ( sum( "bytes", "bob" ), 100 );
    reopen();
    EXPECT_EQ( sum( "bytes" ), 100 ) << "counted anew";
}

TEST_F( ConversionJobsTest, TheThirdDeathLeavesAnUploadThatCounts )
{
    const auto id = queued();
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + id, 30 ), Admission::Welcome );
    for ( int death = 0; death < 3; ++death )
    {
        (void)taken();
        (void)jobs_->recover( { jobs_->instance() } ).value();
    }
    ASSERT_EQ( stateOf( id ), JobState::Failed );
    EXPECT_EQ( sum( "bytes" ), 30 );
    EXPECT_EQ( jobs_->expireOldest( "ann" ).value()->id, id ) << "it is the first to give way";
    EXPECT_EQ( sum( "bytes" ), 0 );
    EXPECT_EQ( stateOf( id ), JobState::Failed ) << "and its user is told still";
    ASSERT_TRUE( jobs_->retry( id, 30 ).value() );
    EXPECT_EQ( sum( "bytes" ), 30 );
}

TEST_F( ConversionJobsTest, AnUploadThatWasUnderWayWhenItsJobFailedCountsNoLongerThanItLies )
{
    const auto id = queued();
    const auto key = "uploads/" + id;
    ASSERT_EQ( jobs_->admitUpload( key, 30 ), Admission::Welcome );
    ASSERT_EQ( jobs_->admitUpload( key, 20 ), Admission::Welcome );
    ASSERT_EQ( jobs_->admitUpload( key, 10 ), Admission::Welcome );
    ASSERT_TRUE( jobs_->fail( taken(), "too slow", UploadStays::Yes ).value() );
    jobs_->forgetUpload( key, 20 );
    EXPECT_EQ( sum( "bytes" ), 40 );
    EXPECT_EQ( jobs_->noteUpload( key, 30 ), Admission::Gone );
    EXPECT_EQ( sum( "bytes" ), 0 ) << "it went, and has taken the place of what was there";
}

TEST_F( ConversionJobsTest, UploadsOfOneJobCountTogetherUntilOneReplacesTheOther )
{
    reopen( { .bytes = 100 } );
    const auto key = "uploads/" + created();
    EXPECT_EQ( jobs_->admitUpload( key, 40 ), Admission::Welcome );
    EXPECT_EQ( jobs_->admitUpload( key, 50 ), Admission::Welcome );
    EXPECT_EQ( jobs_->admitUpload( key, 20 ), Admission::NoRoom ) << "all three would lie there for a while";
    EXPECT_EQ( jobs_->noteUpload( key, 0 ), Admission::Welcome );
    EXPECT_EQ( sum( "bytes" ), 90 );
    EXPECT_EQ( jobs_->noteUpload( key, 40 ), Admission::Welcome );
    EXPECT_EQ( sum( "bytes" ), 50 );
    EXPECT_EQ( jobs_->admitUpload( key, 20 ), Admission::Welcome );
    jobs_->forgetUpload( key, 20 );
    EXPECT_EQ( sum( "bytes" ), 50 ) << "what lies there still does";
}

TEST_F( ConversionJobsTest, AResultCountsInPlaceOfItsUpload )
{
    reopen( { .bytes = 100 } );
    const auto first = queued(), second = queued();
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + first, 60 ), Admission::Welcome );
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + second, 40 ), Admission::Welcome );
    const auto job = jobs_->find( second ).value().value();
    EXPECT_TRUE( jobs_->isWithinShare( job, 40 ).value() );
    EXPECT_FALSE( jobs_->isWithinShare( job, 41 ).value() );
}

TEST_F( ConversionJobsTest, NobodyWaitsForAnUploadOfAJobThatIsGoneOrHasEnded )
{
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + std::string( 32, 'a' ), 1 ), Admission::Gone );
    const auto ended = queued();
    ASSERT_TRUE( jobs_->finish( taken(), 7 ).value() );
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + ended, 1 ), Admission::Gone );
    EXPECT_EQ( jobs_->noteUpload( "uploads/" + ended, 3 ), Admission::Gone ) << "one that was under way";
    jobs_->forgetUpload( "uploads/" + ended, 3 );
    EXPECT_EQ( sum( "bytes" ), 7 ) << "the result";
    EXPECT_EQ( jobs_->admitUpload( "uploads/of-nobodys-job", 1 ), Admission::Welcome );
    EXPECT_EQ( jobs_->admitUpload( "k", 1 ), Admission::Welcome );
    ASSERT_TRUE( database_->execute( "ALTER TABLE conversions RENAME TO away" ) );
    EXPECT_EQ( jobs_->admitUpload( "uploads/" + ended, 1 ), Admission::Unknown );
    EXPECT_EQ( jobs_->noteUpload( "uploads/" + ended, 1 ), Admission::Unknown );
}

TEST_F( ConversionJobsTest, TheSumsOfAnOwnerFollowItsJobs )
{
    (void)queued();
    const auto second = queued();
    (void)created();
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + second, 30 ), Admission::Welcome );
    ASSERT_TRUE( jobs_->finish( taken(), 12 ).value() );
    const auto running = taken();
    EXPECT_EQ( running.id, second );
    const auto all = [&]
    { return std::vector{ sum( "jobs" ), sum( "active" ), sum( "queued" ), sum( "running" ), sum( "bytes" ) }; };
    const std::vector<int64_t> expected{ 3, 2, 0, 1, 42 };
    EXPECT_EQ( all(), expected );
    reopen();
    EXPECT_EQ( all(), expected ) << "counted anew";
    now_ += std::chrono::hours( 2 );
    EXPECT_EQ( jobs_->expire( std::chrono::hours( 1 ) ).value().size(), 2u );
    EXPECT_EQ( all(), ( std::vector<int64_t>{ 1, 1, 0, 1, 30 } ) );
    ASSERT_TRUE( jobs_->fail( running, "no solids" ).value() );
    (void)jobs_->expire( std::chrono::hours( 1 ) );
    now_ += std::chrono::hours( 2 );
    EXPECT_EQ( jobs_->expire( std::chrono::hours( 1 ) ).value().size(), 1u );
    EXPECT_EQ( all(), std::vector<int64_t>( 5, 0 ) );
}

TEST_F( ConversionJobsTest, JobsOfAnOlderVersionAreTakenOver )
{
    database_->execute( "DROP TABLE conversions" ).value();
    ASSERT_TRUE( executeAll( *database_,
        { "CREATE TABLE conversions (id TEXT PRIMARY KEY, input_format TEXT NOT NULL, state INTEGER NOT NULL, error "
          "TEXT, attempts INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL, queued INTEGER)",
            "CREATE INDEX conversions_by_state ON conversions (state, queued)",
            "INSERT INTO conversions VALUES ('old', 'step', 1, NULL, 0, 1000000, 1000000)" } ) );
    reopen();
    const auto old = taken();
    EXPECT_EQ( old.id, "old" );
    ASSERT_TRUE( jobs_->finish( old ).value() );
}

TEST_F( ConversionJobsTest, OldOnesExpireButNotWhileTheyRun )
{
    const auto running = queued();
    ASSERT_TRUE( jobs_->take().value() );
    const auto old = created();
    now_ += std::chrono::hours( 2 );
    const auto fresh = created();
    const auto expired = jobs_->expire( std::chrono::hours( 1 ) ).value();
    ASSERT_EQ( expired.size(), 1u );
    EXPECT_EQ( expired[0].id, old );
    EXPECT_TRUE( jobs_->find( running ).value() );
    EXPECT_TRUE( jobs_->find( fresh ).value() );
}

TEST_F( ConversionJobsTest, WhoWaitsTooLongIsToldSo )
{
    const auto id = queued();
    now_ += std::chrono::hours( 2 );
    const auto expired = jobs_->expire( std::chrono::hours( 1 ) ).value();
    ASSERT_EQ( expired.size(), 1u ) << "its upload goes";
    ASSERT_EQ( stateOf( id ), JobState::Failed );
    EXPECT_NE( jobs_->find( id ).value()->error, "" );
    now_ += std::chrono::hours( 2 );
    (void)jobs_->expire( std::chrono::hours( 1 ) );
    EXPECT_FALSE( jobs_->find( id ).value() );
}

TEST_F( ConversionJobsTest, AResultIsKeptFromItsEndOn )
{
    (void)queued();
    const auto job = taken();
    now_ += std::chrono::minutes( 59 );
    ASSERT_TRUE( jobs_->finish( job ).value() );
    now_ += std::chrono::minutes( 59 );
    EXPECT_TRUE( jobs_->expire( std::chrono::hours( 1 ) ).value().empty() );
    now_ += std::chrono::minutes( 2 );
    EXPECT_EQ( jobs_->expire( std::chrono::hours( 1 ) ).value().size(), 1u );
}

TEST_F( ConversionJobsTest, OfWhatHoldsBytesResultsGoFirstAndTheOldestOfThem )
{
    const auto upload = created(), empty = created();
    const auto first = queued(), second = queued(), waiting = queued();
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + upload, 10 ), Admission::Welcome );
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + waiting, 10 ), Admission::Welcome );
    const auto one = taken(), two = taken();
    ASSERT_TRUE( jobs_->finish( one, 1 ).value() );
    ASSERT_TRUE( jobs_->finish( two, 1 ).value() );
    EXPECT_EQ( jobs_->expireOldest().value()->id, first );
    EXPECT_EQ( jobs_->expireOldest().value()->id, second );
    EXPECT_EQ( jobs_->expireOldest().value()->id, upload );
    EXPECT_FALSE( jobs_->expireOldest().value() ) << "what waits for a worker stays, and what holds nothing";
    EXPECT_TRUE( jobs_->find( waiting ).value() );
    EXPECT_TRUE( jobs_->find( empty ).value() );
}

TEST_F( ConversionJobsTest, WhoHasMostGivesFirst )
{
    const auto older = created( "bob" );
    const auto large = created( "ann" );
    const auto waiting = queued( "cat" );
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + older, 10 ), Admission::Welcome );
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + large, 20 ), Admission::Welcome );
    ASSERT_EQ( jobs_->admitUpload( "uploads/" + waiting, 30 ), Admission::Welcome );
    EXPECT_EQ( jobs_->expireOldest().value()->id, large ) << "of those who can give";
    EXPECT_FALSE( jobs_->expireOldest( "ann" ).value() ) << "and nobody else for them";
    EXPECT_TRUE( jobs_->find( older ).value() );
}

TEST_F( ConversionJobsTest, AChangeBetweenTheLookAndTheWaitIsNotMissed )
{
    const auto seen = jobs_->changes();
    (void)queued();
    // Else for a day.
    jobs_->waitForChange( seen, std::chrono::hours( 24 ) );
    EXPECT_GT( jobs_->changes(), seen );
}
