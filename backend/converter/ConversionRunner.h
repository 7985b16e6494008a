#pragma once

#include "converter/ConversionJobs.h"
#include "converter/WorkerProcess.h"
#include "storage/ObjectStore.h"
#include "work/Repeating.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace VX::Backend
{

struct RunnerOptions
{
    /// Folder of the workers' folders; emptied at the start.
    std::filesystem::path folder;
    int slots = 2;
    WorkerLimits limits;
    /// Jobs, uploads and results older than this are removed.
    std::chrono::seconds keep{ 3600 };
};

/// Takes queued conversions and runs each in a worker process, as many at a time as there are slots.
class ConversionRunner
{
public:
    ConversionRunner( ConversionJobs& jobs, ObjectStore& store, RunnerOptions options );
    /// Kills what is running, and queues it again for the next start.
    ~ConversionRunner();
    ConversionRunner( const ConversionRunner& ) = delete;
    ConversionRunner& operator=( const ConversionRunner& ) = delete;

private:
    void runSlot_();
    void run_( const ConversionJob& job, std::unique_ptr<WorkerProcess> worker );
    /// Writes how a job has ended, with the bytes of its result or for what reason; while that cannot be done it is
    /// tried again, for a client waits for it.
    void end_( const ConversionJob& job, const tl::expected<uint64_t, std::string>& done );
    void giveBack_( const ConversionJob& job );
    /// Stores a result. Where there is no room for it, or its owner has a share already, the owner's older jobs go
    /// first: nobody else's do.
    [[nodiscard]] tl::expected<uint64_t, std::string> keepResult_(
        const ConversionJob& job, const std::filesystem::path& file );
    [[nodiscard]] bool fits_( const ConversionJob& job, uint64_t resultBytes );
    void tidy_();
    void removeObjects_( const ConversionJob& job );
    [[nodiscard]] std::unique_ptr<WorkerProcess> freshWorker_();

    ConversionJobs& jobs_;
    ObjectStore& store_;
    RunnerOptions options_;
    std::mutex mutex_;
    std::condition_variable stopped_;
    std::atomic<bool> stopping_{ false };
    std::vector<std::thread> threads_;
    /// By a clock of its own: slots may be busy for long.
    std::unique_ptr<Repeating> tidying_;
};

} // namespace VX::Backend
