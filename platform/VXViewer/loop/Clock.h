#pragma once

#include <chrono>

namespace VX
{

/// Seconds of the steady clock, for differences.
[[nodiscard]] inline double secondsNow()
{
    return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() ).count();
}

} // namespace VX
