#include "version/VersionApi.h"

namespace VX::Backend
{

BodyPlan VersionApi::planBody( const HttpRequest& head )
{
    BodyPlan plan;
    plan.maxSize = 0;
    if ( head.method == "GET" || head.method == "HEAD" )
        return plan;
    plan.refusal = HttpResponse{};
    plan.refusal->status = 405;
    plan.refusal->headers["Allow"] = "GET, HEAD";
    plan.refusal->body = R"({"error":{"message":"The version can only be read"}})";
    return plan;
}

void VersionApi::handle( HttpRequest, Respond respond )
{
    HttpResponse response;
    response.contentType = "text/plain; charset=utf-8";
    response.body = latest_;
    respond( std::move( response ) );
}

} // namespace VX::Backend
