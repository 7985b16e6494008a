#include "commands/Lines.h"
#include "statistics/StatsReport.h"

namespace VX::Backend::Lines
{

void addStats( CLI::App& app, Run& run )
{
    const auto report = std::make_shared<StatsReportOptions>();
    auto* command = app.add_subcommand( "stats", "Print what the statistics say" );
    addPlace( *command, *report );
    command->add_option( "--days", report->days, "How many days back" )
        ->check( CLI::Range( 1, 36500 ) )
        ->capture_default_str();
    command->add_option( "--actions", report->actions, "How many actions" )
        ->check( CLI::Range( 1, 100000 ) )
        ->capture_default_str();
    command->add_flag( "--csv", report->csv, "For a spreadsheet" );
    command->callback( [report, &run] { run = [report] { return printStatsReport( *report ); }; } );
}

} // namespace VX::Backend::Lines
