#include <VXOrvanta/deferred/WebRequestFuture.h>

#include <VXViewer/core/Viewer.h>

namespace VX
{

// NOLINTNEXTLINE(performance-unnecessary-value-param): who wants an answer gives the request away
WebRequestFuture::WebRequestFuture( WebRequest request )
    : state_( std::make_shared<State>() )
{
    request.send(
        [state = state_]( const Json::Value& response )
        {
            {
                const std::lock_guard lock( state->mutex );
                state->response = response;
            }
            state->cv.notify_one();
            getViewerInstance().postEmptyEvent();
        } );
}

std::optional<Json::Value> WebRequestFuture::operator()()
{
    return execute_( true );
}

Json::Value WebRequestFuture::get()
{
    return *execute_( false );
}

std::optional<Json::Value> WebRequestFuture::execute_( bool nonBlocking )
{
    std::unique_lock lock( state_->mutex );
    if ( !state_->response )
    {
        if ( nonBlocking )
            return {};
        state_->cv.wait( lock, [this] { return state_->response.has_value(); } );
    }
    return state_->response;
}

} // namespace VX
