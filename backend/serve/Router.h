#pragma once

#include "http/HttpService.h"
#include "monitor/MonitorApi.h"
#include "work/WorkerPool.h"

#include <atomic>
#include <deque>
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
    HttpService* service;
    /// Threads of its own on which the service is called, for one that waits for a database, a disk or another service;
    /// the server's own when 0, for one that never waits.
    int threads = 0;
};

/// Sends each request to the service that its path names, and counts the answers. A service that stands still keeps
/// nobody waiting but who asks it. The services and the counts must outlive it.
class Router final : public HttpHandler
{
public:
    Router( const std::vector<Door>& doors, RequestCounts& counts );

    void plan( HttpRequest head, Planned planned ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;

    /// Waits for the calls under way. What waits for its turn is refused, and so is all that comes later: no service is
    /// called any more.
    void stop();

private:
    struct Entrance
    {
        explicit Entrance( const Door& leadsTo )
            : door( leadsTo )
            , pool( leadsTo.threads, cMostWaiting )
        {
        }
        Door door;
        WorkerPool pool;
    };
    static constexpr size_t cMostWaiting = 4096;

    [[nodiscard]] Entrance* entranceOf_( const std::string& path );
    /// Calls a service on its threads; where that cannot be, or it throws, the refusal is told.
    void call_(
        Entrance& entrance, const std::string& path, std::function<void( HttpService& )> call, Respond refused );

    std::deque<Entrance> entrances_;
    RequestCounts& counts_;
    std::atomic<bool> stopping_ = false;
};

} // namespace VX::Backend
