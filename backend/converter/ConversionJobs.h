#pragma once

#include "converter/LeaseWatch.h"
#include "database/Database.h"
#include "storage/ObjectStore.h"
#include "storage/StoreRoom.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>

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
    /// How many times it was taken, which names the one that runs it or has ended it.
    int64_t attempt = 0;
    /// What the log calls the request that queued it; empty where it had no name.
    std::string request = {};
    int64_t queued = 0; ///< when, in seconds since 1970

    [[nodiscard]] std::string uploadKey() const { return "uploads/" + id; }
    /// Where an attempt puts its result, so that none writes over another's.
    [[nodiscard]] std::string resultKey( int64_t of ) const
    {
        // What a version before has converted.
        return of > 0 ? "results/" + id + "/" + std::to_string( of ) : "results/" + id;
    }
    [[nodiscard]] std::string resultKey() const { return resultKey( attempt ); }
};

/// Whether the upload of a job that has failed is kept for another attempt.
enum class UploadStays
{
    No,
    Yes
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
/// Who takes a job has it for the time of a lease, and for longer by `beat`. Once the lease is over another may take
/// the job; the attempt before then changes nothing any more, whatever it still does.
///
/// Any thread. `waitForChange` is only a hint that saves waiting, of other processes where there is a bell; who waits
/// looks again anyway.
class ConversionJobs
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;
    template <typename T>
    using Result = DatabaseResult<T>;
    static constexpr std::chrono::seconds cLease{ 10 };

    /// Makes the tables that are missing, and takes over that of older versions.
    [[nodiscard]] static Result<void> prepare( Database& database );

    ConversionJobs( Database& database, Clock clock, JobLimits limits = {} );

    /// Tells others of changes by this bell, and hears of theirs. It is to go before this object, and after all who
    /// change jobs.
    void connect( Bell& bell );

    /// As what this object takes jobs: a name that no other ever has.
    [[nodiscard]] const std::string& instance() const { return instance_; }

    /// A new job with an unguessable id of 128 bits, as 32 hexadecimal digits; nothing when its owner has too many.
    [[nodiscard]] Result<std::optional<ConversionJob>> create(
        const std::string& inputFormat, const std::string& owner );
    [[nodiscard]] Result<std::optional<ConversionJob>> find( const std::string& id );
    /// Those of several that there are, by their ids, by one look at the database.
    [[nodiscard]] Result<std::map<std::string, ConversionJob>> find( const std::set<std::string>& ids );
    /// Queues a job that was only created, by a request of that name; false when it was further along already, or is
    /// gone.
    [[nodiscard]] Result<bool> queue( const std::string& id, const std::string& request = {} );

    /// Whether an object of so many bytes may be stored under a key: an upload of a job that waits for it, within what
    /// its owner may have. Keys that are no job's are welcome. What is welcome counts as stored, beside what lies there
    /// and what else comes for the same job.
    [[nodiscard]] Admission admitUpload( const std::string& key, uint64_t bytes );
    /// The same of an upload that lies there already, in a store that has not asked: what counts for the job from now
    /// on. `NoRoom` counts nothing.
    [[nodiscard]] Admission countUpload( const std::string& id, uint64_t bytes );
    /// Gives up what failed jobs of a job's owner have left, and returns these, where an object of so many bytes for
    /// the job is then within what its owner may have; else none. Why they have failed stays known.
    [[nodiscard]] Result<std::vector<ConversionJob>> giveUpFailed( const std::string& key, uint64_t bytes );
    /// An upload that was admitted lies there now, in place of one of so many bytes; whether anybody waits for it
    /// still.
    [[nodiscard]] Admission noteUpload( const std::string& key, uint64_t replaced );
    /// An upload that was admitted with so many bytes has not come.
    void forgetUpload( const std::string& key, uint64_t bytes );
    /// What a job that has failed had left is gone, and counts no longer.
    void noteGone( const std::string& id );
    /// Whether a result of so many bytes, in place of the job's upload, is within what its owner may have.
    [[nodiscard]] Result<bool> isWithinShare( const ConversionJob& job, uint64_t resultBytes );

    /// What all jobs hold, with as many objects as jobs. It reads what owners have, of whom there are few.
    [[nodiscard]] Result<StoreSum> stored();

    /// Takes a queued job over, of the owner who has the fewest running and whose turn is the longest ago, and of these
    /// the oldest; two takers never get the same one.
    [[nodiscard]] Result<std::optional<ConversionJob>> take();
    /// Has jobs that run here for another lease; returns those that were lost, whose attempts are to stop.
    [[nodiscard]] Result<std::vector<ConversionJob>> beat( const std::vector<ConversionJob>& running );

    /// Of jobs that run here those that were taken away meanwhile. It only reads.
    [[nodiscard]] Result<std::vector<ConversionJob>> lost( const std::vector<ConversionJob>& running );
    /// Those that have failed, whose uploads may still be there.
    [[nodiscard]] Result<std::vector<ConversionJob>> failed();

    /// Ends an attempt. False when the job is another's by now, or ended without it, and nothing was changed.
    [[nodiscard]] Result<bool> finish( const ConversionJob& job, uint64_t resultBytes = 0 );
    /// An upload that stays counts on, until it is gone.
    [[nodiscard]] Result<bool> fail(
        const ConversionJob& job, const std::string& error, UploadStays stays = UploadStays::No );
    /// Queues a job again that was taken and could not be run; that is no death.
    [[nodiscard]] Result<bool> giveBack( const ConversionJob& job );

    /// Counts a death of this attempt and queues its job again, unless it has died three times now: it has failed then,
    /// and is returned.
    [[nodiscard]] Result<std::vector<ConversionJob>> die( const ConversionJob& job );

    /// For an operator: queues a job again that has failed, with an upload of so many bytes. False when it has not
    /// failed, or is gone.
    [[nodiscard]] Result<bool> retry( const std::string& id, uint64_t uploadBytes );
    /// For an operator: fails a job that waits or runs, with a text for its user. An attempt that is under way is lost.
    [[nodiscard]] Result<bool> cancel( const std::string& id, const std::string& reason );

    /// Queues jobs again whose leases are over, but those that have died three times now: they have failed, and are
    /// returned.
    [[nodiscard]] Result<std::vector<ConversionJob>> reap();
    /// The same at once for what instances had taken that are known to be dead.
    [[nodiscard]] Result<std::vector<ConversionJob>> recover( const std::vector<std::string>& dead );
    /// Fails jobs that have waited for a worker since before then, removes those that were not begun or have ended by
    /// then, and returns both.
    [[nodiscard]] Result<std::vector<ConversionJob>> expireBefore( std::chrono::sys_seconds then );
    /// The same for what is so old.
    [[nodiscard]] Result<std::vector<ConversionJob>> expire( std::chrono::seconds age )
    {
        return expireBefore( clock_() - age );
    }

    /// Gives up what a job holds that neither waits for a worker nor runs, of this owner or, for none, of the one whose
    /// jobs hold the most; and returns it: what the oldest has left that has failed, which stays known, or else the
    /// oldest result, or else the oldest upload, whose jobs are removed.
    [[nodiscard]] Result<std::optional<ConversionJob>> expireOldest( const std::optional<std::string>& owner = {} );

    /// How many times a job may have changed; to be asked before a look at the jobs.
    [[nodiscard]] uint64_t changes();
    /// Returns when there are more than those, or after that time.
    void waitForChange( uint64_t seen, std::chrono::milliseconds most );
    void notifyChange();
    /// Who is told, on any thread, which job has ended or was removed; as a hint, too.
    using Ended = std::function<void( const std::string& id )>;
    void listen( const void* who, Ended ended );
    /// Nothing is told after it.
    void unlisten( const void* who );

private:
    /// The answer to an upload of the job, unless that is of no use any more.
    [[nodiscard]] Admission whileAwaited_( const std::string& id, Admission answer );
    /// The bytes are those that count from now on; those of before without any.
    [[nodiscard]] Result<bool> end_(
        const ConversionJob& job, JobState state, const SqlValue& error, std::optional<uint64_t> bytes );
    /// Ends attempts by a death, of the running jobs for which the condition on ?7 holds.
    [[nodiscard]] Result<std::vector<ConversionJob>> died_( const std::string& condition, const SqlValue& value );
    /// A job may be taken.
    void tellQueued_();
    void tellEnd_( const std::string& id );
    void noteEnd_( const std::string& id );
    void hear_( const std::string& word );
    void tellEnds_( const std::vector<ConversionJob>& jobs );
    /// What the database has answered, after telling the watch whether it did.
    template <typename T>
    [[nodiscard]] Result<T> watched_( Result<T> answer );
    [[nodiscard]] int64_t now_() const { return clock_().time_since_epoch().count(); }

    Database& database_;
    Clock clock_;
    JobLimits limits_;
    std::string instance_;
    Bell* bell_ = nullptr;
    LeaseWatch watch_{ cLease.count() };
    std::mutex mutex_;
    std::condition_variable changed_;
    uint64_t changes_ = 0;
    std::mutex listenersMutex_;
    std::map<const void*, Ended> listeners_;
};

/// As `admitUpload`; where its owner has no room, what the owner's failed jobs have left in the store goes for it.
[[nodiscard]] Admission admitUploadInto(
    ObjectStore& store, ConversionJobs& jobs, const std::string& key, uint64_t bytes );
/// As `countUpload`, in the same way.
[[nodiscard]] Admission countUploadInto(
    ObjectStore& store, ConversionJobs& jobs, const ConversionJob& job, uint64_t bytes );

} // namespace VX::Backend
