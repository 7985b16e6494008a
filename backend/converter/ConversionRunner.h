#pragma once

#include "converter/ConversionJobs.h"
#include "converter/WorkerProcess.h"
#include "storage/ObjectStore.h"

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
    /// Kills what is running; such a job is run again at the next start.
    ~ConversionRunner();
    ConversionRunner( const ConversionRunner& ) = delete;
    ConversionRunner& operator=( const ConversionRunner& ) = delete;

private:
    void runSlot_();
    void run_( const ConversionJob& job, std::unique_ptr<WorkerProcess> worker );
    /// Writes how a job has ended; while that cannot be done it is tried again, for a client waits for it.
    void end_( const ConversionJob& job, const tl::expected<void, std::string>& done );
    void tidy_();
    void removeObjects_( const ConversionJob& job );
    [[nodiscard]] std::unique_ptr<WorkerProcess> freshWorker_();

    ConversionJobs& jobs_;
    ObjectStore& store_;
    RunnerOptions options_;
    std::mutex mutex_;
    std::condition_variable stopped_;
    std::atomic<bool> stopping_{ false };
    std::atomic<int64_t> nextTidying_{ 0 };
    std::vector<std::thread> threads_;
};

} // namespace VX::Backend
