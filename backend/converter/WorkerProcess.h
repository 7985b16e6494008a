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
    uint64_t memory = uint64_t( 8 ) << 30;     ///< bytes of address space of all its processes together
    uint64_t outputSize = uint64_t( 2 ) << 30; ///< bytes of any file it writes, the unpacked input included
    std::chrono::seconds time{ 600 };          ///< from the start of the job
};

/// How many processes may share a conversion on so many cores: none of them gets less than 2 GiB, where all of them
/// have so much memory.
[[nodiscard]] int processesOf( uint64_t memory, unsigned cores );

/// The memory of one of so many conversions at a time that leave the machine a quarter of its own.
[[nodiscard]] uint64_t memoryOfAConversion( int atATime );

struct WorkerSetup
{
    WorkerLimits limits;
    /// Whether it runs in bubblewrap; else the kernel's filters alone hold it.
    bool inBubblewrap = true;
    /// Whether its standard error goes where ours goes.
    bool showsErrors = false;
    /// The beginning of its command line; this very program unless given.
    std::vector<std::string> program;
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
/// without network or other files: a hostile file kills it and nothing else. Where this process is root's, it belongs
/// to a user of its own that nobody else is.
class WorkerProcess
{
public:
    /// Starts a worker in a fresh folder below `root`.
    [[nodiscard]] static tl::expected<std::unique_ptr<WorkerProcess>, std::string> start(
        const std::filesystem::path& root, const WorkerSetup& setup );
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
    /// Whether it was the worker that said, in words of its own, why it has made nothing of its file.
    [[nodiscard]] bool hasJudged() const { return judged_; }

    /// Gets the part that is done, 0 to 1, on the calling thread; never less than before.
    using Progress = std::function<void( float )>;

    /// Whether somebody else has ended it by SIGKILL: a person, or a machine that is short of memory. Of its own limits
    /// and faults a process dies otherwise.
    [[nodiscard]] bool wasKilled() const { return killed_; }

    /// Converts and blocks until the result is there; the error is a text for the user. A worker that is out of time is
    /// killed, and so is one when `stop` becomes true.
    [[nodiscard]] tl::expected<void, std::string> convert(
        const std::atomic<bool>& stop, const Progress& progress = {} );

    /// The same with an input of our own, within a time that is long enough for it on any machine; the worker lives on
    /// and can convert after it, when the input and the result are gone.
    [[nodiscard]] tl::expected<void, std::string> tryOut( std::chrono::seconds time );

private:
    WorkerProcess() = default;
    /// Tells the worker what to do and waits for its end.
    [[nodiscard]] tl::expected<void, std::string> order_(
        char what, std::chrono::seconds time, const std::atomic<bool>& stop, const Progress& progress );
    [[nodiscard]] WorkerReport report_(
        std::chrono::seconds time, const std::atomic<bool>& stop, const Progress& progress ) const;
    /// Makes the folder that is the worker's alone, whoever that is to be.
    [[nodiscard]] bool makeFolder_();
    /// Lets the worker read what was put there for it.
    [[nodiscard]] bool handOverInput_() const;

    std::filesystem::path folder_;
    WorkerLimits limits_;
    bool judged_ = false;
    bool killed_ = false;
    unsigned user_ = 0; ///< whom it becomes; nobody else than us when 0
    std::optional<ChildProcess> process_;
};

} // namespace VX::Backend
