#include "identity/keys/KeyCommands.h"

#include "data/DataFolder.h"
#include "identity/keys/IdentityKeys.h"
#include "identity/keys/KeyPair.h"
#include "text/ExitStatus.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <iostream>

namespace VX::Backend
{
namespace
{

void list( const IdentityKeys& keys )
{
    for ( const auto& key : keys.signing )
        std::cout << fmt::format( "{}  since {:%Y-%m-%d %H:%M}  {}\n", keyPairOf( key.seed ).id, key.since,
            key == keys.signing.back() ? "signs" : "former" );
}

void tellRotated( const IdentityKeys& keys )
{
    std::cout << "Tokens are signed by the key " << keyPairOf( keys.signing.back().seed ).id
              << " from now on; those of the former one are good until they expire\n";
}

} // namespace

int runKeyCommand( const KeyCommand& command )
{
    if ( command.action == KeyCommand::Action::List )
        return exitStatusOf( readIdentityKeys( command.data ).map( list ) );
    const auto rotated = rotateSigningKey( command.data, systemTime() );
    giveToOwner( command.data );
    return exitStatusOf( rotated.map( tellRotated ) );
}

} // namespace VX::Backend
