#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

namespace VX::Backend
{

/// At most so many events for one key in a span of time, counted from the first event of the span. Any thread.
class RateLimiter
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    RateLimiter( int most, std::chrono::seconds span, Clock clock );

    /// Whether the next event would be one too many. Nobody is nobody's key: an empty one is never spent.
    [[nodiscard]] bool isSpent( const std::string& key );
    void count( const std::string& key );

private:
    struct Span
    {
        std::chrono::sys_seconds end;
        int events = 0;
    };
    /// Whether it is over, or of a clock that was set back.
    [[nodiscard]] bool isOver_( const Span& span, std::chrono::sys_seconds now ) const;
    void forgetOld_( std::chrono::sys_seconds now );

    int most_;
    std::chrono::seconds span_;
    Clock clock_;
    std::mutex mutex_;
    std::unordered_map<std::string, Span> spans_;
    std::chrono::sys_seconds nextSweep_{};
};

} // namespace VX::Backend
