#include "identity/keys/KeyCommands.h"

#include "data/DataFolder.h"
#include "identity/keys/FileKeyStore.h"
#include "identity/keys/KeyPair.h"
#include "identity/keys/KeyStores.h"
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

void tellRotated( const IdentityKeys& keys, std::chrono::seconds notice )
{
    std::cout << "Tokens are signed by the key " << keyPairOf( keys.signing.back().seed ).id
              << ( notice.count() == 0 ? " from now on" : " from the next minute on" )
              << "; those of the former one are good until they expire\n";
}

tl::expected<void, std::string> act( const KeyCommand& command, KeyStore& store )
{
    if ( command.action == KeyCommand::Action::List )
        return store.read().map( list );
    const auto rotated = rotateSigningKey( store, systemTime() );
    giveToOwner( command.data );
    return rotated.map( [&]( const IdentityKeys& keys ) { tellRotated( keys, store.notice() ); } );
}

tl::expected<void, std::string> run( const KeyCommand& command )
{
    if ( command.database.empty() )
    {
        FileKeyStore store( command.data );
        return act( command, store );
    }
    const auto database = openExistingMain( command );
    if ( !database )
        return tl::unexpected( database.error() );
    return act( command, *keyStoreOf( command.data, **database ) );
}

} // namespace

int runKeyCommand( const KeyCommand& command )
{
    return exitStatusOf( run( command ) );
}

} // namespace VX::Backend
