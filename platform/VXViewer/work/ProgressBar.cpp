#include <VXViewer/work/ProgressBar.h>

#include <VXViewer/loop/Wake.h>

#include <memory>
#include <utility>

namespace VX
{
namespace
{

// UI thread. Never destroyed: jobs end when the other statics have gone.
std::optional<Job>& lastShown()
{
    static auto* sJob = new std::optional<Job>;
    return *sJob;
}

const Job* shown()
{
    const auto& job = lastShown();
    return job && job->isRunning() ? &*job : nullptr;
}

} // namespace

std::optional<Job> ProgressBar::start( std::string name, Job::Work work, Job::Ended ended )
{
    if ( shown() )
        return {};
    auto tell = [begin = Job::Clock::now(), ended = std::move( ended )]( const Job::Outcome& outcome )
    {
        if ( ended )
            ended( outcome );
        if ( outcome.end != Job::End::Canceled )
            endedSignal()( Job::Clock::now() - begin );
    };
    auto job = Job::start( std::move( name ), std::move( work ), std::move( tell ) );
    if ( job )
        lastShown() = job;
    return job;
}

bool ProgressBar::orderWithMainThreadPostProcessing( std::string name, std::function<PostProcessing()> job )
{
    const auto post = std::make_shared<PostProcessing>();
    auto work = [post, job = std::move( job )]( const Job& ) -> tl::expected<void, std::string>
    {
        *post = job();
        return {};
    };
    auto ended = [post]( const Job::Outcome& outcome )
    {
        if ( outcome.end == Job::End::Failed )
            failedSignal()( outcome.error );
        else if ( outcome.end == Job::End::Done && *post )
            ( *post )();
    };
    return start( std::move( name ), std::move( work ), std::move( ended ) ).has_value();
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

Signal<void( Job::Clock::duration )>& ProgressBar::endedSignal()
{
    static auto* sSignal = new Signal<void( Job::Clock::duration )>;
    return *sSignal;
}

bool ProgressBar::isOrdered()
{
    return shown() != nullptr;
}

bool ProgressBar::setProgress( float fraction )
{
    const auto* job = Job::current();
    return !job || job->setProgress( fraction );
}

ProgressCallback ProgressBar::jobProgress()
{
    const auto* job = Job::current();
    return job ? job->progress() : ProgressCallback();
}

bool ProgressBar::isCanceled()
{
    const auto* job = Job::current();
    return job && job->isCanceled();
}

void ProgressBar::forceSetTaskName( std::string name )
{
    if ( const auto* job = Job::current() )
        job->setTask( std::move( name ) );
}

void ProgressBar::resetTaskName()
{
    forceSetTaskName( {} );
}

void ProgressBar::cancel()
{
    if ( const auto* job = shown() )
        job->cancel();
}

std::optional<ProgressBar::State> ProgressBar::state()
{
    const auto* job = shown();
    if ( !job )
        return {};
    return State{ job->name(), job->task(), job->fraction(), job->elapsed() };
}

void ProgressBar::update()
{
    // The elapsed time ticks even when the job has nothing to report.
    if ( shown() )
        redrawIn( 0.25 );
}

bool ProgressBar::shutdown( std::chrono::milliseconds patience )
{
    return Job::endAll( patience );
}

} // namespace VX
