#pragma once

#include <VXViewer/web/WebTransport.h>

#include <tl/expected.hpp>

#include <unordered_map>

namespace VX
{

/// One HTTPS request: a value that is configured, copied freely and sent.
///
///     #include <cstdio>
///
///     WebRequest request( "https://example.org/answer" );
///     request.setLogName( "example" );
///     request.send(
///         []( const Json::Value& response )
///         {
///             if ( const auto answer = parseResponse( response ) )
///                 std::puts( ( *answer )["answer"].asCString() );
///         } );
///
/// A response is an object with "code" (HTTP status; 0 when no whole answer arrived; 507 when one did, but was larger
/// than 1 MB or could not be written to its file), "error" and "text" (absent with 507).
///
/// Redirects are followed where nothing but the address is told: GET without headers, and PUT of a file without any.
/// All others answer with the status of the redirect and an "error", and nothing is sent to the other address.
class VXVIEWER_API WebRequest
{
public:
    using Method = WebMethod;
    using ResponseCallback = std::function<void( const Json::Value& response )>;

    WebRequest() = default;
    explicit WebRequest( std::string url );

    void setMethod( Method method );
    void setHeaders( std::unordered_map<std::string, std::string> headers );
    /// Query parameters; they are percent-encoded when sent.
    void setParameters( std::unordered_map<std::string, std::string> parameters );
    void setBody( std::string body );
    /// UTF-8 path of a file that is streamed as the body.
    void setInputPath( const std::string& path );
    /// UTF-8 path of a file that receives the body of an answer below 400; it is replaced in one step at the end, by a
    /// file of mode 0600. A download that would leave its disk with less than 256 MB is stopped.
    void setOutputPath( const std::string& path );
    /// Largest size of that file, in bytes; 4 GiB unless set. A larger answer is stopped, and nothing of it is kept.
    void setMaxOutputSize( uint64_t bytes );
    /// Fractions 0..1 about ten times a second on the transport's thread; a false return stops the transfer.
    void setUploadProgressCallback( ProgressCallback callback );
    void setDownloadProgressCallback( ProgressCallback callback );
    /// For the whole exchange, in milliseconds; 10000 unless set.
    void setTimeout( int milliseconds );
    void setLogName( std::string logName );

    [[nodiscard]] const WebRequestData& data() const { return data_; }

    /// Sends a copy of this request and returns at once. The callback is called exactly once, on a worker thread on
    /// which it may block: each request in flight has a thread of its own for this.
    void send( ResponseCallback callback ) const;

    /// Sends this request to `url`. With `async` it returns at once and the callback is called on the UI thread, by
    /// the command loop; without, it blocks and calls back before it returns.
    void send( std::string url, const std::string& logName, ResponseCallback callback, bool async = true );

private:
    WebRequestData data_;
};

/// What an answer means. Code 0 is "Bad internet connection.". A status of 400 or more is an error: the string
/// "message" of its body where there is one, else from 500 on "Bad internet connection.", else the parser's text or
/// "The server answered with status N". Below 400 a body that is not JSON is the parser's text, anything else the
/// parsed body.
[[nodiscard]] VXVIEWER_API tl::expected<Json::Value, std::string> parseResponse( const Json::Value& response );

/// Ends web access at exit: requests in flight get `patience` in all, then they are answered with code 0.
/// Returns false when callbacks are still running on worker threads after it.
VXVIEWER_API bool finishWebRequests( std::chrono::milliseconds patience );

/// Lets requests be sent again after `finishWebRequests`, by the real transport or by one that was set since then.
VXVIEWER_API void resumeWebRequests();

} // namespace VX
