#include "commands/DaemonLoop.h"

#include "log/JsonLog.h"

#include <spdlog/spdlog.h>

#include <csignal>
#include <cstdio>
#include <optional>

#include <unistd.h>

namespace VX::Backend::Lines
{
namespace
{

/// Lets what runs come to its end, for so long at most, or until a signal says once more that it is to stop.
void drain( Daemon& daemon, const sigset_t& signals, std::chrono::seconds most )
{
    constexpr timespec cSlice{ 0, 50'000'000 };
    const auto deadline = std::chrono::steady_clock::now() + most;
    daemon.drain();
    while ( !daemon.isDrained() && std::chrono::steady_clock::now() < deadline )
    {
        const int signal = sigtimedwait( &signals, nullptr, &cSlice );
        if ( signal == SIGHUP )
            daemon.reload();
        else if ( signal > 0 )
            return;
    }
}

} // namespace

int runDaemon( const StartDaemon& start, std::chrono::seconds drainTime, bool jsonLog )
{
    std::optional<JsonLog> log;
    if ( jsonLog )
        log.emplace( STDERR_FILENO );
    // Blocked before any thread starts, so that the wait below gets them and nobody else.
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGINT );
    sigaddset( &signals, SIGTERM );
    sigaddset( &signals, SIGHUP );
    pthread_sigmask( SIG_BLOCK, &signals, nullptr );
    std::signal( SIGPIPE, SIG_IGN );

    const auto daemon = start();
    if ( !daemon )
    {
        spdlog::error( "{}", daemon.error() );
        return 1;
    }
    std::printf( "%s\n", ( *daemon )->greeting().c_str() );
    if ( const auto port = ( *daemon )->monitorPort(); port != 0 )
        std::printf( "Metrics for its operator are at port %d\n", int( port ) );
    std::fflush( stdout );
    for ( int signal = SIGHUP; signal == SIGHUP; )
    {
        sigwait( &signals, &signal );
        if ( signal == SIGHUP )
            ( *daemon )->reload();
    }
    drain( **daemon, signals, drainTime );
    return 0;
}

} // namespace VX::Backend::Lines
