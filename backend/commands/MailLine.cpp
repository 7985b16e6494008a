#include "commands/Lines.h"
#include "mail/MailCommands.h"

namespace VX::Backend::Lines
{

void addMails( CLI::App& app, Run& run )
{
    using Action = MailCommand::Action;
    const auto mails = std::make_shared<MailCommand>();
    auto* group = app.add_subcommand( "mails", "Mails of the last day, and those that wait" );
    group->require_subcommand( 1 );
    const auto add = [&]( const char* name, const char* text, Action action )
    { return addAction( *group, name, text, mails, action, &runMailCommand, run ); };
    add( "list", "List them, with what became of each", Action::List );
    add( "retry", "Send what waits now, and not when its pause is over", Action::Retry )
        ->add_option( "number", mails->number, "One mail; all that wait, unless given" );
}

} // namespace VX::Backend::Lines
