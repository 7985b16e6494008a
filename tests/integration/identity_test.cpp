#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"

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
