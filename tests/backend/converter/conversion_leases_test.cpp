#include "support/ScratchFolder.h"
#include "support/service/OpenDatabase.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// One of several processes that share a database.
struct Process
{
    std::unique_ptr<Database> database;
    ConversionJobs jobs;

    [[nodiscard]] ConversionJob taken() { return jobs.take().value().value(); }
};

class ConversionLeases : public testing::Test
{
protected:
    [[nodiscard]] Process process()
    {
        auto database = Testing::openDatabase( folder_.path() / "db" );
        auto& shared = *database;
        return { std::move( database ),
            ConversionJobs( shared, [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_ ) ); } ) };
    }
    std::string queued()
    {
        const auto id = a_.jobs.create( "step", "ann" ).value()->id;
        EXPECT_TRUE( a_.jobs.queue( id ).value() );
        return id;
    }
    /// Time in which a process looks for work, as runners do; what has failed meanwhile.
    std::vector<ConversionJob> pass( int seconds, Process& looking )
    {
        std::vector<ConversionJob> out;
        for ( int i = 0; i < seconds; ++i )
        {
            ++now_;
            const auto failed = looking.jobs.reap().value();
            out.insert( out.end(), failed.begin(), failed.end() );
        }
        return out;
    }
    JobState stateOf( const std::string& id ) { return a_.jobs.find( id ).value()->state; }
    int64_t deathsOf( const std::string& id )
    {
        return integerOf( a_.database->query( "SELECT deaths FROM conversions WHERE id = ?", { id } ).value()[0][0] );
    }
    std::vector<SqlRow> row( const std::string& id )
    {
        return a_.database->query( "SELECT * FROM conversions WHERE id = ?", { id } ).value();
    }

    Testing::ScratchFolder folder_;
    std::atomic<int64_t> now_{ 1'000'000 };
    Process a_ = process();
    Process b_ = process();
};

constexpr int cLease = int( ConversionJobs::cLease.count() );
const std::string cCutOff =
    "The conversion service broke down three times during this conversion; the file may be too large";

} // namespace

TEST_F( ConversionLeases, OnlyTheAttemptThatHasAJobChangesIt )
{
    struct Case
    {
        const char* name;
        std::function<void( const ConversionJob& )> before;
        bool holds;
    };
    const auto reaped = [&]( const ConversionJob& ) { (void)pass( 2 * cLease + 2, b_ ); };
    const std::vector<Case> cases = {
        { "held", []( const ConversionJob& ) {}, true },
        { "late, and nobody has noticed", [&]( const ConversionJob& ) { now_ += 3 * cLease; }, true },
        { "queued again", reaped, false },
        { "another's",
            [&]( const ConversionJob& job )
            {
                reaped( job );
                ASSERT_EQ( b_.taken().id, job.id );
            },
            false },
        { "another's of the same process",
            [&]( const ConversionJob& job )
            {
                reaped( job );
                ASSERT_EQ( a_.taken().id, job.id );
            },
            false },
        { "given back", [&]( const ConversionJob& job ) { ASSERT_TRUE( a_.jobs.giveBack( job ).value() ); }, false },
        { "removed", [&]( const ConversionJob& ) { ASSERT_TRUE( a_.database->execute( "DELETE FROM conversions" ) ); },
            false },
    };
    const std::vector<std::pair<const char*, std::function<bool( const ConversionJob& )>>> acts = {
        { "finish", [&]( const ConversionJob& job ) { return a_.jobs.finish( job, 5 ).value(); } },
        { "fail", [&]( const ConversionJob& job ) { return a_.jobs.fail( job, "no solids" ).value(); } },
        { "give back", [&]( const ConversionJob& job ) { return a_.jobs.giveBack( job ).value(); } },
        { "beat",
            [&]( const ConversionJob& job )
            {
                ++now_;
                return a_.jobs.beat( { job } ).value().empty();
            } },
    };
    for ( const auto& [name, before, holds] : cases )
        for ( const auto& [act, does] : acts )
        {
            ASSERT_TRUE( a_.database->execute( "DELETE FROM conversions" ) );
            const auto id = queued();
            const auto job = a_.taken();
            before( job );
            const auto was = row( id );
            EXPECT_EQ( does( job ), holds ) << name << ": " << act;
            EXPECT_EQ( row( id ) == was, !holds ) << name << ": " << act;
        }
}

TEST_F( ConversionLeases, AnEndThatWasWrittenStaysThatAttempts )
{
    const auto id = queued();
    const auto job = a_.taken();
    ASSERT_TRUE( a_.jobs.finish( job, 5 ).value() );
    EXPECT_TRUE( a_.jobs.finish( job, 5 ).value() ) << "the answer to the first call may have been lost";
    EXPECT_FALSE( a_.jobs.fail( job, "no solids" ).value() );
    EXPECT_EQ( stateOf( id ), JobState::Finished );
    EXPECT_EQ( a_.jobs.find( id ).value()->resultKey(), "results/" + id + "/1" );
}

TEST_F( ConversionLeases, AJobIsQueuedAgainWhenItsLeaseIsOverAndNotBefore )
{
    const auto id = queued();
    (void)pass( cLease + 1, b_ );
    const auto job = a_.taken();
    (void)pass( cLease, b_ );
    EXPECT_EQ( stateOf( id ), JobState::Running );
    EXPECT_TRUE( a_.jobs.beat( { job } ).value().empty() );
    (void)pass( cLease, b_ );
    EXPECT_EQ( stateOf( id ), JobState::Running ) << "a beat is another lease";
    (void)pass( 1, b_ );
    EXPECT_EQ( stateOf( id ), JobState::Queued );
    EXPECT_EQ( b_.taken().attempt, 2 );
}

TEST_F( ConversionLeases, WhoWakesTooLateHearsItAndOverwritesNothing )
{
    const auto id = queued();
    const auto slow = a_.taken();
    (void)pass( 2 * cLease + 2, b_ );
    const auto quick = b_.taken();
    ASSERT_EQ( quick.id, id );
    const auto lost = a_.jobs.beat( { slow } ).value();
    ASSERT_EQ( lost.size(), 1u );
    EXPECT_EQ( lost[0].attempt, slow.attempt );
    EXPECT_FALSE( a_.jobs.finish( slow, 1 ).value() );
    EXPECT_TRUE( b_.jobs.beat( { quick } ).value().empty() ) << "the other one's lease is its own";
    EXPECT_TRUE( b_.jobs.finish( quick, 2 ).value() );
    EXPECT_FALSE( a_.jobs.fail( slow, "cut off" ).value() );
    EXPECT_FALSE( a_.jobs.finish( slow, 1 ).value() ) << "the end is the other one's";
    EXPECT_EQ( stateOf( id ), JobState::Finished );
    EXPECT_EQ( a_.jobs.find( id ).value()->resultKey(), quick.resultKey() );
    EXPECT_NE( quick.resultKey(), slow.resultKey() );
}

TEST_F( ConversionLeases, TheThirdDeathIsTheEnd )
{
    const auto id = queued();
    ASSERT_EQ( a_.jobs.admitUpload( "uploads/" + id, 7 ), Admission::Welcome );
    const auto bytes = [&]
    { return integerOf( a_.database->query( "SELECT bytes FROM conversion_owners" ).value()[0][0] ); };
    for ( int death = 1; death <= 2; ++death )
    {
        (void)a_.taken();
        EXPECT_TRUE( pass( 2 * cLease + 2, b_ ).empty() );
        ASSERT_EQ( stateOf( id ), JobState::Queued ) << death;
        EXPECT_EQ( bytes(), 7 );
    }
    (void)a_.taken();
    const auto failed = pass( 2 * cLease + 2, b_ );
    ASSERT_EQ( failed.size(), 1u );
    EXPECT_EQ( failed[0].id, id );
    EXPECT_EQ( stateOf( id ), JobState::Failed );
    EXPECT_EQ( a_.jobs.find( id ).value()->error, cCutOff );
    EXPECT_FALSE( b_.jobs.take().value() );
    EXPECT_EQ( bytes(), 7 ) << "its upload stays, for an operator who tries it again";
    now_ += 3580;
    EXPECT_TRUE( a_.jobs.expire( std::chrono::hours( 1 ) ).value().empty() ) << "it is kept for its hour";
    now_ += 30;
    EXPECT_EQ( a_.jobs.expire( std::chrono::hours( 1 ) ).value().size(), 1u );
}

TEST_F( ConversionLeases, WhatIsHandedBackIsNoDeath )
{
    const auto id = queued();
    for ( int stop = 0; stop < 5; ++stop )
        ASSERT_TRUE( a_.jobs.giveBack( a_.taken() ).value() );
    EXPECT_EQ( deathsOf( id ), 0 );
    const auto job = a_.taken();
    EXPECT_EQ( job.attempt, 6 );
    ASSERT_TRUE( b_.jobs.recover( { a_.jobs.instance() } ).value().empty() );
    EXPECT_EQ( stateOf( id ), JobState::Queued );
    EXPECT_EQ( deathsOf( id ), 1 );
}

TEST_F( ConversionLeases, WhatTheDeadHadIsQueuedAtOnceAndNobodyElses )
{
    const auto first = queued(), second = queued();
    ASSERT_EQ( a_.taken().id, first );
    const auto living = b_.taken();
    Process after = process();
    ASSERT_TRUE( after.jobs.recover( { "nobody", a_.jobs.instance() } ).value().empty() );
    EXPECT_EQ( stateOf( first ), JobState::Queued );
    EXPECT_EQ( stateOf( second ), JobState::Running );
    EXPECT_TRUE( b_.jobs.finish( living ).value() );
    for ( int death = 2; death <= 3; ++death )
    {
        ASSERT_EQ( a_.taken().id, first );
        EXPECT_EQ( after.jobs.recover( { a_.jobs.instance() } ).value().size(), death == 3 ? 1u : 0u );
    }
    EXPECT_EQ( a_.jobs.find( first ).value()->error, cCutOff );
}

TEST_F( ConversionLeases, NobodysLeaseIsOverForALeaseAfterTheDatabaseWasAway )
{
    const auto id = queued();
    (void)pass( 2 * cLease, b_ );
    (void)a_.taken();
    (void)pass( cLease, b_ );
    ASSERT_TRUE( a_.database->execute( "ALTER TABLE conversions RENAME TO away" ) );
    ++now_;
    EXPECT_FALSE( b_.jobs.reap() );
    ASSERT_TRUE( a_.database->execute( "ALTER TABLE away RENAME TO conversions" ) );
    (void)pass( cLease + 1, b_ );
    EXPECT_EQ( stateOf( id ), JobState::Running );
    (void)pass( 1, b_ );
    EXPECT_EQ( stateOf( id ), JobState::Queued );
}

TEST_F( ConversionLeases, WhoHasSleptTakesNobodysJob )
{
    const auto id = queued();
    (void)pass( 2 * cLease, a_ );
    const auto job = a_.taken();
    // The machine sleeps, and all leases are over when it wakes.
    now_ += 3600;
    EXPECT_TRUE( a_.jobs.reap().value().empty() );
    EXPECT_EQ( stateOf( id ), JobState::Running );
    EXPECT_TRUE( a_.jobs.beat( { job } ).value().empty() );
    (void)pass( cLease, a_ );
    EXPECT_EQ( stateOf( id ), JobState::Running );
    EXPECT_EQ( deathsOf( id ), 0 );
}

TEST_F( ConversionLeases, WhoHasJustComeTakesNobodysJob )
{
    const auto id = queued();
    (void)a_.taken();
    now_ += 3600;
    Process fresh = process();
    EXPECT_TRUE( fresh.jobs.reap().value().empty() );
    (void)pass( cLease, fresh );
    EXPECT_EQ( stateOf( id ), JobState::Running );
    (void)pass( 1, fresh );
    EXPECT_EQ( stateOf( id ), JobState::Queued );
}

TEST_F( ConversionLeases, ManyTakersOfTwoProcessesNeverGetTheSameJob )
{
    for ( int i = 0; i < 60; ++i )
        (void)queued();
    std::mutex mutex;
    std::multiset<std::string> ids;
    std::vector<std::thread> threads;
    for ( int t = 0; t < 8; ++t )
        threads.emplace_back(
            [&, &jobs = t % 2 ? a_.jobs : b_.jobs]
            {
                while ( const auto job = jobs.take().value() )
                {
                    const std::lock_guard lock( mutex );
                    ids.insert( job->id );
                }
            } );
    for ( auto& thread : threads )
        thread.join();
    EXPECT_EQ( ids.size(), 60u );
    EXPECT_EQ( std::set( ids.begin(), ids.end() ).size(), 60u );
}

TEST_F( ConversionLeases, OneJobIsReapedAndTakenByOneOfMany )
{
    for ( int round = 0; round < 5; ++round )
    {
        ASSERT_TRUE( a_.database->execute( "DELETE FROM conversions" ) );
        const auto id = queued();
        const auto look = [&]
        {
            ++now_;
            EXPECT_TRUE( a_.jobs.reap().value().empty() && b_.jobs.reap().value().empty() );
        };
        for ( int i = 0; i < cLease; ++i )
            look();
        (void)a_.taken();
        for ( int i = 0; i < cLease; ++i )
            look();
        ++now_;
        std::atomic<int> takers{ 0 };
        std::vector<std::thread> threads;
        for ( int t = 0; t < 8; ++t )
            threads.emplace_back(
                [&, &jobs = t % 2 ? a_.jobs : b_.jobs]
                {
                    (void)jobs.reap().value();
                    takers += jobs.take().value().has_value();
                } );
        for ( auto& thread : threads )
            thread.join();
        EXPECT_EQ( takers, 1 );
        EXPECT_EQ( deathsOf( id ), 1 );
    }
}

TEST_F( ConversionLeases, JobsOfTheVersionBeforeAreTakenOver )
{
    ASSERT_TRUE( executeAll( *a_.database,
        { "DROP TABLE conversions",
            "CREATE TABLE conversions (id TEXT PRIMARY KEY, input_format TEXT NOT NULL, state INTEGER NOT NULL, error "
            "TEXT, attempts INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL, queued INTEGER, owner TEXT NOT NULL "
            "DEFAULT '', bytes INTEGER NOT NULL DEFAULT 0, ended INTEGER)",
            "INSERT INTO conversions VALUES ('waiting', 'step', 1, NULL, 2, 1000000, 1000001, 'ann', 3, NULL)",
            "INSERT INTO conversions VALUES ('running', 'step', 2, NULL, 1, 1000000, 1000000, 'ann', 3, NULL)",
            "INSERT INTO conversions VALUES ('dying', 'step', 2, NULL, 3, 1000000, 1000000, 'ann', 3, NULL)",
            "INSERT INTO conversions VALUES ('done', 'step', 3, NULL, 1, 1000000, 1000000, 'ann', 3, 1000001)" } ) );
    Process after = process();
    EXPECT_EQ( after.jobs.find( "done" ).value()->resultKey(), "results/done" ) << "where it was put";
    const auto failed = after.jobs.recover( { "" } ).value();
    ASSERT_EQ( failed.size(), 1u );
    EXPECT_EQ( failed[0].id, "dying" );
    EXPECT_EQ( deathsOf( "waiting" ), 2 );
    EXPECT_EQ( deathsOf( "running" ), 1 );
    EXPECT_EQ( after.taken().id, "running" );
    const auto waiting = after.taken();
    EXPECT_EQ( waiting.id, "waiting" );
    ASSERT_TRUE( after.jobs.finish( waiting ).value() );
    Process later = process();
    EXPECT_EQ( later.jobs.find( "waiting" ).value()->resultKey(), waiting.resultKey() ) << "and is taken over once";
    EXPECT_EQ( deathsOf( "running" ), 1 );
}
