#pragma once

#include "clock/LeapWatch.h"
#include "converter/ConversionJobs.h"
#include "converter/WorkFolder.h"
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
    int slots = 2;
    WorkerSetup worker;
    /// Jobs, uploads and results older than this are removed.
    std::chrono::seconds keep{ 3600 };
    /// How often the leases of what runs are extended.
    std::chrono::milliseconds beat{ 3000 };
    /// How often it is looked whether what runs was taken away.
    std::chrono::milliseconds look{ 500 };
    /// How often a store that is away is tried again.
    std::chrono::milliseconds retry{ 1000 };
    /// How often what is over is removed.
    std::chrono::milliseconds tidy = std::chrono::minutes( 1 );
    /// That by which it is over, beside one that never leaps.
    LeapWatch::Clock clock = &LeapWatch::systemMoment;
    /// Bytes for which the store is to have room besides what failed conversions leave in it.
    uint64_t reserve = 0;
};

/// Takes queued conversions and runs each in a worker process, as many at a time as there are slots.
///
/// An attempt whose lease is lost changes nothing any more: it is stopped, and its result is dropped.
class ConversionRunner
{
public:
    /// What earlier instances of the folder were running is queued again at once.
    /// One worker, if any, was started before, in the folder.
    ConversionRunner( ConversionJobs& jobs, ObjectStore& store, std::unique_ptr<WorkFolder> folder,
        RunnerOptions options, std::unique_ptr<WorkerProcess> first = nullptr );
    /// Kills what is running, and hands it back.
    ~ConversionRunner();
    ConversionRunner( const ConversionRunner& ) = delete;
    ConversionRunner& operator=( const ConversionRunner& ) = delete;

    /// Takes no more; what runs goes on. Any thread.
    void drain();
    /// Whether nothing runs any more after `drain`.
    [[nodiscard]] bool isDrained() const { return slotsAtWork_ == 0; }
    /// Whether a job would find a worker: some slot has one that lives, or a job. Any thread.
    [[nodiscard]] bool hasWorker() const { return slotsWithWorker_ > 0; }

private:
    /// One attempt at a job, from when it is taken until its end is written.
    struct Attempt
    {
        ConversionJob job;
        /// Tells the worker to end.
        std::atomic<bool> stop{ false };
    };
    class Registered;

    [[nodiscard]] std::optional<ConversionJob> take_();
    [[nodiscard]] bool takesMore_() const { return !stopping_ && !draining_; }
    void recover_();
    void beat_();
    void look_();
    [[nodiscard]] std::vector<ConversionJob> runningJobs_();
    void stop_( const DatabaseResult<std::vector<ConversionJob>>& lost );
    void runSlot_();
    void run_( Attempt& attempt, std::unique_ptr<WorkerProcess> worker );
    /// Does what wants the store, and again while it is away, within the time of a job.
    [[nodiscard]] tl::expected<void, StoreError> patiently_(
        const Attempt& attempt, const std::function<tl::expected<void, StoreError>()>& act );
    /// Brings the upload to the worker; the error is for the user.
    [[nodiscard]] tl::expected<void, std::string> fetch_( const Attempt& attempt, const WorkerProcess& worker );
    /// Writes how an attempt has ended, with the bytes of its result or for what reason, and removes what is of no use
    /// after it; while it cannot be written it is tried again, for a client waits for it. Whether it was written. The
    /// upload stays where another attempt at it might end otherwise, and there is room.
    bool end_( const Attempt& attempt, const tl::expected<uint64_t, std::string>& done, bool isWorthARetry );
    void giveBack_( const ConversionJob& job );
    void noteDeath_( const ConversionJob& job );
    /// Stores a result. Where there is no room for it, or its owner has a share already, the owner's older jobs go
    /// first: nobody else's do.
    [[nodiscard]] tl::expected<uint64_t, std::string> keepResult_(
        const Attempt& attempt, const std::filesystem::path& file );
    [[nodiscard]] bool fits_( const ConversionJob& job, uint64_t resultBytes );
    void tidy_();
    /// Whether it may go on.
    bool removeOver_();
    void makeRoom_();
    void removeObjects_( const ConversionJob& job );
    void removeResults_( const ConversionJob& job );
    void removeObjects_( const std::vector<ConversionJob>& jobs );
    [[nodiscard]] std::unique_ptr<WorkerProcess> firstWorker_();
    [[nodiscard]] std::unique_ptr<WorkerProcess> freshWorker_();
    /// Waits for so long; less when the attempt, or for none the runner, is to stop.
    void pause_( std::chrono::milliseconds time, const Attempt* attempt = nullptr );

    ConversionJobs& jobs_;
    ObjectStore& store_;
    std::unique_ptr<WorkFolder> folder_;
    RunnerOptions options_;
    std::unique_ptr<WorkerProcess> first_;
    std::mutex mutex_;
    std::condition_variable stopped_;
    std::vector<Attempt*> running_;
    std::atomic<bool> stopping_{ false };
    std::atomic<bool> draining_{ false };
    std::atomic<int> slotsAtWork_{ 0 };
    std::atomic<int> slotsWithWorker_{ 0 };
    std::vector<std::thread> threads_;
    LeapWatch leaps_;
    /// By clocks of their own: slots may be busy for long.
    std::unique_ptr<Repeating> beating_;
    std::unique_ptr<Repeating> looking_;
    std::unique_ptr<Repeating> tidying_;
};

} // namespace VX::Backend
