#include "commands/DaemonLoop.h"
#include "commands/ServiceLine.h"
#include "text/Environment.h"

#include <spdlog/spdlog.h>

#include <cstdio>

namespace VX::Backend::Lines
{
namespace
{

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

void addNetworkOptions( CLI::App& command, ServiceOptions& options )
{
    command.add_option( "--listen", options.address, "Address of this machine to listen on; 0.0.0.0 or :: for all" )
        ->capture_default_str();
    command.add_option( "--public-url", options.publicUrl,
        "What clients call this service, https://HOST[:PORT]; https://localhost:PORT unless given" );
    addMonitorOption( command, options );
    command.add_option( "--trusted-proxy", options.trustedProxies,
        "Network of proxies, such as 10.0.0.0/8, whose X-Forwarded-For names the clients; may be given several times" );
    auto* certificate = command.add_option( "--tls-certificate", options.tlsCertificate,
        "PEM file of the certificate and those between it and its authority; "
        "one for this machine alone is made unless given. Read again on "
        "SIGHUP, with its key" );
    auto* key = command.add_option( "--tls-key", options.tlsKey, "PEM file of its key" )->needs( certificate );
    certificate->needs( key );
}

void addStatisticsOptions( CLI::App& command, ServiceLine& line )
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

int runServe( ServiceLine& line )
{
    takeUnits( line );
    readIdentitySecrets( line.options.identity );
    if ( line.onlyChecks )
        return checkOnly( line.options );
    const auto start = [&options = line.options]() -> tl::expected<std::unique_ptr<Daemon>, std::string>
    {
        warnOfSandbox( options );
        return Service::start( options );
    };
    return runDaemon( start, std::chrono::seconds( line.drainSeconds ), line.jsonLog );
}

} // namespace

void addServe( CLI::App& app, Run& run )
{
    const auto line = std::make_shared<ServiceLine>();
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
    command->add_flag( "--allow-anonymous", options.allowAnonymous, "Convert files of clients that are not signed in" );
    addConversionOptions( *command, *line );
    addDatabaseOption( *command, options.database );
    addStoreOptions( *command, options.store );
    command->add_flag( "--check", line->onlyChecks, "Only say whether these options and the certificate could be used" )
        ->configurable( false );
    addTestOptions( *command, *line );
    addStatisticsOptions( *command, *line );
    addIdentityOptions( *command, options.identity );
    command->callback( [line, &run] { run = [line] { return runServe( *line ); }; } );
}

} // namespace VX::Backend::Lines
