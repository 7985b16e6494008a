#pragma once

#include "http/HttpServer.h"
#include "monitor/MonitorApi.h"

#include <functional>
#include <string>
#include <vector>

namespace VX::Backend
{

/// What stands behind a beginning of the paths; the name is for the metrics.
struct Door
{
    const char* name;
    std::function<bool( const std::string& path )> serves;
    HttpHandler* handler;
};

/// Sends each request to the service that its path names, and counts the answers. The handlers and the counts must
/// outlive it.
class Router final : public HttpHandler
{
public:
    Router( std::vector<Door> doors, RequestCounts& counts );

    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;

private:
    [[nodiscard]] const Door* doorOf_( const std::string& path ) const;

    std::vector<Door> doors_;
    RequestCounts& counts_;
};

} // namespace VX::Backend
