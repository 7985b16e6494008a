#include "storage/EmbeddedStore.h"

#include "crypto/Hex.h"
#include "storage/ObjectFiles.h"
#include "text/Uri.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <cerrno>
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

HttpResponse noRoom()
{
    return s3Failure( 507, "InsufficientStorage" );
}

HttpResponse unavailable()
{
    return s3Failure( 503, "ServiceUnavailable" );
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

/// Nothing when there is no such file.
StoreSum sumOf( const std::filesystem::path& file )
{
    std::error_code ec;
    const auto size = std::filesystem::file_size( file, ec );
    return ec ? StoreSum() : StoreSum{ size, 1 };
}

constexpr size_t cNameSize = 64;
// Of 256 parts; all have had their turn after so many calls.
constexpr size_t cPartsAtOnce = 16;

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
    , room_( std::make_shared<StoreRoom>( options_.maxTotalSize ) )
    , cutOffs_( std::make_shared<CutOffs>( options_.cutOff ) )
{
    std::error_code ec;
    std::filesystem::create_directories( options_.folder, ec );
    takeOver_();
    for ( size_t i = 0; i < cParts; ++i )
        sweep_( i, std::filesystem::file_time_type::min() );
}

void EmbeddedStore::takeOver_()
{
    std::error_code ec;
    std::vector<std::filesystem::path> files;
    for ( const auto& entry : std::filesystem::directory_iterator( options_.folder, ec ) )
        if ( entry.is_regular_file( ec ) )
            files.push_back( entry.path() );
    for ( const auto& file : files )
    {
        const auto name = file.filename().string();
        // Objects of older versions lie in the folder itself; all else are uploads that a crash cut off.
        const auto place = options_.folder / name.substr( 0, 2 ) / name;
        if ( name.size() == cNameSize && name.find_first_not_of( "0123456789abcdef" ) == std::string::npos )
        {
            std::filesystem::create_directory( place.parent_path(), ec );
            std::filesystem::rename( file, place, ec );
        }
        else
            std::filesystem::remove( file, ec );
    }
}

bool EmbeddedStore::serves( const std::string& path ) const
{
    return path.starts_with( "/" + options_.bucket + "/" );
}

std::string EmbeddedStore::url_( const char* method, const std::string& key, std::chrono::seconds lifetime ) const
{
    PresignRequest request;
    request.method = method;
    request.time = options_.clock();
    request.lifetime = lifetime;
    return presign( { endpoint_, options_.bucket, options_.credentials }, key, request );
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
    return objectFile( options_.folder, key );
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
    if ( head.method == "PUT" )
        planUpload_( head, plan );
    return plan;
}

void EmbeddedStore::planUpload_( const HttpRequest& head, BodyPlan& plan )
{
    const auto key = keyOf_( head.path );
    const auto length = lengthOf( head );
    if ( !key )
        plan.refusal = s3Failure( 404, "NoSuchKey" );
    plan.file = newFile_();
    // What is too large in itself is told so by the server.
    if ( !key || length > options_.maxObjectSize )
        return;
    const auto name = plan.file.string();
    if ( !room_->reserve( name, length ) )
    {
        plan.refusal = noRoom();
        return;
    }
    plan.hold = std::shared_ptr<void>( nullptr,
        [room = room_, cutOffs = cutOffs_, name, key = *key, length]( void* )
        {
            if ( room->release( name ) )
                cutOffs->add( key, length );
        } );
    const auto admission = options_.admit ? options_.admit( *key, length ) : Admission::Welcome;
    if ( admission == Admission::Welcome )
        return;
    room_->release( name );
    plan.refusal = admission == Admission::Gone     ? s3Failure( 404, "NoSuchKey" )
                   : admission == Admission::NoRoom ? noRoom()
                                                    : unavailable();
}

std::filesystem::path EmbeddedStore::newFile_() const
{
    return options_.folder / ( "incoming-" + randomHex( 16 ) );
}

void EmbeddedStore::handle( HttpRequest request, Respond respond )
{
    const auto key = keyOf_( request.path );
    if ( !key )
        return respond( s3Failure( 404, "NoSuchKey" ) );
    respond( request.method == "PUT" ? put_( request, *key ) : get_( request, *key ) );
}

HttpResponse EmbeddedStore::refuse( const std::string& path, int status )
{
    if ( status != 503 && status != 507 )
        return HttpHandler::refuse( path, status );
    auto out = status == 503 ? unavailable() : noRoom();
    out.close = true;
    return out;
}

HttpResponse EmbeddedStore::get_( const HttpRequest& request, const std::string& key ) const
{
    HttpResponse out;
    out.file = fileOf_( key );
    const auto found = sizeOf_( out.file );
    if ( !found )
    {
        spdlog::error( "Cannot look for an object: {}", found.error().message() );
        return unavailable();
    }
    if ( !*found )
        return s3Failure( 404, "NoSuchKey" );
    const auto size = **found;
    out.contentType = "application/octet-stream";
    out.headers["Accept-Ranges"] = "bytes";
    // Whoever opens such a URL in a browser gets a file, whatever a stranger has put into it.
    out.headers["X-Content-Type-Options"] = "nosniff";
    out.headers["Content-Disposition"] = "attachment";
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
    const auto placed = place_( request.bodyFile, key );
    if ( !placed )
    {
        std::error_code ec;
        std::filesystem::remove( request.bodyFile, ec );
        spdlog::error( "Cannot store an upload: {}", placed.error().message() );
        return statusOfDisk( placed.error().value() ) == 507 ? noRoom() : unavailable();
    }
    room_->release( request.bodyFile.string() );
    if ( options_.arrived && options_.arrived( key, *placed ) == Admission::Gone )
    {
        remove( key );
        return s3Failure( 404, "NoSuchKey" );
    }
    HttpResponse out;
    out.contentType = "application/xml";
    return out;
}

size_t EmbeddedStore::partOf_( const std::filesystem::path& file ) const
{
    size_t out = 0;
    const auto name = file.filename().string();
    std::from_chars( name.data(), name.data() + 2, out, 16 );
    return out;
}

void EmbeddedStore::change_( Part& part, StoreSum from, StoreSum to )
{
    exchange( part.sum, from, to );
    room_->change( from, to );
}

tl::expected<uint64_t, std::error_code> EmbeddedStore::place_(
    const std::filesystem::path& file, const std::string& key )
{
    const auto place = fileOf_( key );
    std::error_code ec;
    const auto size = std::filesystem::file_size( file, ec );
    if ( ec )
        return tl::unexpected( ec );
    std::filesystem::create_directory( place.parent_path(), ec );
    if ( ec )
        return tl::unexpected( ec );
    auto& part = parts_[partOf_( place )];
    const std::lock_guard lock( part.mutex );
    const auto before = sumOf( place );
    std::filesystem::rename( file, place, ec );
    if ( ec )
        return tl::unexpected( ec );
    change_( part, before, { size, 1 } );
    return before.bytes;
}

tl::expected<std::optional<uint64_t>, std::error_code> EmbeddedStore::sizeOf_( const std::filesystem::path& file ) const
{
    std::error_code ec;
    const auto size = std::filesystem::file_size( file, ec );
    if ( !ec )
        return size;
    // Where the whole store is away, no object is missing.
    std::error_code ofStore;
    if ( ec == std::errc::no_such_file_or_directory && std::filesystem::is_directory( options_.folder, ofStore ) )
        return std::nullopt;
    return tl::unexpected( ec );
}

tl::expected<std::optional<uint64_t>, StoreError> EmbeddedStore::sizeOf( const std::string& key )
{
    return sizeOf_( fileOf_( key ) )
        .map_error( []( const std::error_code& ec )
            { return StoreError{ StoreTrouble::Unavailable, "Cannot look for an object: " + ec.message() }; } );
}

tl::expected<void, StoreError> EmbeddedStore::fetch( const std::string& key, const std::filesystem::path& file )
{
    // A link costs nothing, and a new upload under the same key replaces the name, not the content.
    const auto object = fileOf_( key );
    std::error_code ec;
    std::filesystem::create_hard_link( object, file, ec );
    if ( ec )
        std::filesystem::copy_file( object, file, std::filesystem::copy_options::overwrite_existing, ec );
    if ( !ec )
        return {};
    const auto size = sizeOf_( object );
    const bool missing = size && !*size;
    return tl::unexpected( StoreError{
        missing ? StoreTrouble::Missing : StoreTrouble::Unavailable, "Cannot fetch an object: " + ec.message() } );
}

tl::expected<void, StoreError> EmbeddedStore::store( const std::string& key, const std::filesystem::path& file )
{
    // The file may come from a sandboxed worker: a link in its place must not lead us to another file.
    const int fd = ::open( file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC );
    struct stat info{};
    const bool isFile = fd >= 0 && ::fstat( fd, &info ) == 0 && S_ISREG( info.st_mode );
    const auto temporary = newFile_();
    const auto source = "/proc/self/fd/" + std::to_string( fd );
    const bool stored =
        isFile && ::linkat( AT_FDCWD, source.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW ) == 0;
    const std::error_code linked( stored ? 0 : errno, std::generic_category() );
    if ( fd >= 0 )
        ::close( fd );
    const auto placed = stored ? place_( temporary, key ) : tl::unexpected( linked );
    if ( placed )
        return {};
    std::error_code ec;
    std::filesystem::remove( temporary, ec );
    return tl::unexpected( StoreError{ isFile ? StoreTrouble::Unavailable : StoreTrouble::Missing,
        "Cannot store an object: " + placed.error().message() } );
}

void EmbeddedStore::remove( const std::string& key )
{
    const auto file = fileOf_( key );
    auto& part = parts_[partOf_( file )];
    const std::lock_guard lock( part.mutex );
    const auto before = sumOf( file );
    std::error_code ec;
    if ( std::filesystem::remove( file, ec ) )
        change_( part, before, {} );
}

void EmbeddedStore::removeOlder( std::chrono::seconds age )
{
    const auto limit = std::filesystem::file_time_type::clock::now() - age;
    for ( size_t i = 0; i < cPartsAtOnce; ++i )
        sweep_( nextPart_++ % cParts, limit );
}

void EmbeddedStore::sweep_( size_t index, std::filesystem::file_time_type before )
{
    auto& part = parts_[index];
    const std::lock_guard lock( part.mutex );
    StoreSum sum;
    std::error_code ec;
    for ( const auto& entry :
        std::filesystem::directory_iterator( options_.folder / fmt::format( "{:02x}", index ), ec ) )
    {
        const auto size = entry.file_size( ec );
        const auto written = ec ? std::filesystem::file_time_type::max() : entry.last_write_time( ec );
        if ( ec )
            continue;
        if ( written >= before || !std::filesystem::remove( entry.path(), ec ) )
            exchange( sum, {}, { size, 1 } );
    }
    change_( part, part.sum, sum );
}

} // namespace VX::Backend
