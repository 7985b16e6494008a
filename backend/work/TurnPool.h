#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace VX::Backend
{

/// Threads for work of several owners, who take turns: next is the owner who has the fewest pieces under way and whose
/// turn is the longest ago. Whoever gives much keeps those who give little waiting for one piece at most. Any thread
/// may give work.
class TurnPool
{
public:
    struct Work
    {
        std::function<void()> run;
        /// Called in its place, at once or while it waits, on whatever thread.
        std::function<void()> refuse;
    };

    /// At most `most` pieces of work wait for their turn.
    TurnPool( int threads, size_t most );
    /// As `stop`.
    ~TurnPool();
    TurnPool( const TurnPool& ) = delete;
    TurnPool& operator=( const TurnPool& ) = delete;

    /// Where too much waits the newest piece of whoever has the most of it is refused.
    void run( const std::string& owner, Work work );
    /// Waits for what is under way, and refuses what waits and what comes later. Not from the work.
    void stop();

private:
    struct Owner
    {
        std::deque<Work> waiting;
        int running = 0;
        uint64_t turn = 0; ///< the last, or when there was something to do for the first time
    };
    using Owners = std::map<std::string, Owner>;

    void workLoop_();
    /// Takes a piece out that is to be refused, so that one more can wait; that one itself where nobody has more.
    [[nodiscard]] Work makeRoom_( const std::string& owner, Work& work );
    [[nodiscard]] Owners::iterator next_();

    size_t most_;
    std::mutex mutex_;
    std::condition_variable changed_;
    Owners owners_; ///< those for whom something waits or runs
    size_t waiting_ = 0;
    uint64_t turns_ = 0;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

} // namespace VX::Backend
