#pragma once

#include "http/CurlHandles.h"
#include "storage/ObjectStore.h"
#include "storage/Presigner.h"
#include "storage/s3/S3Listing.h"

#include <functional>

namespace VX::Backend
{

/// What a service tells of an object without its bytes.
struct S3Head
{
    uint64_t size = 0;
    std::chrono::sys_seconds written;
};

/// Calls an S3-compatible service by requests that are signed in their query, path-style
/// (https://docs.aws.amazon.com/AmazonS3/latest/API/API_Operations.html). Connections stay open for
/// the next call. Objects are put in one piece: the service takes up to 5 GiB so.
///
/// Every call blocks: for seconds where few bytes are moved, and as long as they go on moving where an object is. Any
/// thread. Nothing is tried again; a service that does not answer, or by anything but yes and no, is Unavailable.
class S3Client
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    S3Client( S3Bucket bucket, Clock clock );

    [[nodiscard]] tl::expected<S3Head, StoreError> head( const std::string& key );
    /// Writes an object into a new file, which is there only when all of it is.
    [[nodiscard]] tl::expected<void, StoreError> get( const std::string& key, const std::filesystem::path& file );
    /// Makes an object of a file, or puts it in the place of the one that is there. A file that is not there is
    /// Missing.
    [[nodiscard]] tl::expected<void, StoreError> put( const std::string& key, const std::filesystem::path& file );
    /// One that is not there is removed already.
    [[nodiscard]] tl::expected<void, StoreError> remove( const std::string& key );
    /// Objects whose keys begin so, up to a thousand at a time, from where the listing before said that it goes on.
    [[nodiscard]] tl::expected<S3Listing, StoreError> list(
        const std::string& prefix, const std::string& next = {}, size_t most = 1000 );

private:
    struct Call;
    struct Answer;
    [[nodiscard]] Answer ask_( const Call& call );
    [[nodiscard]] std::string urlOf_( const Call& call ) const;

    S3Bucket bucket_;
    Clock clock_;
    CurlHandles handles_;
};

} // namespace VX::Backend
