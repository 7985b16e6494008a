#pragma once

#include <chrono>

namespace VX::Backend
{

/// The system's time in whole seconds: the clock of everything that is not a test.
[[nodiscard]] inline std::chrono::sys_seconds systemTime()
{
    return std::chrono::time_point_cast<std::chrono::seconds>( std::chrono::system_clock::now() );
}

} // namespace VX::Backend
