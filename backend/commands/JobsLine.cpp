#include "commands/Lines.h"
#include "converter/JobCommands.h"
#include "text/ExitStatus.h"

namespace VX::Backend::Lines
{
namespace
{

int runJobs( const JobCommand& command )
{
    const auto bucket = withKeys( command.bucket );
    if ( !bucket )
        return exitStatusOf( tl::expected<void, std::string>( tl::unexpected( bucket.error() ) ) );
    auto whole = command;
    whole.bucket = *bucket;
    return runJobCommand( whole );
}

} // namespace

void addJobs( CLI::App& app, Run& run )
{
    using Action = JobCommand::Action;
    const auto jobs = std::make_shared<JobCommand>();
    auto* group = app.add_subcommand( "jobs", "Conversions that are not forgotten yet" );
    group->require_subcommand( 1 );
    const auto add = [&]( const char* name, const char* text, Action action )
    {
        auto* command = addAction( *group, name, text, jobs, action, &runJobs, run );
        if ( action != Action::List )
            command->add_option( "id", jobs->id, "Which one, as the list names it" )->required();
        if ( action == Action::Show || action == Action::Retry )
            addBucket( *command, jobs->bucket );
    };
    add( "list", "List them: id, state, owner, age, bytes and attempts", Action::List );
    add( "show", "Print all that is known of one", Action::Show );
    add( "retry", "Queue one again that has failed, while its upload is there", Action::Retry );
    add( "cancel", "End one that waits or runs; its client is told so", Action::Cancel );
}

} // namespace VX::Backend::Lines
