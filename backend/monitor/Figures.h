#pragma once

#include "database/Database.h"
#include "work/Repeating.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>

namespace VX::Backend
{

/// How much there is of what, at one moment.
struct Figures
{
    int64_t accounts = 0, sessions = 0; ///< counted more seldom than the others
    int64_t queued = 0, running = 0;
    std::optional<std::chrono::sys_seconds> oldestQueued;
    int64_t mails = 0;
    std::optional<std::chrono::sys_seconds> oldestMail;
    uint64_t diskFree = 0, diskSize = 0;
    uint64_t storedBytes = 0, storedObjects = 0, mostStoredBytes = 0;
    uint64_t connections = 0;
};

/// Looks at them from time to time on a thread of its own, so that whoever asks costs nothing and waits for nobody. Any
/// thread.
class FigureKeeper
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;
    /// Adds what is not in the databases.
    using More = std::function<void( Figures& )>;

    /// What is passed must outlive this object. `data` is on the disk whose room is told.
    FigureKeeper( Database& database, Database& statistics, std::filesystem::path data, Clock clock, More more,
        std::chrono::milliseconds pause = std::chrono::seconds( 5 ) );

    struct Kept
    {
        Figures figures;
        /// When they were seen; those that could not be seen then are older. Nothing before the first time.
        std::optional<std::chrono::sys_seconds> at;
    };
    [[nodiscard]] Kept kept() const;
    [[nodiscard]] std::chrono::sys_seconds now() const { return clock_(); }

private:
    void look_();
    /// Whether all of them could be read.
    [[nodiscard]] bool readQueues_( Figures& out );
    [[nodiscard]] bool readSizes_( Figures& out );

    Database& database_;
    Database& statistics_;
    std::filesystem::path data_;
    Clock clock_;
    More more_;
    mutable std::mutex mutex_;
    Kept kept_;
    std::chrono::steady_clock::time_point nextCount_;
    Repeating looking_;
};

} // namespace VX::Backend
