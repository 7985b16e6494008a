#pragma once

#include "database/Database.h"
#include "storage/ObjectStore.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

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
    /// Whose it is: the account, or the client's address where nobody signs in.
    std::string owner;

    [[nodiscard]] std::string uploadKey() const { return "uploads/" + id; }
    [[nodiscard]] std::string resultKey() const { return "results/" + id; }
};

/// What one owner may have.
struct JobLimits
{
    int64_t atOnce = 256;                 ///< jobs that have not ended
    int64_t kept = 100'000;               ///< jobs that are not forgotten yet, each with an object or two
    uint64_t bytes = uint64_t( 8 ) << 30; ///< of uploads and results
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

    /// Makes the tables that are missing, and takes over that of older versions.
    [[nodiscard]] static Result<void> prepare( Database& database );

    ConversionJobs( Database& database, Clock clock, JobLimits limits = {} );

    /// A new job with an unguessable id of 128 bits, as 32 hexadecimal digits; nothing when its owner has too many.
    [[nodiscard]] Result<std::optional<ConversionJob>> create(
        const std::string& inputFormat, const std::string& owner );
    [[nodiscard]] Result<std::optional<ConversionJob>> find( const std::string& id );
    /// Queues a job that was only created; false when it was further along already, or is gone.
    [[nodiscard]] Result<bool> queue( const std::string& id );

    /// Whether an object of so many bytes may be stored under a key: an upload of a job that waits for it, within what
    /// its owner may have. Keys that are no job's are welcome. What is welcome counts as stored, beside what lies there
    /// and what else comes for the same job.
    [[nodiscard]] Admission admitUpload( const std::string& key, uint64_t bytes );
    /// An upload that was admitted lies there now, in place of one of so many bytes; whether anybody waits for it
    /// still.
    [[nodiscard]] Admission noteUpload( const std::string& key, uint64_t replaced );
    /// An upload that was admitted with so many bytes has not come.
    void forgetUpload( const std::string& key, uint64_t bytes );
    /// Whether a result of so many bytes, in place of the job's upload, is within what its owner may have.
    [[nodiscard]] Result<bool> isWithinShare( const ConversionJob& job, uint64_t resultBytes );

    /// Takes a queued job over, of the owner who has the fewest running and whose turn is the longest ago, and of these
    /// the oldest; two takers never get the same one.
    [[nodiscard]] Result<std::optional<ConversionJob>> take();
    /// Queues a job again that was taken and could not be run; it does not count as run.
    [[nodiscard]] Result<void> giveBack( const std::string& id );
    [[nodiscard]] Result<void> finish( const std::string& id, uint64_t resultBytes = 0 );
    [[nodiscard]] Result<void> fail( const std::string& id, const std::string& error );

    /// Queues jobs again that were running when a process died; one that has died three times has failed.
    [[nodiscard]] Result<void> recover();
    /// Fails jobs that have waited for a worker for longer than that, removes those that were not begun or have ended
    /// that long ago, and returns both.
    [[nodiscard]] Result<std::vector<ConversionJob>> expire( std::chrono::seconds age );

    /// Removes a job that holds bytes and neither waits for a worker nor runs, of this owner or, for none, of the one
    /// whose jobs hold the most; and returns it: the oldest result, or else the oldest upload.
    [[nodiscard]] Result<std::optional<ConversionJob>> expireOldest( const std::optional<std::string>& owner = {} );

    /// Returns when a job of this process may have changed, or after that time.
    void waitForChange( std::chrono::milliseconds most );
    void notifyChange();

private:
    /// The answer to an upload of the job, unless that is of no use any more.
    [[nodiscard]] Admission whileAwaited_( const std::string& id, Admission answer );
    [[nodiscard]] Result<void> end_( const std::string& id, JobState state, const SqlValue& error, uint64_t bytes );
    [[nodiscard]] int64_t now_() const { return clock_().time_since_epoch().count(); }

    Database& database_;
    Clock clock_;
    JobLimits limits_;
    std::mutex mutex_;
    std::condition_variable changed_;
    uint64_t changes_ = 0;
};

} // namespace VX::Backend
