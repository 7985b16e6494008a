#include "commands/Lines.h"
#include "worker/WorkerMain.h"

namespace VX::Backend::Lines
{

void addWorker( CLI::App& app, Run& run )
{
    const auto job = std::make_shared<WorkerJob>();
    auto* command = app.add_subcommand( "worker", "Convert one file; started by the service" )->group( "" );
    command->add_option( "folder", job->folder )->required();
    command->add_option( "memory", job->memory )->required();
    command->add_option( "output", job->outputSize )->required();
    command->add_option( "seconds", job->seconds )->required();
    command->add_option( "processes", job->processes )->required();
    command->add_option( "tasks", job->tasks )->required();
    command->add_option( "user", job->user )->required();
    command->callback( [job, &run] { run = [job] { return runWorker( *job ); }; } );
}

} // namespace VX::Backend::Lines
