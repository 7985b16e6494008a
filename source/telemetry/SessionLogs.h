#pragma once

#include <VXOrvanta/Export.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace VX
{

/// Usage statistics: a session of the signed-in user, and the names of actions sent in batches, at most one a minute
/// unless a flush is forced. Nothing is sent without a session, and nothing is sent twice or tried again.
///
/// UI thread; there is no lock. The argument "-noTelemetry" switches it off for the whole run.
class VXORVANTA_API SessionLogs
{
public:
    SessionLogs( const SessionLogs& ) = delete;
    SessionLogs& operator=( const SessionLogs& ) = delete;

    /// Whether the command line leaves it on.
    [[nodiscard]] static bool isEnabled();
    /// The user's consent.
    [[nodiscard]] static bool isAllowed();
    /// Sets the consent for this run. Taking it away drops what waits to be sent but for the news of it.
    static void allow( bool allow );

    /// Opens a session; nothing for an empty address or while switched off.
    static void requestSessionId( const std::string& email );
    /// Ends the session here: drops what waits. Nothing is sent.
    static void clearSessionId();

    /// Notes an action to be sent with the next batch; nothing without consent.
    static void logAction( std::string name );
    /// Sends what waits, when there is a session and a minute has passed since the last time, or with `force`.
    static void flushIfNeeded( bool force );

    /// Who is asked for the address that goes with a report, when it goes; without, it is empty.
    static void setUserSource( const std::string& ( *email )() );

private:
    friend struct SessionLogsTestAccess;

    struct StoredAction
    {
        std::string name;
        int64_t timestamp; ///< seconds since the Unix epoch
    };
    /// The system's time since the Unix epoch.
    using Clock = std::chrono::nanoseconds ( * )();

    SessionLogs() = default;
    SessionLogs( SessionLogs&& ) = default;
    SessionLogs& operator=( SessionLogs&& ) = default;

    static std::chrono::nanoseconds systemTime_();
    static SessionLogs& instance_();
    static void checkNoTelemetryFlag_();
    void sendActions_();
    void sendPlatform_();

    bool enabled_ = true;
    bool allowed_ = true;
    bool platformSent_ = false;
    int64_t sessionId_ = -1;
    std::chrono::nanoseconds lastFlush_{};
    std::vector<StoredAction> actions_;
    Clock now_ = &systemTime_;
};

} // namespace VX
