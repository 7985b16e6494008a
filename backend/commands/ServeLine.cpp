#include "commands/Lines.h"
#include "log/JsonLog.h"
#include "serve/Service.h"
#include "text/Environment.h"

#include <VXMesh/system/FileView.h>

#include <spdlog/spdlog.h>

#include <csignal>
#include <cstdio>
#include <optional>

#include <unistd.h>

namespace VX::Backend::Lines
{
namespace
{

void reloadCertificate( Service& service )
{
    if ( const auto reloaded = service.reloadCertificate(); !reloaded )
        spdlog::error( "The certificate stays as it was: {}", reloaded.error() );
    else
        spdlog::info( "The certificate was read again" );
}

int checkOnly( const ServiceOptions& options )
{
    if ( const auto checked = Service::check( options ); !checked )
    {
        spdlog::error( "{}", checked.error() );
        return 1;
    }
    std::printf( "A service can be started with these options\n" );
    return 0;
}

/// Lets what runs come to its end, for so long at most, or until a signal says once more that it is to stop.
void drain( Service& service, const sigset_t& signals, std::chrono::seconds most )
{
    constexpr timespec cSlice{ 0, 50'000'000 };
    const auto deadline = std::chrono::steady_clock::now() + most;
    service.drain();
    while ( !service.isDrained() && std::chrono::steady_clock::now() < deadline )
    {
        const int signal = sigtimedwait( &signals, nullptr, &cSlice );
        if ( signal == SIGHUP )
            reloadCertificate( service );
        else if ( signal > 0 )
            return;
    }
}

void warnOfSandbox( const ServiceOptions& options )
{
    if ( options.withoutSandbox )
        spdlog::warn( "Without bubblewrap workers have limits and the kernel's filters alone{}",
            canNarrowFiles() ? "" : ", and this kernel hides no files from them" );
}

int serve( const ServiceOptions& options, std::chrono::seconds drainTime, bool jsonLog )
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

    warnOfSandbox( options );
    const auto service = Service::start( options );
    if ( !service )
    {
        spdlog::error( "{}", service.error() );
        return 1;
    }
    std::printf( "Orvanta back end is ready at %s\n", ( *service )->url().c_str() );
    if ( const auto port = ( *service )->monitorPort(); port != 0 )
        std::printf( "Metrics for its operator are at port %d\n", int( port ) );
    std::fflush( stdout );
    for ( int signal = SIGHUP; signal == SIGHUP; )
    {
        sigwait( &signals, &signal );
        if ( signal == SIGHUP )
            reloadCertificate( **service );
    }
    drain( **service, signals, drainTime );
    return 0;
}

/// The options, with those in units of the command line beside them.
struct Line
{
    ServiceOptions options;
    std::optional<uint64_t> workerMebibytes;
    uint64_t uploadMebibytes = options.maxUpload >> 20;
    uint64_t storedMebibytes = options.maxStored >> 20;
    uint64_t statisticsMebibytes = options.maxStatistics >> 20;
    uint64_t waitingMebibytes = options.maxStatisticsWaiting >> 20;
    int64_t keepMinutes = std::chrono::duration_cast<std::chrono::minutes>( options.keep ).count();
    int64_t workerSeconds = options.worker.time.count();
    int drainSeconds = 20;
    int statisticsDays = int( std::chrono::duration_cast<std::chrono::days>( options.keepStatistics ).count() );
    int choresSeconds = int( std::chrono::duration_cast<std::chrono::seconds>( options.choresEvery ).count() );
    bool onlyChecks = false;
    bool jsonLog = false;
};

void addNetworkOptions( CLI::App& command, ServiceOptions& options )
{
    command.add_option( "--listen", options.address, "Address of this machine to listen on; 0.0.0.0 or :: for all" )
        ->capture_default_str();
    command.add_option( "--public-url", options.publicUrl,
        "What clients call this service, https://HOST[:PORT]; https://localhost:PORT unless given" );
    command.add_option( "--monitor", options.monitor,
        "ADDRESS:PORT, such as 127.0.0.1:8444, of a listener of its own, without TLS, for /metrics, /readyz, /healthz "
        "and /livez; there is none unless given" );
    command.add_option( "--trusted-proxy", options.trustedProxies,
        "Network of proxies, such as 10.0.0.0/8, whose X-Forwarded-For names the clients; may be given several times" );
    auto* certificate = command.add_option( "--tls-certificate", options.tlsCertificate,
        "PEM file of the certificate and those between it and its authority; "
        "one for this machine alone is made unless given. Read again on "
        "SIGHUP, with its key" );
    auto* key = command.add_option( "--tls-key", options.tlsKey, "PEM file of its key" )->needs( certificate );
    certificate->needs( key );
}

void addLogOption( CLI::App& command, bool& json )
{
    command
        .add_option_function<std::string>(
            "--log-format", [&json]( const std::string& format ) { json = format == "json"; },
            "text for people, or json for programs: a line for each request, too" )
        ->check( CLI::IsMember( { "text", "json" } ) )
        ->default_str( "text" );
}

void addConversionOptions( CLI::App& command, Line& line )
{
    command.add_flag(
        "--allow-anonymous", line.options.allowAnonymous, "Convert files of clients that are not signed in" );
    command.add_option( "--slots", line.options.slots, "Conversions at a time" )
        ->check( CLI::Range( 1, 64 ) )
        ->capture_default_str();
    addWorkerLimits( command, line.workerMebibytes, line.workerSeconds );
    command.add_flag( "--without-sandbox", line.options.withoutSandbox,
        "Convert where bubblewrap cannot be used: workers have limits and the kernel's filters alone" );
    command
        .add_option( "--drain-seconds", line.drainSeconds,
            "Seconds that running conversions may go on after SIGTERM or SIGINT; what is not done then, or at a second "
            "signal, is run again at the next start" )
        ->check( CLI::Range( 0, 86400 ) )
        ->capture_default_str();
    command
        .add_option( "--max-stored", line.storedMebibytes,
            "MiB of all uploads and results together; nobody alone has more than half" )
        ->capture_default_str();
    command
        .add_option( "--max-upload", line.uploadMebibytes, "MiB of the largest upload and of what it may unpack to" )
        ->capture_default_str();
    command
        .add_option( "--keep-minutes", line.keepMinutes,
            "Minutes after which uploads, results and what has waited in vain are removed; their URLs are good for "
            "half "
            "an hour of it at most" )
        // A transfer takes its time, and a presigned URL is good for a week at most.
        ->check( CLI::Range( 10, 7 * 24 * 60 ) )
        ->capture_default_str();
}

void addDatabaseOption( CLI::App& command, std::string& address )
{
    command
        .add_option( "--database", address,
            "Keep accounts, conversions, mails, statistics and the keys of sign-ins in this PostgreSQL, "
            "postgresql://USER@HOST[:PORT]/NAME, in place of files in DATA. PGPASSWORD, or the file that PGPASSFILE "
            "names, has its password" )
        ->envname( "ORVANTA_DATABASE" );
}

void addStoreOptions( CLI::App& command, StoreOptions& store )
{
    auto* endpoint = command.add_option( "--store-endpoint", store.endpoint,
        "Keep uploads and results in a bucket of this S3-compatible service, https://HOST[:PORT], in place of "
        "DATA/objects. ORVANTA_S3_KEY, ORVANTA_S3_SECRET and ORVANTA_S3_BUCKET are its keys and its name" );
    command
        .add_option( "--store-public-endpoint", store.publicEndpoint,
            "The address at which clients reach the same service; that of --store-endpoint unless given" )
        ->needs( endpoint );
    command.add_option( "--store-region", store.region, "The region that requests to it are signed for" )
        ->needs( endpoint )
        ->capture_default_str();
}

void addStatisticsOptions( CLI::App& command, Line& line )
{
    command.add_option( "--keep-statistics", line.statisticsDays, "Days after which statistics are deleted" )
        ->check( CLI::Range( 1, 36500 ) )
        ->capture_default_str();
    command.add_option( "--max-statistics", line.statisticsMebibytes, "MiB of all statistics; more are refused" )
        ->capture_default_str();
    command
        .add_option( "--statistics-waiting", line.waitingMebibytes,
            "MiB of reports that wait to be stored; more are told to come later" )
        ->check( CLI::Range( 1, 65536 ) )
        ->capture_default_str();
}

void addIdentityOptions( CLI::App& command, IdentityOptions& identity )
{
    command.add_option( "--smtp-url", identity.smtp.url,
        "Mail server, smtp://host:587 or smtps://host; without one mails are files in DATA/outbox. "
        "ORVANTA_SMTP_USER and ORVANTA_SMTP_PASSWORD are its credentials" );
    command.add_option( "--mail-from", identity.smtp.from, "Sender's address of mails" )->needs( "--smtp-url" );
    command.get_option( "--smtp-url" )->needs( "--mail-from" );
    auto* endpoint = command.add_option( "--auth-endpoint", identity.gateway.endpoint,
        "Let this service, which speaks the user-pool protocol, decide who signs in. ORVANTA_AUTH_CLIENT_SECRET is "
        "the secret of its app client" );
    command.add_option( "--auth-client-id", identity.gateway.clientId, "Id of its app client" )->needs( endpoint );
    endpoint->needs( "--auth-client-id" );
}

/// Secrets come by the environment: a command line is there for everybody to read.
void readIdentitySecrets( IdentityOptions& identity )
{
    identity.smtp.user = environment( "ORVANTA_SMTP_USER" );
    identity.smtp.password = environment( "ORVANTA_SMTP_PASSWORD" );
    identity.gateway.clientSecret = environment( "ORVANTA_AUTH_CLIENT_SECRET" );
}

int runServe( Line& line )
{
    auto& options = line.options;
    readIdentitySecrets( options.identity );
    options.keepStatistics = std::chrono::days( line.statisticsDays );
    options.choresEvery = std::chrono::seconds( line.choresSeconds );
    options.worker.memory = line.workerMebibytes ? *line.workerMebibytes << 20 : memoryOfAConversion( options.slots );
    options.worker.outputSize = options.maxUpload = line.uploadMebibytes << 20;
    options.maxStored = line.storedMebibytes << 20;
    options.maxStatistics = line.statisticsMebibytes << 20;
    options.maxStatisticsWaiting = line.waitingMebibytes << 20;
    options.keep = std::chrono::minutes( line.keepMinutes );
    options.worker.time = std::chrono::seconds( line.workerSeconds );
    return line.onlyChecks ? checkOnly( options )
                           : serve( options, std::chrono::seconds( line.drainSeconds ), line.jsonLog );
}

} // namespace

void addServe( CLI::App& app, Run& run )
{
    const auto line = std::make_shared<Line>();
    auto& options = line->options;
    auto* command = app.add_subcommand( "serve", "Serve over TLS until it is told to stop" )->fallthrough();
    command->add_option( "--data", options.data, "Folder of the database, certificates, keys and objects" )->required();
    command->add_option( "--port", options.port, "TCP port; 0 takes a free one" )->capture_default_str();
    addNetworkOptions( *command, options );
    addLogOption( *command, line->jsonLog );
    command->add_option( "--latest-version", options.latestVersion,
        "Newest release, told to programs that ask; this back end's own version unless given" );
    command->add_option( "--downloads", options.downloads,
        "Folder of the Debian packages that the page /download lists; DATA/downloads unless given" );
    addConversionOptions( *command, *line );
    addDatabaseOption( *command, options.database );
    addStoreOptions( *command, options.store );
    command->add_flag( "--check", line->onlyChecks, "Only say whether these options and the certificate could be used" )
        ->configurable( false );
    // For tests, which cannot wait for the clock.
    command->add_option( "--chores-every", line->choresSeconds )->check( CLI::Range( 1, 86400 ) )->group( "" );
    addStatisticsOptions( *command, *line );
    addIdentityOptions( *command, options.identity );
    command->callback( [line, &run] { run = [line] { return runServe( *line ); }; } );
}

} // namespace VX::Backend::Lines
