#include "work/TurnPool.h"

#include "log/LogContext.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace VX::Backend
{

TurnPool::TurnPool( int threads, size_t most )
    : most_( most )
{
    for ( int i = 0; i < threads; ++i )
        threads_.emplace_back( [this] { workLoop_(); } );
}

TurnPool::~TurnPool()
{
    stop();
}

void TurnPool::stop()
{
    std::vector<Work> refused;
    {
        const std::lock_guard lock( mutex_ );
        ending_ = true;
        for ( auto& [name, owner] : owners_ )
            std::move( owner.waiting.begin(), owner.waiting.end(), std::back_inserter( refused ) );
        for ( auto& [name, owner] : owners_ )
            owner.waiting.clear();
        waiting_ = 0;
    }
    changed_.notify_all();
    for ( const auto& work : refused )
        work.refuse();
    for ( auto& thread : threads_ )
        thread.join();
    threads_.clear();
}

void TurnPool::run( const std::string& owner, Work work )
{
    // What is logged of it is about the same request.
    work.run = [request = LogContext::request(), run = std::move( work.run )]
    {
        const LogContext context( request );
        run();
    };
    Work refused;
    {
        const std::lock_guard lock( mutex_ );
        if ( ending_ )
            refused = std::move( work );
        else if ( waiting_ >= most_ )
            refused = makeRoom_( owner, work );
        if ( work.run )
        {
            auto& own = owners_[owner];
            if ( own.waiting.empty() && own.running == 0 )
                own.turn = ++turns_;
            own.waiting.push_back( std::move( work ) );
            ++waiting_;
        }
    }
    changed_.notify_one();
    if ( refused.refuse )
        refused.refuse();
}

TurnPool::Work TurnPool::makeRoom_( const std::string& owner, Work& work )
{
    const auto most = std::max_element( owners_.begin(), owners_.end(),
        []( const auto& a, const auto& b ) { return a.second.waiting.size() < b.second.waiting.size(); } );
    const auto own = owners_.find( owner );
    const size_t ownWaiting = own == owners_.end() ? 0 : own->second.waiting.size();
    if ( most == owners_.end() || most->second.waiting.size() < ownWaiting + 2 )
        return std::exchange( work, {} );
    auto& waiting = most->second.waiting;
    auto out = std::move( waiting.back() );
    waiting.pop_back();
    --waiting_;
    return out;
}

TurnPool::Owners::iterator TurnPool::next_()
{
    auto best = owners_.end();
    for ( auto it = owners_.begin(); it != owners_.end(); ++it )
    {
        const auto& [name, owner] = *it;
        if ( !owner.waiting.empty() &&
             ( best == owners_.end() ||
                 std::tie( owner.running, owner.turn ) < std::tie( best->second.running, best->second.turn ) ) )
            best = it;
    }
    return best;
}

void TurnPool::workLoop_()
{
    std::unique_lock lock( mutex_ );
    while ( true )
    {
        changed_.wait( lock, [this] { return ending_ || waiting_ > 0; } );
        if ( waiting_ == 0 )
            return;
        const auto owner = next_();
        auto work = std::move( owner->second.waiting.front() );
        owner->second.waiting.pop_front();
        owner->second.turn = ++turns_;
        ++owner->second.running;
        --waiting_;
        lock.unlock();
        work.run();
        work = {};
        lock.lock();
        if ( --owner->second.running == 0 && owner->second.waiting.empty() )
            owners_.erase( owner );
    }
}

} // namespace VX::Backend
