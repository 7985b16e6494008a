#include <VXOrvanta/telemetry/SessionLogs.h>

#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/ProductVersion.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/web/WebRequest.h>

#include <spdlog/spdlog.h>

#include <algorithm>
#include <mutex>

namespace VX
{
namespace
{

const std::string cUrl = std::string( ORVANTA_API_URL ) + "/stats/log";
constexpr auto cFlushPeriod = std::chrono::seconds( 60 );

/// Set while the library is loaded, before there is anything else of it.
const std::string& ( *sUser )() = nullptr;

int64_t wholeSeconds( std::chrono::nanoseconds time )
{
    return std::chrono::duration_cast<std::chrono::seconds>( time ).count();
}

/// A 64-bit integer that is written as one; 7.0 is none.
bool isWholeNumber( const Json::Value& value )
{
    return value.isInt64() && value.type() != Json::realValue;
}

void post( const Json::Value& body, const char* logName, WebRequest::ResponseCallback callback )
{
    WebRequest request;
    request.setMethod( WebRequest::Method::Post );
    request.setBody( body.toStyledString() );
    request.send( cUrl, logName, std::move( callback ), true );
}

/// A callback that only says what could not be understood.
WebRequest::ResponseCallback reportFailure( const char* operation )
{
    return [operation]( const Json::Value& response )
    {
        if ( const auto parsed = parseResponse( response ); !parsed )
            spdlog::error( "Failed to parse response from \"SessionLogs::{}\": {}", operation, parsed.error() );
    };
}

} // namespace

std::chrono::nanoseconds SessionLogs::systemTime_()
{
    return std::chrono::system_clock::now().time_since_epoch();
}

SessionLogs& SessionLogs::instance_()
{
    static SessionLogs sInstance;
    return sInstance;
}

void SessionLogs::checkNoTelemetryFlag_()
{
    static std::once_flag sChecked;
    std::call_once( sChecked,
        []
        {
            const auto& arguments = getViewerInstance().arguments();
            if ( std::find( arguments.begin(), arguments.end(), "-noTelemetry" ) == arguments.end() )
                return;
            instance_().enabled_ = false;
            instance_().allowed_ = false;
        } );
}

void SessionLogs::setUserSource( const std::string& ( *email )() )
{
    sUser = email;
}

bool SessionLogs::isEnabled()
{
    checkNoTelemetryFlag_();
    return instance_().enabled_;
}

bool SessionLogs::isAllowed()
{
    return instance_().allowed_;
}

void SessionLogs::allow( bool allow )
{
    auto& self = instance_();
    // The stored consent of a user does not outdo the command line.
    self.allowed_ = allow && self.enabled_;
    if ( allow )
        return;
    self.actions_.clear();
    if ( self.enabled_ )
        self.actions_.push_back( { Actions::cForbidTelemetry, wholeSeconds( self.now_() ) } );
}

void SessionLogs::requestSessionId( const std::string& email )
{
    if ( email.empty() || !isEnabled() )
        return;
    Json::Value body( Json::objectValue );
    body["type"] = "createSession";
    body["email"] = email;
    post( body, "requestSessionId",
        []( const Json::Value& response )
        {
            const auto parsed = parseResponse( response );
            if ( !parsed )
            {
                spdlog::error( "Failed to parse response from \"SessionLogs::requestSessionId\": {}", parsed.error() );
                return;
            }
            spdlog::debug( "{}", parsed->toStyledString() );
            auto& self = instance_();
            if ( parsed->isObject() && isWholeNumber( ( *parsed )["sessionId"] ) )
                self.sessionId_ = ( *parsed )["sessionId"].asInt64();
            self.lastFlush_ = self.now_();
        } );
}

void SessionLogs::clearSessionId()
{
    auto& self = instance_();
    self.sessionId_ = -1;
    self.actions_.clear();
    self.platformSent_ = false;
}

void SessionLogs::logAction( std::string name )
{
    auto& self = instance_();
    if ( self.allowed_ )
        self.actions_.push_back( { std::move( name ), wholeSeconds( self.now_() ) } );
}

void SessionLogs::flushIfNeeded( bool force )
{
    auto& self = instance_();
    if ( self.sessionId_ == -1 || self.actions_.empty() )
        return;
    const auto now = self.now_();
    if ( !force && now - self.lastFlush_ < cFlushPeriod )
        return;
    self.lastFlush_ = now;
    self.sendActions_();
    if ( !self.platformSent_ )
        self.sendPlatform_();
}

void SessionLogs::sendActions_()
{
    Json::Value names( Json::arrayValue );
    for ( const auto& action : actions_ )
    {
        spdlog::debug( "Telemetry: {}->{}", sessionId_, action.name );
        Json::Value value( Json::objectValue );
        value["name"] = action.name;
        value["ts"] = Json::UInt64( action.timestamp );
        names.append( value );
    }
    Json::Value body( Json::objectValue );
    body["type"] = "logAction";
    body["sessionId"] = Json::Int64( sessionId_ );
    body["email"] = sUser ? sUser() : std::string();
    body["actionNames"] = names;
    actions_.clear();
    post( body, "logAction", reportFailure( "logAction" ) );
}

void SessionLogs::sendPlatform_()
{
    platformSent_ = true;
    Json::Value body( Json::objectValue );
    body["type"] = "setPlatform";
    body["sessionId"] = Json::Int64( sessionId_ );
    body["platform"] = GetDetailedOSName();
    body["version"] = productVersion();
    post( body, "setPlatform", reportFailure( "setPlatform" ) );
}

} // namespace VX
