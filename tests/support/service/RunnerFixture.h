#pragma once

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
#include <mutex>
#include <string>
#include <thread>

namespace VX::Testing
{

/// Does what its upload says.
inline const std::string cWorkerScript = R"(cd "$0" && read -r go || exit 0
done='{"done":true}'
case $(cat input.zip) in
wait) while [ ! -e go ]; do sleep 0.01; done; cp go result.vxu; echo "$done" ;;
silent) exec sleep 1000 ;;
byte) printf x; exec sleep 1000 ;;
closed) exec >&-; exec sleep 1000 ;;
left) sleep 1000 & exit 0 ;;
deaf) trap '' TERM INT HUP; exec sleep 1000 ;;
dead) exit 3 ;;
killed) kill -KILL $$ ;;
bad) echo '{"error":"bad file"}'; exit 1 ;;
empty) echo "$done" ;;
loud) printf '{"error":"\\u001b[2J\\nred\\u0007\\u202e%03000d"}\n' 0 ;;
endless) printf '{"error":"%010000d\\u001b[2J"}\n' 0 ;;
*) cp input.zip result.vxu; echo "$done" ;;
esac)";

/// A runner whose workers do as they are told, beside another process that shares its database.
class RunnerFixture : public testing::Test
{
protected:
    RunnerFixture()
    {
        options_.slots = 1;
        options_.beat = std::chrono::milliseconds( 10 );
        options_.look = std::chrono::milliseconds( 10 );
        options_.retry = std::chrono::milliseconds( 10 );
        options_.clock = [this]
        {
            const std::lock_guard lock( clocks_ );
            return Backend::LeapWatch::Moment{
                clock()(), std::chrono::steady_clock::time_point( std::chrono::seconds( steady_ ) ) };
        };
        options_.worker.limits.time = std::chrono::seconds( 60 );
        options_.worker.program = { "/usr/bin/sh", "-c", cWorkerScript };
        options_.worker.inBubblewrap = Backend::canUseBubblewrap();
    }
    void start()
    {
        runner_ = std::make_unique<Backend::ConversionRunner>(
            jobs_, store_, Backend::WorkFolder::make( work_, jobs_.instance() ).value(), options_ );
    }
    std::string queued( const std::string& upload )
    {
        const auto id = jobs_.create( "step", "ann" ).value()->id;
        store_.put( "uploads/" + id, upload );
        EXPECT_TRUE( jobs_.queue( id ).value() );
        return id;
    }
    Backend::ConversionJob job( const std::string& id ) { return others_.find( id ).value().value(); }
    template <typename Condition>
    static void await( const Condition& condition, const char* what )
    {
        for ( const Patience patience; !condition(); patience.check( what ) )
            std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
    }
    Backend::ConversionJob ended( const std::string& id )
    {
        await( [&] { return job( id ).state >= Backend::JobState::Finished; }, "the job does not end" );
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
                     readFile( entry.path() / "input.zip" ) == upload )
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
    Backend::ConversionJob takenAway()
    {
        EXPECT_TRUE( others_.recover( { jobs_.instance() } ).value().empty() );
        return others_.take().value().value();
    }
    int64_t deathsOf( const std::string& id )
    {
        return Backend::integerOf(
            database_->query( "SELECT deaths FROM conversions WHERE id = ?", { id } ).value()[0][0] );
    }
    /// By both clocks.
    void pass( int64_t seconds )
    {
        const std::lock_guard lock( clocks_ );
        now_ += seconds;
        steady_ += seconds;
    }
    Backend::ConversionJobs::Clock clock()
    {
        return [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_ ) ); };
    }

    ScratchFolder folder_;
    std::filesystem::path work_ = folder_.path() / "work";
    std::atomic<int64_t> now_{ 1'000'000 };
    /// Of the clock that does not leap.
    int64_t steady_ = 1000;
    std::mutex clocks_;
    std::unique_ptr<Backend::Database> database_ = openDatabase( folder_.path() / "db" );
    std::unique_ptr<Backend::Database> othersDatabase_ = openDatabase( folder_.path() / "db" );
    Backend::ConversionJobs jobs_{ *database_, clock() };
    Backend::ConversionJobs others_{ *othersDatabase_, clock() };
    MemoryStore store_;
    Backend::RunnerOptions options_;
    LogCapture log_;
    std::unique_ptr<Backend::ConversionRunner> runner_;
};

} // namespace VX::Testing
