#include "support/OpenDatabase.h"
#include "support/ScratchFolder.h"

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
    void reopen()
    {
        jobs_.reset();
        database_.reset();
        database_ = Testing::openDatabase( folder_.path() / "db" );
        jobs_ = std::make_unique<ConversionJobs>( *database_, [this] { return now_; } );
    }
    std::string queued()
    {
        const auto job = jobs_->create( "step" ).value();
        EXPECT_TRUE( jobs_->queue( job.id ).value() );
        return job.id;
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
        ids.insert( jobs_->create( "step" ).value().id );
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
    ASSERT_TRUE( jobs_->finish( jobs_->take().value()->id ) );
    ASSERT_TRUE( jobs_->fail( jobs_->take().value()->id, "no solids" ) );
    reopen();
    EXPECT_EQ( jobs_->find( good ).value()->state, JobState::Finished );
    EXPECT_EQ( jobs_->find( bad ).value()->error, "no solids" );
    EXPECT_FALSE( jobs_->find( "unknown" ).value() );
}

TEST_F( ConversionJobsTest, AJobThatWasCutOffIsRunOnceMoreAndThenFails )
{
    const auto id = queued();
    ASSERT_TRUE( jobs_->take().value() );
    reopen();
    ASSERT_TRUE( jobs_->recover() );
    EXPECT_EQ( jobs_->find( id ).value()->state, JobState::Queued );
    ASSERT_TRUE( jobs_->take().value() );
    reopen();
    ASSERT_TRUE( jobs_->recover() );
    EXPECT_EQ( jobs_->find( id ).value()->state, JobState::Failed );
    EXPECT_NE( jobs_->find( id ).value()->error, "" );
}

TEST_F( ConversionJobsTest, OldOnesExpireButNotWhileTheyRun )
{
    const auto old = jobs_->create( "step" ).value().id;
    const auto running = queued();
    ASSERT_TRUE( jobs_->take().value() );
    now_ += std::chrono::hours( 2 );
    const auto fresh = jobs_->create( "step" ).value().id;
    const auto expired = jobs_->expire( std::chrono::hours( 1 ) ).value();
    ASSERT_EQ( expired.size(), 1u );
    EXPECT_EQ( expired[0].id, old );
    EXPECT_TRUE( jobs_->find( running ).value() );
    EXPECT_TRUE( jobs_->find( fresh ).value() );
}

TEST_F( ConversionJobsTest, TheOldestGoesFirstWhenThereIsTooMuch )
{
    const auto first = jobs_->create( "step" ).value().id;
    const auto second = queued();
    const auto third = jobs_->create( "step" ).value().id;
    EXPECT_EQ( jobs_->expireOldest().value()->id, first );
    EXPECT_EQ( jobs_->expireOldest().value()->id, third );
    EXPECT_FALSE( jobs_->expireOldest().value() ) << "what waits for a worker stays";
    EXPECT_TRUE( jobs_->find( second ).value() );
}
