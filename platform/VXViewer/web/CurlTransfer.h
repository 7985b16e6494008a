#pragma once

#include <VXViewer/web/DownloadFile.h>
#include <VXViewer/web/WebTransport.h>

#include <curl/curl.h>
#include <tl/expected.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace VX
{

/// One request on its way through libcurl: the easy handle, the files it streams, and what has arrived.
///
/// Made on any thread, then used by the transport's thread alone.
class VXVIEWER_API CurlTransfer
{
public:
    CurlTransfer( WebRequestData request, WebTransport::Done done );
    ~CurlTransfer();
    CurlTransfer( const CurlTransfer& ) = delete;
    CurlTransfer& operator=( const CurlTransfer& ) = delete;

    /// Opens the files and configures the handle; the error is the text of the failed request.
    [[nodiscard]] tl::expected<CURL*, std::string> prepare();

    /// Moves the output into place and delivers the answer.
    void finish( CURLcode result );
    /// Delivers a failure; the output file stays as it was.
    void fail( const std::string& error );

private:
    using Clock = std::chrono::steady_clock;

    static size_t write_( const char* data, size_t size, size_t count, void* self );
    static size_t read_( char* data, size_t size, size_t count, void* self );
    static int seek_( void* self, curl_off_t offset, int origin );
    static int progress_( void* self, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up );

    [[nodiscard]] tl::expected<void, std::string> openInput_();
    [[nodiscard]] tl::expected<void, std::string> openFiles_();
    void configureUrl_();
    void configureBody_();
    void configureHeaders_();
    void configureSecurity_();
    [[nodiscard]] bool report_( curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up );
    [[nodiscard]] std::string failureText_( CURLcode result ) const;
    /// Both take a piece of the answer's body; false when it is too much.
    [[nodiscard]] bool keepText_( std::string_view data );
    [[nodiscard]] bool store_( std::span<const std::byte> data );
    /// Delivers the failure of a request that the server wants sent to another address.
    void failRedirected_( long status );

    WebRequestData request_;
    WebTransport::Done done_;
    CURL* handle_ = nullptr;
    curl_slist* headers_ = nullptr;
    int input_ = -1;
    curl_off_t inputSize_ = 0;
    std::optional<DownloadFile> output_;
    bool storing_ = false;
    bool follows_ = false;
    std::string text_;
    std::string ownError_;
    bool canceled_ = false;
    bool cannotKeep_ = false; ///< the answer is there, but is too large or cannot be written to its file
    Clock::time_point lastReport_{};
    std::array<char, CURL_ERROR_SIZE> curlError_{};
};

} // namespace VX
