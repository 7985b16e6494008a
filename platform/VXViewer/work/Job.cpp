#include <VXViewer/work/Job.h>

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace VX
{
namespace
{

enum class Phase
{
    Running,
    /// Canceled, and nobody was told of the end yet.
    GivenUp,
    Done,
    Failed,
    Canceled
};

thread_local const Job* tJob = nullptr;

} // namespace

struct Job::State
{
    State( std::string name, Ended ended )
        : name( std::move( name ) )
        , ended( std::move( ended ) )
    {
    }

    const std::string name;
    const Clock::time_point begin = Clock::now();
    Ended ended; ///< UI thread
    std::atomic<Phase> phase{ Phase::Running };
    std::atomic<float> fraction{ 0 };
    std::atomic<Clock::rep> lastWake{ 0 };
    std::mutex mutex;
    std::string task;
};

struct Job::Jobs
{
    std::mutex mutex;
    std::condition_variable returned;
    size_t working = 0;
    std::vector<std::shared_ptr<State>> untold; ///< UI thread
    bool ending = false;                        ///< UI thread
};

namespace
{

/// The text of what a job's work has failed with.
tl::expected<void, std::string> guarded( const Job::Work& work, const Job& job )
{
    try
    {
        return work( job );
    }
    catch ( const std::exception& e )
    {
        return tl::unexpected( std::string( *e.what() ? e.what() : "Unknown error" ) );
    }
    catch ( ... )
    {
        return tl::unexpected( std::string( "Unknown error" ) );
    }
}

/// Wakes the interface at most ten times a second, however often a job reports.
void wakeSometimes( std::atomic<Job::Clock::rep>& lastWake )
{
    constexpr auto cInterval = std::chrono::milliseconds( 100 );
    const auto now = Job::Clock::now().time_since_epoch();
    auto last = lastWake.load();
    if ( now - Job::Clock::duration( last ) >= cInterval && lastWake.compare_exchange_strong( last, now.count() ) )
        wake();
}

} // namespace

// Never destroyed: a job that could not be stopped in time outlives the other statics.
Job::Jobs& Job::jobs_()
{
    static auto* sJobs = new Jobs;
    return *sJobs;
}

Job::Job( std::shared_ptr<State> state )
    : state_( std::move( state ) )
{
}

std::optional<Job> Job::start( std::string name, Work work, Ended ended )
{
    auto& all = jobs_();
    if ( all.ending )
        return {};
    Job job( std::make_shared<State>( std::move( name ), std::move( ended ) ) );
    all.untold.push_back( job.state_ );
    {
        const std::lock_guard lock( all.mutex );
        ++all.working;
    }
    std::thread(
        [job, work = std::move( work )]() mutable
        {
            run_( job, std::move( work ) );
            auto& everyone = jobs_();
            const std::lock_guard lock( everyone.mutex );
            --everyone.working;
            everyone.returned.notify_all();
        } )
        .detach();
    wake();
    return job;
}

void Job::run_( const Job& job, Work work )
{
    tJob = &job;
    auto result = guarded( work, job );
    work = nullptr;
    CommandLoop::appendCommand( [state = job.state_, result = std::move( result )] { tell_( state, result ); } );
}

void Job::tell_( const std::shared_ptr<State>& state, tl::expected<void, std::string> result )
{
    // For the second time where `endAll` was first: canceled then, with nobody left to tell.
    std::erase( jobs_().untold, state );
    Outcome outcome;
    auto phase = Phase::Running;
    if ( !state->phase.compare_exchange_strong( phase, result ? Phase::Done : Phase::Failed ) )
    {
        state->phase = Phase::Canceled;
        outcome.end = End::Canceled;
    }
    else if ( !result )
        outcome = { End::Failed, std::move( result.error() ) };
    if ( const auto ended = std::exchange( state->ended, nullptr ) )
        ended( outcome );
}

bool Job::endAll( std::chrono::milliseconds patience )
{
    auto& all = jobs_();
    const auto untold = all.untold;
    for ( const auto& state : untold )
        Job( state ).cancel();
    bool clean = false;
    {
        std::unique_lock lock( all.mutex );
        clean = all.returned.wait_for( lock, patience, [&] { return all.working == 0; } );
    }
    all.ending = true;
    for ( const auto& state : untold )
        tell_( state, {} );
    all.ending = false;
    return clean;
}

const Job* Job::current()
{
    return tJob;
}

bool Job::setProgress( float fraction ) const
{
    state_->fraction = fraction;
    wakeSometimes( state_->lastWake );
    return !isCanceled();
}

ProgressCallback Job::progress() const
{
    return [job = *this]( float fraction ) { return job.setProgress( fraction ); };
}

void Job::setTask( std::string task ) const
{
    {
        const std::lock_guard lock( state_->mutex );
        if ( state_->task == task )
            return;
        state_->task = std::move( task );
    }
    wake();
}

void Job::cancel() const
{
    auto phase = Phase::Running;
    if ( state_->phase.compare_exchange_strong( phase, Phase::GivenUp ) )
        wake();
}

bool Job::isCanceled() const
{
    const auto phase = state_->phase.load();
    return phase == Phase::GivenUp || phase == Phase::Canceled;
}

bool Job::isRunning() const
{
    return state_->phase == Phase::Running;
}

std::optional<Job::End> Job::end() const
{
    switch ( state_->phase.load() )
    {
    case Phase::Done:
        return End::Done;
    case Phase::Failed:
        return End::Failed;
    case Phase::Canceled:
        return End::Canceled;
    default:
        return {};
    }
}

const std::string& Job::name() const
{
    return state_->name;
}

std::string Job::task() const
{
    const std::lock_guard lock( state_->mutex );
    return state_->task;
}

float Job::fraction() const
{
    return state_->fraction;
}

Job::Clock::duration Job::elapsed() const
{
    return Clock::now() - state_->begin;
}

} // namespace VX
