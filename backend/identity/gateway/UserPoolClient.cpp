#include "identity/gateway/UserPoolClient.h"

#include "identity/IdentityService.h"
#include "text/JsonText.h"

#include <VXMesh/io/Text.h>

#include <curl/curl.h>
#include <spdlog/spdlog.h>

#include <memory>

namespace VX::Backend
{
namespace
{

constexpr size_t cLargestAnswer = size_t( 1 ) << 20;

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

using Headers = std::unique_ptr<curl_slist, decltype( &curl_slist_free_all )>;

Headers headersOf( const std::string& operation )
{
    curl_slist* list =
        curl_slist_append( nullptr, ( "x-amz-target: AWSCognitoIdentityProviderService." + operation ).c_str() );
    list = curl_slist_append( list, ( std::string( "content-type: " ) + cAuthContentType ).c_str() );
    return { list, &curl_slist_free_all };
}

} // namespace

UserPoolClient::UserPoolClient( std::string endpoint, std::chrono::milliseconds timeout )
    : endpoint_( std::move( endpoint ) )
    , timeout_( timeout )
{
}

HttpResponse UserPoolClient::call( const std::string& operation, const Json::Value& body )
{
    const CurlHandles::Loan handle( handles_ );
    CURL* curl = handle.get();
    const auto headers = headersOf( operation );
    const auto text = compactJson( body );
    Upstream upstream;
    curl_easy_setopt( curl, CURLOPT_URL, endpoint_.c_str() );
    curl_easy_setopt( curl, CURLOPT_PROTOCOLS_STR, "https" );
    curl_easy_setopt( curl, CURLOPT_HTTPHEADER, headers.get() );
    curl_easy_setopt( curl, CURLOPT_POSTFIELDS, text.c_str() );
    curl_easy_setopt( curl, CURLOPT_POSTFIELDSIZE, long( text.size() ) );
    curl_easy_setopt( curl, CURLOPT_WRITEFUNCTION, &takeBody );
    curl_easy_setopt( curl, CURLOPT_WRITEDATA, &upstream );
    curl_easy_setopt( curl, CURLOPT_HEADERFUNCTION, &takeHeader );
    curl_easy_setopt( curl, CURLOPT_HEADERDATA, &upstream );
    curl_easy_setopt( curl, CURLOPT_TIMEOUT_MS, long( timeout_.count() ) );
    const auto code = curl_easy_perform( curl );
    long status = 0;
    curl_easy_getinfo( curl, CURLINFO_RESPONSE_CODE, &status );
    if ( code != CURLE_OK )
    {
        spdlog::error( "The identity service cannot be reached: {}", curl_easy_strerror( code ) );
        return authUnavailable();
    }
    upstream.response.status = int( status );
    return upstream.response;
}

} // namespace VX::Backend
