#include "statistics/StatsApi.h"

#include "crypto/Hex.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>

#include <sodium.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr uint64_t cLargestBody = uint64_t( 1 ) << 20;
constexpr size_t cLongestEmail = 254, cLongestName = 256;
constexpr Json::ArrayIndex cMostActions = 10000;
// Clocks of clients may be wrong by years, but not by centuries.
constexpr int64_t cLatestTime = 32503680000; // the year 3000
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

/// A member that is a text of at least one byte and not too long.
std::optional<std::string> textIn( const Json::Value& object, const char* key, size_t longest )
{
    const auto& value = object[key];
    if ( !value.isString() )
        return {};
    auto text = value.asString();
    return text.empty() || text.size() > longest ? std::nullopt : std::optional( std::move( text ) );
}

std::optional<ReportedAction> actionOf( const Json::Value& value )
{
    if ( !value.isObject() || !value["ts"].isInt64() )
        return {};
    const auto at = value["ts"].asInt64();
    auto name = textIn( value, "name", cLongestName );
    if ( !name || at < 0 || at > cLatestTime )
        return {};
    return ReportedAction{ std::move( *name ), at };
}

tl::unexpected<std::string> wrong( const char* text )
{
    return tl::unexpected( std::string( text ) );
}

} // namespace

StatsApi::StatsApi( StatsStore& store, StatsOptions options )
    : stats_( store )
    , options_( std::move( options ) )
    , thread_( [this] { storeLoop_(); } )
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
    changed_.notify_all();
    if ( thread_.joinable() )
        thread_.join();
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

std::string StatsApi::userCode_( const std::string& email ) const
{
    const auto text = "statistics/" + toLower( email );
    std::string out( crypto_generichash_BYTES_MIN, '\0' );
    crypto_generichash( reinterpret_cast<unsigned char*>( out.data() ), out.size(),
        reinterpret_cast<const unsigned char*>( text.data() ), text.size(),
        reinterpret_cast<const unsigned char*>( options_.userKey.data() ), options_.userKey.size() );
    return hex( out );
}

tl::expected<Report, std::string> StatsApi::read_( const std::string& text ) const
{
    const auto parsed = deserializeJsonValue( text );
    if ( !parsed || !parsed->isObject() )
        return wrong( "The report is not a JSON object" );
    const auto& body = *parsed;
    const auto type = body["type"].isString() ? body["type"].asString() : std::string();
    if ( type == "createSession" )
    {
        const auto email = textIn( body, "email", cLongestEmail );
        if ( !email )
            return wrong( "\"email\" must be a text of 1 to 254 bytes" );
        return NewSession{ userCode_( *email ) };
    }
    if ( type != "logAction" && type != "setPlatform" )
        return wrong( "\"type\" must be \"createSession\", \"logAction\" or \"setPlatform\"" );
    if ( !body["sessionId"].isInt64() )
        return wrong( "\"sessionId\" must be a whole number" );
    const auto session = body["sessionId"].asInt64();
    if ( type == "setPlatform" )
    {
        auto platform = textIn( body, "platform", cLongestName ), version = textIn( body, "version", cLongestName );
        if ( !platform || !version )
            return wrong( "\"platform\" and \"version\" must be texts of 1 to 256 bytes" );
        return ReportedPlatform{ session, std::move( *platform ), std::move( *version ) };
    }
    const auto email = textIn( body, "email", cLongestEmail );
    if ( !email )
        return wrong( "\"email\" must be a text of 1 to 254 bytes" );
    const auto& names = body["actionNames"];
    if ( !names.isArray() || names.size() > cMostActions )
        return wrong( "\"actionNames\" must be a list of at most 10000 actions" );
    ReportedActions out{ session, userCode_( *email ), {} };
    for ( const auto& value : names )
    {
        auto action = actionOf( value );
        if ( !action )
            return wrong( "An action must have a \"name\" of 1 to 256 bytes and a time \"ts\" in seconds" );
        out.actions.push_back( std::move( *action ) );
    }
    return out;
}

void StatsApi::handle( HttpRequest request, Respond respond )
{
    auto report = read_( request.body );
    if ( !report )
        return respond( refusal( 400, report.error() ) );
    {
        const std::lock_guard lock( mutex_ );
        if ( !stopping_ && waiting_.size() < options_.mostWaiting )
        {
            waiting_.push_back( { std::move( *report ), std::move( respond ) } );
            changed_.notify_one();
            return;
        }
    }
    respond( refusal( 503, "Too many reports at once; try again later" ) );
}

void StatsApi::storeLoop_()
{
    auto nextForgetting = std::chrono::steady_clock::now();
    std::unique_lock lock( mutex_ );
    while ( true )
    {
        changed_.wait_until( lock, nextForgetting, [this] { return stopping_ || !waiting_.empty(); } );
        if ( waiting_.empty() && stopping_ )
            return;
        auto batch = std::exchange( waiting_, {} );
        lock.unlock();
        if ( !batch.empty() )
            store_( std::move( batch ) );
        if ( std::chrono::steady_clock::now() >= nextForgetting )
        {
            stats_.forget( options_.keep );
            nextForgetting += cForgetEvery;
        }
        lock.lock();
    }
}

void StatsApi::store_( std::vector<Waiting> batch )
{
    std::vector<Report> reports;
    reports.reserve( batch.size() );
    for ( auto& waiting : batch )
        reports.push_back( std::move( waiting.report ) );
    const auto results = stats_.store( reports );
    for ( size_t i = 0; i < batch.size(); ++i )
    {
        if ( results.empty() )
            batch[i].respond( refusal( 503, "The report could not be stored; try again later" ) );
        else if ( !results[i].known )
            batch[i].respond( refusal( 400, "There is no such session of this user" ) );
        else
        {
            HttpResponse out;
            out.body = results[i].session ? "{\"sessionId\":" + std::to_string( results[i].session ) + "}" : "{}";
            batch[i].respond( std::move( out ) );
        }
    }
}

} // namespace VX::Backend
