#pragma once

#include <VXOrvanta/account/AuthWindow.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/telemetry/SessionLogs.h>

#include <utility>

/// What the tests look at without it being anyone else's business.
namespace VX
{

struct SessionLogsTestAccess
{
    /// The names of the actions that wait to be sent, which are dropped.
    static std::vector<std::string> take()
    {
        std::vector<std::string> out;
        for ( const auto& action : SessionLogs::instance_().actions_ )
            out.push_back( action.name );
        SessionLogs::instance_().actions_.clear();
        return out;
    }
    /// A new client that knows the command line's veto, with a clock of the test.
    static void reset( std::chrono::nanoseconds ( *clock )() = nullptr )
    {
        (void)SessionLogs::isEnabled();
        auto& self = SessionLogs::instance_();
        self = SessionLogs();
        if ( clock )
            self.now_ = clock;
    }
    static std::chrono::nanoseconds systemTime() { return SessionLogs::systemTime_(); }
    /// As after "-noTelemetry".
    static void veto() { SessionLogs::instance_().enabled_ = SessionLogs::instance_().allowed_ = false; }
    static int64_t sessionId() { return SessionLogs::instance_().sessionId_; }
    static void setSessionId( int64_t id ) { SessionLogs::instance_().sessionId_ = id; }
    static bool platformSent() { return SessionLogs::instance_().platformSent_; }
    static std::chrono::nanoseconds lastFlush() { return SessionLogs::instance_().lastFlush_; }
    static size_t actionSize() { return sizeof( SessionLogs::StoredAction ); }
};

struct AuthWindowTestAccess
{
    static AuthState& state( AuthWindow& window ) { return window.state_; }
    static std::string& email( AuthWindow& window ) { return window.email_; }
    static std::string& password( AuthWindow& window ) { return window.password_; }
    static std::string& newPassword( AuthWindow& window ) { return window.newPassword_; }
    static std::string& code( AuthWindow& window ) { return window.confirmationCode_; }
    static std::string& codeDestination( AuthWindow& window ) { return window.codeDestination_; }
    static std::string& message( AuthWindow& window ) { return window.message_; }
    static std::string& reason( AuthWindow& window ) { return window.reason_; }
    static std::string& status( AuthWindow& window ) { return window.status_; }
    static bool& rememberMe( AuthWindow& window ) { return window.rememberMe_; }
    static int& retriesLeft( AuthWindow& window ) { return window.retriesLeft_; }
    static int brokenRules( const AuthWindow& window ) { return window.validatePassword_(); }
};

struct OrvantaMenuTestAccess
{
    static AuthWindow& authWindow( OrvantaRibbonMenu& menu ) { return *menu.authWindow_; }
    static WelcomeWindow& welcomeWindow( OrvantaRibbonMenu& menu ) { return menu.welcomeWindow_; }
    static void setAuthed( OrvantaRibbonMenu& menu, bool on )
    {
        AuthWindowTestAccess::state( *menu.authWindow_ ) = on ? AuthState::Authed : AuthState::SignIn;
    }
    static std::string& latestVersion( OrvantaRibbonMenu& menu ) { return menu.latestVersion_; }
    static void drawVersionWindowOf( OrvantaRibbonMenu& menu ) { menu.drawVersionWindow_(); }
    static void drawWelcomeWindowOf( OrvantaRibbonMenu& menu ) { menu.drawWelcomeWindow_(); }
    static void checkArchitecture( OrvantaRibbonMenu& menu, const std::string& platform, const std::string& cpu )
    {
        menu.checkArchitecture_( platform, cpu );
    }
};

} // namespace VX
