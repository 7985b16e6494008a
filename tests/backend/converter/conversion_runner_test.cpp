#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/service/MemoryStore.h"
#include "support/service/OpenDatabase.h"

#include "converter/Bubblewrap.h"
#include "converter/ConversionRunner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <set>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// Does what its upload says.
const std::string cWorker = R"(cd "$0" && read -r go || exit 0
done='{"done":true}'
case $(cat input.zip) in
wait) while [ ! -e go ]; do sleep 0.01; done; cp go result.vxu; echo "$done" ;;
silent) exec sleep 1000 ;;
byte) printf x; exec sleep 1000 ;;
closed) exec >&-; exec sleep 1000 ;;
left) sleep 1000 & exit 0 ;;
deaf) trap '' TERM INT HUP; exec sleep 1000 ;;
dead) exit 3 ;;
bad) echo '{"error":"bad file"}'; exit 1 ;;
empty) echo "$done" ;;
loud) printf '{"error":"\\u001b[2J\\nred\\u0007\\u202e%03000d"}\n' 0 ;;
endless) printf '{"error":"%010000d\\u001b[2J"}\n' 0 ;;
*) cp input.zip result.vxu; echo "$done" ;;
esac)";

/// A runner whose workers do as they are told, beside another process that shares its database.
class Runner : public testing::Test
{
protected:
    Runner()
    {
        options_.slots = 1;
        options_.beat = std::chrono::milliseconds( 10 );
        options_.look = std::chrono::milliseconds( 10 );
        options_.retry = std::chrono::milliseconds( 10 );
        options_.worker.limits.time = std::chrono::seconds( 60 );
        options_.worker.program = { "/usr/bin/sh", "-c", cWorker };
        options_.worker.inBubblewrap = canUseBubblewrap();
    }
    void start()
    {
        runner_ = std::make_unique<ConversionRunner>(
            jobs_, store_, WorkFolder::make( work_, jobs_.instance() ).value(), options_ );
    }
    std::string queued( const std::string& upload )
    {
        const auto id = jobs_.create( "step", "ann" ).value()->id;
        store_.put( "uploads/" + id, upload );
        EXPECT_TRUE( jobs_.queue( id ).value() );
        return id;
    }
    ConversionJob job( const std::string& id ) { return others_.find( id ).value().value(); }
    template <typename Condition>
    static void await( const Condition& condition, const char* what )
    {
        for ( const Testing::Patience patience; !condition(); patience.check( what ) )
            std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
    }
    ConversionJob ended( const std::string& id )
    {
        await( [&] { return job( id ).state >= JobState::Finished; }, "the job does not end" );
        // What belongs to its end is done before the next one is taken.
        return job( id );
    }
    /// Where the worker that has an upload lives.
    std::filesystem::path workerWith( const std::string& upload )
    {
        std::filesystem::path out;
        const auto found = [&]
        {
            std::error_code ec;
            for ( const auto& entry : std::filesystem::directory_iterator( work_ / jobs_.instance(), ec ) )
                if ( std::filesystem::exists( entry.path() / "input.zip", ec ) &&
                     Testing::readFile( entry.path() / "input.zip" ) == upload )
                    out = entry.path();
            return !out.empty();
        };
        await( found, "no worker gets the upload" );
        return out;
    }
    static void go( const std::filesystem::path& worker, const std::string& result )
    {
        std::ofstream( worker / "going" ) << result;
        std::filesystem::rename( worker / "going", worker / "go" );
    }
    /// Another process takes what runs here for dead, and takes the job itself.
    ConversionJob takenAway()
    {
        EXPECT_TRUE( others_.recover( { jobs_.instance() } ).value().empty() );
        return others_.take().value().value();
    }
    int64_t deathsOf( const std::string& id )
    {
        return integerOf( database_->query( "SELECT deaths FROM conversions WHERE id = ?", { id } ).value()[0][0] );
    }
    ConversionJobs::Clock clock()
    {
        return [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_ ) ); };
    }

    Testing::ScratchFolder folder_;
    std::filesystem::path work_ = folder_.path() / "work";
    std::atomic<int64_t> now_{ 1'000'000 };
    std::unique_ptr<Database> database_ = Testing::openDatabase( folder_.path() / "db" );
    std::unique_ptr<Database> othersDatabase_ = Testing::openDatabase( folder_.path() / "db" );
    ConversionJobs jobs_{ *database_, clock() };
    ConversionJobs others_{ *othersDatabase_, clock() };
    Testing::MemoryStore store_;
    RunnerOptions options_;
    Testing::LogCapture log_;
    std::unique_ptr<ConversionRunner> runner_;
};

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
