#include "storage/EmbeddedStore.h"

#include "crypto/Hex.h"
#include "http/Uri.h"

#include <fmt/format.h>

#include <charconv>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

HttpResponse s3Failure( int status, const std::string& code )
{
    HttpResponse out;
    out.status = status;
    out.contentType = "application/xml";
    out.body = fmt::format( "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>{}</Code></Error>", code );
    return out;
}

/// First and last byte of "bytes=a-b", "bytes=a-" or "bytes=-n"; nothing when it does not fit the size.
std::optional<std::pair<uint64_t, uint64_t>> parseRange( const std::string& text, uint64_t size )
{
    if ( !text.starts_with( "bytes=" ) || text.find( ',' ) != std::string::npos )
        return {};
    const auto dash = text.find( '-' );
    if ( dash == std::string::npos )
        return {};
    const auto number = [&]( size_t from, size_t to ) -> std::optional<uint64_t>
    {
        uint64_t value = 0;
        const auto [end, error] = std::from_chars( text.data() + from, text.data() + to, value );
        return error == std::errc{} && end == text.data() + to ? std::optional( value ) : std::nullopt;
    };
    const auto first = number( 6, dash ), last = number( dash + 1, text.size() );
    if ( !first && last && *last > 0 && dash == 6 && size > 0 )
        return std::pair( size - std::min( *last, size ), size - 1 );
    if ( !first || *first >= size || ( dash + 1 < text.size() && ( !last || *last < *first ) ) )
        return {};
    return std::pair( *first, std::min( last.value_or( size - 1 ), size - 1 ) );
}

/// What a request says of the length of its body; 0 when it does not.
uint64_t lengthOf( const HttpRequest& head )
{
    const auto text = head.header( "content-length" );
    uint64_t out = 0;
    std::from_chars( text.data(), text.data() + text.size(), out );
    return out;
}

} // namespace

EmbeddedStore::EmbeddedStore( EmbeddedStoreOptions options )
    : options_( std::move( options ) )
{
    std::error_code ec;
    std::filesystem::create_directories( options_.folder, ec );
}

bool EmbeddedStore::serves( const std::string& path ) const
{
    return path.starts_with( "/" + options_.bucket + "/" );
}

std::string EmbeddedStore::url_( const char* method, const std::string& key, std::chrono::seconds lifetime ) const
{
    PresignRequest request;
    request.method = method;
    request.endpoint = endpoint_;
    request.path = "/" + options_.bucket + "/" + key;
    request.time = options_.clock();
    request.lifetime = lifetime;
    return presign( request, options_.credentials );
}

std::string EmbeddedStore::putUrl( const std::string& key, std::chrono::seconds lifetime )
{
    return url_( "PUT", key, lifetime );
}

std::string EmbeddedStore::getUrl( const std::string& key, std::chrono::seconds lifetime )
{
    return url_( "GET", key, lifetime );
}

std::filesystem::path EmbeddedStore::fileOf_( const std::string& key ) const
{
    return options_.folder / hex( sha256( key ) );
}

std::optional<std::string> EmbeddedStore::keyOf_( const std::string& path ) const
{
    const auto decoded = percentDecode( path );
    const auto prefix = "/" + options_.bucket + "/";
    if ( !decoded || !decoded->starts_with( prefix ) || decoded->size() == prefix.size() )
        return {};
    return decoded->substr( prefix.size() );
}

BodyPlan EmbeddedStore::planBody( const HttpRequest& head )
{
    BodyPlan plan;
    if ( head.method != "PUT" && head.method != "GET" && head.method != "HEAD" )
    {
        plan.refusal = s3Failure( 405, "MethodNotAllowed" );
        return plan;
    }
    // S3 lets a HEAD request use the URL of a GET.
    const auto method = head.method == "HEAD" ? "GET" : head.method;
    const auto allowed =
        verifyPresigned( { method, head.path, head.query, head.headers }, options_.credentials, options_.clock() );
    if ( !allowed )
    {
        plan.refusal = s3Failure( 403, allowed.error() );
        return plan;
    }
    plan.maxSize = head.method == "PUT" ? options_.maxObjectSize : 0;
    if ( head.method == "PUT" && !fits_( lengthOf( head ) ) )
        plan.refusal = s3Failure( 507, "InsufficientStorage" );
    else if ( head.method == "PUT" )
        plan.file = options_.folder / ( "upload-" + std::to_string( uploads_++ ) );
    return plan;
}

void EmbeddedStore::handle( HttpRequest request, Respond respond )
{
    const auto key = keyOf_( request.path );
    if ( !key )
        return respond( s3Failure( 404, "NoSuchKey" ) );
    respond( request.method == "PUT" ? put_( request, *key ) : get_( request, *key ) );
}

HttpResponse EmbeddedStore::get_( const HttpRequest& request, const std::string& key ) const
{
    HttpResponse out;
    out.file = fileOf_( key );
    std::error_code ec;
    const auto size = std::filesystem::file_size( out.file, ec );
    if ( ec )
        return s3Failure( 404, "NoSuchKey" );
    out.contentType = "application/octet-stream";
    out.headers["Accept-Ranges"] = "bytes";
    out.fileLength = size;
    const auto range = request.header( "range" );
    if ( range.empty() )
        return out;
    const auto bytes = parseRange( range, size );
    if ( !bytes )
        return s3Failure( 416, "InvalidRange" );
    out.status = 206;
    out.fileOffset = bytes->first;
    out.fileLength = bytes->second - bytes->first + 1;
    out.headers["Content-Range"] = fmt::format( "bytes {}-{}/{}", bytes->first, bytes->second, size );
    return out;
}

HttpResponse EmbeddedStore::put_( const HttpRequest& request, const std::string& key )
{
    std::error_code ec;
    std::filesystem::rename( request.bodyFile, fileOf_( key ), ec );
    if ( ec )
        return s3Failure( 500, "InternalError" );
    HttpResponse out;
    out.contentType = "application/xml";
    return out;
}

bool EmbeddedStore::exists( const std::string& key )
{
    std::error_code ec;
    return std::filesystem::exists( fileOf_( key ), ec );
}

tl::expected<void, std::string> EmbeddedStore::fetch( const std::string& key, const std::filesystem::path& file )
{
    // A link costs nothing, and a new upload under the same key replaces the name, not the content.
    std::error_code ec;
    std::filesystem::create_hard_link( fileOf_( key ), file, ec );
    if ( ec )
        std::filesystem::copy_file( fileOf_( key ), file, ec );
    if ( ec )
        return tl::unexpected( "Cannot fetch an object: " + ec.message() );
    return {};
}

tl::expected<void, std::string> EmbeddedStore::store( const std::string& key, const std::filesystem::path& file )
{
    // The file may come from a sandboxed worker: a link in its place must not lead us to another file.
    const int fd = ::open( file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC );
    struct stat info{};
    bool stored = fd >= 0 && ::fstat( fd, &info ) == 0 && S_ISREG( info.st_mode );
    const auto temporary = options_.folder / ( "store-" + std::to_string( uploads_++ ) );
    const auto source = "/proc/self/fd/" + std::to_string( fd );
    stored = stored && ::linkat( AT_FDCWD, source.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW ) == 0;
    stored = stored && ::rename( temporary.c_str(), fileOf_( key ).c_str() ) == 0;
    const int error = errno;
    if ( fd >= 0 )
        ::close( fd );
    if ( !stored )
        return tl::unexpected( std::string( "Cannot store an object: " ) + std::generic_category().message( error ) );
    return {};
}

void EmbeddedStore::remove( const std::string& key )
{
    std::error_code ec;
    std::filesystem::remove( fileOf_( key ), ec );
}

void EmbeddedStore::removeOlder( std::chrono::seconds age )
{
    const auto limit = std::filesystem::file_time_type::clock::now() - age;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( options_.folder, ec ) )
        if ( const auto written = entry.last_write_time( ec ); !ec && written < limit )
            std::filesystem::remove( entry.path(), ec );
}

uint64_t EmbeddedStore::excess()
{
    const uint64_t total = totalSize_();
    return total - std::min( total, options_.maxTotalSize );
}

bool EmbeddedStore::fits_( uint64_t length ) const
{
    // What is too large in itself is told so by the server.
    return length > options_.maxObjectSize || totalSize_() + length <= options_.maxTotalSize;
}

uint64_t EmbeddedStore::totalSize_() const
{
    uint64_t sum = 0;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( options_.folder, ec ) )
        if ( const auto size = entry.file_size( ec ); !ec )
            sum += size;
    return sum;
}

} // namespace VX::Backend
