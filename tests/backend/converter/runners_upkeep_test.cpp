#include "support/service/RunnerFixture.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

using RunnersUpkeep = Testing::RunnerFixture;

} // namespace

TEST_F( RunnersUpkeep, ThereIsTidyingWhileAllSlotsAreBusy )
{
    options_.tidy = std::chrono::milliseconds( 5 );
    queued( "wait" );
    start();
    const auto worker = workerWith( "wait" );
    const auto made = jobs_.create( "step", "bob" ).value()->id, late = queued( "late" );
    store_.put( "uploads/" + made, "bytes" );
    pass( 3700 );
    await( [&] { return !others_.find( made ).value(); }, "what nobody began stays" );
    await( [&] { return job( late ).state == JobState::Failed; }, "who has waited too long is not told so" );
    await( [&] { return !store_.contains( "uploads/" + made ) && !store_.contains( "uploads/" + late ); },
        "their uploads stay" );
    await( [sweeps = store_.sweeps + 2, this] { return store_.sweeps >= sweeps; }, "nobody looks for what is older" );
    EXPECT_EQ( store_.oldest, 7200 );
    // More lies there than may.
    const auto large = jobs_.create( "step", "bob" ).value()->id;
    ASSERT_EQ( jobs_.admitUpload( "uploads/" + large, 10 ), Admission::Welcome );
    store_.put( "uploads/" + large, "0123456789" );
    store_.most = 5;
    await( [&] { return !store_.contains( "uploads/" + large ); }, "what is too much stays" );
    EXPECT_FALSE( runner_->isDrained() );
    go( worker, "bytes" );
}

TEST_F( RunnersUpkeep, AClockThatLeapsAheadMakesNothingOld )
{
    options_.tidy = std::chrono::milliseconds( 5 );
    queued( "wait" );
    start();
    (void)workerWith( "wait" );
    const auto id = jobs_.create( "step", "bob" ).value()->id;
    const auto tidied = [&]
    { await( [sweeps = store_.sweeps + 2, this] { return store_.sweeps >= sweeps; }, "nobody tidies" ); };
    tidied();
    now_ += 86'400;
    tidied();
    EXPECT_TRUE( others_.find( id ).value() );
    EXPECT_GE( store_.oldest, 7200 + 86'000 ) << "and no object is";
    pass( 3000 );
    tidied();
    EXPECT_TRUE( others_.find( id ).value() ) << "not an hour old";
    pass( 700 );
    await( [&] { return !others_.find( id ).value(); }, "an hour is still an hour" );
    pass( 7200 );
    tidied();
    EXPECT_EQ( store_.oldest, 7200 );
}

TEST_F( RunnersUpkeep, TheEndOfAConversionIsWrittenOnceItCanBe )
{
    options_.worker.limits.time = std::chrono::seconds( 60 );
    Testing::refuseWrites( *othersDatabase_, "UPDATE", "conversions", "new.state > 2" );
    const auto good = queued( "good" ), bad = queued( "bad" );
    start();
    const auto refusals = [this] { return log_.contains( "no room" ); };
    await( refusals, "nothing is tried" );
    EXPECT_EQ( job( good ).state, JobState::Running );
    Testing::allowWrites( *othersDatabase_, "UPDATE", "conversions" );
    EXPECT_EQ( ended( good ).state, JobState::Finished );
    EXPECT_EQ( store_.get( "results/" + good + "/1" ), "good" );
    EXPECT_EQ( ended( bad ).error, "bad file" );
    EXPECT_EQ( job( good ).attempt, 1 );
}

TEST_F( RunnersUpkeep, WhatAFailedConversionLeavesCountsUntilItGoes )
{
    options_.tidy = std::chrono::milliseconds( 5 );
    options_.reserve = 1000;
    const auto bytes = [this]
    {
        return integerOf(
            othersDatabase_->query( "SELECT sum(bytes) FROM conversion_owners WHERE owner = 'ann'" ).value()[0][0] );
    };
    const auto dead = queued( "dead" ), bad = queued( "bad" );
    EXPECT_EQ( jobs_.admitUpload( "uploads/" + dead, 4 ), Admission::Welcome );
    EXPECT_EQ( jobs_.admitUpload( "uploads/" + bad, 3 ), Admission::Welcome );
    start();
    (void)ended( dead );
    (void)ended( bad );
    EXPECT_TRUE( store_.contains( "uploads/" + dead ) );
    EXPECT_EQ( bytes(), 4 ) << "what is kept for another attempt, and nothing else";
    store_.room = 999;
    await( [&] { return bytes() == 0; }, "what has gone still counts" );
    EXPECT_FALSE( store_.contains( "uploads/" + dead ) );
    EXPECT_EQ( job( dead ).error, "The converter could not finish this file" );
}
