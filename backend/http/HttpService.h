#pragma once

#include "http/HttpServer.h"

namespace VX::Backend
{

/// A handler that knows at once, by the head, what is to become of a body. What it does in either call may take its
/// time where a router gives it threads.
class HttpService : public HttpHandler
{
public:
    [[nodiscard]] virtual BodyPlan planBody( const HttpRequest& head ) = 0;
    void plan( HttpRequest head, Planned planned ) final { planned( planBody( head ) ); }
};

/// For what can only be read: anything but GET and HEAD is refused with a message.
[[nodiscard]] BodyPlan planReading( const HttpRequest& head, const std::string& message = "This can only be read" );

} // namespace VX::Backend
