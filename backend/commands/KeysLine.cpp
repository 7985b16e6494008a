#include "commands/Lines.h"
#include "identity/keys/KeyCommands.h"

namespace VX::Backend::Lines
{

void addKeys( CLI::App& app, Run& run )
{
    using Action = KeyCommand::Action;
    const auto keys = std::make_shared<KeyCommand>();
    auto* group = app.add_subcommand( "keys", "Keys that sign the tokens of sign-ins" );
    group->require_subcommand( 1 );
    const auto add = [&]( const char* name, const char* text, Action action )
    { addAction( *group, name, text, keys, action, &runKeyCommand, run ); };
    add( "list", "List them, the one that signs last", Action::List );
    add( "rotate", "Sign with a new key; tokens of the former one are good until they expire", Action::Rotate );
}

} // namespace VX::Backend::Lines
