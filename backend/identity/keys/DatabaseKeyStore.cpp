#include "identity/keys/DatabaseKeyStore.h"

#include "crypto/Hex.h"
#include "database/Schema.h"
#include "identity/keys/KeyText.h"

#include <VXMesh/io/Json.h>

namespace VX::Backend
{
namespace
{

constexpr const char* cName = "identity";

} // namespace

DatabaseResult<void> DatabaseKeyStore::prepare( Database& database )
{
    return makeTable( database, { "secrets", "name TEXT PRIMARY KEY, text TEXT NOT NULL" } );
}

DatabaseKeyStore::DatabaseKeyStore( Database& database )
    : database_( database )
{
}

std::string DatabaseKeyStore::name() const
{
    return "What the table \"secrets\" tells of \"identity\"";
}

DatabaseResult<std::string> DatabaseKeyStore::text_()
{
    return database_.query( "SELECT text FROM secrets WHERE name = ?", { std::string( cName ) } )
        .map( []( const std::vector<SqlRow>& rows ) { return rows.empty() ? "" : textOf( rows.front()[0] ); } );
}

KeyStore::Result DatabaseKeyStore::read()
{
    const auto text = text_();
    if ( !text )
        return tl::unexpected( text.error().text );
    if ( text->empty() )
        return tl::unexpected( name() + " is missing" );
    auto keys = keysOfText( deserializeJsonValue( *text ).value_or( Json::Value() ), {} );
    // New ones in their place would end every sign-in there is without a word.
    if ( !keys )
        return tl::unexpected( name() + " is damaged; restore it, or remove it to end all sign-ins" );
    return std::move( *keys );
}

KeyStore::Result DatabaseKeyStore::write_( const IdentityKeys& keys )
{
    const auto kept = database_.execute( "INSERT INTO secrets VALUES(?1, ?2) ON CONFLICT(name) DO UPDATE SET text = ?2",
        { std::string( cName ), textOfKeys( keys ) } );
    if ( !kept )
        return tl::unexpected( kept.error().text );
    return keys;
}

KeyStore::Result DatabaseKeyStore::ensure( std::chrono::sys_seconds now )
{
    Database::Transaction transaction( database_ );
    const auto text = text_();
    if ( !text )
        return tl::unexpected( text.error().text );
    if ( !text->empty() )
        return read();
    const auto made = newIdentityKeys( now ).and_then( [&]( const IdentityKeys& keys ) { return write_( keys ); } );
    if ( const auto kept = transaction.commit(); made && !kept )
        return tl::unexpected( kept.error().text );
    return made;
}

KeyStore::Result DatabaseKeyStore::change( const std::function<void( IdentityKeys& )>& edit )
{
    Database::Transaction transaction( database_ );
    auto keys = read();
    if ( !keys )
        return keys;
    edit( *keys );
    auto changed = write_( *keys );
    if ( const auto kept = transaction.commit(); changed && !kept )
        return tl::unexpected( kept.error().text );
    return changed;
}

std::optional<std::string> DatabaseKeyStore::stamp()
{
    const auto text = text_();
    return text ? std::optional( sha256( *text ) ) : std::nullopt;
}

} // namespace VX::Backend
