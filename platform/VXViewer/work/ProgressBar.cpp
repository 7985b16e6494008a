#include <VXViewer/work/ProgressBar.h>

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace VX
{
namespace
{

using Clock = std::chrono::steady_clock;

/// What the UI thread and a job's thread share.
struct Job
{
    std::string name;
    Clock::time_point start = Clock::now();
    std::atomic<float> fraction{ 0 };
    std::atomic<bool> canceled{ false };
    std::atomic<Clock::rep> lastWake{ 0 };
    std::mutex mutex;
    std::string task;
};

struct Jobs
{
    std::mutex mutex;
    std::condition_variable ended;
    size_t running = 0;
    std::shared_ptr<Job> shown; // UI thread only
};

// Never destroyed: a job that could not be stopped in time outlives the other statics.
Jobs& jobs()
{
    static auto* sJobs = new Jobs;
    return *sJobs;
}

thread_local std::shared_ptr<Job> tJob;

/// Runs on the UI thread when a job has ended.
void finish( const std::shared_ptr<Job>& job, const ProgressBar::PostProcessing& post, const std::string& error )
{
    // Only a canceled job is not the one that is shown.
    if ( job->canceled )
        return;
    jobs().shown.reset();
    if ( !error.empty() )
        ProgressBar::failedSignal()( error );
    else if ( post )
        post();
    ProgressBar::endedSignal()( Clock::now() - job->start );
}

void runJob( const std::shared_ptr<Job>& job, const std::function<ProgressBar::PostProcessing()>& work )
{
    ProgressBar::PostProcessing post;
    std::string error;
    tJob = job;
    try
    {
        post = work();
    }
    catch ( const std::exception& e )
    {
        error = *e.what() ? e.what() : "Unknown error";
    }
    catch ( ... )
    {
        error = "Unknown error";
    }
    tJob.reset();
    CommandLoop::appendCommand(
        [job, post = std::move( post ), error = std::move( error )] { finish( job, post, error ); } );
}

/// Wakes the interface at most ten times a second, however often a job reports.
void wakeSometimes( Job& job )
{
    constexpr auto cInterval = std::chrono::milliseconds( 100 );
    const auto now = Clock::now().time_since_epoch();
    auto last = job.lastWake.load();
    if ( now - Clock::duration( last ) >= cInterval && job.lastWake.compare_exchange_strong( last, now.count() ) )
        wake();
}

bool report( Job& job, float fraction )
{
    job.fraction = fraction;
    wakeSometimes( job );
    return !job.canceled;
}

void setTask( std::string name )
{
    if ( !tJob )
        return;
    {
        const std::lock_guard lock( tJob->mutex );
        tJob->task = std::move( name );
    }
    wake();
}

} // namespace

bool ProgressBar::orderWithMainThreadPostProcessing( std::string name, std::function<PostProcessing()> job )
{
    auto& all = jobs();
    if ( all.shown )
        return false;
    all.shown = std::make_shared<Job>();
    all.shown->name = std::move( name );
    {
        const std::lock_guard lock( all.mutex );
        ++all.running;
    }
    std::thread(
        [state = all.shown, job = std::move( job )]() mutable
        {
            runJob( state, job );
            job = nullptr;
            state.reset();
            auto& everyone = jobs();
            const std::lock_guard lock( everyone.mutex );
            --everyone.running;
            everyone.ended.notify_all();
        } )
        .detach();
    wake();
    return true;
}

bool ProgressBar::order( std::string name, std::function<void()> job )
{
    return orderWithMainThreadPostProcessing( std::move( name ),
        [job = std::move( job )]() -> PostProcessing
        {
            job();
            return {};
        } );
}

Signal<void( const std::string& )>& ProgressBar::failedSignal()
{
    static auto* sSignal = new Signal<void( const std::string& )>;
    return *sSignal;
}

Signal<void( Clock::duration )>& ProgressBar::endedSignal()
{
    static auto* sSignal = new Signal<void( Clock::duration )>;
    return *sSignal;
}

bool ProgressBar::isOrdered()
{
    return bool( jobs().shown );
}

bool ProgressBar::setProgress( float fraction )
{
    return !tJob || report( *tJob, fraction );
}

ProgressCallback ProgressBar::jobProgress()
{
    if ( !tJob )
        return {};
    return [job = tJob]( float fraction ) { return report( *job, fraction ); };
}

bool ProgressBar::isCanceled()
{
    return tJob && tJob->canceled;
}

void ProgressBar::forceSetTaskName( std::string name )
{
    setTask( std::move( name ) );
}

void ProgressBar::resetTaskName()
{
    setTask( {} );
}

void ProgressBar::cancel()
{
    if ( auto job = std::exchange( jobs().shown, nullptr ) )
        job->canceled = true;
}

std::optional<ProgressBar::State> ProgressBar::state()
{
    const auto& job = jobs().shown;
    if ( !job )
        return {};
    const std::lock_guard lock( job->mutex );
    return State{ job->name, job->task, job->fraction, Clock::now() - job->start };
}

void ProgressBar::update()
{
    // The elapsed time ticks even when the job has nothing to report.
    if ( jobs().shown )
        redrawIn( 0.25 );
}

bool ProgressBar::shutdown( std::chrono::milliseconds patience )
{
    cancel();
    auto& all = jobs();
    std::unique_lock lock( all.mutex );
    return all.ended.wait_for( lock, patience, [&] { return all.running == 0; } );
}

} // namespace VX
