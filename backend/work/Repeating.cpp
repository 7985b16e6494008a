#include "work/Repeating.h"

namespace VX::Backend
{

Repeating::Repeating( Work work )
    : work_( std::move( work ) )
    , thread_( [this] { run_(); } )
{
}

Repeating::Repeating( std::chrono::milliseconds pause, std::function<void()> work )
    : Repeating(
          [pause, work = std::move( work )]
          {
              work();
              return pause;
          } )
{
}

Repeating::~Repeating()
{
    stop();
}

void Repeating::wake()
{
    {
        const std::lock_guard lock( mutex_ );
        woken_ = true;
    }
    changed_.notify_all();
}

void Repeating::stop()
{
    {
        const std::lock_guard lock( mutex_ );
        stopping_ = true;
    }
    changed_.notify_all();
    if ( thread_.joinable() )
        thread_.join();
}

void Repeating::run_()
{
    std::unique_lock lock( mutex_ );
    while ( !stopping_ )
    {
        woken_ = false;
        lock.unlock();
        const auto pause = work_();
        lock.lock();
        changed_.wait_for( lock, pause, [this] { return stopping_ || woken_; } );
    }
}

} // namespace VX::Backend
