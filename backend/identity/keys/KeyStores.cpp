#include "identity/keys/KeyStores.h"

#include "identity/keys/DatabaseKeyStore.h"
#include "identity/keys/FileKeyStore.h"

namespace VX::Backend
{

std::unique_ptr<KeyStore> keyStoreOf( const std::filesystem::path& data, Database& database )
{
    if ( database.engine().isShared() )
        return std::make_unique<DatabaseKeyStore>( database );
    return std::make_unique<FileKeyStore>( data );
}

DatabaseResult<void> prepareKeys( Database& database )
{
    return database.engine().isShared() ? DatabaseKeyStore::prepare( database ) : DatabaseResult<void>();
}

} // namespace VX::Backend
