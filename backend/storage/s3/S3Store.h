#pragma once

#include "storage/ObjectStore.h"
#include "storage/s3/S3Client.h"

#include <mutex>

namespace VX::Backend
{

struct S3StoreOptions
{
    /// As this service reaches it.
    S3Bucket bucket;
    /// The address of the same service as clients reach it, which their URLs are signed for; that of the bucket unless
    /// set.
    std::string publicEndpoint;
    /// Of all objects together.
    uint64_t maxTotalSize = uint64_t( 16 ) << 30;
    /// How much there is, as far as somebody counts it: the service itself cannot tell. Asked often.
    std::function<uint64_t()> stored;
    std::function<std::chrono::sys_seconds()> clock;
};

/// Uploads and results in a bucket of an S3-compatible service, where clients put and get them without asking us.
///
/// Objects of other keys than "uploads/…" and "results/…" are left alone.
class S3Store final : public ObjectStore
{
public:
    explicit S3Store( S3StoreOptions options );

    [[nodiscard]] std::string putUrl( const std::string& key, std::chrono::seconds lifetime ) override;
    [[nodiscard]] std::string getUrl( const std::string& key, std::chrono::seconds lifetime ) override;
    [[nodiscard]] tl::expected<std::optional<uint64_t>, StoreError> sizeOf( const std::string& key ) override;
    [[nodiscard]] tl::expected<void, StoreError> fetch(
        const std::string& key, const std::filesystem::path& file ) override;
    [[nodiscard]] tl::expected<void, StoreError> store(
        const std::string& key, const std::filesystem::path& file ) override;
    void remove( const std::string& key ) override;
    void removeOlder( std::chrono::seconds age ) override;
    [[nodiscard]] bool hasRoomFor( uint64_t bytes ) override;
    [[nodiscard]] uint64_t excess() override;

private:
    [[nodiscard]] std::string url_( const char* method, const std::string& key, std::chrono::seconds lifetime ) const;

    S3StoreOptions options_;
    S3Bucket public_; ///< as clients reach it
    S3Client client_;
    /// Where the next part of the tidying begins; one thread tidies at a time.
    std::mutex tidying_;
    size_t prefix_ = 0;
    std::string next_;
};

} // namespace VX::Backend
