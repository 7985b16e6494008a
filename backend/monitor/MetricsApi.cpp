#include "monitor/MetricsApi.h"

#include "clock/SystemTime.h"
#include "metrics/Exposition.h"
#include "metrics/Measures.h"
#include "monitor/ProcessFigures.h"

namespace VX::Backend
{
namespace
{

void writeGauge( Exposition& out, const std::string& name, const std::string& help, double value )
{
    out.gauge( name, help );
    out.add( value );
}

void writeCounter( Exposition& out, const std::string& name, const std::string& help, double value )
{
    out.counter( name, help );
    out.add( value );
}

void writeHistogram( Exposition& out, const std::string& name, const std::string& help, const Histogram& histogram )
{
    out.histogram( name, help );
    out.add( histogram );
}

void writeRequests( Exposition& out, const RequestMeasures& requests )
{
    out.counter( "orvanta_requests_total", "Requests answered, by service and class of status." );
    for ( const auto& [key, count] : requests.all() )
        out.add( double( count ), { { "service", key.first }, { "status", std::to_string( key.second ) + "xx" } } );
    out.histogram( "orvanta_request_duration_seconds", "Time from the first bytes of a request to the last of its "
                                                       "answer, by service, class of method and of status." );
    for ( const auto& [kind, durations] : requests.durations() )
        out.add( *durations, { { "service", std::get<0>( kind ) }, { "method", std::get<1>( kind ) },
                                 { "status", std::get<2>( kind ) } } );
}

void writeMeasures( Exposition& out, const Measures& of )
{
    writeHistogram( out, "orvanta_sign_in_duration_seconds",
        "Time of a sign-in by password, with the wait for its turn.", of.signIns );
    writeHistogram( out, "orvanta_conversion_duration_seconds",
        "Time of an attempt at a conversion, with fetching its upload and storing its result.", of.conversions );
    writeHistogram( out, "orvanta_conversion_wait_seconds", "Time from queueing a conversion to its first attempt.",
        of.conversionWaits );
    out.counter( "orvanta_conversions_ended_total", "Conversions that have ended here, by how." );
    out.add( double( of.conversionsDone ), { { "end", "done" } } );
    out.add( double( of.conversionsFailed ), { { "end", "failed" } } );
    writeCounter( out, "orvanta_evictions_total", "Conversions removed before their time for want of room.",
        double( of.evictions ) );
    out.histogram( "orvanta_database_statement_seconds",
        "Time of a statement of the databases, with the wait for others who write." );
    out.add( of.reads, { { "kind", "read" } } );
    out.add( of.writes, { { "kind", "write" } } );
    writeCounter( out, "orvanta_log_lines_lost_total", "Lines of the log that were dropped, for nobody took them.",
        double( of.lostLogLines ) );
}

double ageOf( const std::optional<std::chrono::sys_seconds>& since, std::chrono::sys_seconds now )
{
    return since ? double( std::max<int64_t>( ( now - *since ).count(), 0 ) ) : 0;
}

void writeQueues( Exposition& out, const Figures& of, std::chrono::sys_seconds now )
{
    writeGauge( out, "orvanta_conversions_queued", "Conversions that wait for a worker.", double( of.queued ) );
    writeGauge( out, "orvanta_conversions_running", "Conversions that a worker has.", double( of.running ) );
    writeGauge( out, "orvanta_conversions_oldest_queued_seconds", "Age of the oldest one that waits; 0 when none does.",
        ageOf( of.oldestQueued, now ) );
    writeGauge( out, "orvanta_mails_waiting", "Mails that are to be sent.", double( of.mails ) );
    writeGauge( out, "orvanta_mails_oldest_seconds", "Age of the oldest of them; 0 when there is none.",
        ageOf( of.oldestMail, now ) );
}

void writeSizes( Exposition& out, const Figures& of )
{
    writeGauge( out, "orvanta_store_bytes", "Bytes of all uploads and results.", double( of.storedBytes ) );
    writeGauge( out, "orvanta_store_limit_bytes", "What they may be together.", double( of.mostStoredBytes ) );
    writeGauge( out, "orvanta_store_objects", "Number of uploads and results.", double( of.storedObjects ) );
    writeGauge( out, "orvanta_disk_free_bytes", "Room that is left on the disk of the data.", double( of.diskFree ) );
    writeGauge( out, "orvanta_disk_size_bytes", "Size of that disk.", double( of.diskSize ) );
    writeGauge( out, "orvanta_connections", "Connections that are open.", double( of.connections ) );
    writeGauge( out, "orvanta_accounts", "Accounts of the embedded identity service.", double( of.accounts ) );
    writeGauge( out, "orvanta_stats_sessions", "Sessions whose statistics are kept.", double( of.sessions ) );
}

void writeProcess( Exposition& out, const ProcessFigures& of )
{
    writeGauge( out, "process_resident_memory_bytes", "Memory in use.", double( of.residentBytes ) );
    writeGauge( out, "process_virtual_memory_bytes", "Address space in use.", double( of.virtualBytes ) );
    writeGauge( out, "process_open_fds", "Descriptors in use.", double( of.descriptors ) );
    writeGauge( out, "process_max_fds", "Descriptors there may be.", double( of.mostDescriptors ) );
    writeGauge( out, "process_threads", "Threads.", double( of.threads ) );
    writeCounter(
        out, "process_cpu_seconds_total", "Time of all cores, of the process without its workers.", of.cpuSeconds );
}

} // namespace

MetricsApi::MetricsApi( const RequestMeasures& requests, const FigureKeeper& figures )
    : requests_( requests )
    , figures_( figures )
    , started_( systemTime() )
{
}

BodyPlan MetricsApi::planBody( const HttpRequest& head )
{
    return planReading( head );
}

void MetricsApi::handle( HttpRequest /*request*/, Respond respond )
{
    HttpResponse out;
    out.contentType = "text/plain; version=0.0.4; charset=utf-8";
    out.body = text();
    respond( std::move( out ) );
}

std::string MetricsApi::text() const
{
    Exposition out;
    writeRequests( out, requests_ );
    writeMeasures( out, measures() );
    const auto [figures, at] = figures_.kept();
    const auto now = figures_.now();
    writeQueues( out, figures, now );
    writeSizes( out, figures );
    writeGauge( out, "orvanta_figures_age_seconds",
        "Time since the figures of queues, mails, store and tables were seen; they are looked at every five seconds.",
        ageOf( at ? at : started_, now ) );
    writeProcess( out, processFigures() );
    writeGauge( out, "process_start_time_seconds", "When the process began, in seconds since 1970.",
        double( started_.time_since_epoch().count() ) );
    return out.text();
}

} // namespace VX::Backend
