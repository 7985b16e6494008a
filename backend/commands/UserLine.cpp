#include "commands/Lines.h"
#include "identity/UserCommands.h"
#include "privacy/PersonalData.h"
#include "text/ExitStatus.h"

#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <iostream>

namespace VX::Backend::Lines
{
namespace
{

struct Person : DataPlace
{
    std::string email;
    S3Bucket bucket;
};

int told( const tl::expected<std::string, std::string>& answer )
{
    return exitStatusOf( answer.map( []( const std::string& text ) { std::cout << text << "\n"; } ) );
}

int exportPerson( const Person& person )
{
    return told( personalData( person, person.email )
            .map( []( const Json::Value& known ) { return trimmed( known.toStyledString() ); } ) );
}

int erasePerson( const Person& person )
{
    return told( withKeys( person.bucket )
            .and_then( [&]( const S3Bucket& bucket ) { return erasePersonalData( person, person.email, bucket ); } )
            .map(
                [&]( const Erased& erased )
                {
                    auto text = "Erased all that was known of " + person.email;
                    if ( erased.nobodysSessions > 0 )
                        text +=
                            fmt::format( "\nOf {} sessions in the statistics nobody can tell whose they are: their "
                                         "codes were made with keys that are gone. They go with the others of their "
                                         "age",
                                erased.nobodysSessions );
                    return text;
                } ) );
}

/// What is not about accounts alone, and asks for nothing but an address.
CLI::App* addPerson( CLI::App& group, const char* name, const char* text, const std::shared_ptr<Person>& person,
    Run& run, int ( *act )( const Person& ) )
{
    auto* command = group.add_subcommand( name, text );
    addPlace( *command, *person );
    command->add_option( "email", person->email )->required();
    command->callback( [person, act, &run] { run = [person, act] { return act( *person ); }; } );
    return command;
}

} // namespace

void addUser( CLI::App& app, Run& run )
{
    using Action = UserCommand::Action;
    const auto user = std::make_shared<UserCommand>();
    auto* group = app.add_subcommand( "user", "Accounts of the embedded identity service" );
    group->require_subcommand( 1 );
    const auto add = [&]( const char* name, const char* text, Action action )
    {
        auto* command = addAction( *group, name, text, user, action, &runUserCommand, run );
        if ( action != Action::List )
            command->add_option( "email", user->email )->required();
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
    const auto person = std::make_shared<Person>();
    addPerson( *group, "export", "Print all that is kept of a person, as JSON", person, run, &exportPerson );
    auto* erase = addPerson( *group, "erase",
        "Remove a person's account, mails, conversions and statistics, so that nothing of them is left", person, run,
        &erasePerson );
    addBucket( *erase, person->bucket );
}

} // namespace VX::Backend::Lines
