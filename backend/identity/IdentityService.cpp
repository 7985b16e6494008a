#include "identity/IdentityService.h"

#include "crypto/Hex.h"
#include "text/JsonText.h"

namespace VX::Backend
{
namespace
{

HttpResponse response( const Json::Value& body )
{
    HttpResponse out;
    out.contentType = cAuthContentType;
    out.body = compactJson( body );
    out.headers["x-amzn-RequestId"] = randomUuid();
    return out;
}

} // namespace

HttpResponse authSuccess( const Json::Value& body )
{
    return response( body );
}

HttpResponse authUnavailable()
{
    Json::Value body;
    body["__type"] = "InternalErrorException";
    auto out = response( body );
    out.status = 500;
    out.headers["x-amzn-ErrorType"] = "InternalErrorException";
    return out;
}

HttpResponse authFailure( const std::string& type, const std::string& message, int status )
{
    Json::Value body;
    body["__type"] = type;
    body["message"] = message;
    auto out = response( body );
    out.status = status;
    out.headers["x-amzn-ErrorType"] = type;
    return out;
}

} // namespace VX::Backend
