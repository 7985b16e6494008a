#include "storage/s3/S3Store.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>

namespace VX::Backend
{
namespace
{

constexpr std::array cPrefixes = { "uploads/", "results/" };

} // namespace

S3Store::S3Store( S3StoreOptions options )
    : options_( std::move( options ) )
    , public_( options_.bucket )
    , client_( options_.bucket, options_.clock )
{
    if ( !options_.publicEndpoint.empty() )
        public_.endpoint = options_.publicEndpoint;
}

std::string S3Store::url_( const char* method, const std::string& key, std::chrono::seconds lifetime ) const
{
    PresignRequest request;
    request.method = method;
    request.time = options_.clock();
    request.lifetime = lifetime;
    return presign( public_, key, request );
}

std::string S3Store::putUrl( const std::string& key, std::chrono::seconds lifetime )
{
    return url_( "PUT", key, lifetime );
}

std::string S3Store::getUrl( const std::string& key, std::chrono::seconds lifetime )
{
    return url_( "GET", key, lifetime );
}

tl::expected<std::optional<uint64_t>, StoreError> S3Store::sizeOf( const std::string& key )
{
    const auto head = client_.head( key );
    if ( head )
        return head->size;
    if ( head.error().kind == StoreTrouble::Missing )
        return std::nullopt;
    return tl::unexpected( head.error() );
}

tl::expected<void, StoreError> S3Store::fetch( const std::string& key, const std::filesystem::path& file )
{
    return client_.get( key, file );
}

tl::expected<void, StoreError> S3Store::store( const std::string& key, const std::filesystem::path& file )
{
    return client_.put( key, file );
}

void S3Store::remove( const std::string& key )
{
    // What stays now goes by its age later.
    if ( const auto removed = client_.remove( key ); !removed )
        spdlog::error( "Storage: {}", removed.error().text );
}

void S3Store::removeOlder( std::chrono::seconds age )
{
    const std::lock_guard lock( tidying_ );
    const auto limit = options_.clock() - age;
    const auto part = client_.list( cPrefixes[prefix_], next_ );
    if ( !part )
    {
        spdlog::error( "Storage: {}", part.error().text );
        next_.clear();
        return;
    }
    for ( const auto& object : part->objects )
        if ( object.written < limit )
            remove( object.key );
    next_ = part->next;
    if ( next_.empty() )
        prefix_ = ( prefix_ + 1 ) % cPrefixes.size();
}

bool S3Store::hasRoomFor( uint64_t bytes )
{
    const auto stored = options_.stored();
    return stored <= options_.maxTotalSize && bytes <= options_.maxTotalSize - stored;
}

uint64_t S3Store::excess()
{
    const auto stored = options_.stored();
    return stored - std::min( stored, options_.maxTotalSize );
}

} // namespace VX::Backend
