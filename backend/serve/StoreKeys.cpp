#include "serve/StoreKeys.h"

#include "crypto/Hex.h"
#include "text/Environment.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>

namespace VX::Backend
{
namespace
{

/// The environment's value, else the stored one, else a new one; tells whether it has to be stored.
std::string choose(
    const char* variable, Json::Value& stored, const char* key, const std::string& fresh, bool& changed )
{
    if ( auto value = environment( variable ); !value.empty() )
        return value;
    if ( !stored[key].isString() )
    {
        stored[key] = fresh;
        changed = true;
    }
    return stored[key].asString();
}

} // namespace

tl::expected<StoreKeys, std::string> ensureStoreKeys( const std::filesystem::path& folder )
{
    const auto file = folder / "store-keys.json";
    auto stored = deserializeJsonValue( file ).value_or( Json::Value( Json::objectValue ) );
    if ( !stored.isObject() )
        stored = Json::Value( Json::objectValue );
    bool changed = false;
    StoreKeys keys;
    keys.credentials.accessKey = choose( "ORVANTA_S3_KEY", stored, "key", "ORV" + randomHex( 8 ), changed );
    keys.credentials.secretKey = choose( "ORVANTA_S3_SECRET", stored, "secret", randomHex( 24 ), changed );
    keys.bucket = choose( "ORVANTA_S3_BUCKET", stored, "bucket", "orvanta", changed );
    if ( changed )
        if ( auto written = writeFileAtomically( file, stored.toStyledString(), { .mode = 0600 } ); !written )
            return tl::unexpected( written.error() );
    return keys;
}

tl::expected<StoreKeys, std::string> foreignStoreKeys()
{
    StoreKeys keys;
    keys.credentials.accessKey = environment( "ORVANTA_S3_KEY" );
    keys.credentials.secretKey = environment( "ORVANTA_S3_SECRET" );
    keys.bucket = environment( "ORVANTA_S3_BUCKET" );
    if ( keys.credentials.accessKey.empty() || keys.credentials.secretKey.empty() || keys.bucket.empty() )
        return tl::unexpected( std::string(
            "A store of another service needs ORVANTA_S3_KEY, ORVANTA_S3_SECRET and ORVANTA_S3_BUCKET in the "
            "environment" ) );
    return keys;
}

} // namespace VX::Backend
