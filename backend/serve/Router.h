#pragma once

#include "http/HttpService.h"
#include "metrics/RequestMeasures.h"
#include "work/TurnPool.h"

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
    /// Paths that may stand in the log; of all others only the name does, for anything may stand in a path.
    std::vector<std::string> routes = {};
};

/// Sends each request to the service that its path names, counts the answers, and logs a line for each request. A
/// service that stands still keeps nobody waiting but who asks it. The services and the measures must outlive it.
class Router final : public HttpHandler
{
public:
    Router( const std::vector<Door>& doors, RequestMeasures& counts );

    void plan( HttpRequest head, Planned planned ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;
    void ended( const RequestEnd& end ) override;

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
        TurnPool pool;
    };
    static constexpr size_t cMostWaiting = 4096;

    [[nodiscard]] Entrance* entranceOf_( const std::string& path );
    /// Calls a service on its threads, which log for whom this one does; where that cannot be, or it throws, the
    /// refusal is told.
    void call_(
        Entrance& entrance, const std::string& path, std::function<void( HttpService& )> call, const Respond& refused );

    std::deque<Entrance> entrances_;
    RequestMeasures& counts_;
    std::atomic<bool> stopping_ = false;
};

} // namespace VX::Backend
