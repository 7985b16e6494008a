#include "storage/s3/KeptObjects.h"

#include "clock/SystemTime.h"
#include "storage/ObjectFiles.h"
#include "storage/s3/S3Client.h"

namespace VX::Backend
{
namespace
{

std::string reason( const StoreError& error )
{
    return "The store cannot be asked: " + error.text;
}

} // namespace

KeptObjects::KeptObjects( std::filesystem::path data, const S3Bucket& bucket )
    : data_( std::move( data ) )
{
    if ( !bucket.endpoint.empty() )
        client_ = std::make_unique<S3Client>( bucket, &systemTime );
}

KeptObjects::~KeptObjects() = default;

bool KeptObjects::inBucket() const
{
    return client_ != nullptr;
}

tl::expected<std::optional<uint64_t>, std::string> KeptObjects::sizeOf( const std::string& key ) const
{
    if ( !client_ )
    {
        std::error_code ec;
        const auto size = std::filesystem::file_size( objectFile( data_ / "objects", key ), ec );
        return data_.empty() || ec ? std::nullopt : std::optional<uint64_t>( size );
    }
    const auto head = client_->head( key );
    if ( head )
        return head->size;
    if ( head.error().kind == StoreTrouble::Missing )
        return std::nullopt;
    return tl::unexpected( reason( head.error() ) );
}

tl::expected<void, std::string> KeptObjects::remove( const std::string& key ) const
{
    if ( client_ )
        return client_->remove( key ).map_error( &reason );
    std::error_code ec;
    if ( !data_.empty() )
        std::filesystem::remove( objectFile( data_ / "objects", key ), ec );
    return {};
}

} // namespace VX::Backend
