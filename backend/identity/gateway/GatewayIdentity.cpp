#include "identity/gateway/GatewayIdentity.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"

#include <VXMesh/io/Json.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr size_t cMostRemembered = 100000;

/// Whether a refusal is about the token, and not about the hour.
bool isVerdict( int status, const std::string& type )
{
    return status >= 400 && status < 500 && status != 408 && status != 429 &&
           type.find( "TooManyRequests" ) == std::string::npos && type.find( "LimitExceeded" ) == std::string::npos;
}

/// The user's own name in the claims of a token that comes straight from the service.
std::string nameInToken( const std::string& token )
{
    const auto first = token.find( '.' ), last = token.rfind( '.' );
    if ( first == std::string::npos || last <= first )
        return {};
    const auto claims = fromBase64Url( std::string_view( token ).substr( first + 1, last - first - 1 ) );
    return claims ? textMember( deserializeJsonValue( *claims ).value_or( Json::Value() ), "username" ) : std::string();
}

} // namespace

GatewayIdentity::GatewayIdentity( Database& database, GatewayOptions options, AccessTokens::Clock clock )
    : options_( std::move( options ) )
    , clock_( std::move( clock ) )
    , client_( options_.endpoint, options_.timeout )
    , names_( database, clock_ )
{
}

std::string GatewayIdentity::secretHash(
    const std::string& secret, const std::string& userName, const std::string& clientId )
{
    return base64( hmacSha256( secret, userName + clientId ) );
}

DatabaseResult<std::string> GatewayIdentity::proofOf_( const Json::Value& parameters )
{
    const auto refresh = textMember( parameters, "REFRESH_TOKEN" );
    const auto name = refresh.empty() ? DatabaseResult<std::string>( textMember( parameters, "USERNAME" ) )
                                      : names_.nameOf( refresh );
    return name.map(
        [&]( const std::string& known ) { return secretHash( options_.clientSecret, known, options_.clientId ); } );
}

DatabaseResult<Json::Value> GatewayIdentity::completed_( const AuthCall& call )
{
    auto body = call.body;
    if ( call.operation == "GetUser" )
        return body;
    body["ClientId"] = options_.clientId;
    if ( options_.clientSecret.empty() )
        return body;
    if ( call.operation != "InitiateAuth" )
    {
        body["SecretHash"] = secretHash( options_.clientSecret, textMember( body, "Username" ), options_.clientId );
        return body;
    }
    if ( !body["AuthParameters"].isObject() )
        return body;
    return proofOf_( body["AuthParameters"] )
        .map(
            [&]( const std::string& proof )
            {
                body["AuthParameters"]["SECRET_HASH"] = proof;
                return body;
            } );
}

DatabaseResult<void> GatewayIdentity::rememberName_( const HttpResponse& answer )
{
    const auto body = deserializeJsonValue( answer.body ).value_or( Json::Value() );
    if ( !body.isObject() || !body["AuthenticationResult"].isObject() )
        return {};
    const auto& result = body["AuthenticationResult"];
    const auto refresh = textMember( result, "RefreshToken" ),
               name = nameInToken( textMember( result, "AccessToken" ) );
    if ( refresh.empty() || name.empty() )
        return {};
    return names_.remember( refresh, name );
}

DatabaseResult<HttpResponse> GatewayIdentity::forwarded_( const AuthCall& call )
{
    const auto body = completed_( call );
    if ( !body )
        return tl::unexpected( body.error() );
    auto response = client_.call( call.operation, *body );
    if ( response.status != 200 || call.operation != "InitiateAuth" || options_.clientSecret.empty() )
        return response;
    // Without the name the token could not be used a second time.
    return rememberName_( response ).map( [&] { return response; } );
}

HttpResponse GatewayIdentity::answer( const AuthCall& call )
{
    constexpr const char* cOperations[] = { "InitiateAuth", "SignUp", "ConfirmSignUp", "ResendConfirmationCode",
        "ForgotPassword", "ConfirmForgotPassword", "GetUser" };
    if ( std::find( std::begin( cOperations ), std::end( cOperations ), call.operation ) == std::end( cOperations ) )
        return authFailure( "UnknownOperationException", "There is no such operation" );
    auto answer = forwarded_( call );
    if ( answer )
        return std::move( *answer );
    spdlog::error( "{} has no answer: {}", call.operation, answer.error().text );
    return authUnavailable();
}

std::optional<std::string> GatewayIdentity::believedAccount_( const std::string& tokenHash )
{
    const std::lock_guard lock( mutex_ );
    const auto found = believed_.find( tokenHash );
    return found != believed_.end() && clock_() < found->second.until ? std::optional( found->second.account )
                                                                      : std::nullopt;
}

AccessCheck GatewayIdentity::askForAccess_( const std::string& accessToken, const std::string& tokenHash )
{
    using Verdict = AccessCheck::Verdict;
    Json::Value request;
    request["AccessToken"] = accessToken;
    const auto answer = client_.call( "GetUser", request );
    const auto body = deserializeJsonValue( answer.body ).value_or( Json::Value() );
    if ( answer.status != 200 )
        return { isVerdict( answer.status, textMember( body, "__type" ) ) ? Verdict::Bad : Verdict::Unknown, {} };
    auto account = textMember( body, "Username" );
    if ( account.empty() )
        account = hex( tokenHash );
    const std::lock_guard lock( mutex_ );
    if ( believed_.size() >= cMostRemembered )
        believed_.clear();
    believed_[tokenHash] = { account, clock_() + options_.belief };
    return { Verdict::Good, account };
}

void GatewayIdentity::checkAccess( const std::string& accessToken, AccessTold told )
{
    if ( accessToken.empty() )
        return told( {} );
    const auto hash = sha256( accessToken );
    if ( const auto account = believedAccount_( hash ) )
        return told( { AccessCheck::Verdict::Good, *account } );
    if ( !pool_.run( [this, accessToken, hash, told] { told( askForAccess_( accessToken, hash ) ); } ) )
        told( { AccessCheck::Verdict::Unknown, {} } );
}

void GatewayIdentity::stop()
{
    pool_.stop();
}

} // namespace VX::Backend
