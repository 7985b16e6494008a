#include "identity/keys/AccessTokens.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"
#include "text/JsonText.h"

#include <VXMesh/io/Json.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr size_t cLongestToken = 4096;

/// The JSON object in a part of a token; null when there is none.
Json::Value objectIn( std::string_view part )
{
    const auto text = fromBase64Url( part );
    auto value = text ? deserializeJsonValue( *text ).value_or( Json::Value() ) : Json::Value();
    return value.isObject() ? value : Json::Value();
}

} // namespace

AccessTokens::AccessTokens( const std::vector<SigningKey>& keys, std::chrono::seconds life, Clock clock )
    : life_( life )
    , clock_( std::move( clock ) )
{
    setKeys( keys );
}

void AccessTokens::setKeys( const std::vector<SigningKey>& keys )
{
    auto pairs = std::make_shared<KeyPairs>();
    for ( const auto& key : keys )
        pairs->push_back( { keyPairOf( key.seed ), key.since } );
    const std::lock_guard lock( mutex_ );
    kept_ = std::move( pairs );
}

std::shared_ptr<const AccessTokens::KeyPairs> AccessTokens::pairs_() const
{
    const std::lock_guard lock( mutex_ );
    return kept_;
}

Json::Value AccessTokens::publicKeys() const
{
    Json::Value out;
    for ( const auto& pair : *pairs_() )
    {
        Json::Value one;
        one["alg"] = "EdDSA";
        one["crv"] = "Ed25519";
        one["kid"] = pair.id;
        one["kty"] = "OKP";
        one["use"] = "sig";
        one["x"] = publicTextOf( pair );
        out["keys"].append( one );
    }
    return out;
}

std::string AccessTokens::signed_( Json::Value claims, const char* use ) const
{
    const auto pairs = pairs_();
    const auto time = clock_();
    const auto begun =
        std::find_if( pairs->rbegin(), pairs->rend(), [&]( const Signer& one ) { return one.since <= time; } );
    // A clock that was set back is no reason to sign nothing.
    const auto& pair = begun == pairs->rend() ? pairs->front() : *begun;
    const auto header = base64Url( R"({"alg":"EdDSA","kid":")" + pair.id + R"(","typ":"JWT"})" );
    const auto now = time.time_since_epoch();
    claims["token_use"] = use;
    claims["jti"] = randomHex( 16 );
    claims["iat"] = Json::Int64( now.count() );
    claims["exp"] = Json::Int64( ( now + life_ ).count() );
    const auto text = header + "." + base64Url( compactJson( claims ) );
    return text + "." + base64Url( signatureOf( pair, text ) );
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
    const auto header = objectIn( token.substr( 0, first ) );
    if ( !signature || header.isNull() )
        return {};
    // The algorithm is ours whatever the header asks for, which must then say the same. Tokens of older versions name
    // no key.
    const auto pairs = pairs_();
    const bool isOurs = std::any_of( pairs->begin(), pairs->end(),
        [&]( const KeyPair& pair )
        {
            return ( header["kid"] == pair.id || !header.isMember( "kid" ) ) &&
                   isSignedBy( pair, token.substr( 0, last ), *signature );
        } );
    if ( !isOurs )
        return {};
    const auto claims = objectIn( token.substr( first + 1, last - first - 1 ) );
    if ( claims.isNull() || header["alg"] != "EdDSA" || claims["token_use"] != "access" || !claims["sub"].isString() ||
         !claims["exp"].isInt64() || claims["exp"].asInt64() <= clock_().time_since_epoch().count() )
        return {};
    // Tokens of older versions have no generation: they are of the first.
    const auto& generation = claims["generation"];
    return TokenOwner{ claims["sub"].asString(), {}, generation.isInt64() ? generation.asInt64() : 0 };
}

} // namespace VX::Backend
