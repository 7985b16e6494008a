#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace VX::Backend
{

/// Work that is done in turns on a thread of its own, the first at once.
class Repeating
{
public:
    /// Does one turn and returns the pause after it; none goes on at once.
    using Work = std::function<std::chrono::milliseconds()>;

    explicit Repeating( Work work );
    Repeating( std::chrono::milliseconds pause, std::function<void()> work );
    ~Repeating();
    Repeating( const Repeating& ) = delete;
    Repeating& operator=( const Repeating& ) = delete;

    /// Ends the pause; during a turn, that after it. Any thread.
    void wake();
    /// Waits for a turn that has begun; there is none after it. Not from the work.
    void stop();

private:
    void run_();

    Work work_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool woken_ = false;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace VX::Backend
