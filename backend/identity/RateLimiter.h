#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

namespace VX::Backend
{

/// At most so many calls for one key in a span of time, counted from the first call of the span. Any thread.
class RateLimiter
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    RateLimiter( int most, std::chrono::seconds span, Clock clock );

    /// Counts a call; false when it is one too many. Nobody is nobody's key: an empty one is always allowed.
    [[nodiscard]] bool allow( const std::string& key );

private:
    struct Span
    {
        std::chrono::sys_seconds end;
        int calls = 0;
    };
    void forgetOld_( std::chrono::sys_seconds now );

    int most_;
    std::chrono::seconds span_;
    Clock clock_;
    std::mutex mutex_;
    std::unordered_map<std::string, Span> spans_;
    std::chrono::sys_seconds nextSweep_{};
};

} // namespace VX::Backend
