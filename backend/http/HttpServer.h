#pragma once

#include "http/TrustedProxies.h"

#include <tl/expected.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace VX::Backend
{

struct HttpRequest
{
    std::string method;
    /// As it came, still percent-encoded.
    std::string path;
    std::string query;
    /// Names in lower case.
    std::map<std::string, std::string> headers;
    /// Empty when the body went into a file.
    std::string body;
    /// Where the body was streamed to; empty when it was not.
    std::filesystem::path bodyFile;
    /// Who it comes from, for limits by address; empty when that is not known.
    std::string remoteAddress;
    /// What it is called in the log, and in its answer; empty where requests have no names.
    std::string id = {};

    [[nodiscard]] std::string header( const std::string& name ) const;
};

struct HttpResponse
{
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    /// Sent instead of `body` when not empty: `fileLength` bytes from `fileOffset`.
    std::filesystem::path file;
    uint64_t fileOffset = 0;
    uint64_t fileLength = 0;
    std::map<std::string, std::string> headers;
    /// Ends the connection after this answer.
    bool close = false;
};

/// A refusal in words, {"error": {"message": …}}.
[[nodiscard]] HttpResponse failure( int status, const std::string& message );

/// What is answered where a file cannot be written for this reason, an `errno`: 507 where there is no room, else 503.
[[nodiscard]] int statusOfDisk( int error );

/// Answers a request; called exactly once, from any thread.
using Respond = std::function<void( HttpResponse )>;

/// What is to become of a request's body.
struct BodyPlan
{
    uint64_t maxSize = uint64_t( 1 ) << 20;
    /// Streamed into this file when not empty; the handler owns the file once it is called. A body that is cut off
    /// never reaches the handler, and its file is removed.
    std::filesystem::path file;
    /// Answered at once instead of reading the body.
    std::optional<HttpResponse> refusal;
    /// Goes when the request has ended, however it did.
    std::shared_ptr<void> hold;
};

/// Tells the plan for a request; called exactly once, from any thread.
using Planned = std::function<void( BodyPlan )>;

/// How a request went, its body and its answer included.
struct RequestEnd
{
    /// With empty headers and body; only as far as it could be read.
    HttpRequest request;
    int status = 0;                         ///< of the answer; 0 when the client had gone before
    std::chrono::nanoseconds duration{ 0 }; ///< from its first bytes until the last of its answer
    uint64_t received = 0, sent = 0;        ///< bytes
};

/// What the server serves; called on its I/O threads, which carry every connection: nothing here waits for a disk, a
/// database, another service or a long reckoning.
///
/// `planned` and `respond` may be called at once or later, from any thread; all calls but the first do nothing. One
/// that has not been called yet is let go before the server ends.
class HttpHandler
{
public:
    virtual ~HttpHandler() = default;
    /// Decides by the head of a request, before its body is read.
    virtual void plan( HttpRequest head, Planned planned ) = 0;
    /// Answers a request whose body has come.
    virtual void handle( HttpRequest request, Respond respond ) = 0;
    /// What is said to a client of this path when its request cannot be read or answered, in the form it expects.
    [[nodiscard]] virtual HttpResponse refuse( const std::string& path, int status );
    /// Told of each request, once it is over.
    virtual void ended( const RequestEnd& /*end*/ ) {}
};

/// Calls into a handler; false when it throws, which the log tells.
[[nodiscard]] bool isCalled( const std::function<void()>& call );

struct HttpServerOptions
{
    std::string address = "127.0.0.1";
    uint16_t port = 8443; ///< 0 takes a free one
    /// Without TLS; the certificate is not looked at.
    bool plain = false;
    /// Who may say on whose behalf they ask, and what a request is called.
    TrustedProxies proxies;
    /// A new name for a request, which is sent back as X-Request-Id; requests have none without it.
    std::function<std::string()> nameRequest;
    /// Open at a time; above it the one goes that has been silent for the longest.
    size_t maxConnections = 1024;
    std::filesystem::path certificateFile;
    std::filesystem::path keyFile;
    int threads = 2;
    /// A client that is silent for this long in the middle of a request is cut off.
    std::chrono::milliseconds patience{ 30000 };
    std::chrono::milliseconds headerPatience{ 15000 };
    /// For the files that bodies go into and answers come from: a disk that stands still keeps nobody else waiting.
    int fileThreads = 2;
    /// Bytes a second that a body must come in with, after the patience.
    uint64_t leastRate = 1024;
    /// One that takes longer in all is cut off, whatever its rate.
    std::chrono::milliseconds longestBody = std::chrono::hours( 1 );
    std::chrono::milliseconds keepAlive{ 60000 };
    size_t maxHeaderSize = 16 * 1024;
    /// Bytes of bodies in memory, of all connections together, but for the first 64 kB of each; a body that finds no
    /// room is answered 503.
    uint64_t mostBodies = uint64_t( 256 ) << 20;
};

/// HTTP/1.1, over TLS but where it is told to be plain: keep-alive, bodies streamed with constant memory. No connection
/// harms another, whatever comes on it.
class HttpServer
{
public:
    /// The handler must outlive the server. The error says why it cannot listen.
    [[nodiscard]] static tl::expected<std::unique_ptr<HttpServer>, std::string> start(
        const HttpServerOptions& options, HttpHandler& handler );

    /// Whether one could listen with these options, as far as that shows without listening; without a certificate it is
    /// not looked at.
    [[nodiscard]] static tl::expected<void, std::string> check( const HttpServerOptions& options );

    virtual ~HttpServer() = default;
    [[nodiscard]] virtual uint16_t port() const = 0;
    /// Connections that are open. Any thread.
    [[nodiscard]] virtual size_t connections() const = 0;
    /// Reads certificate and key again, for the connections to come; the error says why the old ones stay. Any thread.
    [[nodiscard]] virtual tl::expected<void, std::string> reloadCertificate() = 0;
    /// Closes all connections; requests that are not answered yet never are.
    virtual void stop() = 0;
};

/// "Not Found" for 404.
[[nodiscard]] const char* statusText( int status );

} // namespace VX::Backend
