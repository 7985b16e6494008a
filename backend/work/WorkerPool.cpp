#include "work/WorkerPool.h"

#include "log/LogContext.h"

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

void WorkerPool::stop()
{
    {
        const std::lock_guard lock( mutex_ );
        ending_ = true;
    }
    changed_.notify_all();
    for ( auto& thread : threads_ )
        thread.join();
    threads_.clear();
}

bool WorkerPool::run( std::function<void()> work )
{
    {
        const std::lock_guard lock( mutex_ );
        if ( ending_ || queue_.size() >= most_ )
            return false;
        // What is logged of it is about the same request.
        queue_.push_back(
            [request = LogContext::request(), work = std::move( work )]
            {
                const LogContext context( request );
                work();
            } );
    }
    changed_.notify_one();
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
        const auto work = std::move( queue_.front() );
        queue_.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

} // namespace VX::Backend
