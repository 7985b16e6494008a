#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace VX::Backend
{

/// Threads for work that takes its time, in the order in which it is given. Where it is of several owners they take
/// turns: next is the owner who has the fewest pieces under way and whose turn is the longest ago. Whoever gives much
/// keeps those who give little waiting for one piece at most. Each piece is either done or refused, as the log's for
/// the request that gave it. Any thread may give work.
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
    /// Accepts nothing more, and refuses what waits for its turn; it does not wait for what is under way.
    void refuseAll();
    /// As `refuseAll`, and waits for what is under way. Not from the work.
    void stop();

private:
    struct Piece
    {
        std::string request; ///< what it is logged as
        Work work;
    };
    struct Owner
    {
        std::deque<Piece> waiting;
        int running = 0;
        uint64_t turn = 0; ///< the last, or when there was something to do for the first time
    };
    using Owners = std::map<std::string, Owner>;

    void workLoop_();
    static void refuse_( const Piece& piece );
    /// Lets it wait for its turn; what is to be refused for that, or in place of that.
    [[nodiscard]] std::optional<Piece> accept_( const std::string& owner, Piece piece );
    /// Takes a piece out so that one more of this owner can wait; none where nobody has more.
    [[nodiscard]] std::optional<Piece> giveUpFor_( const std::string& owner );
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
