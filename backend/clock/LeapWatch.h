#pragma once

#include "clock/SystemTime.h"

#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace VX::Backend
{

/// Sees when the time of day leaps ahead, against a clock that does not: what was made before looks older by the leap
/// than it is. One thread at a time.
class LeapWatch
{
public:
    /// One moment, by both clocks.
    struct Moment
    {
        std::chrono::sys_seconds wall;
        std::chrono::steady_clock::time_point steady;
    };
    using Clock = std::function<Moment()>;

    explicit LeapWatch( Clock clock )
        : clock_( std::move( clock ) )
    {
    }
    [[nodiscard]] static Moment systemMoment() { return { systemTime(), std::chrono::steady_clock::now() }; }

    /// The time of day. To be called again and again: sees what has leapt since the call before.
    std::chrono::sys_seconds look()
    {
        const auto now = clock_();
        if ( last_ )
        {
            const auto passed = std::chrono::floor<std::chrono::seconds>( now.steady - last_->steady );
            const auto leap = now.wall - last_->wall - passed;
            if ( leap > cMuch )
            {
                leapt_ = now.steady - lastLeap_ < cRemembered ? leapt_ + leap : leap;
                lastLeap_ = now.steady;
            }
        }
        last_ = now;
        return now.wall;
    }
    /// By how much something of this age may look older than it is; nothing once all that was made before a leap has
    /// that age.
    [[nodiscard]] std::chrono::seconds excess( std::chrono::seconds age ) const
    {
        return last_ && leapt_ > leapt_.zero() && last_->steady - lastLeap_ <= age ? leapt_ : leapt_.zero();
    }

private:
    /// Less is how clocks are set right, and how threads wait.
    static constexpr std::chrono::seconds cMuch{ 60 };
    static constexpr std::chrono::hours cRemembered{ 24 };

    Clock clock_;
    std::optional<Moment> last_;
    std::chrono::seconds leapt_{ 0 };
    std::chrono::steady_clock::time_point lastLeap_;
};

} // namespace VX::Backend
