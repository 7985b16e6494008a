#include "http/HttpService.h"

#include "text/JsonText.h"

namespace VX::Backend
{

BodyPlan planReading( const HttpRequest& head, const std::string& message )
{
    BodyPlan plan;
    plan.maxSize = 0;
    if ( head.method == "GET" || head.method == "HEAD" )
        return plan;
    Json::Value body;
    body["error"]["message"] = message;
    plan.refusal = HttpResponse{};
    plan.refusal->status = 405;
    plan.refusal->headers["Allow"] = "GET, HEAD";
    plan.refusal->body = compactJson( body );
    return plan;
}

} // namespace VX::Backend
