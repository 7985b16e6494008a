#include "identity/GatewayIdentity.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"
#include "text/JsonText.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>

#include <curl/curl.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <cstdlib>

namespace VX::Backend
{
namespace
{

constexpr size_t cLargestAnswer = size_t( 1 ) << 20;
constexpr size_t cMostRemembered = 100000;

struct Upstream
{
    HttpResponse response;
    bool tooLarge = false;
};

size_t takeBody( char* data, size_t size, size_t count, void* context )
{
    auto& upstream = *static_cast<Upstream*>( context );
    upstream.tooLarge = upstream.response.body.size() + size * count > cLargestAnswer;
    if ( upstream.tooLarge )
        return 0;
    upstream.response.body.append( data, size * count );
    return size * count;
}

size_t takeHeader( char* data, size_t size, size_t count, void* context )
{
    auto& response = static_cast<Upstream*>( context )->response;
    const std::string_view line( data, size * count );
    const auto colon = line.find( ':' );
    if ( colon == std::string_view::npos )
        return size * count;
    const auto name = toLower( line.substr( 0, colon ) );
    const auto value = trimmed( line.substr( colon + 1 ) );
    if ( name == "content-type" )
        response.contentType = value;
    else if ( name == "x-amzn-errortype" )
        response.headers["x-amzn-ErrorType"] = value;
    else if ( name == "x-amzn-requestid" )
        response.headers["x-amzn-RequestId"] = value;
    return size * count;
}

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

GatewayIdentity::GatewayIdentity( GatewayOptions options, AccessTokens::Clock clock )
    : options_( std::move( options ) )
    , clock_( std::move( clock ) )
{
}

std::string GatewayIdentity::secretHash(
    const std::string& secret, const std::string& userName, const std::string& clientId )
{
    return base64( hmacSha256( secret, userName + clientId ) );
}

Json::Value GatewayIdentity::completed_( const AuthCall& call )
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
    auto& parameters = body["AuthParameters"];
    if ( !parameters.isObject() )
        return body;
    const auto refresh = textMember( parameters, "REFRESH_TOKEN" );
    const auto name = refresh.empty() ? textMember( parameters, "USERNAME" ) : nameOf_( refresh );
    parameters["SECRET_HASH"] = secretHash( options_.clientSecret, name, options_.clientId );
    return body;
}

HttpResponse GatewayIdentity::forward_( const std::string& operation, const Json::Value& body ) const
{
    const std::unique_ptr<CURL, decltype( &curl_easy_cleanup )> curl( curl_easy_init(), &curl_easy_cleanup );
    curl_slist* list =
        curl_slist_append( nullptr, ( "x-amz-target: AWSCognitoIdentityProviderService." + operation ).c_str() );
    list = curl_slist_append( list, ( std::string( "content-type: " ) + cAuthContentType ).c_str() );
    const std::unique_ptr<curl_slist, decltype( &curl_slist_free_all )> headers( list, &curl_slist_free_all );
    const auto text = compactJson( body );
    Upstream upstream;
    curl_easy_setopt( curl.get(), CURLOPT_URL, options_.endpoint.c_str() );
    curl_easy_setopt( curl.get(), CURLOPT_PROTOCOLS_STR, "https" );
    curl_easy_setopt( curl.get(), CURLOPT_SSLVERSION, long( CURL_SSLVERSION_TLSv1_2 ) );
    if ( const char* authorities = std::getenv( "SSL_CERT_FILE" ) )
        curl_easy_setopt( curl.get(), CURLOPT_CAINFO, authorities );
    curl_easy_setopt( curl.get(), CURLOPT_HTTPHEADER, headers.get() );
    curl_easy_setopt( curl.get(), CURLOPT_POSTFIELDS, text.c_str() );
    curl_easy_setopt( curl.get(), CURLOPT_POSTFIELDSIZE, long( text.size() ) );
    curl_easy_setopt( curl.get(), CURLOPT_WRITEFUNCTION, &takeBody );
    curl_easy_setopt( curl.get(), CURLOPT_WRITEDATA, &upstream );
    curl_easy_setopt( curl.get(), CURLOPT_HEADERFUNCTION, &takeHeader );
    curl_easy_setopt( curl.get(), CURLOPT_HEADERDATA, &upstream );
    curl_easy_setopt( curl.get(), CURLOPT_TIMEOUT_MS, long( options_.timeout.count() ) );
    curl_easy_setopt( curl.get(), CURLOPT_NOSIGNAL, 1L );
    if ( const auto code = curl_easy_perform( curl.get() ); code != CURLE_OK )
    {
        spdlog::error( "The identity service cannot be reached: {}", curl_easy_strerror( code ) );
        return authFailure(
            "ServiceUnavailableException", "The sign-in service cannot be reached; please try again later", 503 );
    }
    long status = 0;
    curl_easy_getinfo( curl.get(), CURLINFO_RESPONSE_CODE, &status );
    upstream.response.status = int( status );
    return upstream.response;
}

void GatewayIdentity::rememberName_( const HttpResponse& answer )
{
    const auto body = deserializeJsonValue( answer.body ).value_or( Json::Value() );
    if ( !body.isObject() || !body["AuthenticationResult"].isObject() )
        return;
    const auto& result = body["AuthenticationResult"];
    const auto refresh = textMember( result, "RefreshToken" ),
               name = nameInToken( textMember( result, "AccessToken" ) );
    if ( refresh.empty() || name.empty() )
        return;
    const std::lock_guard lock( mutex_ );
    if ( names_.size() >= cMostRemembered )
        names_.clear();
    names_[sha256( refresh )] = name;
}

std::string GatewayIdentity::nameOf_( const std::string& refreshToken )
{
    const std::lock_guard lock( mutex_ );
    const auto found = names_.find( sha256( refreshToken ) );
    return found == names_.end() ? std::string() : found->second;
}

HttpResponse GatewayIdentity::answer( const AuthCall& call )
{
    constexpr const char* cOperations[] = { "InitiateAuth", "SignUp", "ConfirmSignUp", "ResendConfirmationCode",
        "ForgotPassword", "ConfirmForgotPassword", "GetUser" };
    if ( std::find( std::begin( cOperations ), std::end( cOperations ), call.operation ) == std::end( cOperations ) )
        return authFailure( "UnknownOperationException", "There is no such operation" );
    auto response = forward_( call.operation, completed_( call ) );
    if ( response.status == 200 && call.operation == "InitiateAuth" && !options_.clientSecret.empty() )
        rememberName_( response );
    return response;
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
    const auto answer = forward_( "GetUser", request );
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
