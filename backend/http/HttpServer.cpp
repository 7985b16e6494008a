#include "http/HttpServer.h"

#include "text/JsonText.h"

#include <spdlog/spdlog.h>

#include <cerrno>

namespace VX::Backend
{

HttpResponse failure( int status, const std::string& message )
{
    HttpResponse out;
    out.status = status;
    Json::Value body;
    body["error"]["message"] = message;
    out.body = compactJson( body );
    return out;
}

int statusOfDisk( int error )
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? 507 : 503;
}

HttpResponse HttpHandler::refuse( const std::string& /*path*/, int status )
{
    auto out = failure( status, statusText( status ) );
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
