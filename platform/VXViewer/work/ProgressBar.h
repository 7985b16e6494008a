#pragma once

#include <VXMesh/io/Progress.h>
#include <VXViewer/Export.h>
#include <VXViewer/loop/Signal.h>
#include <VXViewer/work/Job.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace VX
{

/// The modal over a job: its name, its stage, the fraction done, the time it has taken and a Cancel button.
///
/// One job is shown at a time. A canceled one leaves the screen at once: it runs on until it next reports progress and
/// is told to stop, and its result is dropped. Who wants to know each of its three ends starts it with `start`.
///
///     #include <memory>
///
///     ProgressBar::orderWithMainThreadPostProcessing( "Adding up",
///         []() -> ProgressBar::PostProcessing
///         {
///             const auto sum = std::make_shared<double>();
///             for ( int i = 0; i < 1000; ++i, *sum += i )
///                 if ( !ProgressBar::setProgress( float( i ) / 1000 ) )
///                     return {};
///             return [sum] { /* on the UI thread, with the sum */ };
///         } );
class VXVIEWER_API ProgressBar
{
public:
    /// As `Job::start`, under the modal; UI thread. Nothing while another job is shown.
    [[nodiscard]] static std::optional<Job> start( std::string name, Job::Work work, Job::Ended ended = {} );

    /// Runs on the UI thread when the job has ended and was not canceled; may be empty.
    using PostProcessing = std::function<void()>;

    /// Starts a job whose end only its result looks at; UI thread. A text that it throws goes to `failedSignal`.
    /// Returns false, and does nothing, while another job is shown.
    static bool orderWithMainThreadPostProcessing( std::string name, std::function<PostProcessing()> job );
    static bool order( std::string name, std::function<void()> job );

    /// Whether a job is shown; UI thread.
    [[nodiscard]] static bool isOrdered();

    /// For the job's thread: reports a fraction 0..1 and tells whether to go on. Elsewhere it does nothing and says
    /// yes.
    static bool setProgress( float fraction );
    /// For the job's thread: the job's own `setProgress`, for work of it that goes on elsewhere. It may be called from
    /// any thread, also when the job has ended. Empty outside of a job.
    [[nodiscard]] static ProgressCallback jobProgress();
    [[nodiscard]] static bool isCanceled();
    /// For the job's thread: the stage shown under the name, until it is reset.
    static void forceSetTaskName( std::string name );
    static void resetTaskName();

    /// Gives the shown job up, as its Cancel button does; UI thread.
    static void cancel();

    /// A job that was ordered has failed with this text; UI thread.
    [[nodiscard]] static Signal<void( const std::string& )>& failedSignal();
    /// A job has ended after this time, done or failed, and its starter knows; UI thread.
    [[nodiscard]] static Signal<void( Job::Clock::duration )>& endedSignal();

    /// What the modal shows, or nothing; UI thread.
    struct State
    {
        std::string name;
        std::string task;
        float fraction = 0;
        Job::Clock::duration elapsed{};
    };
    [[nodiscard]] static std::optional<State> state();

    /// Lets the time that is shown go on; called once before each frame.
    static void update();

    /// As `Job::endAll`.
    static bool shutdown( std::chrono::milliseconds patience );
};

} // namespace VX
