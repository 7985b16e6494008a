#pragma once

#include <VXMesh/io/Progress.h>
#include <VXViewer/Export.h>
#include <VXViewer/loop/Signal.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace VX
{

/// Long work on a worker thread, under a modal with the work's name, its stage, the fraction done, the time it has
/// taken and a Cancel button.
///
/// One job is shown at a time. A canceled one leaves the screen at once: it runs on until it next reports progress and
/// is told to stop, and its result is dropped. Stage names of a job come from its own thread; its progress may come
/// from any.
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
    /// Runs on the UI thread when the job has ended and was not canceled; may be empty.
    using PostProcessing = std::function<void()>;

    /// Starts a job; UI thread. A text that it throws is shown to the user as an error.
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

    /// A job that was not canceled has failed with this text; UI thread.
    [[nodiscard]] static Signal<void( const std::string& )>& failedSignal();
    /// A job that was not canceled has ended after this time, well or not; UI thread.
    [[nodiscard]] static Signal<void( std::chrono::steady_clock::duration )>& endedSignal();

    /// What the modal shows, or nothing; UI thread.
    struct State
    {
        std::string name;
        std::string task;
        float fraction = 0;
        std::chrono::steady_clock::duration elapsed{};
    };
    [[nodiscard]] static std::optional<State> state();

    /// Takes the end of a finished job to the UI; called once before each frame.
    static void update();

    /// Cancels everything and waits for the jobs to end, at most `patience`; false when one did not.
    static bool shutdown( std::chrono::milliseconds patience );
};

} // namespace VX
