#include "statistics/StatsApi.h"

#include "statistics/ReportReader.h"

#include <json/value.h>

namespace VX::Backend
{
namespace
{

constexpr uint64_t cLargestBody = uint64_t( 1 ) << 20;
/// Besides what was sent: keys, times and the index.
constexpr uint64_t cBytesOfARow = 64;
constexpr auto cForgetEvery = std::chrono::hours( 1 );

HttpResponse refusal( int status, const std::string& message )
{
    HttpResponse out;
    out.status = status;
    Json::Value body;
    body["message"] = message;
    out.body = body.toStyledString();
    return out;
}

size_t rowsOf( const Report& report )
{
    const auto* actions = std::get_if<ReportedActions>( &report );
    return actions ? actions->actions.size() : 1;
}

/// On whose budget a report goes. Who does not know the user cannot use up that of a session.
std::string budgetOf( const Report& report )
{
    if ( const auto* actions = std::get_if<ReportedActions>( &report ) )
        return std::to_string( actions->session ) + actions->user;
    const auto* platform = std::get_if<ReportedPlatform>( &report );
    return platform ? std::to_string( platform->session ) : "new sessions of " + std::get<NewSession>( report ).user;
}

} // namespace

StatsApi::StatsApi( StatsStore& store, StatsOptions options )
    : stats_( store )
    , options_( std::move( options ) )
    , ofAddress_( options_.bytesOfAddress, std::chrono::hours( 1 ), options_.clock )
    , ofSession_( options_.bytesOfSession, std::chrono::minutes( 1 ), options_.clock )
    , storing_( [this] { return storeWaiting_(); } )
{
}

StatsApi::~StatsApi()
{
    stop();
}

void StatsApi::stop()
{
    {
        const std::lock_guard lock( mutex_ );
        stopping_ = true;
    }
    storing_.stop();
    storeWaiting_();
}

BodyPlan StatsApi::planBody( const HttpRequest& head )
{
    BodyPlan plan;
    plan.maxSize = cLargestBody;
    if ( head.method == "POST" )
        return plan;
    plan.refusal = refusal( 405, "Reports are sent by POST" );
    plan.refusal->headers["Allow"] = "POST";
    return plan;
}

HttpResponse StatsApi::refuse( const std::string& /*path*/, int status )
{
    auto out = refusal( status, statusText( status ) );
    out.close = true;
    return out;
}

void StatsApi::handle( HttpRequest request, Respond respond )
{
    {
        const std::lock_guard lock( mutex_ );
        const auto size = request.body.size();
        const bool fits = size <= options_.mostWaiting - std::min( options_.mostWaiting, waitingBytes_ );
        if ( !stopping_ && fits && mayReport_( request.remoteAddress, size ) )
        {
            waitingBytes_ += size;
            waiting_.push_back( { std::move( request.body ), std::move( respond ) } );
            storing_.wake();
            return;
        }
    }
    respond( later_() );
}

HttpResponse StatsApi::later_()
{
    return refusal( 503, "Too many reports at once; try again later" );
}

bool StatsApi::mayReport_( const std::string& address, size_t bytes )
{
    return address.empty() || ofAddress_.take( address, bytes );
}

std::chrono::milliseconds StatsApi::storeWaiting_()
{
    if ( !std::exchange( keyIsNamed_, true ) )
        stats_.useKey( markOfKey( options_.userKey ) );
    std::vector<Waiting> waiting;
    {
        const std::lock_guard lock( mutex_ );
        waiting = std::exchange( waiting_, {} );
    }
    storeAll_( waiting );
    const auto now = std::chrono::steady_clock::now();
    if ( now >= nextForgetting_ )
    {
        stats_.forget( options_.keep );
        nextForgetting_ += cForgetEvery;
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>( nextForgetting_ - now );
    return std::max( wait, std::chrono::milliseconds::zero() );
}

/// Many small reports are one transaction, and so is one large report: none keeps those behind it waiting for long.
void StatsApi::storeAll_( std::vector<Waiting>& waiting )
{
    Batch batch;
    size_t rows = 0;
    for ( auto& one : waiting )
    {
        const auto size = one.body.size();
        if ( auto report = read_( one ) )
        {
            rows += rowsOf( *report );
            batch.reports.push_back( std::move( *report ) );
            batch.responds.push_back( std::move( one.respond ) );
        }
        std::string().swap( one.body );
        if ( rows >= options_.rowsAtOnce || &one == &waiting.back() )
        {
            store_( std::exchange( batch, {} ) );
            rows = 0;
        }
        const std::lock_guard lock( mutex_ );
        waitingBytes_ -= size;
    }
}

/// The report, or nothing when it was refused.
std::optional<Report> StatsApi::read_( const Waiting& waiting )
{
    auto report = readReport( waiting.body, options_.userKey );
    if ( !report )
    {
        waiting.respond( refusal( 400, report.error() ) );
        return {};
    }
    if ( !ofSession_.take( budgetOf( *report ), waiting.body.size() + rowsOf( *report ) * cBytesOfARow ) )
    {
        waiting.respond( later_() );
        return {};
    }
    return std::move( *report );
}

void StatsApi::store_( Batch batch )
{
    if ( batch.reports.empty() )
        return;
    if ( stats_.size() >= options_.mostStored )
    {
        for ( const auto& respond : batch.responds )
            respond( refusal( 503, "No more statistics can be kept; try again later" ) );
        return;
    }
    const auto results = stats_.store( batch.reports );
    for ( size_t i = 0; i < batch.responds.size(); ++i )
    {
        if ( results.empty() )
            batch.responds[i]( refusal( 503, "The report could not be stored; try again later" ) );
        else if ( !results[i].known )
            batch.responds[i]( refusal( 400, "There is no such session of this user" ) );
        else
        {
            HttpResponse out;
            out.body = results[i].session ? "{\"sessionId\":" + std::to_string( results[i].session ) + "}" : "{}";
            batch.responds[i]( std::move( out ) );
        }
    }
}

} // namespace VX::Backend
