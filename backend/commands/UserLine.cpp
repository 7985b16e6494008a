#include "commands/Lines.h"
#include "identity/UserCommands.h"

namespace VX::Backend::Lines
{

void addUser( CLI::App& app, Run& run )
{
    using Action = UserCommand::Action;
    const auto user = std::make_shared<UserCommand>();
    auto* group = app.add_subcommand( "user", "Accounts of the embedded identity service" );
    group->require_subcommand( 1 );
    const auto add = [&]( const char* name, const char* text, Action action )
    {
        auto* command = group->add_subcommand( name, text );
        command->add_option( "--data", user->data, "Folder of the service's data" )->required();
        if ( action != Action::List )
            command->add_option( "email", user->email )->required();
        command->callback(
            [user, action, &run]
            {
                user->action = action;
                run = [user] { return runUserCommand( *user ); };
            } );
        return command;
    };
    const auto withPassword = [&]( CLI::App* command )
    {
        command->add_flag( "--password-stdin", user->passwordFromInput,
            "Take the password from the first line of the input; a random one is printed otherwise" );
        command->add_option( "--credentials", user->credentials,
            "Write address and password into this file, for the program's argument -creds" );
    };
    withPassword( add( "add", "Add a confirmed account", Action::Add ) );
    add( "list", "List all accounts", Action::List );
    add( "confirm", "Confirm an account without its code", Action::Confirm );
    withPassword( add( "reset", "Set another password and end all sign-ins", Action::Reset ) );
    add( "block", "Keep an account out and end all sign-ins", Action::Block );
    add( "unblock", "Let an account sign in again", Action::Unblock );
    add( "remove", "Remove an account", Action::Remove );
}

} // namespace VX::Backend::Lines
