#pragma once

#include "identity/IdentityService.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace VX::Backend
{

/// The name of an account or a client in the log: the same for the same text, and told to nobody without the key.
[[nodiscard]] std::string nameInLog( const std::string& text, const std::string& key );

/// Says in the log who was refused at the sign-in and why, so that an operator sees passwords being tried, and limits
/// that hold. Of each reason a minute has a few lines; the others are counted. Any thread.
class RefusalLog
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    RefusalLog( std::string key, Clock clock );
    /// Says how many were only counted.
    ~RefusalLog();
    RefusalLog( const RefusalLog& ) = delete;
    RefusalLog& operator=( const RefusalLog& ) = delete;

    /// Does nothing where the answer is none of those.
    void note( const AuthCall& call, const HttpResponse& answer );

private:
    struct Minute
    {
        std::chrono::sys_seconds end;
        int lines = 0;
        int64_t counted = 0; ///< without a line
    };

    /// Whether the next one has a line; the lock is held.
    [[nodiscard]] bool mayWrite_( const char* reason );
    static void writeCounted_( const char* reason, Minute& minute );

    std::string key_;
    Clock clock_;
    std::mutex mutex_;
    std::map<std::string, Minute> minutes_; ///< by reason
};

} // namespace VX::Backend
