#include "work/TurnPool.h"

#include "log/LogContext.h"

#include <algorithm>
#include <iterator>
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

void TurnPool::refuseAll()
{
    std::vector<Piece> refused;
    {
        const std::lock_guard lock( mutex_ );
        ending_ = true;
        for ( auto& [name, owner] : owners_ )
        {
            std::move( owner.waiting.begin(), owner.waiting.end(), std::back_inserter( refused ) );
            owner.waiting.clear();
        }
        waiting_ = 0;
    }
    changed_.notify_all();
    for ( const auto& piece : refused )
        refuse_( piece );
}

void TurnPool::stop()
{
    refuseAll();
    for ( auto& thread : threads_ )
        thread.join();
    threads_.clear();
}

void TurnPool::run( const std::string& owner, Work work )
{
    Piece piece{ LogContext::request(), std::move( work ) };
    std::optional<Piece> refused;
    {
        const std::lock_guard lock( mutex_ );
        refused = ending_ ? std::optional( std::move( piece ) ) : accept_( owner, std::move( piece ) );
    }
    changed_.notify_one();
    if ( refused )
        refuse_( *refused );
}

void TurnPool::refuse_( const Piece& piece )
{
    const LogContext context( piece.request );
    piece.work.refuse();
}

std::optional<TurnPool::Piece> TurnPool::accept_( const std::string& owner, Piece piece )
{
    std::optional<Piece> refused;
    if ( waiting_ >= most_ )
    {
        refused = giveUpFor_( owner );
        if ( !refused )
            return piece;
    }
    auto& own = owners_[owner];
    if ( own.waiting.empty() && own.running == 0 )
        own.turn = ++turns_;
    own.waiting.push_back( std::move( piece ) );
    ++waiting_;
    return refused;
}

std::optional<TurnPool::Piece> TurnPool::giveUpFor_( const std::string& owner )
{
    const auto most = std::max_element( owners_.begin(), owners_.end(),
        []( const auto& a, const auto& b ) { return a.second.waiting.size() < b.second.waiting.size(); } );
    const auto own = owners_.find( owner );
    const size_t ownWaiting = own == owners_.end() ? 0 : own->second.waiting.size();
    if ( most == owners_.end() || most->second.waiting.size() < ownWaiting + 2 )
        return {};
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
        auto piece = std::optional( std::move( owner->second.waiting.front() ) );
        owner->second.waiting.pop_front();
        owner->second.turn = ++turns_;
        ++owner->second.running;
        --waiting_;
        lock.unlock();
        {
            // What is logged of it is about the same request.
            const LogContext context( piece->request );
            piece->work.run();
        }
        // What it holds may take its time to go, too.
        piece.reset();
        lock.lock();
        if ( --owner->second.running == 0 && owner->second.waiting.empty() )
            owners_.erase( owner );
    }
}

} // namespace VX::Backend
