#pragma once

#include <VXMesh/io/Progress.h>
#include <VXViewer/Export.h>

#include <tl/expected.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace VX
{

/// A handle of long work on a thread of its own: how far it is, a way to give it up, and its one end.
///
///     const auto job = Job::start( "Counting", []( const Job& job ) { return count( job.progress() ); },
///         []( const Job::Outcome& outcome ) { show( outcome.end ); } );
///
/// A job ends done, failed or canceled, and tells whoever started it once, on the UI thread: in the command loop, when
/// the work has returned and what it held has gone, or within `endAll`. One that was canceled before that ends
/// canceled, whatever its work returns. Handles are copies of one another and keep nothing going: when all of them are
/// dropped, the job goes on and tells its end as before. Any thread may use a handle, also when the job has ended;
/// starting and `endAll` are for the UI thread.
class VXVIEWER_API Job
{
public:
    using Clock = std::chrono::steady_clock;

    enum class End
    {
        Done,
        Failed,
        Canceled
    };
    struct Outcome
    {
        End end = End::Done;
        /// Of a failed job, for the user.
        std::string error;
    };
    /// Runs on the job's thread; the error ends it as failed. What it throws is an error too.
    using Work = std::function<tl::expected<void, std::string>( const Job& job )>;
    /// Runs on the UI thread; may be empty.
    using Ended = std::function<void( const Outcome& outcome )>;

    /// Nothing, and nobody is told of an end, while `endAll` ends the others.
    [[nodiscard]] static std::optional<Job> start( std::string name, Work work, Ended ended = {} );

    /// Cancels all jobs, waits at most `patience` for their work to return, and tells each that has not told it yet its
    /// end, even if its work goes on. False when some does.
    static bool endAll( std::chrono::milliseconds patience );

    /// The job whose thread this is, or null.
    [[nodiscard]] static const Job* current();

    /// Takes the fraction 0..1 that is done, and tells whether to go on.
    bool setProgress( float fraction ) const;
    /// `setProgress` of this job, for work of it on any thread.
    [[nodiscard]] ProgressCallback progress() const;
    /// What is done now, as a line for the user; empty for nothing in particular.
    void setTask( std::string task ) const;

    /// Asks the work to stop; nothing once the end was told.
    void cancel() const;
    [[nodiscard]] bool isCanceled() const;
    /// Whether it is neither canceled nor ended.
    [[nodiscard]] bool isRunning() const;
    /// Nothing until its starter is told.
    [[nodiscard]] std::optional<End> end() const;

    [[nodiscard]] const std::string& name() const;
    [[nodiscard]] std::string task() const;
    [[nodiscard]] float fraction() const;
    /// Since it was started.
    [[nodiscard]] Clock::duration elapsed() const;

private:
    struct State;
    struct Jobs;

    explicit Job( std::shared_ptr<State> state );
    [[nodiscard]] static Jobs& jobs_();
    static void run_( const Job& job, Work work );
    static void tell_( const std::shared_ptr<State>& state, tl::expected<void, std::string> result );

    std::shared_ptr<State> state_;
};

} // namespace VX
