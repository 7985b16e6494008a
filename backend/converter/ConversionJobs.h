#pragma once

#include "database/Database.h"

#include <chrono>
#include <condition_variable>
#include <functional>

namespace VX::Backend
{

enum class JobState
{
    Created,
    Queued,
    Running,
    Finished,
    Failed
};

struct ConversionJob
{
    std::string id;
    std::string inputFormat;
    JobState state = JobState::Created;
    /// Why it failed, for the user.
    std::string error;

    [[nodiscard]] std::string uploadKey() const { return "uploads/" + id; }
    [[nodiscard]] std::string resultKey() const { return "results/" + id; }
};

/// The list of conversions, in the database alone: requests and workers may be in different processes.
///
/// Any thread. `waitForChange` is only a hint that saves waiting inside one process; who waits looks again anyway.
class ConversionJobs
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    template <typename T>
    using Result = DatabaseResult<T>;

    /// Makes the table where it is missing.
    [[nodiscard]] static Result<void> prepare( Database& database );

    ConversionJobs( Database& database, Clock clock );

    /// A new job with an unguessable id of 128 bits, as 32 hexadecimal digits.
    [[nodiscard]] Result<ConversionJob> create( const std::string& inputFormat );
    [[nodiscard]] Result<std::optional<ConversionJob>> find( const std::string& id );
    /// Queues a job that was only created; false when it was further along already, or is gone.
    [[nodiscard]] Result<bool> queue( const std::string& id );

    /// Takes the oldest queued job over; two takers never get the same one.
    [[nodiscard]] Result<std::optional<ConversionJob>> take();
    [[nodiscard]] Result<void> finish( const std::string& id );
    [[nodiscard]] Result<void> fail( const std::string& id, const std::string& error );

    /// Queues jobs again that were running when a process died; one that has died twice has failed.
    [[nodiscard]] Result<void> recover();
    /// Removes jobs older than that and returns them.
    [[nodiscard]] Result<std::vector<ConversionJob>> expire( std::chrono::seconds age );

    /// Removes the oldest that is not waiting for a worker or running, and returns it.
    [[nodiscard]] Result<std::optional<ConversionJob>> expireOldest();

    /// Returns when a job of this process may have changed, or after that time.
    void waitForChange( std::chrono::milliseconds most );
    void notifyChange();

private:
    [[nodiscard]] Result<void> end_( const std::string& id, JobState state, const SqlValue& error );

    Database& database_;
    Clock clock_;
    std::mutex mutex_;
    std::condition_variable changed_;
    uint64_t changes_ = 0;
};

} // namespace VX::Backend
