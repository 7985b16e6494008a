#include "identity/keys/IdentityKeys.h"

#include "identity/keys/FileKeyStore.h"
#include "identity/keys/KeyText.h"

namespace VX::Backend
{
namespace
{

/// How many keys, the oldest of them, have not signed for so long.
size_t numberToDrop( const IdentityKeys& keys, std::chrono::sys_seconds now, std::chrono::seconds unused )
{
    size_t out = 0;
    while ( out + 1 < keys.signing.size() && keys.signing[out + 1].since + unused < now )
        ++out;
    return out;
}

} // namespace

bool hasKeysToDrop( const IdentityKeys& keys, std::chrono::sys_seconds now, std::chrono::seconds unused )
{
    return numberToDrop( keys, now, unused ) > 0;
}

KeyStore::Result rotateSigningKey( KeyStore& store, std::chrono::sys_seconds now, std::chrono::seconds age )
{
    return store.change(
        [&]( IdentityKeys& keys )
        {
            if ( now - keys.signing.back().since >= age )
                keys.signing.push_back( newSigningKey( now + store.notice() ) );
        } );
}

KeyStore::Result dropFormerKeys( KeyStore& store, std::chrono::sys_seconds now, std::chrono::seconds unused )
{
    return store.change(
        [=]( IdentityKeys& keys )
        {
            keys.signing.erase(
                keys.signing.begin(), keys.signing.begin() + std::ptrdiff_t( numberToDrop( keys, now, unused ) ) );
        } );
}

std::filesystem::path identityKeysFile( const std::filesystem::path& folder )
{
    return folder / "identity-keys.json";
}

KeyStore::Result readIdentityKeys( const std::filesystem::path& folder )
{
    return FileKeyStore( folder ).read();
}

KeyStore::Result ensureIdentityKeys( const std::filesystem::path& folder, std::chrono::sys_seconds now )
{
    return FileKeyStore( folder ).ensure( now );
}

KeyStore::Result rotateSigningKey( const std::filesystem::path& folder, std::chrono::sys_seconds now )
{
    FileKeyStore store( folder );
    return rotateSigningKey( store, now );
}

} // namespace VX::Backend
