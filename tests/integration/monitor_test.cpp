#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/service/BackendProcess.h"
#include "support/service/ExposedFigures.h"

#include "database/Database.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/converter/ConverterService.h>

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include <unistd.h>

using namespace VX;
using Testing::ExposedFigures;

namespace
{

const std::string cPublic = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT );
const std::string cMonitorAt = "127.0.0.1:" + std::to_string( ORVANTA_TEST_PORT + 1 );
const std::string cMonitor = "http://" + cMonitorAt;

std::string bodyOf( const std::string& url )
{
    return Testing::runCommand( "curl -sk --max-time 30 " + url ).text;
}

std::string statusOf( const std::string& url )
{
    return bodyOf( "-o /dev/null -w '%{http_code}' " + url );
}

void waitForStatus( const std::string& url, const std::string& status )
{
    for ( const Testing::Patience patience; statusOf( url ) != status; patience.check( status.c_str() ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
}

ExposedFigures figures()
{
    const auto text = bodyOf( cMonitor + "/metrics" );
    const auto read = ExposedFigures::read( text );
    EXPECT_TRUE( read ) << ( read ? "" : read.error() ) << "\n" << text;
    return read.value_or( ExposedFigures{} );
}

} // namespace

TEST( Monitor, FiguresAreNoBusinessOfWhoComesFromOutside )
{
    const Testing::BackendProcess backend( { "--allow-anonymous", "--monitor", cMonitorAt } );
    for ( const char* path : { "/metrics", "/readyz" } )
        EXPECT_EQ( statusOf( cPublic + path ), "404" ) << path;
    for ( const char* path : { "/livez", "/healthz" } )
    {
        EXPECT_EQ( statusOf( cPublic + path ), "200" ) << path;
        EXPECT_EQ( statusOf( cMonitor + path ), "200" ) << path;
    }
    EXPECT_EQ( statusOf( cMonitor + "/auth" ), "404" );
    EXPECT_EQ( statusOf( "-d x " + cMonitor + "/metrics" ), "405" );
    waitForStatus( cMonitor + "/readyz", "200" );
}

TEST( Monitor, AConversionShowsInTheFigures )
{
    const Testing::BackendProcess backend( { "--allow-anonymous", "--monitor", cMonitorAt } );
    const Testing::ScratchFolder folder;
    // One that nobody has converted before is asked for.
    const auto name = "monitored-" + std::to_string( ::getpid() );
    const auto bracket = Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" );
    EXPECT_TRUE( ConverterService::fromStep( folder.write( name + ".step", bracket ) ) );
    std::filesystem::remove( "/.service_output_files/" + name + ".vxu" );
    EXPECT_EQ( statusOf( cPublic + "/nowhere" ), "404" );
    // Figures of queues and of the store are looked at every few seconds.
    for ( const Testing::Patience patience; figures().of( "orvanta_store_objects" ) != 1;
        patience.check( "the result is not counted" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
    const auto seen = figures();
    EXPECT_EQ( seen.of( R"(orvanta_conversions_ended_total{end="done"})" ), 1 );
    EXPECT_EQ( seen.of( "orvanta_conversion_duration_seconds_count" ), 1 );
    EXPECT_GT( seen.of( "orvanta_conversion_duration_seconds_sum" ), 0 );
    EXPECT_EQ( seen.of( "orvanta_conversion_wait_seconds_count" ), 1 );
    EXPECT_GT( seen.of( "orvanta_store_bytes" ), 1000 );
    EXPECT_EQ( seen.of( "orvanta_store_limit_bytes" ), double( uint64_t( 16 ) << 30 ) );
    EXPECT_EQ( seen.of( R"(orvanta_requests_total{service="none",status="4xx"})" ), 1 );
    EXPECT_GT(
        seen.of( R"(orvanta_request_duration_seconds_count{service="converter",method="write",status="2xx"})" ), 1 );
    EXPECT_GT( seen.of( R"(orvanta_database_statement_seconds_count{kind="write"})" ), 0 );
}

TEST( Monitor, ASignInByPasswordShowsInTheFiguresAndARefreshDoesNot )
{
    const Testing::BackendProcess backend( { "--monitor", cMonitorAt } );
    const auto add = "echo secret-word-1 | " + std::string( ORVANTA_BACKEND ) +
                     " user add ann@example.org --password-stdin --data " + backend.data().string();
    EXPECT_EQ( Testing::runCommand( add ).status, 0 );
    const auto ask = [&]( const std::string& parameters )
    {
        return bodyOf( "-H 'x-amz-target: AWSCognitoIdentityProviderService.InitiateAuth' " + cPublic + "/auth -d '" +
                       parameters + "'" );
    };
    const auto given = deserializeJsonValue( ask( R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":)"
                                                  R"("ann@example.org","PASSWORD":"secret-word-1"}})" ) )
                           .value();
    const auto token = given["AuthenticationResult"]["RefreshToken"].asString();
    const auto again =
        ask( R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":")" + token + "\"}}" );
    EXPECT_NE( again.find( "AccessToken" ), std::string::npos );
    const auto seen = figures();
    EXPECT_EQ( seen.of( R"(orvanta_requests_total{service="auth",status="2xx"})" ), 2 );
    EXPECT_EQ( seen.of( "orvanta_sign_in_duration_seconds_count" ), 1 );
    EXPECT_GT( seen.of( "orvanta_sign_in_duration_seconds_sum" ), .001 );
}

TEST( Monitor, NobodyIsSentToWhoCannotWriteOrStops )
{
    Testing::BackendProcess backend( { "--allow-anonymous", "--monitor", cMonitorAt, "--drain-seconds", "60" } );
    waitForStatus( cMonitor + "/readyz", "200" );
    {
        const auto database = Backend::Database::open( backend.data() / "orvanta.db" ).value();
        const Backend::Database::Transaction held( *database );
        waitForStatus( cMonitor + "/readyz", "503" );
        EXPECT_EQ( statusOf( cMonitor + "/livez" ), "200" );
        EXPECT_EQ( statusOf( cMonitor + "/metrics" ), "200" );
    }
    waitForStatus( cMonitor + "/readyz", "200" );
}

TEST( Monitor, WhatIsNoListenerEndsTheStart )
{
    for ( const std::string where : { "nowhere", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:99999", ":80x" } )
    {
        const auto ended = Testing::runCommand(
            std::string( ORVANTA_BACKEND ) + " serve --check --data /nowhere --monitor " + where + " 2>&1" );
        EXPECT_EQ( ended.status, 1 ) << where;
        EXPECT_NE( ended.text.find( "is no" ), std::string::npos ) << ended.text;
    }
    EXPECT_EQ(
        Testing::runCommand( std::string( ORVANTA_BACKEND ) + " serve --check --data /nowhere --monitor '[::1]:8444'" )
            .status,
        0 );
}
