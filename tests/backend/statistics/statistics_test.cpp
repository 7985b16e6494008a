#include "support/service/StatisticsFixture.h"

#include "statistics/StatsApi.h"
#include "statistics/StatsReport.h"

#include <VXMesh/io/Json.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <set>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

class Statistics : public StatisticsFixture
{
protected:
    static StatsReportOptions reportOf( const std::filesystem::path& folder, bool csv = false )
    {
        StatsReportOptions out;
        out.data = folder;
        out.csv = csv;
        return out;
    }
};

} // namespace

TEST_F( Statistics, SessionActionsAndPlatformAreKept )
{
    const auto session = newSession();
    EXPECT_GT( session, 0 );
    EXPECT_NE( session, newSession() );
    EXPECT_EQ( report( session, R"([{"name":"Sign In","ts":1700000000},{"name":"x","ts":1700000001}])" ), 200 );
    EXPECT_EQ(
        send( fmt::format( R"({{"type":"setPlatform","sessionId":{},"platform":"Debian","version":"1.2"}})", session ) )
            .body,
        "{}" );
    const auto actions =
        database_->query( "SELECT name, at FROM stats_actions WHERE session = ? ORDER BY at", { session } ).value();
    ASSERT_EQ( actions.size(), 2u );
    EXPECT_EQ( textOf( actions[1][0] ), "x" );
    EXPECT_EQ( integerOf( actions[1][1] ), 1700000001 );
    const auto sessions =
        database_->query( "SELECT platform, version, \"user\" FROM stats_sessions WHERE id = ?", { session } ).value();
    EXPECT_EQ( textOf( sessions[0][0] ), "Debian" );
    EXPECT_EQ( textOf( sessions[0][1] ), "1.2" );
    EXPECT_EQ( textOf( sessions[0][2] ).find( "ann" ), std::string::npos ) << "a code, not the address";
}

TEST_F( Statistics, UsersAreToldApartWhateverTheCase )
{
    newSession( "ann@example.org" );
    newSession( "ANN@example.org" );
    newSession( "bob@example.org" );
    EXPECT_EQ( database_->query( "SELECT DISTINCT \"user\" FROM stats_sessions" ).value().size(), 2u );
}

TEST_F( Statistics, SessionsOfOthersAndUnknownOnesAreRefused )
{
    const auto session = newSession();
    EXPECT_EQ( report( session, "[]", "bob@example.org" ), 400 );
    EXPECT_EQ( report( session + 1, "[]" ), 400 );
    EXPECT_EQ( report( -1, "[]" ), 400 );
    EXPECT_EQ( send( R"({"type":"setPlatform","sessionId":1,"platform":"p","version":"v"})" ).status, 400 );
    api_ = nullptr;
    StatsStore fresh( *database_, [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_.load() ) ); } );
    api_ = std::make_unique<StatsApi>( fresh, StatsOptions{ .userKey = std::string( 32, 'k' ) } );
    EXPECT_EQ( report( session, "[]" ), 200 ) << "a restart knows its sessions";
    api_ = nullptr;
}

TEST_F( Statistics, WhatCannotBeUnderstoodIsRefusedWithAReason )
{
    const std::string text( 300, 'x' );
    for ( const std::string& body : std::vector<std::string>{ "", "[]", "7", "{", "{}", R"({"type":7})",
              R"({"type":"dropTables"})", R"({"type":"createSession"})", R"({"type":"createSession","email":7})",
              R"({"type":"createSession","email":""})", R"({"type":"createSession","email":")" + text + "\"}",
              R"({"type":"logAction"})", R"({"type":"logAction","sessionId":"1"})",
              R"({"type":"logAction","sessionId":1.5,"email":"a"})",
              R"({"type":"logAction","sessionId":18446744073709551615,"email":"a"})",
              R"({"type":"logAction","sessionId":1,"email":"a"})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":{}})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":[7]})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":[{"name":"x"}]})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":[{"name":"x","ts":-1}]})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":[{"name":"x","ts":1e300}]})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":[{"name":"","ts":1}]})",
              R"({"type":"logAction","sessionId":1,"email":"a","actionNames":[{"name":")" + text + R"(","ts":1}]})",
              R"({"type":"setPlatform","sessionId":1,"platform":"p"})",
              R"({"type":"setPlatform","sessionId":1,"platform":"","version":"v"})", std::string( 5000, '[' ) } )
    {
        const auto answer = send( body );
        EXPECT_EQ( answer.status, 400 ) << body;
        EXPECT_FALSE( deserializeJsonValue( answer.body ).value()["message"].asString().empty() );
    }
    HttpRequest head;
    head.method = "GET";
    EXPECT_EQ( api_->planBody( head ).refusal->status, 405 );
    EXPECT_EQ( count( "stats_sessions" ), 0 );
}

TEST_F( Statistics, ABurstIsStoredWithNothingLost )
{
    const auto session = newSession();
    constexpr int cThreads = 4, cEach = 500;
    std::atomic<int> good{ 0 };
    std::vector<std::thread> threads;
    for ( int t = 0; t < cThreads; ++t )
        threads.emplace_back(
            [&]
            {
                for ( int i = 0; i < cEach; ++i )
                    good += report( session, R"([{"name":"x","ts":1}])" ) == 200;
            } );
    for ( auto& thread : threads )
        thread.join();
    EXPECT_EQ( good, cThreads * cEach );
    EXPECT_EQ( count( "stats_actions" ), cThreads * cEach );
}

TEST_F( Statistics, WhatIsOldIsForgotten )
{
    const auto session = newSession();
    report( session, R"([{"name":"old","ts":1}])" );
    now_ += 100;
    const auto second = newSession();
    report( second, R"([{"name":"new","ts":1}])" );
    api_->stop();
    store_.forget( std::chrono::seconds( 50 ) );
    EXPECT_EQ( count( "stats_sessions" ), 1 );
    EXPECT_EQ( textOf( database_->query( "SELECT name FROM stats_actions" ).value().at( 0 )[0] ), "new" );
}

TEST_F( Statistics, AfterTheEndReportsAreToldToComeLater )
{
    api_->stop();
    EXPECT_EQ( send( R"({"type":"createSession","email":"a"})" ).status, 503 );
}

TEST_F( Statistics, WhatWasTakenBeforeTheEndIsStoredAndAnswered )
{
    // Once is too little: the thread may have been quicker than the end.
    for ( int i = 0; i < 50; ++i )
    {
        restart( {} );
        auto answer = begin( R"({"type":"createSession","email":"a"})" );
        api_->stop();
        ASSERT_EQ( answer.wait_for( std::chrono::seconds( 0 ) ), std::future_status::ready );
        EXPECT_EQ( answer.get().status, 200 );
    }
    EXPECT_EQ( count( "stats_sessions" ), 50 );
}

TEST_F( Statistics, ReportForPeopleAndForSpreadsheets )
{
    makeAccounts( { "ann@example.org" } );
    now_ =
        std::chrono::duration_cast<std::chrono::seconds>( std::chrono::system_clock::now().time_since_epoch() ).count();
    const auto session = newSession();
    report( session, R"([{"name":"a,\"b\"","ts":1},{"name":"a,\"b\"","ts":1},{"name":"c\u001b[2J","ts":1}])" );
    send( fmt::format( R"({{"type":"setPlatform","sessionId":{},"platform":"Debian","version":"1.2"}})", session ) );
    api_->stop();
    testing::internal::CaptureStdout();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path() ) ), 0 );
    const auto text = testing::internal::GetCapturedStdout();
    EXPECT_NE( text.find( "Actions\n         2  a,\"b\"\n         1  c?[2J\n" ), std::string::npos ) << text;
    EXPECT_NE( text.find( "Versions\n         1  1.2\n" ), std::string::npos );
    testing::internal::CaptureStdout();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path(), true ) ), 0 );
    const auto csv = testing::internal::GetCapturedStdout();
    EXPECT_TRUE( csv.starts_with( "section,key,count\nsessions,20" ) ) << csv;
    EXPECT_NE( csv.find( "actions,\"a,\"\"b\"\"\",2\n" ), std::string::npos );
    EXPECT_NE( csv.find( "platforms,Debian,1\n" ), std::string::npos );
    testing::internal::CaptureStderr();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path() / "none" ) ), 1 );
    EXPECT_NE( testing::internal::GetCapturedStderr().find( "There is no database" ), std::string::npos );
}

TEST_F( Statistics, NamesAreNoFormulasInASpreadsheet )
{
    makeAccounts( { "ann@example.org" } );
    now_ =
        std::chrono::duration_cast<std::chrono::seconds>( std::chrono::system_clock::now().time_since_epoch() ).count();
    const auto session = newSession();
    for ( const char* name : { "=1+1", "+1", "-1", "@SUM(1)", "a=b" } )
        EXPECT_EQ( report( session, fmt::format( R"([{{"name":"{}","ts":1}}])", name ) ), 200 );
    api_->stop();
    testing::internal::CaptureStdout();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path(), true ) ), 0 );
    const auto csv = testing::internal::GetCapturedStdout();
    for ( const char* line :
        { "actions,'=1+1,1\n", "actions,'+1,1\n", "actions,'-1,1\n", "actions,'@SUM(1),1\n", "actions,a=b,1\n" } )
        EXPECT_NE( csv.find( line ), std::string::npos ) << line << csv;
}

TEST_F( Statistics, NamesSteerNoTerminal )
{
    makeAccounts( { "ann@example.org" } );
    now_ =
        std::chrono::duration_cast<std::chrono::seconds>( std::chrono::system_clock::now().time_since_epoch() ).count();
    EXPECT_EQ( report( newSession(), R"([{"name":"\u009b2J\u0085\u202egnp","ts":1}])" ), 200 );
    api_->stop();
    testing::internal::CaptureStdout();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path() ) ), 0 );
    const auto text = testing::internal::GetCapturedStdout();
    EXPECT_NE( text.find( "<U+009B>2J<U+0085><U+202E>gnp" ), std::string::npos ) << text;
}

TEST_F( Statistics, SessionsOfAddressesWithoutAnAccountStandApart )
{
    now_ =
        std::chrono::duration_cast<std::chrono::seconds>( std::chrono::system_clock::now().time_since_epoch() ).count();
    makeAccounts( { "ann@example.org", "bob@example.org" }, "eve@example.org" );
    for ( const char* email : { "ANN@example.org", "ann@example.org", "bob@example.org", "eve@example.org",
              "nobody@example.org", "nobody@example.org", "no address" } )
        newSession( email );
    api_->stop();
    testing::internal::CaptureStdout();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path(), true ) ), 0 );
    const auto csv = testing::internal::GetCapturedStdout();
    const auto numberOf = [&]( const std::string& section )
    {
        const auto at = csv.find( "\n" + section + ",20" );
        return at == std::string::npos ? csv : csv.substr( csv.find( ',', at + section.size() + 2 ) + 1, 2 );
    };
    EXPECT_EQ( numberOf( "sessions" ), "4\n" );
    EXPECT_EQ( numberOf( "users" ), "3\n" );
    EXPECT_EQ( numberOf( "sessions-without-account" ), "3\n" );
    EXPECT_EQ( numberOf( "users-without-account" ), "2\n" );
    std::filesystem::remove( folder_.path() / "identity-keys.json" );
    testing::internal::CaptureStderr();
    EXPECT_EQ( printStatsReport( reportOf( folder_.path() ) ), 1 );
    EXPECT_NE( testing::internal::GetCapturedStderr().find( "identity-keys.json" ), std::string::npos );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "identity-keys.json" ) ) << "a report makes nothing";
}
