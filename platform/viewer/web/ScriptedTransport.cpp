#include <VXViewer/web/ScriptedTransport.h>

#include <fstream>

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

} // namespace

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
    answer( next.first, next.second, std::move( response ) );
    return true;
}

void ScriptedTransport::shutdown( std::chrono::milliseconds )
{
    {
        const std::lock_guard lock( mutex_ );
        closed_ = true;
    }
    while ( deliver( failedWebResponse( "The program is closing" ) ) )
        ;
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
