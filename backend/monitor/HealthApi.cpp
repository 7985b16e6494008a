#include "monitor/HealthApi.h"

#include "database/Schema.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

// Anybody may ask, and each check is a write.
constexpr auto cCheckEvery = std::chrono::seconds( 1 );

HttpResponse verdict( const char* trouble )
{
    HttpResponse out;
    out.status = trouble ? 503 : 200;
    out.body = fmt::format( R"({{"status":"{}"}})", trouble ? trouble : "ok" );
    return out;
}

} // namespace

HealthApi::HealthApi( Database& database )
    : database_( database )
{
}

BodyPlan HealthApi::planBody( const HttpRequest& head )
{
    return planReading( head );
}

void HealthApi::handle( HttpRequest request, Respond respond )
{
    if ( draining_ )
        return respond( verdict( "stopping" ) );
    if ( !canWrite_() )
        return respond( verdict( "the database cannot be written" ) );
    const bool idle = request.path == "/readyz" && !hasWorker_();
    respond( verdict( idle ? "no worker can be had" : nullptr ) );
}

void HealthApi::askForWorkers( std::function<bool()> hasWorker )
{
    const std::lock_guard lock( mutex_ );
    workers_ = std::move( hasWorker );
}

bool HealthApi::hasWorker_()
{
    const std::lock_guard lock( mutex_ );
    return workers_ && workers_();
}

bool HealthApi::canWrite_()
{
    const std::lock_guard lock( mutex_ );
    const auto now = std::chrono::steady_clock::now();
    if ( now < nextCheck_ )
        return couldWrite_;
    // A full disk is found by writing alone.
    const auto kept = makeTable( database_, { "health", "id INTEGER PRIMARY KEY, checks INTEGER NOT NULL" } )
                          .and_then(
                              [&]
                              {
                                  return executeAll( database_, { "INSERT INTO health VALUES(1, 1) ON CONFLICT(id) DO "
                                                                  "UPDATE SET checks = health.checks + 1" } );
                              } );
    if ( !kept )
        spdlog::error( "Health: {}", kept.error().text );
    nextCheck_ = now + cCheckEvery;
    couldWrite_ = kept.has_value();
    return couldWrite_;
}

} // namespace VX::Backend
