#include "identity/AccessTokens.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"
#include "text/JsonText.h"

#include <VXMesh/io/Json.h>

#include <sodium.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cLongestToken = 4096;

const unsigned char* bytes( std::string_view text )
{
    return reinterpret_cast<const unsigned char*>( text.data() );
}

/// The JSON object in a part of a token; null when there is none.
Json::Value objectIn( std::string_view part )
{
    const auto text = fromBase64Url( part );
    auto value = text ? deserializeJsonValue( *text ).value_or( Json::Value() ) : Json::Value();
    return value.isObject() ? value : Json::Value();
}

} // namespace

AccessTokens::AccessTokens( const std::string& seed, std::chrono::seconds life, Clock clock )
    : life_( life )
    , clock_( std::move( clock ) )
{
    crypto_sign_seed_keypair( publicKey_.data(), secretKey_.data(), bytes( seed ) );
}

std::string AccessTokens::signed_( Json::Value claims, const char* use ) const
{
    static const std::string sHeader = base64Url( R"({"alg":"EdDSA","typ":"JWT"})" );
    const auto now = clock_().time_since_epoch();
    claims["token_use"] = use;
    claims["jti"] = randomHex( 16 );
    claims["iat"] = Json::Int64( now.count() );
    claims["exp"] = Json::Int64( ( now + life_ ).count() );
    const auto text = sHeader + "." + base64Url( compactJson( claims ) );
    std::string signature( crypto_sign_BYTES, '\0' );
    crypto_sign_detached(
        reinterpret_cast<unsigned char*>( signature.data() ), nullptr, bytes( text ), text.size(), secretKey_.data() );
    return text + "." + base64Url( signature );
}

std::string AccessTokens::accessToken( const TokenOwner& owner ) const
{
    Json::Value claims;
    claims["sub"] = claims["username"] = owner.account;
    claims["generation"] = Json::Int64( owner.generation );
    return signed_( claims, "access" );
}

std::string AccessTokens::idToken( const TokenOwner& owner ) const
{
    Json::Value claims;
    claims["sub"] = claims["cognito:username"] = owner.account;
    claims["email"] = owner.email;
    claims["email_verified"] = true;
    return signed_( claims, "id" );
}

std::optional<TokenOwner> AccessTokens::ownerOf( const std::string& accessToken ) const
{
    const auto first = accessToken.find( '.' ), last = accessToken.rfind( '.' );
    if ( accessToken.size() > cLongestToken || first == std::string::npos || first == last )
        return {};
    const std::string_view token( accessToken );
    const auto signature = fromBase64Url( token.substr( last + 1 ) );
    // The algorithm is ours whatever the header asks for, which must then say the same.
    if ( !signature || signature->size() != crypto_sign_BYTES ||
         crypto_sign_verify_detached( bytes( *signature ), bytes( token ), last, publicKey_.data() ) != 0 )
        return {};
    const auto header = objectIn( token.substr( 0, first ) );
    const auto claims = objectIn( token.substr( first + 1, last - first - 1 ) );
    if ( header.isNull() || claims.isNull() || header["alg"] != "EdDSA" || claims["token_use"] != "access" ||
         !claims["sub"].isString() || !claims["exp"].isInt64() ||
         claims["exp"].asInt64() <= clock_().time_since_epoch().count() )
        return {};
    // Tokens of older versions have no generation: they are of the first.
    const auto& generation = claims["generation"];
    return TokenOwner{ claims["sub"].asString(), {}, generation.isInt64() ? generation.asInt64() : 0 };
}

} // namespace VX::Backend
