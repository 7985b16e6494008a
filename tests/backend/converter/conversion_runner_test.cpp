#include "support/service/RunnerFixture.h"

#include <gtest/gtest.h>

#include <set>

using namespace VX;
using namespace VX::Backend;

namespace
{

using Runner = Testing::RunnerFixture;

} // namespace

TEST_F( Runner, AResultLiesUnderItsAttemptAndTheUploadGoes )
{
    const auto id = queued( "bytes" );
    start();
    ended( id );
    runner_.reset();
    EXPECT_EQ( job( id ).state, JobState::Finished ) << job( id ).error;
    EXPECT_EQ( store_.get( "results/" + id + "/1" ), "bytes" );
    EXPECT_FALSE( store_.contains( "uploads/" + id ) );
}

TEST_F( Runner, LeasesOfWhatRunsAreExtended )
{
    const auto id = queued( "wait" );
    start();
    const auto worker = workerWith( "wait" );
    const auto leaseUntil = [&]
    {
        const auto rows = othersDatabase_->query( "SELECT lease_until FROM conversions WHERE id = ?", { id } ).value();
        return integerOf( rows[0][0] );
    };
    for ( int i = 0; i < 3 * ConversionJobs::cLease.count(); ++i )
    {
        ++now_;
        await( [&] { return leaseUntil() == now_ + ConversionJobs::cLease.count(); }, "no beat comes" );
        ASSERT_TRUE( others_.reap().value().empty() );
    }
    go( worker, "bytes" );
    EXPECT_EQ( ended( id ).attempt, 1 );
    EXPECT_EQ( deathsOf( id ), 0 );
}

TEST_F( Runner, AnAttemptThatHasLostItsJobIsStoppedAndTheSlotLivesOn )
{
    const auto id = queued( "wait" );
    start();
    (void)workerWith( "wait" );
    const auto theirs = takenAway();
    ASSERT_EQ( theirs.id, id );
    EXPECT_EQ( ended( queued( "next" ) ).state, JobState::Finished ) << "the only slot is free again";
    EXPECT_EQ( job( id ).state, JobState::Running );
    EXPECT_TRUE( store_.contains( "uploads/" + id ) ) << "the other one needs it";
    EXPECT_TRUE( others_.finish( theirs ).value() );
}

TEST_F( Runner, ALateResultIsDroppedAndOverwritesNothing )
{
    options_.beat = options_.look = std::chrono::hours( 1 );
    const auto id = queued( "wait" );
    start();
    const auto worker = workerWith( "wait" );
    const auto theirs = takenAway();
    store_.put( theirs.resultKey(), "theirs" );
    go( worker, "late" );
    EXPECT_EQ( ended( queued( "next" ) ).state, JobState::Finished );
    EXPECT_EQ( store_.stored, 2 );
    EXPECT_FALSE( store_.contains( "results/" + id + "/1" ) );
    EXPECT_EQ( store_.get( theirs.resultKey() ), "theirs" );
    EXPECT_TRUE( store_.contains( "uploads/" + id ) );
    EXPECT_TRUE( log_.contains( "had lost its job to another; what it made is dropped" ) );
    EXPECT_TRUE( others_.finish( theirs ).value() );
}

TEST_F( Runner, WhatAnAttemptBeforeHasStoredGoes )
{
    const auto id = queued( "bytes" );
    (void)others_.take().value();
    // It dies between the result and the end.
    store_.put( "results/" + id + "/1", "of the dead" );
    ASSERT_TRUE( jobs_.recover( { others_.instance() } ).value().empty() );
    start();
    EXPECT_EQ( ended( id ).attempt, 2 );
    runner_.reset();
    EXPECT_EQ( store_.get( "results/" + id + "/2" ), "bytes" );
    EXPECT_FALSE( store_.contains( "results/" + id + "/1" ) );
}

TEST_F( Runner, WaitsForAStoreThatIsAway )
{
    store_.away = true;
    const auto id = queued( "bytes" );
    start();
    await( [&] { return store_.fetches > 3; }, "the store is not asked again" );
    EXPECT_EQ( job( id ).state, JobState::Running );
    store_.away = false;
    EXPECT_EQ( ended( id ).state, JobState::Finished );
}

TEST_F( Runner, AStoreThatStaysAwayEndsTheJobInItsTime )
{
    options_.worker.limits.time = std::chrono::seconds( 1 );
    store_.away = true;
    const auto id = queued( "bytes" );
    start();
    EXPECT_EQ( ended( id ).error, "The uploaded file cannot be read now; open the file again later" );
}

TEST_F( Runner, AResultWaitsForAStoreThatTakesNone )
{
    store_.full = true;
    const auto id = queued( "bytes" );
    start();
    await( [&] { return store_.refused > 3; }, "the store is not tried again" );
    EXPECT_EQ( job( id ).state, JobState::Running );
    store_.full = false;
    EXPECT_EQ( ended( id ).state, JobState::Finished );
    EXPECT_EQ( store_.get( "results/" + id + "/1" ), "bytes" );
}

TEST_F( Runner, AResultThatIsStillKeptOutAtTheEndIsNoFaultOfTheFiles )
{
    store_.full = true;
    const auto id = queued( "bytes" );
    start();
    await( [&] { return store_.refused > 0; }, "nothing is stored" );
    runner_.reset();
    EXPECT_EQ( job( id ).state, JobState::Queued );
    EXPECT_EQ( deathsOf( id ), 0 );
}

TEST_F( Runner, AWorkerThatLeavesNoResultHasFailed )
{
    const auto id = queued( "empty" );
    start();
    EXPECT_EQ( ended( id ).error, "The converter left no result for this file" );
}

TEST_F( Runner, AMissingUploadIsSaidAtOnce )
{
    const auto id = queued( "bytes" );
    store_.remove( "uploads/" + id );
    start();
    EXPECT_EQ( ended( id ).error, "The uploaded file is gone; open the file again" );
    EXPECT_EQ( store_.fetches, 1 );
}

TEST_F( Runner, ADrainLetsWhatRunsFinishAndTakesNoMore )
{
    const auto first = queued( "wait" );
    start();
    const auto worker = workerWith( "wait" );
    runner_->drain();
    const auto second = queued( "next" );
    EXPECT_FALSE( runner_->isDrained() );
    go( worker, "bytes" );
    await( [&] { return runner_->isDrained(); }, "the drain does not end" );
    EXPECT_EQ( job( first ).state, JobState::Finished );
    EXPECT_EQ( store_.get( "results/" + first + "/1" ), "bytes" );
    EXPECT_EQ( job( second ).state, JobState::Queued );
}

TEST_F( Runner, WhatRunsAtTheEndIsHandedBackAndThatIsNoDeath )
{
    const auto id = queued( "wait" );
    for ( int stop = 0; stop < 4; ++stop )
    {
        start();
        (void)workerWith( "wait" );
        runner_.reset();
        ASSERT_EQ( job( id ).state, JobState::Queued ) << stop;
    }
    EXPECT_EQ( deathsOf( id ), 0 );
    EXPECT_TRUE( store_.contains( "uploads/" + id ) );
}

TEST_F( Runner, AFetchThatWaitsEndsWithTheRunner )
{
    options_.retry = std::chrono::hours( 1 );
    store_.away = true;
    const auto id = queued( "bytes" );
    start();
    await( [&] { return store_.fetches > 0; }, "the store is not asked" );
    runner_.reset();
    EXPECT_EQ( job( id ).state, JobState::Queued );
    EXPECT_EQ( deathsOf( id ), 0 );
}

TEST_F( Runner, WhatADeadInstanceOfTheFolderHadIsRunAtOnce )
{
    const auto id = queued( "bytes" );
    const auto living = WorkFolder::make( work_, "living" ).value();
    (void)WorkFolder::make( work_, others_.instance() ).value();
    ASSERT_EQ( others_.take().value()->id, id );
    start();
    EXPECT_EQ( ended( id ).state, JobState::Finished );
    EXPECT_EQ( deathsOf( id ), 1 );
    EXPECT_FALSE( std::filesystem::exists( work_ / others_.instance() ) );
    EXPECT_TRUE( std::filesystem::exists( living->path() ) );
}

TEST_F( Runner, WhatAVersionBeforeWasRunningIsRunAtOnce )
{
    const auto id = queued( "bytes" );
    ASSERT_TRUE( others_.take().value() );
    ASSERT_TRUE( database_->execute( "UPDATE conversions SET taker = '', lease_until = 0" ) );
    start();
    EXPECT_EQ( ended( id ).state, JobState::Finished );
}

TEST_F( Runner, TheNamesOfTheDeadStayWhereTheirJobsCouldNotBeSeenTo )
{
    (void)WorkFolder::make( work_, others_.instance() ).value();
    ASSERT_TRUE( othersDatabase_->execute( "ALTER TABLE conversions RENAME TO away" ) );
    start();
    runner_.reset();
    EXPECT_TRUE( std::filesystem::exists( work_ / others_.instance() ) );
}

TEST_F( Runner, TheThirdDeathIsSeenByWhoeverLooksForWork )
{
    const auto id = queued( "bytes" );
    for ( int death = 1; death < 3; ++death )
    {
        (void)others_.take().value();
        ASSERT_TRUE( others_.recover( { others_.instance() } ).value().empty() );
    }
    (void)others_.take().value();
    store_.put( "results/" + id + "/1", "of the dead" );
    start();
    const auto failed = [&]
    {
        ++now_;
        jobs_.notifyChange();
        return job( id ).state == JobState::Failed;
    };
    await( failed, "nobody reaps" );
    EXPECT_TRUE( store_.contains( "uploads/" + id ) ) << "an operator may want it tried again";
    await( [&] { return !store_.contains( "results/" + id + "/1" ); }, "what an attempt has stored stays" );
}

TEST_F( Runner, NoWorkerHoldsItsSlotForLongerThanTheTimeOfAJob )
{
    options_.worker.limits.time = std::chrono::seconds( 1 );
    start();
    const std::string tooLong = "The conversion took too long and was stopped";
    for ( const char* what : { "silent", "byte", "deaf" } )
        EXPECT_EQ( ended( queued( what ) ).error, tooLong ) << what;
    EXPECT_EQ( ended( queued( "dead" ) ).error, "The converter could not finish this file" );
    // What is around a worker, or what it has left behind, may keep its output open: then the time ends it.
    for ( const char* what : { "closed", "left" } )
        EXPECT_EQ( ended( queued( what ) ).state, JobState::Failed ) << what;
    EXPECT_EQ( ended( queued( "good" ) ).state, JobState::Finished );
}

TEST_F( Runner, AWorkerThatSomebodyKillsSaysNothingOfItsFile )
{
    start();
    const auto id = queued( "killed" );
    const auto last = ended( id );
    EXPECT_EQ(
        last.error, "The conversion service broke down three times during this conversion; the file may be too large" );
    EXPECT_EQ( last.attempt, 3 );
    EXPECT_EQ( deathsOf( id ), 3 );
    EXPECT_TRUE( store_.contains( "uploads/" + id ) );
    EXPECT_TRUE( log_.contains( "somebody has killed the worker" ) );
    EXPECT_EQ( ended( queued( "good" ) ).state, JobState::Finished );
}

TEST_F( Runner, WordsOfAWorkerAreFewAndPrintable )
{
    start();
    EXPECT_EQ( ended( queued( "loud" ) ).error, "[2Jred" + std::string( 294, '0' ) );
    EXPECT_EQ( ended( queued( "endless" ) ).error, "The converter could not finish this file" );
    EXPECT_EQ( ended( queued( "good" ) ).state, JobState::Finished );
}

TEST_F( Runner, AnAttemptThatWasCanceledIsStoppedBeforeItsNextBeat )
{
    options_.beat = std::chrono::hours( 1 );
    const auto id = queued( "wait" );
    start();
    (void)workerWith( "wait" );
    ASSERT_TRUE(
        othersDatabase_->execute( "UPDATE conversions SET state = 4, error = 'canceled' WHERE id = ?", { id } ) );
    EXPECT_EQ( ended( queued( "next" ) ).state, JobState::Finished ) << "the only slot is free again";
    EXPECT_EQ( job( id ).error, "canceled" );
    EXPECT_EQ( deathsOf( id ), 0 );
}

TEST_F( Runner, AnUploadStaysWhereAnotherAttemptMightEndOtherwise )
{
    options_.worker.limits.time = std::chrono::seconds( 1 );
    start();
    const auto slow = queued( "silent" ), dead = queued( "dead" ), bad = queued( "bad" ), good = queued( "good" );
    for ( const auto& id : { slow, dead, bad, good } )
        (void)ended( id );
    runner_.reset();
    EXPECT_TRUE( store_.contains( "uploads/" + slow ) );
    EXPECT_TRUE( store_.contains( "uploads/" + dead ) );
    EXPECT_FALSE( store_.contains( "uploads/" + bad ) ) << "the converter has read it, and would say so again";
    EXPECT_FALSE( store_.contains( "uploads/" + good ) );
}

TEST_F( Runner, WhatFailedConversionsLeaveGoesWhereRoomIsShort )
{
    options_.reserve = 1000;
    store_.room = 999;
    start();
    const auto first = queued( "dead" );
    (void)ended( first );
    await( [&] { return !store_.contains( "uploads/" + first ); }, "an upload stays though there is no room" );
    runner_.reset();
    // What lay there before goes when it is looked after.
    store_.put( "uploads/" + first, "dead" );
    start();
    await( [&] { return !store_.contains( "uploads/" + first ); }, "an upload stays though there is no room" );
}

TEST_F( Runner, HasNoWorkerWhereEachOneDies )
{
    options_.worker.program = { "/usr/bin/false" };
    start();
    std::set<std::filesystem::path> seen;
    const auto look = [&]
    {
        std::error_code ec;
        for ( std::filesystem::recursive_directory_iterator it( work_, ec ), end; !ec && it != end; it.increment( ec ) )
            if ( it->path().filename().string().starts_with( "worker-" ) )
                seen.insert( it->path() );
        return seen.size() >= 3;
    };
    await( look, "the dead are not replaced" );
    EXPECT_FALSE( runner_->hasWorker() );
}

TEST_F( Runner, HasAWorkerOnceItLives )
{
    start();
    await( [&] { return runner_->hasWorker(); }, "no worker is seen" );
}

TEST_F( Runner, HasAWorkerWhileThatHasAJob )
{
    queued( "silent" );
    start();
    (void)workerWith( "silent" );
    EXPECT_TRUE( runner_->hasWorker() );
}
