#include "commands/DaemonLoop.h"
#include "commands/ServiceLine.h"
#include "serve/WorkService.h"

namespace VX::Backend::Lines
{
namespace
{

int runWork( ServiceLine& line )
{
    takeUnits( line );
    const auto start = [&options = line.options]() -> tl::expected<std::unique_ptr<Daemon>, std::string>
    {
        warnOfSandbox( options );
        return WorkService::start( options );
    };
    return runDaemon( start, std::chrono::seconds( line.drainSeconds ), line.jsonLog );
}

} // namespace

void addWork( CLI::App& app, Run& run )
{
    const auto line = std::make_shared<ServiceLine>();
    auto& options = line->options;
    auto* command =
        app.add_subcommand( "work", "Convert for services on other machines until it is told to stop" )->fallthrough();
    command->add_option( "--data", options.data, "Folder of its own, for what it works on" )->required();
    addMonitorOption( *command, options );
    addLogOption( *command, line->jsonLog );
    addConversionOptions( *command, *line );
    addDatabaseOption( *command, options.database );
    addStoreOptions( *command, options.store );
    addTestOptions( *command, *line );
    command->callback( [line, &run] { run = [line] { return runWork( *line ); }; } );
}

} // namespace VX::Backend::Lines
