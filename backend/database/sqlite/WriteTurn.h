#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace VX::Backend
{

/// The right to write, which one session of a database has at a time: who waits for it inside the process is woken, who
/// waits for SQLite's own lock looks again and again. Any thread.
class WriteTurn
{
public:
    /// False when it has not come in that time.
    [[nodiscard]] bool take( std::chrono::milliseconds patience );
    void giveBack();

private:
    std::mutex mutex_;
    std::condition_variable free_;
    bool taken_ = false;
};

} // namespace VX::Backend
