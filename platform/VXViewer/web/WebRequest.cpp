#include <VXViewer/web/WebRequest.h>

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/web/CallbackThreads.h>

#include <atomic>
#include <future>

namespace VX
{
namespace
{

constexpr const char* cBadInternet = "Bad internet connection.";
constexpr int cFirstError = 400, cFirstServerError = 500;

std::atomic<bool> sFinished{ false };

} // namespace

WebRequest::WebRequest( std::string url )
{
    data_.url = std::move( url );
}

void WebRequest::setMethod( Method method )
{
    data_.method = method;
}

void WebRequest::setHeaders( std::unordered_map<std::string, std::string> headers )
{
    data_.headers = { headers.begin(), headers.end() };
}

void WebRequest::setParameters( std::unordered_map<std::string, std::string> parameters )
{
    data_.parameters = { parameters.begin(), parameters.end() };
}

void WebRequest::setBody( std::string body )
{
    data_.body = std::move( body );
}

void WebRequest::setInputPath( const std::string& path )
{
    data_.inputPath = pathFromUtf8( path );
}

void WebRequest::setOutputPath( const std::string& path )
{
    data_.outputPath = pathFromUtf8( path );
}

void WebRequest::setMaxOutputSize( uint64_t bytes )
{
    data_.maxOutputSize = bytes;
}

void WebRequest::setUploadProgressCallback( ProgressCallback callback )
{
    data_.uploadProgress = std::move( callback );
}

void WebRequest::setDownloadProgressCallback( ProgressCallback callback )
{
    data_.downloadProgress = std::move( callback );
}

void WebRequest::setTimeout( int milliseconds )
{
    data_.timeout = std::chrono::milliseconds( milliseconds );
}

void WebRequest::setLogName( std::string logName )
{
    data_.logName = std::move( logName );
}

void WebRequest::send( ResponseCallback callback ) const
{
    webTransport()->send( data_,
        [callback = std::move( callback )]( Json::Value response ) mutable
        {
            CallbackThreads::run(
                [callback = std::move( callback ), response = std::move( response )] { callback( response ); } );
        } );
}

void WebRequest::send( std::string url, const std::string& logName, ResponseCallback callback, bool async )
{
    data_.url = std::move( url );
    data_.logName = logName;
    if ( async )
    {
        webTransport()->send( data_,
            [callback = std::move( callback )]( Json::Value response ) mutable
            {
                CommandLoop::appendCommand(
                    [callback = std::move( callback ), response = std::move( response )] { callback( response ); } );
            } );
        return;
    }
    auto promise = std::make_shared<std::promise<Json::Value>>();
    auto answer = promise->get_future();
    webTransport()->send( data_, [promise]( Json::Value response ) { promise->set_value( std::move( response ) ); } );
    callback( answer.get() );
}

tl::expected<Json::Value, std::string> parseResponse( const Json::Value& response )
{
    const int code = response["code"].isInt() ? response["code"].asInt() : 0;
    if ( code == 0 )
        return tl::unexpected( std::string( cBadInternet ) );
    auto body = deserializeJsonValue( textMember( response, "text" ) );
    if ( code < cFirstError )
        return body;
    if ( body && body->isObject() && ( *body )["message"].isString() )
        return tl::unexpected( ( *body )["message"].asString() );
    if ( code >= cFirstServerError )
        return tl::unexpected( std::string( cBadInternet ) );
    return tl::unexpected( body ? "The server answered with status " + std::to_string( code ) : body.error() );
}

bool finishWebRequests( std::chrono::milliseconds patience )
{
    sFinished = true;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    webTransport()->shutdown( patience );
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>( deadline - std::chrono::steady_clock::now() );
    return CallbackThreads::waitIdle( std::max( left, std::chrono::milliseconds( 100 ) ) );
}

void resumeWebRequests()
{
    // Nothing is wrong with one that was never told to end, and it may be carrying requests.
    if ( sFinished.exchange( false ) )
        renewWebTransport();
}

} // namespace VX
