#include "converter/ConvertCommand.h"
#include "identity/UserCommands.h"
#include "serve/Service.h"
#include "statistics/StatsReport.h"
#include "worker/WorkerMain.h"

#include <VXMesh/system/PrivateMemory.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXMesh/system/TerminalLog.h>

#include <CLI/CLI.hpp>
#include <curl/curl.h>
#include <spdlog/spdlog.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>

namespace
{

using namespace VX::Backend;

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

int serve( const ServiceOptions& options )
{
    // Blocked before any thread starts, so that the wait below gets them and nobody else.
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGINT );
    sigaddset( &signals, SIGTERM );
    sigaddset( &signals, SIGHUP );
    pthread_sigmask( SIG_BLOCK, &signals, nullptr );
    std::signal( SIGPIPE, SIG_IGN );
    ::umask( 077 );

    const auto service = Service::start( options );
    if ( !service )
    {
        spdlog::error( "{}", service.error() );
        return 1;
    }
    std::printf( "Orvanta back end is ready at %s\n", ( *service )->url().c_str() );
    std::fflush( stdout );
    for ( int signal = SIGHUP; signal == SIGHUP; )
    {
        sigwait( &signals, &signal );
        if ( signal == SIGHUP )
            reloadCertificate( **service );
    }
    return 0;
}

/// Sizes as the command line takes them.
struct Mebibytes
{
    uint64_t memory, upload, stored, statistics;
};

void addNetworkOptions( CLI::App& command, ServiceOptions& options )
{
    command.add_option( "--listen", options.address, "Address of this machine to listen on; 0.0.0.0 or :: for all" )
        ->capture_default_str();
    command.add_option( "--public-url", options.publicUrl,
        "What clients call this service, https://HOST[:PORT]; https://localhost:PORT unless given" );
    command.add_option( "--trusted-proxy", options.trustedProxies,
        "Network of proxies, such as 10.0.0.0/8, whose X-Forwarded-For names the clients; may be given several times" );
    auto* certificate = command.add_option( "--tls-certificate", options.tlsCertificate,
        "PEM file of the certificate and those between it and its authority; "
        "one for this machine alone is made unless given. Read again on "
        "SIGHUP, with its key" );
    auto* key = command.add_option( "--tls-key", options.tlsKey, "PEM file of its key" )->needs( certificate );
    certificate->needs( key );
}

void addServeOptions( CLI::App& command, ServiceOptions& options, Mebibytes& sizes, int64_t& time )
{
    command.add_option( "--data", options.data, "Folder of the database, certificates, keys and objects" )->required();
    command.add_option( "--port", options.port, "TCP port; 0 takes a free one" )->capture_default_str();
    addNetworkOptions( command, options );
    command.add_flag( "--allow-anonymous", options.allowAnonymous, "Convert files of clients that are not signed in" );
    command.add_option( "--latest-version", options.latestVersion,
        "Newest release, told to programs that ask; this back end's own version unless given" );
    command.add_option( "--downloads", options.downloads,
        "Folder of the Debian packages that the page /download lists; DATA/downloads unless given" );
    command.add_option( "--slots", options.slots, "Conversions at a time" )
        ->check( CLI::Range( 1, 64 ) )
        ->capture_default_str();
    command.add_option( "--worker-memory", sizes.memory, "MiB of address space of each process of a conversion" )
        ->capture_default_str();
    command.add_option( "--worker-time", time, "Seconds that one conversion may take" )
        ->check( CLI::Range( 1, 86400 ) )
        ->capture_default_str();
    command
        .add_option(
            "--max-stored", sizes.stored, "MiB of all uploads and results together; nobody alone has more than half" )
        ->capture_default_str();
    command.add_option( "--max-upload", sizes.upload, "MiB of the largest upload and of what it may unpack to" )
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
    const auto read = []( const char* name )
    {
        const char* value = std::getenv( name );
        return std::string( value ? value : "" );
    };
    identity.smtp.user = read( "ORVANTA_SMTP_USER" );
    identity.smtp.password = read( "ORVANTA_SMTP_PASSWORD" );
    identity.gateway.clientSecret = read( "ORVANTA_AUTH_CLIENT_SECRET" );
}

void addUserCommands( CLI::App& app, UserCommand& user )
{
    using Action = UserCommand::Action;
    auto* group = app.add_subcommand( "user", "Accounts of the embedded identity service" );
    group->require_subcommand( 1 );
    const auto add = [&]( const char* name, const char* text, Action action )
    {
        auto* command = group->add_subcommand( name, text );
        command->add_option( "--data", user.data, "Folder of the service's data" )->required();
        if ( action != Action::List )
            command->add_option( "email", user.email )->required();
        command->callback( [&user, action] { user.action = action; } );
        return command;
    };
    const auto withPassword = [&]( CLI::App* command )
    {
        command->add_flag( "--password-stdin", user.passwordFromInput,
            "Take the password from the first line of the input; a random one is printed otherwise" );
        command->add_option( "--credentials", user.credentials,
            "Write address and password into this file, for the program's argument -creds" );
    };
    withPassword( add( "add", "Add a confirmed account", Action::Add ) );
    add( "list", "List all accounts", Action::List );
    add( "confirm", "Confirm an account without its code", Action::Confirm );
    withPassword( add( "reset", "Set another password and end all sign-ins", Action::Reset ) );
    add( "remove", "Remove an account", Action::Remove );
}

void addConvertCommand( CLI::App& app, ConvertCommand& convert, uint64_t& memory, int64_t& time )
{
    auto* command = app.add_subcommand( "convert", "Convert a STEP file into a scene file, without a service" );
    command->add_option( "input", convert.input, "STEP file" )->required();
    command->add_option( "output", convert.output, "Scene file to write, OUT.vxu" )->required();
    command->add_option( "--worker-memory", memory, "MiB of address space of each process of the conversion" )
        ->capture_default_str();
    command->add_option( "--worker-time", time, "Seconds that the conversion may take" )
        ->check( CLI::Range( 1, 86400 ) )
        ->capture_default_str();
    command->add_flag( "--for-program", convert.forProgram, "Speak to a program on standard input and output" )
        ->group( "" );
    command->footer(
        "Tells how far it is on standard error. The status is 0 when the scene was written, 1 when it could "
        "not be, with the\nreason on standard error, and 130 after Ctrl+C. A file that was there stays until "
        "the new one is whole." );
}

} // namespace

int main( int argc, char** argv )
{
    VX::keepMemoryPrivate();
    VX::startTerminalLog( "backend" );
    curl_global_init( CURL_GLOBAL_DEFAULT );
    CLI::App app( "Back end of Orvanta: the services on one machine" );
    app.set_version_flag( "--version", VX::GetVXVersionString() );
    app.require_subcommand( 1 );

    ServiceOptions options;
    Mebibytes sizes{
        options.worker.memory >> 20, options.maxUpload >> 20, options.maxStored >> 20, options.maxStatistics >> 20 };
    int64_t time = options.worker.time.count();
    app.set_config( "--config", "",
        "File of options, such as port=8443 below a line [serve], of which those given here are taken first" );
    app.allow_config_extras( CLI::config_extras_mode::error );
    auto* serveCommand = app.add_subcommand( "serve", "Serve over TLS until it is told to stop" )->fallthrough();
    addServeOptions( *serveCommand, options, sizes, time );
    bool onlyChecks = false;
    serveCommand->add_flag( "--check", onlyChecks, "Only say whether these options and the certificate could be used" )
        ->configurable( false );

    int statisticsDays = int( std::chrono::duration_cast<std::chrono::days>( options.keepStatistics ).count() );
    serveCommand->add_option( "--keep-statistics", statisticsDays, "Days after which statistics are deleted" )
        ->check( CLI::Range( 1, 36500 ) )
        ->capture_default_str();
    serveCommand->add_option( "--max-statistics", sizes.statistics, "MiB of all statistics; more are refused" )
        ->capture_default_str();
    StatsReportOptions report;
    auto* statsCommand = app.add_subcommand( "stats", "Print what the statistics say" );
    statsCommand->add_option( "--data", report.data, "Folder of the service's data" )->required();
    statsCommand->add_option( "--days", report.days, "How many days back" )
        ->check( CLI::Range( 1, 36500 ) )
        ->capture_default_str();
    statsCommand->add_option( "--actions", report.actions, "How many actions" )
        ->check( CLI::Range( 1, 100000 ) )
        ->capture_default_str();
    statsCommand->add_flag( "--csv", report.csv, "For a spreadsheet" );
    addIdentityOptions( *serveCommand, options.identity );
    UserCommand user;
    addUserCommands( app, user );

    WorkerJob job;
    auto* workerCommand = app.add_subcommand( "worker", "Convert one file; started by the service" )->group( "" );
    workerCommand->add_option( "folder", job.folder )->required();
    workerCommand->add_option( "memory", job.memory )->required();
    workerCommand->add_option( "output", job.outputSize )->required();
    workerCommand->add_option( "seconds", job.seconds )->required();

    ConvertCommand convert;
    addConvertCommand( app, convert, sizes.memory, time );

    CLI11_PARSE( app, argc, argv );
    if ( app.got_subcommand( "convert" ) )
    {
        convert.limits.memory = sizes.memory << 20;
        convert.limits.time = std::chrono::seconds( time );
        return runConvertCommand( convert );
    }
    if ( *workerCommand )
        return runWorker( job );
    if ( app.got_subcommand( "user" ) )
        return runUserCommand( user );
    if ( *statsCommand )
        return printStatsReport( report );
    options.keepStatistics = std::chrono::days( statisticsDays );
    readIdentitySecrets( options.identity );
    options.worker.memory = sizes.memory << 20;
    options.worker.outputSize = options.maxUpload = sizes.upload << 20;
    options.maxStored = sizes.stored << 20;
    options.maxStatistics = sizes.statistics << 20;
    options.worker.time = std::chrono::seconds( time );
    return onlyChecks ? checkOnly( options ) : serve( options );
}
