#include "storage/Presigner.h"

#include "crypto/Hex.h"
#include "text/Uri.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <openssl/crypto.h>

#include <charconv>
#include <optional>
#include <sstream>
#include <vector>

namespace VX::Backend
{
namespace
{

using Parameters = std::map<std::string, std::string>;

constexpr const char* cAlgorithm = "AWS4-HMAC-SHA256";
constexpr auto cLongestLifetime = std::chrono::hours( 24 * 7 );

std::string queryText( const Parameters& parameters )
{
    // The order is that of the encoded names, which for ASCII names is that of the map.
    Parameters encoded;
    for ( const auto& [key, value] : parameters )
        encoded[percentEncode( key )] = percentEncode( value );
    std::string out;
    for ( const auto& [key, value] : encoded )
        out.append( out.empty() ? "" : "&" ).append( key ).append( "=" ).append( value );
    return out;
}

std::string joined( const Parameters& headers )
{
    std::string out;
    for ( const auto& [name, value] : headers )
        out += ( out.empty() ? "" : ";" ) + name;
    return out;
}

/// What is signed. `parameters` are all of the query but the signature itself.
struct Canonical
{
    std::string method;
    std::string encodedPath;
    Parameters parameters;
    Parameters headers;
};

std::string signature( const Canonical& c, const S3Credentials& credentials, const std::string& amzDate )
{
    std::string request = c.method + "\n" + c.encodedPath + "\n" + queryText( c.parameters ) + "\n";
    for ( const auto& [name, value] : c.headers )
        request.append( name ).append( ":" ).append( value ).append( "\n" );
    request += "\n" + joined( c.headers ) + "\nUNSIGNED-PAYLOAD";

    const auto day = amzDate.substr( 0, 8 );
    const auto scope = day + "/" + credentials.region + "/s3/aws4_request";
    const auto toSign = std::string( cAlgorithm ) + "\n" + amzDate + "\n" + scope + "\n" + hex( sha256( request ) );
    std::string key = "AWS4" + credentials.secretKey;
    for ( const auto& part : { day, credentials.region, std::string( "s3" ), std::string( "aws4_request" ) } )
        key = hmacSha256( key, part );
    return hex( hmacSha256( key, toSign ) );
}

std::string hostOf( const std::string& endpoint )
{
    const auto begin = endpoint.find( "://" );
    return begin == std::string::npos ? endpoint : endpoint.substr( begin + 3 );
}

std::optional<std::chrono::sys_seconds> parseDate( const std::string& text )
{
    if ( text.size() != 16 || text[8] != 'T' || text[15] != 'Z' )
        return {};
    const auto number = [&]( size_t at, size_t length )
    {
        int value = -1;
        const auto [end, error] = std::from_chars( text.data() + at, text.data() + at + length, value );
        return error == std::errc{} && end == text.data() + at + length ? value : -1;
    };
    using namespace std::chrono;
    const year_month_day date{
        year( number( 0, 4 ) ), month( unsigned( number( 4, 2 ) ) ), day( unsigned( number( 6, 2 ) ) ) };
    const int h = number( 9, 2 ), m = number( 11, 2 ), s = number( 13, 2 );
    if ( !date.ok() || h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 60 )
        return {};
    return sys_seconds( sys_days( date ) ) + hours( h ) + minutes( m ) + seconds( s );
}

tl::unexpected<std::string> refused( const char* code )
{
    return tl::unexpected( std::string( code ) );
}

/// The headers named as signed, with the values that came; nothing when one is missing or "host" is not signed.
std::optional<Parameters> signedHeaders( const PresignedRequest& request, const std::string& names )
{
    Parameters out;
    std::istringstream in( names );
    for ( std::string name; std::getline( in, name, ';' ); )
    {
        const auto it = request.headers.find( name );
        if ( it == request.headers.end() )
            return {};
        out[name] = it->second;
    }
    if ( !out.contains( "host" ) )
        return {};
    return out;
}

tl::expected<void, std::string> checkTime( const Parameters& parameters, std::chrono::sys_seconds now )
{
    const auto date = parseDate( parameters.at( "X-Amz-Date" ) );
    const auto& text = parameters.at( "X-Amz-Expires" );
    long seconds = 0;
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), seconds );
    if ( !date || error != std::errc{} || end != text.data() + text.size() || seconds < 1 ||
         std::chrono::seconds( seconds ) > cLongestLifetime )
        return refused( "AuthorizationQueryParametersError" );
    // A clock that is a few minutes ahead is usual.
    if ( now > *date + std::chrono::seconds( seconds ) || now + std::chrono::minutes( 15 ) < *date )
        return refused( "AccessDenied" );
    return {};
}

} // namespace

std::string presign( const PresignRequest& request, const S3Credentials& credentials )
{
    const auto amzDate =
        fmt::format( "{:%Y%m%dT%H%M%SZ}", fmt::gmtime( std::chrono::system_clock::to_time_t( request.time ) ) );
    Canonical c{ request.method, percentEncode( request.path, true ), request.query, request.headers };
    c.headers["host"] = hostOf( request.endpoint );
    c.parameters["X-Amz-Algorithm"] = cAlgorithm;
    c.parameters["X-Amz-Credential"] =
        credentials.accessKey + "/" + amzDate.substr( 0, 8 ) + "/" + credentials.region + "/s3/aws4_request";
    c.parameters["X-Amz-Date"] = amzDate;
    c.parameters["X-Amz-Expires"] = std::to_string( request.lifetime.count() );
    c.parameters["X-Amz-SignedHeaders"] = joined( c.headers );
    if ( !credentials.securityToken.empty() )
        c.parameters["X-Amz-Security-Token"] = credentials.securityToken;
    auto signedParameters = c.parameters;
    signedParameters["X-Amz-Signature"] = signature( c, credentials, amzDate );
    return request.endpoint + c.encodedPath + "?" + queryText( signedParameters );
}

std::string presign( const S3Bucket& bucket, const std::string& key, PresignRequest request )
{
    request.endpoint = bucket.endpoint;
    request.path = "/" + bucket.name + ( key.empty() ? "" : "/" + key );
    return presign( request, bucket.credentials );
}

tl::expected<void, std::string> verifyPresigned(
    const PresignedRequest& request, const S3Credentials& credentials, std::chrono::sys_seconds now )
{
    auto parameters = parseQuery( request.query );
    if ( !parameters )
        return refused( "AuthorizationQueryParametersError" );
    for ( const char* name : { "X-Amz-Algorithm", "X-Amz-Credential", "X-Amz-Date", "X-Amz-Expires",
              "X-Amz-SignedHeaders", "X-Amz-Signature" } )
        if ( !parameters->contains( name ) )
            return refused( "AccessDenied" );
    if ( parameters->at( "X-Amz-Algorithm" ) != cAlgorithm )
        return refused( "AuthorizationQueryParametersError" );
    const auto amzDate = parameters->at( "X-Amz-Date" );
    const auto scope = "/" + amzDate.substr( 0, 8 ) + "/" + credentials.region + "/s3/aws4_request";
    if ( parameters->at( "X-Amz-Credential" ) != credentials.accessKey + scope )
        return refused( "InvalidAccessKeyId" );
    if ( auto inTime = checkTime( *parameters, now ); !inTime )
        return inTime;

    const auto decodedPath = percentDecode( request.path );
    const auto headers = signedHeaders( request, parameters->at( "X-Amz-SignedHeaders" ) );
    if ( !decodedPath || !headers )
        return refused( "SignatureDoesNotMatch" );
    const auto given = parameters->extract( "X-Amz-Signature" ).mapped();
    const auto expected = signature(
        { request.method, percentEncode( *decodedPath, true ), *parameters, *headers }, credentials, amzDate );
    if ( given.size() != expected.size() || CRYPTO_memcmp( given.data(), expected.data(), expected.size() ) != 0 )
        return refused( "SignatureDoesNotMatch" );
    return {};
}

} // namespace VX::Backend
