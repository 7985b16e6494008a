#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"
#include "support/service/OpenDatabase.h"
#include "support/service/RawTlsServer.h"

#include "identity/GatewayIdentity.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/deferred/WebRequestFuture.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/loop/CommandLoop.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>

using namespace VX;
using Testing::runCommand;

namespace
{

constexpr const char* cAnn = "ann@example.org";
constexpr const char* cPassword = "secret-word-1";

using Body = tl::expected<Json::Value, std::string>;

/// The product's client against the real service.
class IdentityService : public testing::Test
{
protected:
    IdentityService() { CommandLoop::open(); }
    void TearDown() override
    {
        UserInfo::setAccessToken( {} );
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
    }
    /// Sends a request and runs the command loop until its answer is there.
    template <typename Request>
    static Body ask( const Request& request )
    {
        std::optional<Json::Value> answer;
        request( [&]( const Json::Value& response ) { answer = response; } );
        while ( !answer )
        {
            CommandLoop::processCommands();
            std::this_thread::yield();
        }
        return parseResponse( *answer );
    }
    static Body signUp( const std::string& email = cAnn )
    {
        return ask( [&]( auto callback ) { Cognito::signUp( email, cPassword, callback ); } );
    }
    static Body confirm( const std::string& code, const std::string& email = cAnn )
    {
        return ask( [&]( auto callback ) { Cognito::confirmSignUp( email, code, callback ); } );
    }
    static Body signIn( const std::string& password = cPassword, const std::string& email = cAnn )
    {
        return ask( [&]( auto callback ) { Cognito::signInEmail( email, password, callback ); } );
    }
    static Body refresh( const std::string& token )
    {
        return ask( [&]( auto callback ) { Cognito::signInToken( token, "endpoint", callback ); } );
    }
    /// The code in the newest mail.
    [[nodiscard]] std::string mailedCode() const
    {
        std::vector<std::filesystem::path> mails;
        for ( const auto& entry : std::filesystem::directory_iterator( backend_.data() / "outbox" ) )
            mails.push_back( entry.path() );
        std::sort( mails.begin(), mails.end() );
        const auto text = Testing::readFile( mails.back() );
        return text.substr( text.find( "code is " ) + 8, 6 );
    }
    void addAnn()
    {
        ASSERT_TRUE( signUp() );
        ASSERT_TRUE( confirm( mailedCode() ) );
    }
    [[nodiscard]] Testing::CommandOutput user( const std::string& arguments, const std::string& before = {} ) const
    {
        return runCommand(
            before + ORVANTA_BACKEND " user " + arguments + " --data '" + backend_.data().string() + "' 2>&1" );
    }
    static std::string conversionProblem()
    {
        const auto answer = ConverterService::V2::RequestConvertContextResult::parseResponse(
            WebRequestFuture( ConverterService::V2::requestConvertContext( "step" ) ).get() );
        return answer ? "" : answer.error();
    }

    Testing::BackendProcess backend_{ std::vector<std::string>{} };
};

} // namespace

TEST_F( IdentityService, WholeLifeOfAnAccount )
{
    const auto added = signUp();
    ASSERT_TRUE( added ) << added.error();
    EXPECT_EQ( ( *added )["CodeDeliveryDetails"]["Destination"], "a***@e***" );
    EXPECT_EQ( signIn().error(), "User is not confirmed." );
    EXPECT_EQ( signUp().error(), "An account with the given email already exists." );
    const auto resent = ask( [&]( auto callback ) { Cognito::resendConfirmationCode( cAnn, callback ); } );
    ASSERT_TRUE( resent ) << resent.error();
    ASSERT_TRUE( confirm( mailedCode() ) );
    EXPECT_EQ( signIn( "wrong-word-1" ).error(), "Incorrect username or password." );
    const auto in = signIn();
    ASSERT_TRUE( in ) << in.error();
    const auto token = ( *in )["AuthenticationResult"]["RefreshToken"].asString();
    backend_.restart();
    ASSERT_TRUE( refresh( token ) ) << "a killed service loses nothing";
    ASSERT_TRUE( ask( [&]( auto callback ) { Cognito::forget( cAnn, callback ); } ) );
    const auto code = mailedCode();
    ASSERT_TRUE( ask( [&]( auto callback ) { Cognito::confirmForget( cAnn, "other-word-2", code, callback ); } ) );
    EXPECT_EQ( refresh( token ).error(), "Invalid Refresh Token." );
    EXPECT_TRUE( signIn( "other-word-2" ) );
}

TEST_F( IdentityService, AForgottenSignUpIsFinishedThroughItsMail )
{
    ASSERT_TRUE( signUp() );
    const auto mails = [this]
    {
        const std::filesystem::directory_iterator all( backend_.data() / "outbox" );
        return std::distance( begin( all ), end( all ) );
    };
    EXPECT_EQ( signIn( "wrong-word-1" ).error(), "Incorrect username or password." );
    EXPECT_EQ( mails(), 1 );
    backend_.restart();
    EXPECT_EQ( signIn().error(), "User is not confirmed." );
    ASSERT_EQ( mails(), 2 );
    const auto code = mailedCode();
    ASSERT_TRUE( ask( [&]( auto callback ) { Cognito::forget( cAnn, callback ); } ) );
    ASSERT_TRUE( ask( [&]( auto callback ) { Cognito::confirmForget( cAnn, cPassword, code, callback ); } ) );
    EXPECT_TRUE( signIn() );
}

TEST_F( IdentityService, ConverterAsksForAValidToken )
{
    addAnn();
    EXPECT_EQ( conversionProblem(), "Sign in to convert files" );
    const auto result = signIn().value()["AuthenticationResult"];
    UserInfo::setAccessToken( result["AccessToken"].asString() );
    EXPECT_EQ( conversionProblem(), "" );
    UserInfo::setAccessToken( result["IdToken"].asString() );
    EXPECT_EQ( conversionProblem(), "Your sign-in is not valid any more; sign out and in again" );
    UserInfo::setAccessToken( result["AccessToken"].asString() );
    EXPECT_EQ( user( std::string( "remove " ) + cAnn ).status, 0 );
    EXPECT_NE( conversionProblem(), "" ) << "nobody there any more";
}

TEST_F( IdentityService, AKillInTheMiddleLeavesAccountsThatCanBeUsed )
{
    constexpr int cUsers = 12;
    std::atomic<int> answered{ 0 };
    for ( int i = 0; i < cUsers; ++i )
        Cognito::signUp( fmt::format( "u{}@example.org", i ), cPassword, [&]( const Json::Value& ) { ++answered; } );
    while ( answered == 0 )
        CommandLoop::processCommands();
    backend_.restart();
    while ( answered < cUsers )
        CommandLoop::processCommands();
    int whole = 0;
    for ( int i = 0; i < cUsers; ++i )
    {
        const auto email = fmt::format( "u{}@example.org", i );
        if ( ask( [&]( auto callback ) { Cognito::forget( email, callback ); } ) )
        {
            const auto code = mailedCode();
            EXPECT_TRUE(
                ask( [&]( auto callback ) { Cognito::confirmForget( email, "other-word-2", code, callback ); } ) );
            EXPECT_TRUE( signIn( "other-word-2", email ) ) << email;
            ++whole;
        }
        else
        {
            EXPECT_TRUE( signUp( email ) ) << email << " is neither there nor free";
        }
    }
    EXPECT_GT( whole, 0 );
    EXPECT_LT( whole, cUsers ) << "the kill came too late to prove anything";
}

TEST_F( IdentityService, DownIsBadInternet )
{
    addAnn();
    const auto token = signIn().value()["AuthenticationResult"]["RefreshToken"].asString();
    backend_.kill();
    EXPECT_EQ( refresh( token ).error(), "Bad internet connection." );
    EXPECT_EQ( signIn().error(), "Bad internet connection." );
    backend_.restart();
    EXPECT_TRUE( refresh( token ) );
}

TEST_F( IdentityService, AnswersInTheProtocolsForm )
{
    const auto url = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT );
    const auto curl = "curl -s --max-time 20 --cacert '" + ( backend_.data() / "ca.pem" ).string() + "' ";
    const auto target = std::string( "-H 'X-Amz-Target: AWSCognitoIdentityProviderService.InitiateAuth' " );
    for ( const char* path : { "/auth", "/auth/" } )
    {
        const auto answer = runCommand( curl +
                                        "-i -d '{\"AuthFlow\":\"USER_PASSWORD_AUTH\",\"AuthParameters\":{"
                                        "\"USERNAME\":\"x@y.z\",\"PASSWORD\":\"p\"}}' " +
                                        target + url + path )
                                .text;
        EXPECT_TRUE( answer.starts_with( "HTTP/1.1 400 Bad Request\r\n" ) ) << answer;
        EXPECT_NE( answer.find( "application/x-amz-json-1.1" ), std::string::npos );
        EXPECT_NE( answer.find( "x-amzn-ErrorType: NotAuthorizedException" ), std::string::npos );
        EXPECT_NE( answer.find( "x-amzn-RequestId: " ), std::string::npos );
        EXPECT_TRUE(
            answer.ends_with( R"({"__type":"NotAuthorizedException","message":"Incorrect username or password."})" ) )
            << answer;
    }
    EXPECT_EQ( runCommand( curl + "-o /dev/null -w '%{http_code}' " + url + "/auth" ).text, "405" );
    const Testing::ScratchFolder folder;
    const auto big = folder.write( "big", std::string( 100'000, 'x' ) ).string();
    EXPECT_EQ(
        runCommand( curl + "-o /dev/null -w '%{http_code}' --data-binary @" + big + " " + target + url + "/auth" ).text,
        "413" );
}

TEST_F( IdentityService, StatisticsOfASessionSurviveAKill )
{
    const auto waitForAnswers = []
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
        CommandLoop::processCommands();
    };
    UserInfo::setEmail( cAnn );
    waitForAnswers();
    SessionLogs::logAction( "Tool Activated: Undo" );
    UserInfo::setEmail( {} );
    waitForAnswers();
    backend_.restart();
    const auto report = runCommand( ORVANTA_BACKEND " stats --csv --data '" + backend_.data().string() + "'" ).text;
    for ( const char* line : { "actions,Sign In,1\n", "actions,Tool Activated: Undo,1\n", "actions,Sign Out,1\n" } )
        EXPECT_NE( report.find( line ), std::string::npos ) << report;
    EXPECT_NE( report.find( "versions," ), std::string::npos );
}

TEST_F( IdentityService, OperatorsCommands )
{
    EXPECT_EQ( user( "list" ).text, "" );
    const auto added = user( "add Bob@Example.org --password-stdin", "echo given-word-1 | " );
    EXPECT_EQ( added.status, 0 );
    EXPECT_EQ( added.text, "Added bob@example.org\n" );
    EXPECT_TRUE( signIn( "given-word-1", "bob@example.org" ) );
    const auto again = user( "add bob@example.org" );
    EXPECT_EQ( again.status, 1 );
    EXPECT_EQ( again.text, "There is an account of bob@example.org already\n" );
    EXPECT_EQ( user( "add nobody" ).text, "\"nobody\" is no e-mail address\n" );
    EXPECT_EQ( user( "confirm eve@example.org" ).text, "There is no account of eve@example.org\n" );
    EXPECT_EQ( user( "add eve@example.org --password-stdin", "echo weak | " ).text, "Password not long enough\n" );

    const auto file = backend_.data() / "credentials.json";
    EXPECT_EQ( user( "reset bob@example.org --credentials '" + file.string() + "'" ).status, 0 );
    EXPECT_EQ( int( std::filesystem::status( file ).permissions() ), 0600 );
    const auto credentials = deserializeJsonValue( file ).value();
    EXPECT_EQ( credentials["email"], "bob@example.org" );
    EXPECT_FALSE( signIn( "given-word-1", "bob@example.org" ) );
    EXPECT_TRUE( signIn( credentials["password"].asString(), "bob@example.org" ) );

    ASSERT_TRUE( signUp() );
    EXPECT_NE( user( "list" ).text.find( "unconfirmed" ), std::string::npos );
    EXPECT_EQ( user( std::string( "confirm " ) + cAnn ).status, 0 );
    EXPECT_TRUE( signIn() );
    EXPECT_EQ( user( std::string( "remove " ) + cAnn ).status, 0 );
    EXPECT_EQ( signIn().error(), "Incorrect username or password." );
}

namespace
{

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

AccessCheck::Verdict verdictOf( GatewayIdentity& gateway, const std::string& token )
{
    std::promise<AccessCheck> told;
    gateway.checkAccess( token, [&]( AccessCheck answer ) { told.set_value( std::move( answer ) ); } );
    return told.get_future().get().verdict;
}

class Gateway : public testing::Test
{
protected:
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
                R"({"AuthenticationResult":{"AccessToken":"h.eyJ1c2VybmFtZSI6InUxIn0.s","RefreshToken":"r"}})" );
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
                R"({"AuthenticationResult":{"AccessToken":"h.eyJ1c2VybmFtZSI6InUxIn0.s","RefreshToken":"r"}})" );
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
                R"({"AuthenticationResult":{"AccessToken":"h.eyJ1c2VybmFtZSI6InUxIn0.s","RefreshToken":"r"}})" );
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
        EXPECT_EQ( verdictOf( gateway, "a token" ), verdict ) << status << body;
    }
}

TEST_F( Gateway, AServiceThatIsDownCallsNoTokenBad )
{
    GatewayOptions options;
    options.endpoint = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/auth";
    GatewayIdentity gateway( *database_, options, [] { return std::chrono::sys_seconds( std::chrono::hours( 1 ) ); } );
    EXPECT_EQ( verdictOf( gateway, "a token" ), AccessCheck::Verdict::Unknown );
    gateway.stop();
    EXPECT_EQ( verdictOf( gateway, "a token" ), AccessCheck::Verdict::Unknown ) << "nobody is asked any more";
}
