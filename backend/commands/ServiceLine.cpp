#include "commands/ServiceLine.h"

#include <VXMesh/system/FileView.h>

#include <spdlog/spdlog.h>

namespace VX::Backend::Lines
{

void addMonitorOption( CLI::App& command, ServiceOptions& options )
{
    command.add_option( "--monitor", options.monitor,
        "ADDRESS:PORT, such as 127.0.0.1:8444, of a listener of its own, without TLS, for /metrics, /readyz, /healthz "
        "and /livez; there is none unless given" );
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

void addConversionOptions( CLI::App& command, ServiceLine& line )
{
    command
        .add_option( "--slots,--workers", line.options.slots,
            "Conversions at a time; with 0 none runs here, but where \"work\" does" )
        ->check( CLI::Range( 0, 64 ) )
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

void addTestOptions( CLI::App& command, ServiceLine& line )
{
    // They cannot wait for the clock, and measure what is around a conversion.
    command.add_option( "--chores-every", line.choresSeconds )->check( CLI::Range( 1, 86400 ) )->group( "" );
    command.add_option( "--converter", line.options.converter )->group( "" );
}

void takeUnits( ServiceLine& line )
{
    auto& options = line.options;
    options.worker.memory =
        line.workerMebibytes ? *line.workerMebibytes << 20 : memoryOfAConversion( std::max( options.slots, 1 ) );
    options.worker.outputSize = options.maxUpload = line.uploadMebibytes << 20;
    options.worker.time = std::chrono::seconds( line.workerSeconds );
    options.maxStored = line.storedMebibytes << 20;
    options.maxStatistics = line.statisticsMebibytes << 20;
    options.maxStatisticsWaiting = line.waitingMebibytes << 20;
    options.keep = std::chrono::minutes( line.keepMinutes );
    options.keepStatistics = std::chrono::days( line.statisticsDays );
    options.choresEvery = std::chrono::seconds( line.choresSeconds );
}

void warnOfSandbox( const ServiceOptions& options )
{
    if ( options.withoutSandbox )
        spdlog::warn( "Without bubblewrap workers have limits and the kernel's filters alone{}",
            canNarrowFiles() ? "" : ", and this kernel hides no files from them" );
}

} // namespace VX::Backend::Lines
