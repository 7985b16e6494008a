#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace VX::Backend
{

/// Threads for work that must not keep the server's own waiting. Any thread may give work; what is accepted is done, or
/// refused when the pool ends before its turn.
class WorkerPool
{
public:
    using Work = std::function<void()>;

    /// At most `most` pieces of work wait for their turn.
    WorkerPool( int threads, size_t most );
    /// As `stop`.
    ~WorkerPool();
    WorkerPool( const WorkerPool& ) = delete;
    WorkerPool& operator=( const WorkerPool& ) = delete;

    /// Does the work on a thread of the pool, or calls `refused` in its place: at once when too much waits already or
    /// the pool has ended, later when it ends before the turn of the work.
    void run( Work work, Work refused );
    /// Accepts nothing more, and refuses what waits for its turn; it does not wait for what is under way.
    void refuseAll();
    /// As `refuseAll`, and waits for what is under way. Not from the work.
    void stop();

private:
    struct Piece
    {
        std::string request; ///< what it is logged as
        Work work, refused;
    };
    [[nodiscard]] bool accept_( Piece& piece );
    void workLoop_();

    size_t most_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Piece> queue_;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

} // namespace VX::Backend
