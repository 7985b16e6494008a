#include "storage/s3/S3Client.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace VX::Backend
{
namespace
{

/// Of what is not an object's own bytes: a listing of a thousand keys has a few hundred kilobytes.
constexpr size_t cLargestText = size_t( 4 ) << 20;
constexpr long cConnectSeconds = 5;
/// For what moves few bytes.
constexpr long cAnswerSeconds = 15;
/// What moves many may take its time, as long as it moves.
constexpr long cLeastBytesASecond = 1000, cStandstillSeconds = 30;
/// How long a request is good for: clocks are apart, and one may wait for its connection.
constexpr auto cGoodFor = std::chrono::minutes( 15 );

using File = std::unique_ptr<std::FILE, decltype( &std::fclose )>;

/// Where the bytes of an answer go: an object's into its file, those of all else into a text.
struct Body
{
    CURL* curl = nullptr;
    std::string& text;
    std::FILE* file = nullptr;
};

size_t takeBody( char* data, size_t size, size_t count, void* context )
{
    auto& body = *static_cast<Body*>( context );
    const size_t bytes = size * count;
    long status = 0;
    curl_easy_getinfo( body.curl, CURLINFO_RESPONSE_CODE, &status );
    if ( body.file && status == 200 )
        return std::fwrite( data, 1, bytes, body.file );
    if ( body.text.size() + bytes > cLargestText )
        return 0;
    body.text.append( data, bytes );
    return bytes;
}

void setMethod( CURL* curl, const std::string& method, std::FILE* upload, uint64_t size )
{
    if ( method == "HEAD" )
        curl_easy_setopt( curl, CURLOPT_NOBODY, 1L );
    else if ( method == "DELETE" )
        curl_easy_setopt( curl, CURLOPT_CUSTOMREQUEST, "DELETE" );
    if ( !upload )
        return;
    curl_easy_setopt( curl, CURLOPT_UPLOAD, 1L );
    curl_easy_setopt( curl, CURLOPT_READDATA, upload );
    curl_easy_setopt( curl, CURLOPT_INFILESIZE_LARGE, curl_off_t( size ) );
}

void setPatience( CURL* curl, bool movesMany )
{
    if ( !movesMany )
        curl_easy_setopt( curl, CURLOPT_TIMEOUT, cAnswerSeconds );
    curl_easy_setopt( curl, CURLOPT_LOW_SPEED_LIMIT, cLeastBytesASecond );
    curl_easy_setopt( curl, CURLOPT_LOW_SPEED_TIME, cStandstillSeconds );
}

void readHead( CURL* curl, int& status, S3Head& head )
{
    long code = 0;
    curl_off_t size = 0, written = 0;
    curl_easy_getinfo( curl, CURLINFO_RESPONSE_CODE, &code );
    curl_easy_getinfo( curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size );
    curl_easy_getinfo( curl, CURLINFO_FILETIME_T, &written );
    status = int( code );
    head.size = uint64_t( std::max<curl_off_t>( size, 0 ) );
    head.written = std::chrono::sys_seconds( std::chrono::seconds( std::max<curl_off_t>( written, 0 ) ) );
}

StoreError unavailable( const std::string& text )
{
    return { StoreTrouble::Unavailable, text };
}

std::string textOfErrno()
{
    return std::generic_category().message( errno );
}

} // namespace

/// One request; the files are of the caller.
struct S3Client::Call
{
    const char* method = "GET";
    std::string key;
    std::map<std::string, std::string> query = {};
    std::FILE* upload = nullptr;
    uint64_t uploadSize = 0;
    /// Gets the bytes of a good answer; those of any other are a text.
    std::FILE* download = nullptr;
};

struct S3Client::Answer
{
    int status = 0; ///< 0 where there was none
    std::string text;
    S3Head head;

    [[nodiscard]] bool isGood() const { return status >= 200 && status < 300; }
    [[nodiscard]] StoreError error( const char* what ) const;
};

StoreError S3Client::Answer::error( const char* what ) const
{
    const auto code = errorCodeOf( text );
    const auto why = status == 0 ? text : fmt::format( "it answered {}{}{}", status, code.empty() ? "" : ", ", code );
    // A bucket that is not there says nothing about the object.
    const bool isMissing = status == 404 && code != "NoSuchBucket";
    return { isMissing ? StoreTrouble::Missing : StoreTrouble::Unavailable,
        fmt::format( "The store cannot {} an object: {}", what, why ) };
}

S3Client::S3Client( S3Bucket bucket, Clock clock )
    : bucket_( std::move( bucket ) )
    , clock_( std::move( clock ) )
{
}

std::string S3Client::urlOf_( const Call& call ) const
{
    PresignRequest request;
    request.method = call.method;
    request.query = call.query;
    request.time = clock_();
    request.lifetime = cGoodFor;
    return presign( bucket_, call.key, request );
}

S3Client::Answer S3Client::ask_( const Call& call )
{
    const CurlHandles::Loan handle( handles_ );
    CURL* curl = handle.get();
    Answer out;
    Body body{ curl, out.text, call.download };
    curl_easy_setopt( curl, CURLOPT_URL, urlOf_( call ).c_str() );
    curl_easy_setopt( curl, CURLOPT_PROTOCOLS_STR, "https,http" );
    curl_easy_setopt( curl, CURLOPT_WRITEFUNCTION, &takeBody );
    curl_easy_setopt( curl, CURLOPT_WRITEDATA, &body );
    curl_easy_setopt( curl, CURLOPT_FILETIME, 1L );
    curl_easy_setopt( curl, CURLOPT_CONNECTTIMEOUT, cConnectSeconds );
    setMethod( curl, call.method, call.upload, call.uploadSize );
    setPatience( curl, call.upload || call.download );
    const auto code = curl_easy_perform( curl );
    if ( code == CURLE_OK )
        readHead( curl, out.status, out.head );
    else
        out.text = curl_easy_strerror( code );
    return out;
}

tl::expected<S3Head, StoreError> S3Client::head( const std::string& key )
{
    const auto answer = ask_( { "HEAD", key } );
    if ( !answer.isGood() )
        return tl::unexpected( answer.error( "find" ) );
    return answer.head;
}

tl::expected<void, StoreError> S3Client::get( const std::string& key, const std::filesystem::path& file )
{
    const File out( std::fopen( file.c_str(), "wbxe" ), &std::fclose );
    if ( !out )
        return tl::unexpected( unavailable( "Cannot make \"" + file.string() + "\": " + textOfErrno() ) );
    const auto answer = ask_( { "GET", key, {}, nullptr, 0, out.get() } );
    const bool isWritten = std::fflush( out.get() ) == 0;
    if ( answer.isGood() && isWritten )
        return {};
    std::error_code ec;
    std::filesystem::remove( file, ec );
    return tl::unexpected(
        answer.isGood() ? unavailable( "Cannot write \"" + file.string() + "\"" ) : answer.error( "fetch" ) );
}

tl::expected<void, StoreError> S3Client::put( const std::string& key, const std::filesystem::path& file )
{
    std::error_code ec;
    const auto size = std::filesystem::is_regular_file( file, ec ) ? std::filesystem::file_size( file, ec ) : 0;
    const File in( std::fopen( file.c_str(), "rbe" ), &std::fclose );
    if ( ec || !in )
        return tl::unexpected( StoreError{ StoreTrouble::Missing,
            "Cannot read \"" + file.string() + "\": " + ( ec ? ec.message() : textOfErrno() ) } );
    const auto answer = ask_( { "PUT", key, {}, in.get(), size } );
    if ( answer.isGood() )
        return {};
    // What is missing is the place, not the file.
    return tl::unexpected( unavailable( answer.error( "store" ).text ) );
}

tl::expected<void, StoreError> S3Client::remove( const std::string& key )
{
    const auto answer = ask_( { "DELETE", key } );
    if ( answer.isGood() )
        return {};
    auto error = answer.error( "remove" );
    if ( error.kind == StoreTrouble::Missing )
        return {};
    return tl::unexpected( std::move( error ) );
}

tl::expected<S3Listing, StoreError> S3Client::list( const std::string& prefix, const std::string& next, size_t most )
{
    Call call;
    call.query = { { "list-type", "2" }, { "prefix", prefix }, { "max-keys", std::to_string( most ) } };
    if ( !next.empty() )
        call.query["continuation-token"] = next;
    const auto answer = ask_( call );
    if ( !answer.isGood() )
        return tl::unexpected( unavailable( answer.error( "list" ).text ) );
    return readListing( answer.text )
        .map_error(
            []( const std::string& why ) { return unavailable( "The store's listing cannot be read: " + why ); } );
}

} // namespace VX::Backend
