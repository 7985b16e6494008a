#include <VXViewer/web/CallbackThreads.h>

#include <spdlog/spdlog.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace VX::CallbackThreads
{
namespace
{

constexpr auto cKeepIdle = std::chrono::seconds( 5 );

struct Pool
{
    std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable idle;
    std::deque<std::function<void()>> jobs;
    size_t sleeping = 0;
    size_t busy = 0;
};

// Never destroyed: a callback that still loads a file must not lose the ground under it at exit.
Pool& pool()
{
    static auto* sPool = new Pool;
    return *sPool;
}

void runJob( const std::function<void()>& job )
{
    try
    {
        job();
    }
    catch ( const std::exception& e )
    {
        spdlog::error( "A web callback failed: {}", e.what() );
    }
    catch ( ... )
    {
        spdlog::error( "A web callback failed: unknown error" );
    }
}

void worker()
{
    auto& p = pool();
    std::unique_lock lock( p.mutex );
    for ( ;; )
    {
        ++p.sleeping;
        const bool woken = p.wake.wait_for( lock, cKeepIdle, [&] { return !p.jobs.empty(); } );
        --p.sleeping;
        if ( !woken )
            return;
        {
            auto job = std::move( p.jobs.front() );
            p.jobs.pop_front();
            lock.unlock();
            runJob( job );
        }
        lock.lock();
        if ( --p.busy == 0 )
            p.idle.notify_all();
    }
}

} // namespace

void run( std::function<void()> job )
{
    auto& p = pool();
    bool start = false;
    {
        const std::lock_guard lock( p.mutex );
        p.jobs.push_back( std::move( job ) );
        ++p.busy;
        start = p.jobs.size() > p.sleeping;
    }
    if ( start )
        std::thread( worker ).detach();
    else
        p.wake.notify_one();
}

bool waitIdle( std::chrono::milliseconds patience )
{
    auto& p = pool();
    std::unique_lock lock( p.mutex );
    return p.idle.wait_for( lock, patience, [&] { return p.busy == 0; } );
}

} // namespace VX::CallbackThreads
