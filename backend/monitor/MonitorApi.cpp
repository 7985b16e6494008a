#include "monitor/MonitorApi.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <fstream>

#include <unistd.h>

namespace VX::Backend
{
namespace
{

// Anybody may ask, and each check is a write.
constexpr auto cCheckEvery = std::chrono::seconds( 1 );

/// Bytes of memory that this process has in use; 0 when the system does not tell.
uint64_t residentBytes()
{
    std::ifstream in( "/proc/self/statm" );
    uint64_t total = 0, resident = 0;
    in >> total >> resident;
    return resident * uint64_t( ::sysconf( _SC_PAGESIZE ) );
}

} // namespace

void RequestCounts::add( const std::string& service, int status )
{
    const std::lock_guard lock( mutex_ );
    ++counts_[{ service, status / 100 }];
}

std::map<std::pair<std::string, int>, uint64_t> RequestCounts::all() const
{
    const std::lock_guard lock( mutex_ );
    return counts_;
}

MonitorApi::MonitorApi( Database& database, Database& statistics, const RequestCounts& counts )
    : database_( database )
    , statistics_( statistics )
    , counts_( counts )
{
}

BodyPlan MonitorApi::planBody( const HttpRequest& head )
{
    return planReading( head, "This can only be read" );
}

void MonitorApi::handle( HttpRequest request, Respond respond )
{
    respond( request.path == "/healthz" ? health_() : metrics_() );
}

HttpResponse MonitorApi::health_()
{
    HttpResponse out;
    if ( draining_ )
    {
        out.status = 503;
        out.body = R"({"status":"stopping"})";
        return out;
    }
    const bool writes = canWrite_();
    out.status = writes ? 200 : 503;
    out.body = writes ? R"({"status":"ok"})" : R"({"status":"the database cannot be written"})";
    return out;
}

bool MonitorApi::canWrite_()
{
    const std::lock_guard lock( mutex_ );
    const auto now = std::chrono::steady_clock::now();
    if ( now < nextCheck_ )
        return couldWrite_;
    // A full disk is found by writing alone.
    const auto kept = executeAll(
        database_, { "CREATE TABLE IF NOT EXISTS health(id INTEGER PRIMARY KEY, checks INTEGER NOT NULL)",
                       "INSERT INTO health VALUES(1, 1) ON CONFLICT(id) DO UPDATE SET checks = checks + 1" } );
    if ( !kept )
        spdlog::error( "Health: {}", kept.error().text );
    nextCheck_ = now + cCheckEvery;
    couldWrite_ = kept.has_value();
    return couldWrite_;
}

HttpResponse MonitorApi::metrics_()
{
    std::string text;
    const auto family = [&]( const char* name, const char* type, const char* help )
    { text += fmt::format( "# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, type ); };
    family( "orvanta_requests_total", "counter", "Requests answered, by service and class of status." );
    for ( const auto& [key, count] : counts_.all() )
        text += fmt::format(
            "orvanta_requests_total{{service=\"{}\",status=\"{}xx\"}} {}\n", key.first, key.second, count );
    const auto rows = []( Database& database, const char* sql )
    {
        const auto found = database.query( sql );
        return found && !found->empty() ? integerOf( found->front()[0] ) : int64_t( 0 );
    };
    family( "orvanta_conversions_waiting", "gauge", "Conversions that are queued or running." );
    text += fmt::format( "orvanta_conversions_waiting {}\n",
        rows( database_, "SELECT count(*) FROM conversions WHERE state IN (1, 2)" ) );
    family( "orvanta_accounts", "gauge", "Accounts of the embedded identity service." );
    text += fmt::format( "orvanta_accounts {}\n", rows( database_, "SELECT count(*) FROM accounts" ) );
    family( "orvanta_stats_sessions", "gauge", "Sessions whose statistics are kept." );
    text += fmt::format( "orvanta_stats_sessions {}\n", rows( statistics_, "SELECT count(*) FROM stats_sessions" ) );
    family( "process_resident_memory_bytes", "gauge", "Memory in use." );
    text += fmt::format( "process_resident_memory_bytes {}\n", residentBytes() );
    family( "orvanta_uptime_seconds", "gauge", "Time since the service was started." );
    const auto up = std::chrono::duration_cast<std::chrono::seconds>( std::chrono::steady_clock::now() - started_ );
    text += fmt::format( "orvanta_uptime_seconds {}\n", up.count() );
    HttpResponse out;
    out.contentType = "text/plain; version=0.0.4; charset=utf-8";
    out.body = std::move( text );
    return out;
}

} // namespace VX::Backend
