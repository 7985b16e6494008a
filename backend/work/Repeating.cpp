#include "work/Repeating.h"

namespace VX::Backend
{

Repeating::Repeating( std::chrono::milliseconds pause, std::function<void()> work )
    : pause_( pause )
    , work_( std::move( work ) )
    , thread_( [this] { run_(); } )
{
}

Repeating::~Repeating()
{
    {
        const std::lock_guard lock( mutex_ );
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Repeating::run_()
{
    std::unique_lock lock( mutex_ );
    while ( !stopping_ )
    {
        lock.unlock();
        work_();
        lock.lock();
        changed_.wait_for( lock, pause_, [this] { return stopping_; } );
    }
}

} // namespace VX::Backend
