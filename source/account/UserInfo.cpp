#include <VXOrvanta/account/UserInfo.h>

#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/telemetry/TelemetryConfig.h>
#include <VXViewer/settings/Config.h>

namespace VX
{
namespace
{

void ( *sShow )( const std::string& email ) = nullptr;

[[maybe_unused]] const bool sReportsAskHere = ( SessionLogs::setUserSource( &UserInfo::getEmail ), true );

} // namespace

UserInfo& UserInfo::instance_()
{
    static UserInfo sInstance;
    return sInstance;
}

const std::string& UserInfo::getEmail()
{
    return instance_().email_;
}

void UserInfo::setEmail( std::string email )
{
    auto& self = instance_();
    if ( !email.empty() )
    {
        SessionLogs::allow( Config::instance().getBool( cTelemetryAllowedConfigKey, true ) );
        SessionLogs::requestSessionId( email );
        SessionLogs::logAction( Actions::cSignIn );
    }
    else
    {
        SessionLogs::logAction( Actions::cSignOut );
        SessionLogs::flushIfNeeded( true );
        SessionLogs::clearSessionId();
    }
    if ( sShow )
        sShow( email );
    self.email_ = std::move( email );
}

void UserInfo::setDisplay( void ( *show )( const std::string& email ) )
{
    sShow = show;
}

const std::string& UserInfo::getAccessToken()
{
    return instance_().accessToken_;
}

void UserInfo::setAccessToken( std::string token )
{
    instance_().accessToken_ = std::move( token );
}

} // namespace VX
