#include "work/WorkerPool.h"

#include "log/LogContext.h"

#include <utility>

namespace VX::Backend
{

WorkerPool::WorkerPool( int threads, size_t most )
    : most_( most )
{
    for ( int i = 0; i < threads; ++i )
        threads_.emplace_back( [this] { workLoop_(); } );
}

WorkerPool::~WorkerPool()
{
    stop();
}

void WorkerPool::refuseAll()
{
    std::deque<Piece> refused;
    {
        const std::lock_guard lock( mutex_ );
        ending_ = true;
        refused.swap( queue_ );
    }
    changed_.notify_all();
    for ( const auto& piece : refused )
    {
        const LogContext context( piece.request );
        piece.refused();
    }
}

void WorkerPool::stop()
{
    refuseAll();
    for ( auto& thread : threads_ )
        thread.join();
    threads_.clear();
}

void WorkerPool::run( Work work, Work refused )
{
    // What is logged of it is about the same request.
    Piece piece{ LogContext::request(), std::move( work ), std::move( refused ) };
    if ( accept_( piece ) )
        changed_.notify_one();
    else
        piece.refused();
}

bool WorkerPool::accept_( Piece& piece )
{
    const std::lock_guard lock( mutex_ );
    if ( ending_ || queue_.size() >= most_ )
        return false;
    queue_.push_back( std::move( piece ) );
    return true;
}

void WorkerPool::workLoop_()
{
    std::unique_lock lock( mutex_ );
    while ( true )
    {
        changed_.wait( lock, [this] { return ending_ || !queue_.empty(); } );
        if ( queue_.empty() )
            return;
        const auto piece = std::move( queue_.front() );
        queue_.pop_front();
        lock.unlock();
        {
            const LogContext context( piece.request );
            piece.work();
        }
        lock.lock();
    }
}

} // namespace VX::Backend
