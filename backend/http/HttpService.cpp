#include "http/HttpService.h"

namespace VX::Backend
{

BodyPlan planReading( const HttpRequest& head, const std::string& message )
{
    BodyPlan plan;
    plan.maxSize = 0;
    if ( head.method == "GET" || head.method == "HEAD" )
        return plan;
    plan.refusal = failure( 405, message );
    plan.refusal->headers["Allow"] = "GET, HEAD";
    return plan;
}

} // namespace VX::Backend
