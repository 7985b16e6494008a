#pragma once

#include "database/Database.h"

#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

namespace VX::Backend
{

/// What clients report; times are seconds since the Unix epoch.
struct NewSession
{
    std::string user; ///< who, as a code that tells users apart and nothing more
};
struct ReportedAction
{
    std::string name;
    int64_t at = 0;
};
struct ReportedActions
{
    int64_t session = 0;
    std::string user;
    std::vector<ReportedAction> actions;
};
struct ReportedPlatform
{
    int64_t session = 0;
    std::string platform;
    std::string version;
};
using Report = std::variant<NewSession, ReportedActions, ReportedPlatform>;

/// What became of a report.
struct Stored
{
    bool known = true;   ///< false: there is no such session, or it is somebody else's
    int64_t session = 0; ///< of a new session
};

/// Sessions, platforms and actions in a database that holds nothing else. One thread at a time.
class StatsStore
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    StatsStore( Database& database, Clock clock );

    /// Moves what an earlier release kept among the tables of another database; does nothing when there is nothing.
    [[nodiscard]] DatabaseResult<void> takeOver( Database& earlier );

    /// Names the key that makes the codes of users from now on, and of sessions of which nothing is noted.
    void useKey( const std::string& mark );

    /// Bytes that are in use for all of it.
    [[nodiscard]] uint64_t size();

    /// Stores all in one transaction; nothing is returned when it could not be kept.
    [[nodiscard]] std::vector<Stored> store( const std::vector<Report>& reports );
    /// Deletes what is older than that.
    void forget( std::chrono::seconds age );

private:
    [[nodiscard]] Stored store_( const NewSession& report );
    [[nodiscard]] Stored store_( const ReportedActions& report );
    [[nodiscard]] Stored store_( const ReportedPlatform& report );
    /// Whose session it is; empty when there is none.
    [[nodiscard]] const std::string& userOf_( int64_t session );

    Database& database_;
    Clock clock_;
    std::string keyMark_;
    /// Users of sessions that were asked for lately.
    std::unordered_map<int64_t, std::string> users_;
};

} // namespace VX::Backend
