#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace VX::Backend
{

/// Work that is done again and again on a thread of its own, at once and then after each pause.
class Repeating
{
public:
    Repeating( std::chrono::milliseconds pause, std::function<void()> work );
    /// Waits for work that has begun.
    ~Repeating();
    Repeating( const Repeating& ) = delete;
    Repeating& operator=( const Repeating& ) = delete;

private:
    void run_();

    std::chrono::milliseconds pause_;
    std::function<void()> work_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace VX::Backend
