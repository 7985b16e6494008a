#pragma once

#include <chrono>
#include <functional>

namespace VX::CallbackThreads
{

/// Runs a job that may block on a thread of its own; threads are kept for a few seconds and used again.
void run( std::function<void()> job );

/// Waits until no job is running; false when the time was too short.
bool waitIdle( std::chrono::milliseconds patience );

} // namespace VX::CallbackThreads
