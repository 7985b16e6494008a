#include "TestPlaces.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/ui/TestAccess.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/ProductVersion.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <set>

using namespace VX;
using namespace std::chrono_literals;

namespace
{

using Names = std::vector<std::string>;

std::chrono::nanoseconds sNow{};

std::chrono::nanoseconds testClock()
{
    return sNow;
}

class SessionLogsTest : public testing::Test
{
protected:
    SessionLogsTest()
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setUserConfigName( "Orvanta" );
        Config::instance().setBool( "allowSimpleTelemetry", true );
        CommandLoop::open();
        setWebTransport( transport_ );
        sNow = 1'700'000'000s + 900ms;
        SessionLogsTestAccess::reset( &testClock );
    }
    ~SessionLogsTest() override
    {
        UserInfo::setEmail( {} );
        setWebTransport( nullptr );
        SessionLogsTestAccess::reset();
    }
    void answer( const std::string& text, int code = 200 )
    {
        ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( code, text ) ) );
        CommandLoop::processCommands();
    }
    void openSession()
    {
        SessionLogs::requestSessionId( "ann@example.org" );
        answer( R"({"sessionId":77})" );
        sent_ = transport_->sent().size();
    }
    /// Log names of what was sent since the session was opened.
    Names sent() const
    {
        Names out;
        for ( const auto& request : transport_->sent() )
            out.push_back( request.logName );
        out.erase( out.begin(), out.begin() + std::ptrdiff_t( sent_ ) );
        return out;
    }
    std::string lastBody() const { return transport_->sent().back().body; }

    Testing::ScratchFolder folder_;
    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
    size_t sent_ = 0;
};

} // namespace

TEST_F( SessionLogsTest, SessionRequestByTheByte )
{
    SessionLogs::requestSessionId( "ann@example.org" );
    const auto request = transport_->sent().at( 0 );
    EXPECT_TRUE( request.url.ends_with( "/stats/log" ) );
    EXPECT_EQ( request.method, WebMethod::Post );
    EXPECT_EQ( request.logName, "requestSessionId" );
    EXPECT_EQ( request.body, "{\n\t\"email\" : \"ann@example.org\",\n\t\"type\" : \"createSession\"\n}\n" );
    EXPECT_TRUE( request.headers.empty() );
}

TEST_F( SessionLogsTest, ActionsAndPlatformByTheByteAndInTheirOrder )
{
    openSession();
    UserInfo::setAccessToken( {} );
    SessionLogs::logAction( "A \"quoted\" one" );
    sNow += 61s;
    SessionLogs::logAction( "Second" );
    SessionLogs::flushIfNeeded( false );
    ASSERT_EQ( sent(), ( Names{ "logAction", "setPlatform" } ) );
    EXPECT_EQ( transport_->sent()[sent_].body,
        "{\n\t\"actionNames\" : \n\t[\n\t\t{\n\t\t\t\"name\" : \"A \\\"quoted\\\" one\",\n\t\t\t\"ts\" : "
        "1700000000\n\t\t},\n\t\t{\n\t\t\t\"name\" : \"Second\",\n\t\t\t\"ts\" : 1700000061\n\t\t}\n\t],\n\t\"email\" "
        ": \"\",\n\t\"sessionId\" : 77,\n\t\"type\" : \"logAction\"\n}\n" );
    Json::Value platform;
    platform["type"] = "setPlatform";
    platform["sessionId"] = 77;
    platform["platform"] = GetDetailedOSName();
    platform["version"] = noSpaces( GetVXVersionString() );
    EXPECT_EQ( lastBody(), platform.toStyledString() );
    EXPECT_NE( GetVXVersionString(), platform["version"].asString() ) << "build with a preset whose version has spaces";
    SessionLogs::logAction( "Third" );
    SessionLogs::flushIfNeeded( true );
    EXPECT_EQ( sent(), ( Names{ "logAction", "setPlatform", "logAction" } ) ) << "the platform once in a session";
}

TEST_F( SessionLogsTest, WaitsAMinuteUnlessForced )
{
    openSession();
    SessionLogs::logAction( "x" );
    sNow += 59s;
    SessionLogs::flushIfNeeded( false );
    EXPECT_EQ( sent(), Names{} );
    sNow += 1s;
    SessionLogs::flushIfNeeded( false );
    EXPECT_EQ( sent().size(), 2u );
    SessionLogs::logAction( "y" );
    SessionLogs::flushIfNeeded( false );
    EXPECT_EQ( sent().size(), 2u );
    SessionLogs::flushIfNeeded( true );
    EXPECT_EQ( sent().size(), 3u );
}

TEST_F( SessionLogsTest, NothingWaitsSoNothingIsSent )
{
    openSession();
    SessionLogs::flushIfNeeded( true );
    EXPECT_EQ( sent(), Names{} ) << "not even the platform";
}

TEST_F( SessionLogsTest, WithoutASessionActionsWait )
{
    SessionLogs::logAction( "early" );
    SessionLogs::flushIfNeeded( true );
    EXPECT_EQ( transport_->sent().size(), 0u );
    openSession();
    SessionLogs::flushIfNeeded( true );
    EXPECT_NE( transport_->sent()[sent_].body.find( "early" ), std::string::npos );
}

TEST_F( SessionLogsTest, NobodyHasNoSession )
{
    SessionLogs::requestSessionId( "" );
    EXPECT_TRUE( transport_->sent().empty() );
}

TEST_F( SessionLogsTest, OptingOutLeavesTheNewsOfItOnly )
{
    openSession();
    for ( int i = 0; i < 5; ++i )
        SessionLogs::logAction( "x" );
    SessionLogs::allow( false );
    SessionLogs::logAction( "y" );
    EXPECT_FALSE( SessionLogs::isAllowed() );
    SessionLogs::flushIfNeeded( true );
    const auto body = deserializeJsonValue( transport_->sent()[sent_].body ).value();
    ASSERT_EQ( body["actionNames"].size(), 1u );
    EXPECT_EQ( body["actionNames"][0]["name"], "Forbid Telemetry" );
    EXPECT_EQ( body["actionNames"][0]["ts"], 1700000000 );
    SessionLogs::allow( true );
    SessionLogs::logAction( "z" );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{ "z" } );
}

TEST_F( SessionLogsTest, VetoSendsAndKeepsNothing )
{
    SessionLogsTestAccess::veto();
    EXPECT_FALSE( SessionLogs::isEnabled() );
    UserInfo::setEmail( "ann@example.org" );
    EXPECT_FALSE( SessionLogs::isAllowed() ) << "whatever consent is stored";
    SessionLogs::logAction( "x" );
    UserInfo::setEmail( {} );
    SessionLogs::allow( false );
    EXPECT_TRUE( transport_->sent().empty() );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
}

TEST_F( SessionLogsTest, WholeLifeOfAUser )
{
    UserInfo::setEmail( "ann@example.org" );
    answer( R"({"sessionId":5})" );
    SessionLogs::logAction( "x" );
    sNow += 60s;
    SessionLogs::flushIfNeeded( false );
    SessionLogs::allow( false );
    SessionLogs::flushIfNeeded( true );
    SessionLogs::allow( true );
    UserInfo::setEmail( {} );
    EXPECT_EQ( sent(), ( Names{ "requestSessionId", "logAction", "setPlatform", "logAction", "logAction" } ) );
    Names actions;
    for ( const auto& request : transport_->sent() )
    {
        const auto body = deserializeJsonValue( request.body ).value();
        for ( const auto& action : body["actionNames"] )
            actions.push_back( action["name"].asString() );
    }
    EXPECT_EQ( actions, ( Names{ "Sign In", "x", "Forbid Telemetry", "Sign Out" } ) );
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), -1 );
    EXPECT_FALSE( SessionLogsTestAccess::platformSent() );
}

TEST_F( SessionLogsTest, SigningOutOfNothingStillEndsTheSession )
{
    openSession();
    SessionLogs::logAction( "x" );
    UserInfo::setEmail( {} );
    EXPECT_EQ( sent(), ( Names{ "logAction", "setPlatform" } ) );
    EXPECT_NE( transport_->sent()[sent_].body.find( "Sign Out" ), std::string::npos );
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), -1 );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
}

TEST_F( SessionLogsTest, AnswersOfOtherKindsOpenNoSession )
{
    for ( const char* text : { "{}", "[]", "7", "\"x\"", "null", R"({"sessionId":"7"})", R"({"sessionId":1.5})",
              R"({"sessionId":7.0})", R"({"sessionId":1e3})", R"({"sessionId":9223372036854775808})",
              R"({"sessionId":null})", R"({"sessionId":[1]})" } )
    {
        sNow += 1s;
        SessionLogs::requestSessionId( "ann@example.org" );
        answer( text );
        EXPECT_EQ( SessionLogsTestAccess::sessionId(), -1 ) << text;
        EXPECT_EQ( SessionLogsTestAccess::lastFlush(), sNow ) << "the minute counts from here";
    }
    SessionLogs::requestSessionId( "ann@example.org" );
    answer( R"({"sessionId":9223372036854775807})" );
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), std::numeric_limits<int64_t>::max() );
    SessionLogs::requestSessionId( "ann@example.org" );
    answer( R"({"sessionId":-9223372036854775808})" );
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), std::numeric_limits<int64_t>::min() );
}

TEST_F( SessionLogsTest, AnswersAreHeardOnTheThreadOfTheInterface )
{
    SessionLogs::requestSessionId( "ann@example.org" );
    ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( 200, R"({"sessionId":7})" ) ) );
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 60 ) ) );
    resumeWebRequests();
    setWebTransport( transport_ );
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), -1 ) << "it waits for its turn";
    CommandLoop::processCommands();
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), 7 );
}

TEST_F( SessionLogsTest, TheLastOfSeveralAnswersCounts )
{
    SessionLogs::requestSessionId( "ann@example.org" );
    SessionLogs::requestSessionId( "ann@example.org" );
    answer( R"({"sessionId":1})" );
    answer( R"({"sessionId":2})" );
    EXPECT_EQ( SessionLogsTestAccess::sessionId(), 2 );
}

TEST_F( SessionLogsTest, FailuresAreLoggedAndNothingIsSentAgain )
{
    const Testing::LogCapture log;
    SessionLogs::requestSessionId( "ann@example.org" );
    answer( "", 0 );
    EXPECT_TRUE( log.contains( "error: Failed to parse response from \"SessionLogs::requestSessionId\": Bad internet "
                               "connection." ) )
        << log.text();
    openSession();
    EXPECT_TRUE( log.contains( "debug: {\n\t\"sessionId\" : 77\n}\n" ) ) << log.text();
    SessionLogs::logAction( "x" );
    SessionLogs::flushIfNeeded( true );
    EXPECT_TRUE( log.contains( "debug: Telemetry: 77->x" ) );
    answer( "<html>" );
    answer( "<html>" );
    EXPECT_TRUE( log.contains( "error: Failed to parse response from \"SessionLogs::logAction\": " ) );
    EXPECT_TRUE( log.contains( "error: Failed to parse response from \"SessionLogs::setPlatform\": " ) );
    sNow += 120s;
    SessionLogs::flushIfNeeded( true );
    EXPECT_EQ( sent(), ( Names{ "logAction", "setPlatform" } ) );
}

TEST_F( SessionLogsTest, ClockThatIsSetBackOnlyDelays )
{
    openSession();
    SessionLogs::logAction( "x" );
    sNow -= 3600s;
    SessionLogs::flushIfNeeded( false );
    EXPECT_EQ( sent(), Names{} );
    SessionLogs::flushIfNeeded( true );
    EXPECT_EQ( sent().size(), 2u );
    SessionLogs::logAction( "y" );
    sNow += 24h;
    SessionLogs::flushIfNeeded( false );
    EXPECT_EQ( sent().size(), 3u );
}

TEST_F( SessionLogsTest, TimesAreThoseOfTheSystemsClock )
{
    for ( int i = 0; i < 1000; ++i )
    {
        const auto before = std::chrono::system_clock::now().time_since_epoch(),
                   now = SessionLogsTestAccess::systemTime(),
                   after = std::chrono::system_clock::now().time_since_epoch();
        ASSERT_LE( before, now ) << i;
        ASSERT_LE( now, after ) << i;
    }
}

TEST_F( SessionLogsTest, ActionsBearTheSystemsTime )
{
    using namespace std::chrono;
    SessionLogsTestAccess::reset();
    SessionLogsTestAccess::setSessionId( 77 );
    const auto now = [] { return floor<seconds>( system_clock::now() ).time_since_epoch().count(); };
    const auto before = now();
    SessionLogs::logAction( "x" );
    const auto after = now();
    SessionLogs::flushIfNeeded( true );
    const auto body = deserializeJsonValue( transport_->sent().at( 0 ).body ).value();
    const auto stamp = body["actionNames"][0]["ts"].asInt64();
    EXPECT_LE( before, stamp );
    EXPECT_LE( stamp, after );
}

TEST_F( SessionLogsTest, ServiceThatIsDownForAnHourLosesItsActionsOnly )
{
    const Testing::LogCapture quiet;
    openSession();
    for ( int minute = 0; minute < 60; ++minute )
    {
        sNow += 60s;
        SessionLogs::logAction( "x" );
        SessionLogs::flushIfNeeded( false );
        while ( transport_->deliver( ScriptedTransport::response( 0, "" ) ) )
            CommandLoop::processCommands();
    }
    EXPECT_EQ( sent().size(), 61u );
    EXPECT_EQ( SessionLogsTestAccess::take(), Names{} );
}

TEST( ActionNames, AreUsedByTheCodeAndNothingElseIs )
{
    const std::filesystem::path source = std::filesystem::path( ORVANTA_TEST_DATA ).parent_path();
    const auto list = Testing::readFile( source / "source/telemetry/ActionNames.h" );
    std::set<std::string> names;
    const std::string mark = "inline constexpr const char* ";
    for ( auto at = list.find( mark ); at != std::string::npos; at = list.find( mark, at + 1 ) )
        names.insert( list.substr( at + mark.size(), list.find( ' ', at + mark.size() ) - at - mark.size() ) );
    ASSERT_GT( names.size(), 10u );

    std::set<std::string> used;
    for ( const char* folder : { "source", "app" } )
        for ( const auto& entry : std::filesystem::recursive_directory_iterator( source / folder ) )
        {
            if ( !entry.is_regular_file() )
                continue;
            const auto text = Testing::readFile( entry.path() );
            const bool isClient = entry.path().filename().string().starts_with( "SessionLogs." );
            if ( isClient && text.find( "Actions::cForbidTelemetry" ) != std::string::npos )
                used.insert( "cForbidTelemetry" );
            for ( auto at = text.find( "logAction(" ); at != std::string::npos && !isClient;
                at = text.find( "logAction(", at + 1 ) )
            {
                const auto name = text.find( "Actions::", at );
                EXPECT_LT( name - at, 60u ) << entry.path() << ": " << text.substr( at, 80 );
                used.insert( text.substr( name + 9, text.find_first_of( " ,)", name + 9 ) - name - 9 ) );
            }
        }
    EXPECT_EQ( used, names );
}
