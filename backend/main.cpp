#include "serve/Service.h"
#include "worker/WorkerMain.h"

#include <VXMesh/system/SystemInfo.h>

#include <CLI/CLI.hpp>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include <csignal>
#include <cstdio>

namespace
{

using namespace VX::Backend;

int serve( const ServiceOptions& options )
{
    // Blocked before any thread starts, so that the wait below gets them and nobody else.
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGINT );
    sigaddset( &signals, SIGTERM );
    pthread_sigmask( SIG_BLOCK, &signals, nullptr );
    std::signal( SIGPIPE, SIG_IGN );

    const auto service = Service::start( options );
    if ( !service )
    {
        spdlog::error( "{}", service.error() );
        return 1;
    }
    std::printf( "Orvanta back end is ready at https://localhost:%d\n", int( ( *service )->port() ) );
    std::fflush( stdout );
    int signal = 0;
    sigwait( &signals, &signal );
    return 0;
}

void addServeOptions( CLI::App& command, ServiceOptions& options, uint64_t& memory, uint64_t& upload, int64_t& time )
{
    command.add_option( "--data", options.data, "Folder of the database, certificates, keys and objects" )->required();
    command.add_option( "--port", options.port, "TCP port on loopback; 0 takes a free one" )->capture_default_str();
    command.add_flag( "--allow-anonymous", options.allowAnonymous, "Convert files of clients that are not signed in" );
    command.add_option( "--latest-version", options.latestVersion,
        "Newest release, told to programs that ask; this back end's own version unless given" );
    command.add_option( "--slots", options.slots, "Conversions at a time" )
        ->check( CLI::Range( 1, 64 ) )
        ->capture_default_str();
    command.add_option( "--worker-memory", memory, "MiB of address space of one conversion" )->capture_default_str();
    command.add_option( "--worker-time", time, "Seconds that one conversion may take" )
        ->check( CLI::Range( 1, 86400 ) )
        ->capture_default_str();
    command.add_option( "--max-upload", upload, "MiB of the largest upload and of what it may unpack to" )
        ->capture_default_str();
}

} // namespace

int main( int argc, char** argv )
{
    spdlog::set_default_logger( spdlog::stderr_color_mt( "backend" ) );
    CLI::App app( "Back end of Orvanta: the services on one machine" );
    app.set_version_flag( "--version", VX::GetVXVersionString() );
    app.require_subcommand( 1 );

    ServiceOptions options;
    uint64_t memory = options.worker.memory >> 20, upload = options.maxUpload >> 20;
    int64_t time = options.worker.time.count();
    auto* serveCommand = app.add_subcommand( "serve", "Serve over TLS on loopback until it is told to stop" );
    addServeOptions( *serveCommand, options, memory, upload, time );

    WorkerJob job;
    auto* workerCommand = app.add_subcommand( "worker", "Convert one file; started by the service" )->group( "" );
    workerCommand->add_option( "folder", job.folder )->required();
    workerCommand->add_option( "memory", job.memory )->required();
    workerCommand->add_option( "output", job.outputSize )->required();
    workerCommand->add_option( "seconds", job.seconds )->required();

    CLI11_PARSE( app, argc, argv );
    if ( *workerCommand )
        return runWorker( job );
    options.worker.memory = memory << 20;
    options.worker.outputSize = options.maxUpload = upload << 20;
    options.worker.time = std::chrono::seconds( time );
    return serve( options );
}
