#include "version/VersionApi.h"

namespace VX::Backend
{

BodyPlan VersionApi::planBody( const HttpRequest& head )
{
    return planReading( head, "The version can only be read" );
}

void VersionApi::handle( HttpRequest, Respond respond )
{
    HttpResponse response;
    response.contentType = "text/plain; charset=utf-8";
    response.body = latest_;
    respond( std::move( response ) );
}

} // namespace VX::Backend
