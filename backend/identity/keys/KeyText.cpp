#include "identity/keys/KeyText.h"

#include "crypto/Hex.h"

#include <sodium.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr size_t cKeySize = 32;

/// The bytes of a text of hexadecimal digits; empty when it is not one of a key's length.
std::string keyIn( const Json::Value& value )
{
    const auto text = value.isString() ? value.asString() : std::string();
    std::string out( cKeySize, '\0' );
    size_t length = 0;
    const bool good = sodium_hex2bin( reinterpret_cast<unsigned char*>( out.data() ), out.size(), text.data(),
                          text.size(), nullptr, &length, nullptr ) == 0;
    return good && length == cKeySize && text.size() == 2 * cKeySize ? out : std::string();
}

/// None where any of them is damaged.
std::vector<SigningKey> signingKeysIn( const Json::Value& value, std::chrono::sys_seconds written )
{
    if ( value.isString() )
        return { { keyIn( value ), written } };
    std::vector<SigningKey> out;
    for ( const auto& one : value.isArray() ? value : Json::Value() )
    {
        if ( !one.isObject() || !one["since"].isInt64() )
            return {};
        out.push_back(
            { keyIn( one["seed"] ), std::chrono::sys_seconds( std::chrono::seconds( one["since"].asInt64() ) ) } );
    }
    return out;
}

bool isWhole( const IdentityKeys& keys )
{
    return !keys.codes.empty() && !keys.signing.empty() &&
           std::none_of(
               keys.signing.begin(), keys.signing.end(), []( const SigningKey& key ) { return key.seed.empty(); } );
}

} // namespace

std::string textOfKeys( const IdentityKeys& keys )
{
    Json::Value root;
    root["codes"] = hex( keys.codes );
    for ( const auto& key : keys.signing )
    {
        Json::Value one;
        one["seed"] = hex( key.seed );
        one["since"] = Json::Int64( key.since.time_since_epoch().count() );
        root["signing"].append( one );
    }
    return root.toStyledString();
}

std::optional<IdentityKeys> keysOfText( const Json::Value& root, std::chrono::sys_seconds written )
{
    if ( !root.isObject() )
        return {};
    IdentityKeys keys{ signingKeysIn( root["signing"], written ), keyIn( root["codes"] ) };
    return isWhole( keys ) ? std::optional( std::move( keys ) ) : std::nullopt;
}

SigningKey newSigningKey( std::chrono::sys_seconds now )
{
    return { keyIn( randomHex( cKeySize ) ), now };
}

tl::expected<IdentityKeys, std::string> newIdentityKeys( std::chrono::sys_seconds now )
{
    if ( sodium_init() < 0 )
        return tl::unexpected( std::string( "There is no source of randomness" ) );
    return IdentityKeys{ { newSigningKey( now ) }, keyIn( randomHex( cKeySize ) ) };
}

} // namespace VX::Backend
