#pragma once

#include "http/HttpService.h"
#include "storage/CutOffs.h"
#include "storage/ObjectStore.h"
#include "storage/Presigner.h"
#include "storage/StoreRoom.h"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>

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
    /// Asked about each upload when its head has come; all are welcome without it.
    std::function<Admission( const std::string& key, uint64_t length )> admit;
    /// Asked again when it lies there, in place of an object of so many bytes: one that is not wanted any more goes.
    std::function<Admission( const std::string& key, uint64_t replaced )> arrived;
    /// Told of an upload that was welcome and has not come, on a thread of its own.
    CutOffs::Tell cutOff;
};

/// An object store in a local folder that serves presigned GET, HEAD and PUT at "/BUCKET/KEY" as Amazon S3 does.
///
/// A PUT replaces its object in one step once the whole body has come. A GET answers one byte range where asked.
/// Files are named as `objectFile` says. Their size is counted once at the start and kept since; room for an upload is
/// promised when its head has come.
///
/// The folder is for one store at a time.
class EmbeddedStore final : public ObjectStore, public HttpService
{
public:
    explicit EmbeddedStore( EmbeddedStoreOptions options );

    /// The root of the URLs that are handed out, "https://localhost:8443".
    void setEndpoint( std::string endpoint ) { endpoint_ = std::move( endpoint ); }
    /// Whether a path is one of this store's.
    [[nodiscard]] bool serves( const std::string& path ) const;

    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;

    [[nodiscard]] std::string putUrl( const std::string& key, std::chrono::seconds lifetime ) override;
    [[nodiscard]] std::string getUrl( const std::string& key, std::chrono::seconds lifetime ) override;
    [[nodiscard]] tl::expected<std::optional<uint64_t>, StoreError> sizeOf( const std::string& key ) override;
    [[nodiscard]] tl::expected<void, StoreError> fetch(
        const std::string& key, const std::filesystem::path& file ) override;
    [[nodiscard]] tl::expected<void, StoreError> store(
        const std::string& key, const std::filesystem::path& file ) override;
    void remove( const std::string& key ) override;
    void removeOlder( std::chrono::seconds age ) override;
    [[nodiscard]] bool hasRoomFor( uint64_t bytes ) override { return room_->hasRoomFor( bytes ); }
    [[nodiscard]] uint64_t excess() override { return room_->excess(); }
    /// What lies there.
    [[nodiscard]] StoreSum stored() const { return room_->stored(); }

private:
    static constexpr size_t cParts = 256;
    /// One sub-folder: who changes what lies there, or counts it, has it alone.
    struct Part
    {
        std::mutex mutex;
        StoreSum sum;
    };
    void takeOver_();
    /// Counts what lies in a part, and removes what was written before a time.
    void sweep_( size_t part, std::filesystem::file_time_type before );
    /// Puts a file in an object's place, in one step; the bytes of the object that was there.
    [[nodiscard]] tl::expected<uint64_t, std::error_code> place_(
        const std::filesystem::path& file, const std::string& key );
    [[nodiscard]] size_t partOf_( const std::filesystem::path& file ) const;
    void change_( Part& part, StoreSum from, StoreSum to );
    void planUpload_( const HttpRequest& head, BodyPlan& plan );
    [[nodiscard]] std::filesystem::path newFile_() const;
    [[nodiscard]] std::string url_( const char* method, const std::string& key, std::chrono::seconds lifetime ) const;
    /// The size of an object's file, which may be missing; the error is that of a disk that cannot tell.
    [[nodiscard]] tl::expected<std::optional<uint64_t>, std::error_code> sizeOf_(
        const std::filesystem::path& file ) const;
    [[nodiscard]] std::filesystem::path fileOf_( const std::string& key ) const;
    [[nodiscard]] std::optional<std::string> keyOf_( const std::string& path ) const;
    [[nodiscard]] HttpResponse get_( const HttpRequest& request, const std::string& key ) const;
    [[nodiscard]] HttpResponse put_( const HttpRequest& request, const std::string& key );

    EmbeddedStoreOptions options_;
    std::string endpoint_;
    /// Of uploads that outlive the store, too.
    std::shared_ptr<StoreRoom> room_;
    std::shared_ptr<CutOffs> cutOffs_;
    std::array<Part, cParts> parts_;
    std::atomic<size_t> nextPart_{ 0 };
};

} // namespace VX::Backend
