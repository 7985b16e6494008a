#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"
#include "support/service/OpenDatabase.h"
#include "support/service/RawTlsServer.h"

#include "crypto/Base64.h"
#include "identity/gateway/GatewayIdentity.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <atomic>
#include <future>

using namespace VX;
using Testing::runCommand;

namespace
{

constexpr const char* cAnn = "ann@example.org";
constexpr const char* cPassword = "secret-word-1";

using Backend::AccessCheck;
using Backend::AuthCall;
using Backend::GatewayIdentity;
using Backend::GatewayOptions;

std::chrono::sys_seconds systemTime()
{
    return std::chrono::time_point_cast<std::chrono::seconds>( std::chrono::system_clock::now() );
}

Json::Value json( const std::string& text )
{
    return deserializeJsonValue( text ).value_or( Json::Value() );
}

/// The JSON body of a request as it came.
Json::Value bodyOf( const std::string& request )
{
    return json( request.substr( request.find( "\r\n\r\n" ) + 4 ) );
}

GatewayOptions gatewayOptions( const std::string& secret = {} )
{
    GatewayOptions options;
    options.endpoint = Testing::RawTlsServer::url( "/pool" );
    options.clientId = "client";
    options.clientSecret = secret;
    return options;
}

/// What has the form of a token, with these claims.
std::string tokenOf( const std::string& claims )
{
    return Backend::base64Url( "{}" ) + "." + Backend::base64Url( claims ) + "." + Backend::base64Url( "signature" );
}

AccessCheck::Verdict verdictOf(
    GatewayIdentity& gateway, const std::string& token, const std::string& address = "here" )
{
    std::promise<AccessCheck> told;
    gateway.checkAccess( token, address, [&]( AccessCheck answer ) { told.set_value( std::move( answer ) ); } );
    return told.get_future().get().verdict;
}

class Gateway : public testing::Test
{
protected:
    /// Of whom the other service has been told, as "address=name".
    std::string people()
    {
        std::string out;
        const auto rows = database_->query( "SELECT email, name FROM gateway_people ORDER BY 1, 2" );
        for ( const auto& row : rows.value() )
            out += Backend::textOf( row[0] ) + "=" + Backend::textOf( row[1] ) + " ";
        return out;
    }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Backend::Database> database_ = Testing::openDatabase( folder_.path() / "db" );
};

} // namespace

TEST_F( Gateway, AddsTheClientAndPassesAnswersBackUnchanged )
{
    Testing::RawTlsServer server(
        []( const std::string& )
        {
            return Testing::RawReply{ "HTTP/1.1 400 Bad Request\r\nContent-Type: application/x-amz-json-1.1\r\n"
                                      "x-amzn-ErrorType: Odd:\r\nx-amzn-RequestId: 7\r\nContent-Length: 15\r\n\r\n"
                                      "{\"message\":\"?\"}",
                true };
        } );
    GatewayIdentity gateway( *database_, gatewayOptions(), &systemTime );
    const auto answer = gateway.answer( { "SignUp", json( R"({"Username":"a@b.c","Password":"p"})" ), "here" } );
    EXPECT_EQ( answer.status, 400 );
    EXPECT_EQ( answer.body, "{\"message\":\"?\"}" );
    EXPECT_EQ( answer.contentType, "application/x-amz-json-1.1" );
    EXPECT_EQ( answer.headers.at( "x-amzn-ErrorType" ), "Odd:" );
    EXPECT_EQ( answer.headers.at( "x-amzn-RequestId" ), "7" );
    ASSERT_EQ( server.requests().size(), 1u );
    const auto request = server.requests()[0];
    EXPECT_NE( request.find( "x-amz-target: AWSCognitoIdentityProviderService.SignUp\r\n" ), std::string::npos );
    EXPECT_NE( request.find( "\r\ncontent-type: application/x-amz-json-1.1\r\n" ), std::string::npos );
    EXPECT_EQ( bodyOf( request ), json( R"({"ClientId":"client","Password":"p","Username":"a@b.c"})" ) );
    EXPECT_EQ( gateway.answer( { "AdminDeleteUser", {}, "here" } ).status, 400 );
    EXPECT_EQ( server.requests().size(), 1u ) << "only the operations of a client are let through";
}

TEST_F( Gateway, ProvesTheSecretToo )
{
    // printf 'ann@example.orgclient' | openssl dgst -sha256 -hmac secret -binary | base64 says the same.
    const auto known =
        runCommand( "printf 'ann@example.orgclient' | openssl dgst -sha256 -hmac secret -binary | base64" );
    EXPECT_EQ( GatewayIdentity::secretHash( "secret", cAnn, "client" ) + "\n", known.text );

    Testing::RawTlsServer server(
        []( const std::string& )
        {
            // Claims {"username":"u1"}
            return Testing::RawTlsServer::answer(
                R"({"AuthenticationResult":{"AccessToken":"e30.eyJ1c2VybmFtZSI6InUxIn0.c2ln","RefreshToken":"r"}})" );
        } );
    GatewayIdentity gateway( *database_, gatewayOptions( "secret" ), &systemTime );
    (void)gateway.answer( { "ForgotPassword", json( R"({"Username":"ann@example.org"})" ), "here" } );
    (void)gateway.answer( { "InitiateAuth",
        json( R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"ann@example.org","PASSWORD":"p"}})" ),
        "here" } );
    (void)gateway.answer( { "InitiateAuth",
        json( R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":"r"}})" ), "here" } );
    const auto requests = server.requests();
    ASSERT_EQ( requests.size(), 3u );
    const auto ann = GatewayIdentity::secretHash( "secret", cAnn, "client" );
    EXPECT_EQ( bodyOf( requests[0] )["SecretHash"], ann );
    EXPECT_EQ( bodyOf( requests[1] )["AuthParameters"]["SECRET_HASH"], ann );
    EXPECT_EQ( bodyOf( requests[2] )["AuthParameters"]["SECRET_HASH"],
        GatewayIdentity::secretHash( "secret", "u1", "client" ) )
        << "the name that the service knows the user by";
}

TEST_F( Gateway, NamesForTheProofOutliveARestartAndGoWhenNobodyUsesThem )
{
    const Testing::RawTlsServer server(
        []( const std::string& )
        {
            // Claims {"username":"u1"}
            return Testing::RawTlsServer::answer(
                R"({"AuthenticationResult":{"AccessToken":"e30.eyJ1c2VybmFtZSI6InUxIn0.c2ln","RefreshToken":"r"}})" );
        } );
    std::chrono::sys_seconds now{ std::chrono::days( 10'000 ) };
    const auto call = [&]( const char* parameters )
    {
        GatewayIdentity gateway( *database_, gatewayOptions( "secret" ), [&] { return now; } );
        return gateway.answer( { "InitiateAuth", json( parameters ), "here" } ).status;
    };
    const auto refresh = R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":"r"}})";
    const auto proof = [&] { return bodyOf( server.requests().back() )["AuthParameters"]["SECRET_HASH"].asString(); };
    const auto ofU1 = GatewayIdentity::secretHash( "secret", "u1", "client" );
    EXPECT_EQ(
        call( R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"a@b.c","PASSWORD":"p"}})" ), 200 );
    for ( int uses = 0; uses < 3; ++uses )
    {
        now += std::chrono::days( 399 );
        ASSERT_TRUE( Backend::GatewayNames::clean( *database_, now ) );
        EXPECT_EQ( call( refresh ), 200 );
        EXPECT_EQ( proof(), ofU1 ) << uses;
    }
    now += std::chrono::days( 400 );
    ASSERT_TRUE( Backend::GatewayNames::clean( *database_, now ) );
    EXPECT_EQ( call( refresh ), 200 );
    EXPECT_NE( proof(), ofU1 );
}

TEST_F( Gateway, ATokenOfWhichTheNameCannotBeKeptIsNotGiven )
{
    const Testing::RawTlsServer server(
        []( const std::string& )
        {
            return Testing::RawTlsServer::answer(
                R"({"AuthenticationResult":{"AccessToken":"e30.eyJ1c2VybmFtZSI6InUxIn0.c2ln","RefreshToken":"r"}})" );
        } );
    GatewayIdentity gateway( *database_, gatewayOptions( "secret" ), &systemTime );
    ASSERT_TRUE( database_->execute( "DROP TABLE gateway_names" ) );
    const auto signIn = gateway.answer( { "InitiateAuth",
        json( R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"a@b.c","PASSWORD":"p"}})" ), "here" } );
    EXPECT_EQ( signIn.status, 500 );
    EXPECT_EQ( json( signIn.body ), json( R"({"__type":"InternalErrorException"})" ) );
    const auto before = server.requests().size();
    const auto refresh = gateway.answer( { "InitiateAuth",
        json( R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":"r"}})" ), "here" } );
    EXPECT_EQ( json( refresh.body ), json( R"({"__type":"InternalErrorException"})" ) );
    EXPECT_EQ( server.requests().size(), before ) << "a proof of nobody is not sent";
}

TEST_F( Gateway, KeepsItsConnections )
{
    Testing::RawTlsServer server( []( const std::string& ) { return Testing::RawTlsServer::answer( "{}" ); } );
    GatewayIdentity gateway( *database_, gatewayOptions(), &systemTime );
    for ( int i = 0; i < 3; ++i )
        EXPECT_EQ( gateway.answer( { "SignUp", json( "{}" ), "here" } ).status, 200 );
    EXPECT_EQ( server.requests().size(), 3u );
    EXPECT_EQ( server.connections(), 1u );
}

TEST_F( Gateway, AServiceThatIsDownOrBoundlessIsTakenForABadConnection )
{
    GatewayIdentity gateway( *database_, gatewayOptions(), &systemTime );
    const AuthCall call{ "SignUp", json( "{}" ), "here" };
    const auto down = gateway.answer( call );
    EXPECT_EQ( down.status, 500 );
    EXPECT_EQ( json( down.body ), json( R"({"__type":"InternalErrorException"})" ) ) << "the client tries again";
    Testing::RawTlsServer server(
        []( const std::string& ) { return Testing::RawTlsServer::answer( std::string( 5 << 20, 'x' ) ); } );
    EXPECT_EQ( gateway.answer( call ).status, 500 );
}

TEST_F( Gateway, AsksTheServiceWhoseTokenItIsAndBelievesItForAWhile )
{
    const Testing::BackendProcess backend( std::vector<std::string>{} );
    std::atomic<int64_t> now{ 1'700'000'000 };
    GatewayOptions options;
    options.endpoint = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/auth";
    options.clientId = "client";
    GatewayIdentity gateway(
        *database_, options, [&] { return std::chrono::sys_seconds( std::chrono::seconds( now.load() ) ); } );
    const auto good = [&]( const std::string& token )
    { return verdictOf( gateway, token ) == AccessCheck::Verdict::Good; };
    ASSERT_EQ( runCommand( std::string( "echo " ) + cPassword + " | " ORVANTA_BACKEND " user add " + cAnn +
                           " --password-stdin --data '" + backend.data().string() + "'" )
                   .status,
        0 );
    const auto answer = gateway.answer( { "InitiateAuth",
        json( R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"ann@example.org","PASSWORD":")" +
              std::string( cPassword ) + "\"}}" ),
        "here" } );
    const auto token = json( answer.body )["AuthenticationResult"]["AccessToken"].asString();
    EXPECT_TRUE( good( token ) );
    EXPECT_FALSE( good( token + "x" ) );
    EXPECT_FALSE( good( "" ) );
    EXPECT_EQ(
        runCommand( ORVANTA_BACKEND " user remove ann@example.org --data '" + backend.data().string() + "'" ).status,
        0 );
    EXPECT_TRUE( good( token ) ) << "it was good a moment ago";
    now += 300;
    EXPECT_FALSE( good( token ) );
}

TEST_F( Gateway, WhatTheServiceCannotTellNowIsNoVerdict )
{
    using Verdict = AccessCheck::Verdict;
    struct Case
    {
        const char* status;
        const char* body;
        Verdict verdict;
    };
    for ( const auto& [status, body, verdict] :
        { Case{ "400 Bad Request", R"({"__type":"NotAuthorizedException"})", Verdict::Bad },
            Case{ "400 Bad Request", R"({"__type":"TooManyRequestsException"})", Verdict::Unknown },
            Case{ "400 Bad Request", R"({"__type":"com.amazon#LimitExceededException"})", Verdict::Unknown },
            Case{ "429 Too Many Requests", R"({"__type":"NotAuthorizedException"})", Verdict::Unknown },
            Case{ "500 Internal Server Error", R"({"__type":"NotAuthorizedException"})", Verdict::Unknown } } )
    {
        const Testing::RawTlsServer server( [status = status, body = body]( const std::string& )
            { return Testing::RawTlsServer::answer( body, status ); } );
        GatewayIdentity gateway( *database_, gatewayOptions(), &systemTime );
        EXPECT_EQ( verdictOf( gateway, tokenOf( "{}" ) ), verdict ) << status << body;
    }
}

TEST_F( Gateway, AServiceThatIsDownCallsNoTokenBad )
{
    GatewayOptions options;
    options.endpoint = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/auth";
    GatewayIdentity gateway( *database_, options, [] { return std::chrono::sys_seconds( std::chrono::hours( 1 ) ); } );
    EXPECT_EQ( verdictOf( gateway, tokenOf( "{}" ) ), AccessCheck::Verdict::Unknown );
    gateway.stop();
    EXPECT_EQ( verdictOf( gateway, tokenOf( "{}" ) ), AccessCheck::Verdict::Unknown ) << "nobody is asked any more";
}

TEST_F( Gateway, WhatCannotBeATokenOrHasEndedIsNotAskedAbout )
{
    const Testing::RawTlsServer server(
        []( const std::string& ) { return Testing::RawTlsServer::answer( R"({"Username":"u1"})" ); } );
    int64_t now = 1'700'000'000;
    GatewayIdentity gateway(
        *database_, gatewayOptions(), [&] { return std::chrono::sys_seconds( std::chrono::seconds( now ) ); } );
    for ( const std::string& token :
        std::vector<std::string>{ "", "a token", "a.b", "..", tokenOf( "no object" ), tokenOf( "{}" ) + "!",
            tokenOf( R"({"exp":1700000000})" ), tokenOf( std::string( 1 << 20, ' ' ) + "{}" ) } )
        EXPECT_EQ( verdictOf( gateway, token ), AccessCheck::Verdict::Bad ) << token.substr( 0, 100 );
    EXPECT_EQ( server.requests().size(), 0u );
    const auto token = tokenOf( R"({"exp":1700000010})" );
    EXPECT_EQ( verdictOf( gateway, token ), AccessCheck::Verdict::Good );
    now += 9;
    EXPECT_EQ( verdictOf( gateway, token ), AccessCheck::Verdict::Good );
    now += 1;
    EXPECT_EQ( verdictOf( gateway, token ), AccessCheck::Verdict::Bad );
    EXPECT_EQ( server.requests().size(), 1u );
}

TEST_F( Gateway, ABadTokenIsNotAskedAboutAgainForAMinute )
{
    const Testing::RawTlsServer server( []( const std::string& )
        { return Testing::RawTlsServer::answer( R"({"__type":"NotAuthorizedException"})", "400 Bad Request" ); } );
    int64_t now = 1'700'000'000;
    GatewayIdentity gateway(
        *database_, gatewayOptions(), [&] { return std::chrono::sys_seconds( std::chrono::seconds( now ) ); } );
    const auto token = tokenOf( "{}" );
    for ( int i = 0; i < 3; ++i )
        EXPECT_EQ( verdictOf( gateway, token ), AccessCheck::Verdict::Bad );
    EXPECT_EQ( server.requests().size(), 1u );
    now += 60;
    EXPECT_EQ( verdictOf( gateway, token ), AccessCheck::Verdict::Bad );
    EXPECT_EQ( server.requests().size(), 2u );
}

TEST_F( Gateway, WhoIsRefusedAllTheTimeIsHeldBackAndNobodyElse )
{
    using Verdict = AccessCheck::Verdict;
    const Testing::RawTlsServer server( []( const std::string& )
        { return Testing::RawTlsServer::answer( R"({"__type":"NotAuthorizedException"})", "400 Bad Request" ); } );
    int64_t now = 1'700'000'000;
    auto options = gatewayOptions();
    options.refusalsPerMinute = 2;
    GatewayIdentity gateway(
        *database_, options, [&] { return std::chrono::sys_seconds( std::chrono::seconds( now ) ); } );
    const auto ask = [&]( const char* body, const char* address )
    { return json( gateway.answer( { "InitiateAuth", json( body ), address } ).body )["__type"].asString(); };
    const auto password = R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"a@b.c","PASSWORD":"p"}})";
    const auto refresh = R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":"r"}})";
    EXPECT_EQ( ask( password, "here" ), "NotAuthorizedException" );
    EXPECT_EQ( verdictOf( gateway, tokenOf( R"({"n":1})" ) ), Verdict::Bad );
    EXPECT_EQ( server.requests().size(), 2u );
    EXPECT_EQ( ask( password, "here" ), "LimitExceededException" );
    EXPECT_EQ( ask( refresh, "here" ), "InternalErrorException" ) << "the program keeps its token";
    EXPECT_EQ( verdictOf( gateway, tokenOf( R"({"n":2})" ) ), Verdict::Unknown );
    EXPECT_EQ( verdictOf( gateway, tokenOf( R"({"n":1})" ) ), Verdict::Bad ) << "that is known";
    EXPECT_EQ( server.requests().size(), 2u ) << "nothing of it was sent";
    EXPECT_EQ( ask( password, "elsewhere" ), "NotAuthorizedException" );
    EXPECT_EQ( verdictOf( gateway, tokenOf( R"({"n":2})" ), "" ), Verdict::Bad );
    now += 60;
    EXPECT_EQ( ask( password, "here" ), "NotAuthorizedException" );
    EXPECT_EQ( server.requests().size(), 5u );
}

TEST_F( Gateway, RevokesATokenAndForgetsItsName )
{
    const Testing::RawTlsServer server( []( const std::string& ) { return Testing::RawTlsServer::answer( "{}" ); } );
    Backend::GatewayNames names( *database_, &systemTime );
    ASSERT_TRUE( names.remember( "r", "u1" ) );
    ASSERT_TRUE( names.remember( "other", "u2" ) );
    GatewayIdentity gateway( *database_, gatewayOptions( "secret" ), &systemTime );
    EXPECT_EQ( gateway.answer( { "RevokeToken", json( R"({"Token":"r"})" ), "here" } ).status, 200 );
    EXPECT_EQ(
        bodyOf( server.requests().at( 0 ) ), json( R"({"ClientId":"client","ClientSecret":"secret","Token":"r"})" ) );
    EXPECT_EQ( names.nameOf( "r" ).value(), "" );
    EXPECT_EQ( names.nameOf( "other" ).value(), "u2" );
}

TEST_F( Gateway, KnowsWhoseNameIsWhoseFromSignInsAndFromTokens )
{
    const Testing::RawTlsServer server(
        []( const std::string& request )
        {
            return Testing::RawTlsServer::answer(
                request.find( "GetUser" ) == std::string::npos
                    ? R"({"AuthenticationResult":{"AccessToken":")" + tokenOf( R"({"username":"u1"})" ) + "\"}}"
                    : R"({"Username":"u2","UserAttributes":[{"Name":"sub","Value":"u2"},
                                                            {"Name":"email","Value":"Bob@example.org"}]})" );
        } );
    GatewayIdentity gateway( *database_, gatewayOptions(), &systemTime );
    (void)gateway.answer( { "InitiateAuth",
        json( R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"ANN@example.org","PASSWORD":"p"}})" ),
        "here" } );
    EXPECT_EQ( people(), "ann@example.org=u1 " );
    EXPECT_EQ( verdictOf( gateway, tokenOf( "{}" ) ), AccessCheck::Verdict::Good );
    EXPECT_EQ( people(), "ann@example.org=u1 bob@example.org=u2 " );
    ASSERT_TRUE( Backend::GatewayNames::clean( *database_, systemTime() + std::chrono::days( 401 ) ) );
    EXPECT_EQ( people(), "" );
}
