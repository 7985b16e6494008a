#include <VXViewer/web/ScriptedTransport.h>

#include <fstream>
#include <future>

namespace VX
{
namespace
{

void answer( const WebRequestData& request, const WebTransport::Done& done, Json::Value response )
{
    if ( response.isMember( "file" ) && !request.outputPath.empty() )
        std::ofstream( request.outputPath, std::ios::binary ) << response["file"].asString();
    response.removeMember( "file" );
    done( std::move( response ) );
}

/// Tells a fraction to whoever wants to hear it; false when one of them wants to stop.
bool report( const WebRequestData& request, float fraction )
{
    return reportProgress( request.uploadProgress, fraction ) && reportProgress( request.downloadProgress, fraction );
}

void answerWithProgress( const WebRequestData& request, const WebTransport::Done& done, Json::Value response )
{
    Json::Value fractions;
    response.removeMember( "progress", &fractions );
    for ( const auto& fraction : fractions )
        if ( !report( request, fraction.asFloat() ) )
            return done( failedWebResponse( cOperationCanceled ) );
    answer( request, done, std::move( response ) );
}

} // namespace

ScriptedTransport::~ScriptedTransport()
{
    for ( auto& thread : threads_ )
        thread.join();
}

void ScriptedTransport::answerElsewhere_( WebRequestData request, Done done, Json::Value response )
{
    std::thread thread( [request = std::move( request ), done = std::move( done ), response = std::move( response )]
        { answerWithProgress( request, done, response ); } );
    const std::lock_guard lock( mutex_ );
    threads_.push_back( std::move( thread ) );
}

void ScriptedTransport::send( WebRequestData request, Done done )
{
    std::optional<Json::Value> response;
    {
        const std::lock_guard lock( mutex_ );
        sent_.push_back( request );
        if ( closed_ )
            response = failedWebResponse( "The program is closing" );
    }
    if ( !response && script_ )
        response = script_( request );
    if ( response && response->isMember( "progress" ) )
        return answerElsewhere_( std::move( request ), std::move( done ), std::move( *response ) );
    if ( response )
        return answer( request, done, std::move( *response ) );
    const std::lock_guard lock( mutex_ );
    waiting_.emplace_back( std::move( request ), std::move( done ) );
}

bool ScriptedTransport::deliver( Json::Value response )
{
    std::pair<WebRequestData, Done> next;
    {
        const std::lock_guard lock( mutex_ );
        if ( waiting_.empty() )
            return false;
        next = std::move( waiting_.front() );
        waiting_.pop_front();
    }
    if ( response.isMember( "progress" ) )
        answerElsewhere_( std::move( next.first ), std::move( next.second ), std::move( response ) );
    else
        answer( next.first, next.second, std::move( response ) );
    return true;
}

std::optional<bool> ScriptedTransport::reportProgress( float fraction )
{
    WebRequestData request;
    {
        const std::lock_guard lock( mutex_ );
        if ( waiting_.empty() )
            return {};
        request = waiting_.front().first;
    }
    const bool goOn = std::async( std::launch::async, [&] { return report( request, fraction ); } ).get();
    if ( !goOn )
        deliver( failedWebResponse( cOperationCanceled ) );
    return goOn;
}

void ScriptedTransport::shutdown( std::chrono::milliseconds )
{
    {
        const std::lock_guard lock( mutex_ );
        closed_ = true;
    }
    while ( deliver( failedWebResponse( "The program is closing" ) ) )
        ;
    std::vector<std::thread> threads;
    {
        const std::lock_guard lock( mutex_ );
        threads.swap( threads_ );
    }
    for ( auto& thread : threads )
        thread.join();
}

std::vector<WebRequestData> ScriptedTransport::sent() const
{
    const std::lock_guard lock( mutex_ );
    return sent_;
}

Json::Value ScriptedTransport::response( int code, const std::string& text, const std::string& error )
{
    Json::Value out;
    out["code"] = code;
    out["error"] = error;
    out["text"] = text;
    return out;
}

} // namespace VX
