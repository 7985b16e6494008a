#include "converter/ConverterApi.h"

#include "log/LogContext.h"
#include "log/LogEvent.h"
#include "text/JsonText.h"
#include "text/Uri.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>

#include <spdlog/spdlog.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace VX::Backend
{
namespace
{

/// Between two looks: what ends meanwhile is seen by one.
constexpr auto cPace = std::chrono::milliseconds( 20 );

HttpResponse success( Json::Value result )
{
    Json::Value envelope;
    envelope["result"] = std::move( result );
    HttpResponse out;
    out.body = compactJson( envelope );
    return out;
}

HttpResponse unavailable( const std::string& why )
{
    spdlog::error( "Conversion: {}", why );
    return failure( 503, "The conversion service cannot work now; try again in a moment" );
}

HttpResponse stopping()
{
    return failure( 503, "The conversion service is about to restart; try again in a moment" );
}

HttpResponse unknownJob()
{
    return failure( 404, "This conversion is not known; open the file again" );
}

/// What is wrong with a request's formats; empty when nothing is.
std::string formatProblem( const Json::Value& body )
{
    const auto format = toLower( textMember( body, "input_format" ) );
    if ( format.empty() )
        return "The file has no extension; name it .step or .stp and try again";
    if ( format != "step" && format != "stp" )
        return "Files of type \"" + format.substr( 0, 32 ) + "\" cannot be converted; STEP files can";
    if ( textMember( body, "compress_input" ) != "zip" )
        return "The input must be compressed as \"zip\"";
    return {};
}

bool isRequestId( const std::string& id )
{
    return id.size() == 32 && id.find_first_not_of( "0123456789abcdef" ) == std::string::npos;
}

} // namespace

ConverterApi::ConverterApi( ConversionJobs& jobs, ObjectStore& store, ConverterApiOptions options )
    : jobs_( jobs )
    , store_( store )
    , options_( std::move( options ) )
    , thread_( [this] { answerWaiters_(); } )
{
    jobs_.listen( this, [this]( const std::string& id ) { noteEnd_( id ); } );
}

ConverterApi::~ConverterApi()
{
    stop();
}

void ConverterApi::stop()
{
    jobs_.unlisten( this );
    {
        const std::lock_guard lock( mutex_ );
        stopping_ = true;
    }
    arrived_.notify_all();
    if ( thread_.joinable() )
        thread_.join();
    // What answers them holds a part of the server, which ends next.
    std::unique_lock lock( mutex_ );
    look_( lock, { held_.begin(), held_.end() } );
}

BodyPlan ConverterApi::planBody( const HttpRequest& )
{
    BodyPlan plan;
    plan.maxSize = 64 * 1024;
    return plan;
}

void ConverterApi::handle( HttpRequest request, Respond respond )
{
    const auto call = request.path.substr( std::string( "/converter/v2" ).size() );
    const bool post = request.method == "POST";
    if ( call == "/status" && request.method == "GET" )
        return status_( request, respond );
    if ( call != "/request" && call != "/convert" && call != "/status" )
        return respond( failure( 404, "There is no such call" ) );
    if ( !post || call == "/status" )
        return respond( failure( 405, "This call wants another HTTP method" ) );
    const auto body = readRequestJson( request.body );
    if ( !body )
        return respond( failure( 400, "The request is not a JSON object" ) );
    const auto token = textMember( *body, "access_token" );
    options_.mayConvert( token, request.remoteAddress,
        [this, call, body = *body, respond, nobody = token.empty(), id = request.id]( const AccessCheck& access )
        {
            const LogContext context( id );
            using Verdict = AccessCheck::Verdict;
            if ( access.verdict == Verdict::Unknown )
                return respond( failure( 503, "Your sign-in cannot be checked now; try again in a moment" ) );
            if ( access.verdict == Verdict::Bad )
                return respond( failure( 401, nobody ? "Sign in to convert files"
                                                     : "Your sign-in is not valid any more; sign out and in again" ) );
            respond( call == "/request" ? request_( body, access.account ) : convert_( body, access.account ) );
        } );
}

HttpResponse ConverterApi::request_( const Json::Value& body, const std::string& owner )
{
    if ( const auto problem = formatProblem( body ); !problem.empty() )
        return failure( 400, problem );
    if ( draining_ )
        return stopping();
    const auto created = jobs_.create( toLower( textMember( body, "input_format" ) ), owner );
    if ( !created )
        return unavailable( created.error().text );
    const auto& job = *created;
    if ( !job )
        return failure( 429, "You have too many conversions at once; try again when some of them are done" );
    Json::Value result;
    result["request_id"] = job->id;
    result["url"] = store_.putUrl( job->uploadKey(), options_.urlLifetime );
    return success( result );
}

std::optional<HttpResponse> ConverterApi::problemOfUpload_( const ConversionJob& job )
{
    const auto size = store_.sizeOf( job.uploadKey() );
    if ( !size )
        return unavailable( size.error().text );
    if ( !*size )
        return failure( 409, "Nothing was uploaded for this conversion; open the file again" );
    if ( !options_.countUpload )
        return {};
    const auto removed = [&]( HttpResponse refusal )
    {
        store_.remove( job.uploadKey() );
        return refusal;
    };
    if ( **size > options_.maxUpload )
        return removed( failure( 413, "The file is too large for the conversion service" ) );
    switch ( options_.countUpload( job, **size ) )
    {
    case Admission::Welcome:
        return {};
    case Admission::Unknown:
        return unavailable( "an upload cannot be counted" );
    case Admission::Gone:
        return removed( unknownJob() );
    case Admission::NoRoom:
        break;
    }
    return removed(
        failure( 507, "Your files take up all the room that you have; try again when some of them are done" ) );
}

HttpResponse ConverterApi::convert_( const Json::Value& body, const std::string& owner )
{
    if ( const auto problem = formatProblem( body ); !problem.empty() )
        return failure( 400, problem );
    if ( textMember( body, "output_format" ) != "vxu" )
        return failure( 400, "The output format must be \"vxu\"" );
    const auto id = textMember( body, "request_id" );
    if ( !isRequestId( id ) )
        return unknownJob();
    const auto job = jobs_.find( id );
    if ( !job )
        return unavailable( job.error().text );
    // What another has is not known to anybody else.
    if ( !*job || ( *job )->owner != owner )
        return unknownJob();
    if ( ( *job )->state != JobState::Created )
        return success( Json::Value( Json::objectValue ) );
    if ( draining_ )
        return stopping();
    if ( auto problem = problemOfUpload_( **job ) )
        return std::move( *problem );
    if ( const auto queued = jobs_.queue( id, LogContext::request() ); !queued )
        return unavailable( queued.error().text );
    // Whoever has the whole id may fetch the result.
    logEvent( "conversion queued", { { "job", id.substr( 0, 8 ) } } );
    return success( Json::Value( Json::objectValue ) );
}

std::optional<HttpResponse> ConverterApi::statusOf_( const Found& found, bool waitLonger )
{
    if ( !found )
    {
        // It may be back before the client is to ask again.
        if ( waitLonger )
            return {};
        return unavailable( found.error().text );
    }
    const auto& job = *found;
    if ( !job )
        return unknownJob();
    Json::Value result;
    switch ( job->state )
    {
    case JobState::Created:
        result["state"] = "not_started";
        return success( result );
    case JobState::Queued:
    case JobState::Running:
        if ( waitLonger )
            return {};
        result["state"] = "in_progress";
        return success( result );
    case JobState::Finished:
        result["state"] = "finished";
        result["url"] = store_.getUrl( job->resultKey(), options_.urlLifetime );
        return success( result );
    case JobState::Failed:
        break;
    }
    return failure( 422, job->error );
}

void ConverterApi::status_( const HttpRequest& request, const Respond& respond )
{
    const auto query = parseQuery( request.query );
    const auto id = query && query->contains( "request_id" ) ? query->at( "request_id" ) : std::string();
    if ( !isRequestId( id ) )
        return respond( unknownJob() );
    const auto found = jobs_.find( id );
    if ( auto answer = statusOf_( found, true ) )
        return respond( std::move( *answer ) );
    if ( !hold_( id, respond ) )
        respond( *statusOf_( found, false ) );
}

bool ConverterApi::hold_( const std::string& id, const Respond& respond )
{
    {
        const std::lock_guard lock( mutex_ );
        if ( stopping_ || waiters_.size() >= options_.mostHeld )
            return false;
        waiters_.push_back( { id, Clock::now() + options_.statusHold, respond } );
        held_.insert( id );
        // It may have ended since it was looked for.
        changed_.insert( id );
    }
    arrived_.notify_all();
    return true;
}

void ConverterApi::noteEnd_( const std::string& id )
{
    {
        const std::lock_guard lock( mutex_ );
        if ( !held_.contains( id ) )
            return;
        changed_.insert( id );
    }
    arrived_.notify_all();
}

void ConverterApi::answerWaiters_()
{
    std::unique_lock lock( mutex_ );
    while ( awaitTurn_( lock ) )
        look_( lock, nextIds_() );
}

bool ConverterApi::awaitTurn_( std::unique_lock<std::mutex>& lock )
{
    arrived_.wait( lock, [this] { return stopping_ || !waiters_.empty(); } );
    if ( !stopping_ )
        arrived_.wait_until( lock, std::min( nextLookAtAll_, waiters_.front().deadline ),
            [this] { return stopping_ || !changed_.empty(); } );
    arrived_.wait_until( lock, lastLook_ + cPace, [this] { return stopping_.load(); } );
    return !stopping_;
}

std::set<std::string> ConverterApi::nextIds_()
{
    const auto now = Clock::now();
    auto out = std::exchange( changed_, {} );
    if ( now >= nextLookAtAll_ )
    {
        nextLookAtAll_ = now + options_.lookAgain;
        out.insert( held_.begin(), held_.end() );
    }
    for ( auto due = waiters_.begin(); due != waiters_.end() && due->deadline <= now; ++due )
        out.insert( due->id );
    return out;
}

void ConverterApi::look_( std::unique_lock<std::mutex>& lock, const std::set<std::string>& ids )
{
    if ( ids.empty() )
        return;
    lock.unlock();
    const auto found = jobs_.find( ids );
    const auto jobOf = [&]( const std::string& id )
    {
        return found.map( [&]( const auto& jobs )
            { return jobs.contains( id ) ? std::optional( jobs.at( id ) ) : std::optional<ConversionJob>(); } );
    };
    std::vector<std::pair<Respond, HttpResponse>> answers;
    lock.lock();
    lastLook_ = Clock::now();
    const auto isAnswered = [&]( const Waiter& waiter )
    {
        if ( !ids.contains( waiter.id ) )
            return false;
        auto answer = statusOf_( jobOf( waiter.id ), lastLook_ < waiter.deadline && !stopping_ );
        if ( !answer )
            return false;
        answers.emplace_back( waiter.respond, std::move( *answer ) );
        held_.erase( held_.find( waiter.id ) );
        return true;
    };
    waiters_.remove_if( isAnswered );
    lock.unlock();
    for ( auto& [respond, answer] : answers )
        respond( std::move( answer ) );
    lock.lock();
}

} // namespace VX::Backend
