#include "http/HttpServer.h"

#include "text/JsonText.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{

HttpResponse HttpHandler::refuse( const std::string& /*path*/, int status )
{
    HttpResponse out;
    out.status = status;
    Json::Value body;
    body["error"]["message"] = statusText( status );
    out.body = compactJson( body );
    out.close = true;
    return out;
}

bool isCalled( const std::function<void()>& call )
{
    try
    {
        call();
        return true;
    }
    catch ( const std::exception& e )
    {
        spdlog::error( "A request could not be answered: {}", e.what() );
    }
    catch ( ... )
    {
        spdlog::error( "A request could not be answered" );
    }
    return false;
}

} // namespace VX::Backend
