#include "identity/gateway/GatewayIdentity.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"
#include "identity/Refusals.h"

#include <VXMesh/io/Json.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr size_t cMostRemembered = 100000;

/// Whether the service has refused what was sent, and not the hour.
bool isVerdict( const HttpResponse& answer )
{
    const auto status = answer.status;
    const auto type = textMember( deserializeJsonValue( answer.body ).value_or( Json::Value() ), "__type" );
    return status >= 400 && status < 500 && status != 408 && status != 429 &&
           type.find( "TooManyRequests" ) == std::string::npos && type.find( "LimitExceeded" ) == std::string::npos;
}

/// The claims of a token; null where it has not the form of one.
Json::Value claimsOf( const std::string& token )
{
    constexpr size_t cLongest = 16 * 1024;
    const auto first = token.find( '.' ), last = token.rfind( '.' );
    if ( token.size() > cLongest || first == std::string::npos || last <= first )
        return {};
    const std::string_view text( token );
    const auto header = fromBase64Url( text.substr( 0, first ) ),
               claims = fromBase64Url( text.substr( first + 1, last - first - 1 ) );
    if ( !header || !claims || !fromBase64Url( text.substr( last + 1 ) ) )
        return {};
    auto out = deserializeJsonValue( *claims ).value_or( Json::Value() );
    return out.isObject() ? out : Json::Value();
}

/// The user's own name in the claims of a token that comes straight from the service.
std::string nameInToken( const std::string& token )
{
    return textMember( claimsOf( token ), "username" );
}

/// When claims say that their token ends.
std::chrono::sys_seconds endOf( const Json::Value& claims )
{
    const auto& end = claims["exp"];
    return end.isInt64() ? std::chrono::sys_seconds( std::chrono::seconds( end.asInt64() ) )
                         : std::chrono::sys_seconds::max();
}

/// The address in the service's answer about a user; empty where there is none.
std::string emailOf( const Json::Value& user )
{
    for ( const auto& attribute : user["UserAttributes"] )
        if ( attribute.isObject() && textMember( attribute, "Name" ) == "email" )
            return textMember( attribute, "Value" );
    return {};
}

bool isRefresh( const AuthCall& call )
{
    return call.operation == "InitiateAuth" && textMember( call.body, "AuthFlow" ) != "USER_PASSWORD_AUTH";
}

} // namespace

GatewayIdentity::GatewayIdentity( Database& database, GatewayOptions options, AccessTokens::Clock clock )
    : options_( std::move( options ) )
    , clock_( std::move( clock ) )
    , client_( options_.endpoint, options_.timeout )
    , names_( database, clock_ )
    , refusals_( options_.refusalsPerMinute, std::chrono::minutes( 1 ), clock_ )
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
    if ( call.operation == "RevokeToken" )
    {
        body["ClientSecret"] = options_.clientSecret;
        return body;
    }
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

DatabaseResult<void> GatewayIdentity::rememberName_( const AuthCall& call, const HttpResponse& answer )
{
    const auto body = deserializeJsonValue( answer.body ).value_or( Json::Value() );
    if ( !body.isObject() || !body["AuthenticationResult"].isObject() )
        return {};
    const auto& result = body["AuthenticationResult"];
    const auto refresh = textMember( result, "RefreshToken" ),
               name = nameInToken( textMember( result, "AccessToken" ) );
    // Without the name the token could not be used a second time.
    const bool isProved = !options_.clientSecret.empty() && !refresh.empty() && !name.empty();
    return ( isProved ? names_.remember( refresh, name ) : DatabaseResult<void>() )
        .and_then(
            [&] { return names_.rememberPerson( textMember( call.body["AuthParameters"], "USERNAME" ), name ); } );
}

DatabaseResult<HttpResponse> GatewayIdentity::forwarded_( const AuthCall& call )
{
    const auto body = completed_( call );
    if ( !body )
        return tl::unexpected( body.error() );
    auto response = client_.call( call.operation, *body );
    if ( isVerdict( response ) )
        refusals_.count( call.remoteAddress );
    if ( response.status != 200 )
        return response;
    if ( call.operation == "InitiateAuth" )
        return rememberName_( call, response ).map( [&] { return response; } );
    if ( call.operation == "RevokeToken" )
        return names_.forget( textMember( call.body, "Token" ) ).map( [&] { return response; } );
    return response;
}

HttpResponse GatewayIdentity::answer( const AuthCall& call )
{
    constexpr const char* cOperations[] = { "InitiateAuth", "SignUp", "ConfirmSignUp", "ResendConfirmationCode",
        "ForgotPassword", "ConfirmForgotPassword", "RevokeToken", "GetUser" };
    if ( std::find( std::begin( cOperations ), std::end( cOperations ), call.operation ) == std::end( cOperations ) )
        return authFailure( "UnknownOperationException", "There is no such operation" );
    // A token is not to be thrown away for it.
    if ( refusals_.isSpent( call.remoteAddress ) )
        return isRefresh( call ) ? authUnavailable() : limitExceeded();
    auto answer = forwarded_( call );
    if ( answer )
        return std::move( *answer );
    spdlog::error( "{} has no answer: {}", call.operation, answer.error().text );
    return authUnavailable();
}

std::optional<AccessCheck> GatewayIdentity::remembered_( const std::string& tokenHash )
{
    const std::lock_guard lock( mutex_ );
    const auto now = clock_();
    if ( const auto found = believed_.find( tokenHash ); found != believed_.end() && now < found->second.until )
        return AccessCheck{ AccessCheck::Verdict::Good, found->second.account };
    if ( const auto found = disbelieved_.find( tokenHash ); found != disbelieved_.end() && now < found->second )
        return AccessCheck{};
    return {};
}

AccessCheck GatewayIdentity::askForAccess_( const std::string& accessToken, const std::string& tokenHash,
    const std::string& address, std::chrono::sys_seconds end )
{
    Json::Value request;
    request["AccessToken"] = accessToken;
    const auto answer = client_.call( "GetUser", request );
    if ( answer.status == 200 )
        return good_( deserializeJsonValue( answer.body ).value_or( Json::Value() ), tokenHash, end );
    if ( !isVerdict( answer ) )
        return { AccessCheck::Verdict::Unknown, {} };
    refusals_.count( address );
    const std::lock_guard lock( mutex_ );
    if ( disbelieved_.size() >= cMostRemembered )
        disbelieved_.clear();
    disbelieved_[tokenHash] = clock_() + options_.disbelief;
    return {};
}

AccessCheck GatewayIdentity::good_(
    const Json::Value& user, const std::string& tokenHash, std::chrono::sys_seconds end )
{
    auto account = textMember( user, "Username" );
    if ( account.empty() )
        account = hex( tokenHash );
    // What is kept from now on must be found again for whoever asks what is known of them.
    if ( const auto noted = names_.rememberPerson( emailOf( user ), account ); !noted )
    {
        spdlog::error( "An access token cannot be checked: {}", noted.error().text );
        return { AccessCheck::Verdict::Unknown, {} };
    }
    const std::lock_guard lock( mutex_ );
    if ( believed_.size() >= cMostRemembered )
        believed_.clear();
    believed_[tokenHash] = { account, std::min( clock_() + options_.belief, end ) };
    return { AccessCheck::Verdict::Good, account };
}

void GatewayIdentity::checkAccess( const std::string& accessToken, const std::string& address, AccessTold told )
{
    using Verdict = AccessCheck::Verdict;
    const auto claims = claimsOf( accessToken );
    const auto end = endOf( claims );
    if ( claims.isNull() || end <= clock_() )
        return told( {} );
    const auto hash = sha256( accessToken );
    if ( auto known = remembered_( hash ) )
        return told( std::move( *known ) );
    if ( refusals_.isSpent( address ) )
        return told( { Verdict::Unknown, {} } );
    pool_.run( address,
        { [this, accessToken, hash, address, end, told] { told( askForAccess_( accessToken, hash, address, end ) ); },
            [told] { told( { Verdict::Unknown, {} } ); } } );
}

void GatewayIdentity::stop()
{
    pool_.stop();
}

} // namespace VX::Backend
