#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace VX::Backend
{

/// Threads for work that must not keep the server's own waiting. Any thread may give work; what is accepted is done.
class WorkerPool
{
public:
    /// At most `most` pieces of work wait for their turn.
    WorkerPool( int threads, size_t most );
    /// As `stop`.
    ~WorkerPool();
    WorkerPool( const WorkerPool& ) = delete;
    WorkerPool& operator=( const WorkerPool& ) = delete;

    /// False when too much waits already, or the pool has been stopped; the work is then left undone.
    [[nodiscard]] bool run( std::function<void()> work );
    /// Waits until all that was accepted is done; nothing is accepted later. Not from the work.
    void stop();

private:
    void workLoop_();

    size_t most_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> queue_;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

} // namespace VX::Backend
