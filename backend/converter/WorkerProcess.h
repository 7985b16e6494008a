#pragma once

#include <VXMesh/system/ChildProcess.h>

#include <tl/expected.hpp>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VX::Backend
{

/// What one conversion may use.
struct WorkerLimits
{
    uint64_t memory = uint64_t( 8 ) << 30;     ///< bytes of address space
    uint64_t outputSize = uint64_t( 2 ) << 30; ///< bytes of any file it writes, the unpacked input included
    std::chrono::seconds time{ 600 };          ///< from the start of the job
};

/// The last words of a worker.
struct WorkerReport
{
    enum class End
    {
        Done,
        Failed, ///< for the reason of `error`
        Silent, ///< it ended without a word
        Stopped ///< it is out of time, or was to stop
    };
    End end = End::Silent;
    std::string error;
};

/// A process of its own that converts one file and ends. It is started ahead of its job, with Open CASCADE loaded, so
/// that a job does not wait for that.
///
/// It runs in its own folder with limits, without new privileges, behind a system-call filter, and in namespaces
/// without network or other files where bubblewrap works: a hostile file kills it and nothing else.
class WorkerProcess
{
public:
    /// Starts a worker in a fresh folder below `root`. It is this very program, unless the beginning of another command
    /// line is given.
    [[nodiscard]] static tl::expected<std::unique_ptr<WorkerProcess>, std::string> start(
        const std::filesystem::path& root, const WorkerLimits& limits, std::vector<std::string> program = {} );
    /// Kills it when it still runs, and removes its folder.
    ~WorkerProcess();
    WorkerProcess( const WorkerProcess& ) = delete;
    WorkerProcess& operator=( const WorkerProcess& ) = delete;

    /// Where its input archive has to be put before `convert`.
    [[nodiscard]] std::filesystem::path inputFile() const { return folder_ / "input.zip"; }
    /// The same for an input that is not packed.
    [[nodiscard]] std::filesystem::path plainInputFile() const { return folder_ / "input.step"; }
    [[nodiscard]] std::filesystem::path resultFile() const { return folder_ / "result.vxu"; }
    [[nodiscard]] bool isAlive() const;

    /// Gets the part that is done, 0 to 1, on the calling thread; never less than before.
    using Progress = std::function<void( float )>;

    /// Converts and blocks until the result is there; the error is a text for the user. A worker that is out of time is
    /// killed, and so is one when `stop` becomes true.
    [[nodiscard]] tl::expected<void, std::string> convert(
        const std::atomic<bool>& stop, const Progress& progress = {} );

private:
    WorkerProcess() = default;
    [[nodiscard]] WorkerReport report_( const std::atomic<bool>& stop, const Progress& progress ) const;

    std::filesystem::path folder_;
    WorkerLimits limits_;
    std::optional<ChildProcess> process_;
};

/// The command line that runs a program as a worker is run: where bubblewrap can be used it sees the system's libraries
/// read-only, the back end's own folder, and `folder` as /job; no network, no other process and no one's files.
[[nodiscard]] std::vector<std::string> workerCommand(
    const std::filesystem::path& folder, const std::vector<std::string>& program );

/// Whether bubblewrap can be used here; tried once.
[[nodiscard]] bool hasBubblewrap();

} // namespace VX::Backend
