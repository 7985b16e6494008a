#pragma once

#include <VXMesh/io/Progress.h>
#include <VXViewer/Export.h>

#include <json/value.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace VX
{

enum class WebMethod
{
    Get,
    Post,
    Put,
    Patch,
    Delete
};

/// Everything that is said to a server in one request.
struct WebRequestData
{
    WebMethod method = WebMethod::Get;
    std::string url;
    std::map<std::string, std::string> headers;
    /// Appended to the URL's query, percent-encoded.
    std::map<std::string, std::string> parameters;
    std::string body;
    /// Streamed as the body instead of `body` when not empty.
    std::filesystem::path inputPath;
    /// Where the answer's body goes instead of "text" when not empty: a complete answer below 400 replaces the file in
    /// one step, anything else leaves it as it was. The new file has mode 0600.
    std::filesystem::path outputPath;
    /// Largest size of that file, in bytes: what a scene file can hold at most.
    uint64_t maxOutputSize = uint64_t( 4 ) << 30;
    /// Called on the transport's thread at most about ten times a second, and with 1 at the end; must not block.
    ProgressCallback uploadProgress;
    ProgressCallback downloadProgress;
    std::chrono::milliseconds timeout{ 10000 };
    /// Names the request in log lines instead of its URL, which may hold a signature.
    std::string logName;
};

/// Carries requests; the real one speaks HTTPS, the scripted one answers from a test.
class VXVIEWER_API WebTransport
{
public:
    /// Receives an object with "code" (HTTP status, 0 when no whole answer arrived), "error" (why not, or what the
    /// status means from 400 up; else empty) and "text" (the body; absent when it was not kept).
    using Done = std::function<void( Json::Value response )>;

    virtual ~WebTransport() = default;

    /// Starts a request and returns at once. `done` is called exactly once, on any thread, and must not block.
    virtual void send( WebRequestData request, Done done ) = 0;

    /// Lets requests in flight end within `patience`, then answers the rest with code 0. Later ones are answered with
    /// code 0 at once. Returns when all are answered.
    virtual void shutdown( std::chrono::milliseconds patience ) = 0;
};

/// The transport of this process; the real one unless another was set. Any thread.
[[nodiscard]] VXVIEWER_API std::shared_ptr<WebTransport> webTransport();

/// Replaces the transport when the program or a test starts; null brings the real one back.
VXVIEWER_API void setWebTransport( std::shared_ptr<WebTransport> transport );

/// Brings a new transport in the place of the real one; another that was set stays. Requests that the former one still
/// carries are answered with code 0.
VXVIEWER_API void renewWebTransport();

/// A response value without a whole answer.
[[nodiscard]] VXVIEWER_API Json::Value failedWebResponse( const std::string& error );

} // namespace VX
