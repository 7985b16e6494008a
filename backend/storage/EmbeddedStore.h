#pragma once

#include "http/HttpServer.h"
#include "storage/ObjectStore.h"
#include "storage/Presigner.h"

#include <atomic>
#include <functional>

namespace VX::Backend
{

struct EmbeddedStoreOptions
{
    /// Holds one file an object; created when missing.
    std::filesystem::path folder;
    std::string bucket = "orvanta";
    S3Credentials credentials;
    uint64_t maxObjectSize = uint64_t( 2 ) << 30;
    /// Of all objects together. Uploads that would not fit are refused.
    uint64_t maxTotalSize = uint64_t( 16 ) << 30;
    /// The time that URLs are signed with and checked against.
    std::function<std::chrono::sys_seconds()> clock;
};

/// An object store in a local folder that serves presigned GET, HEAD and PUT at "/BUCKET/KEY" as Amazon S3 does.
///
/// A PUT replaces its object in one step once the whole body has come. A GET answers one byte range where asked.
/// File names are hashes of the keys, so that no key can lead out of the folder.
class EmbeddedStore final : public ObjectStore, public HttpHandler
{
public:
    explicit EmbeddedStore( EmbeddedStoreOptions options );

    /// The root of the URLs that are handed out, "https://localhost:8443".
    void setEndpoint( std::string endpoint ) { endpoint_ = std::move( endpoint ); }
    /// Whether a path is one of this store's.
    [[nodiscard]] bool serves( const std::string& path ) const;

    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

    [[nodiscard]] std::string putUrl( const std::string& key, std::chrono::seconds lifetime ) override;
    [[nodiscard]] std::string getUrl( const std::string& key, std::chrono::seconds lifetime ) override;
    [[nodiscard]] bool exists( const std::string& key ) override;
    [[nodiscard]] tl::expected<void, std::string> fetch(
        const std::string& key, const std::filesystem::path& file ) override;
    [[nodiscard]] tl::expected<void, std::string> store(
        const std::string& key, const std::filesystem::path& file ) override;
    void remove( const std::string& key ) override;
    void removeOlder( std::chrono::seconds age ) override;
    [[nodiscard]] uint64_t excess() override;

private:
    [[nodiscard]] uint64_t totalSize_() const;
    [[nodiscard]] bool fits_( uint64_t length ) const;
    [[nodiscard]] std::string url_( const char* method, const std::string& key, std::chrono::seconds lifetime ) const;
    [[nodiscard]] std::filesystem::path fileOf_( const std::string& key ) const;
    [[nodiscard]] std::optional<std::string> keyOf_( const std::string& path ) const;
    [[nodiscard]] HttpResponse get_( const HttpRequest& request, const std::string& key ) const;
    [[nodiscard]] HttpResponse put_( const HttpRequest& request, const std::string& key );

    EmbeddedStoreOptions options_;
    std::string endpoint_;
    std::atomic<uint64_t> uploads_{ 0 };
};

} // namespace VX::Backend
