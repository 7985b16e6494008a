#include "support/ScratchFolder.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/ClientMetadata.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/telemetry/ProductVersion.h>
#include <VXViewer/core/SystemInfoJson.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

class CognitoTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CommandLoop::open();
        setWebTransport( transport_ );
    }
    void TearDown() override { setWebTransport( nullptr ); }

    [[nodiscard]] WebRequestData only() const
    {
        const auto sent = transport_->sent();
        EXPECT_EQ( sent.size(), 1u );
        return sent.empty() ? WebRequestData{} : sent[0];
    }
    /// The request's body, which must be this operation's, without the metadata of the machine it runs on.
    [[nodiscard]] std::string bodyOf( const std::string& operation, const std::string& logName ) const
    {
        const auto request = only();
        EXPECT_EQ( request.url, Cognito::cAuthUrl );
        EXPECT_EQ( request.method, WebMethod::Post );
        EXPECT_EQ( request.logName, logName );
        EXPECT_EQ( request.timeout, std::chrono::seconds( 10 ) );
        EXPECT_TRUE( request.parameters.empty() );
        EXPECT_EQ( request.headers, ( std::map<std::string, std::string>{
                                        { "x-amz-target", "AWSCognitoIdentityProviderService." + operation } } ) );
        auto body = deserializeJsonValue( request.body ).value();
        EXPECT_EQ( body.toStyledString(), request.body ) << "the styled writer's text, byte by byte";
        EXPECT_EQ( body["ClientMetadata"]["platform"], getOSNoSpaces() );
        EXPECT_TRUE( body["ClientMetadata"]["os"].isString() ) << "the facts about this machine";
        EXPECT_EQ( body["ClientMetadata"], clientMetadata( GetSystemInfoJson() ) );
        body.removeMember( "ClientMetadata" );
        return body.toStyledString();
    }
    static Cognito::Callback ignore()
    {
        return []( const Json::Value& ) {};
    }

    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
};

// uuid.uuid5( uuid.NAMESPACE_DNS, "ann@example.org" ) of Python says the same.
constexpr const char* cAnn = "ca7cf409-3936-5f9c-9a92-c55879b7f8dc";
constexpr const char* cNobody = "4ebd0208-8328-5d69-8c44-ec50939c0967";

} // namespace

TEST( CognitoEndpoint, IsTheNameBasedIdOfTheAddressInLowerCase )
{
    EXPECT_EQ( Cognito::getEndpoint( "ann@example.org" ), cAnn );
    EXPECT_EQ( Cognito::getEndpoint( "ANN@Example.ORG" ), cAnn );
    EXPECT_EQ( Cognito::getEndpoint( "" ), cNobody );
}

TEST( CognitoEndpoint, VersionHasNoSpaces )
{
    EXPECT_EQ( noSpaces( "1.2.3 beta 4" ), "1.2.3-beta-4" );
    EXPECT_EQ( noSpaces( "  " ), "--" );
    EXPECT_EQ( Cognito::versionNoSpaces(), noSpaces( GetVXVersionString() ) );
    ASSERT_NE( GetVXVersionString().find( ' ' ), std::string::npos ) << "build with a preset whose version has spaces";
    EXPECT_EQ( Cognito::versionNoSpaces().find( ' ' ), std::string::npos );
    EXPECT_TRUE( Cognito::cAuthUrl.ends_with( "/auth" ) );
}

TEST_F( CognitoTest, SignInByPassword )
{
    Cognito::signInEmail( "ann@example.org", "p\"\\\u00e9", ignore() );
    EXPECT_EQ( bodyOf( "InitiateAuth", "signInEmail" ),
        "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"" + std::string( cAnn ) +
            "\"\n\t},\n\t\"AuthFlow\" : \"USER_PASSWORD_AUTH\",\n\t\"AuthParameters\" : \n\t{\n\t\t\"PASSWORD\" : "
            "\"p\\\"\\\\\\u00e9\",\n\t\t\"USERNAME\" : \"ann@example.org\"\n\t}\n}\n" );
}

TEST_F( CognitoTest, SignInByTokenTellsTheStoredIdAndNoAddress )
{
    Cognito::signInToken( "refresh", "stored-id", ignore() );
    EXPECT_EQ( bodyOf( "InitiateAuth", "signInToken" ),
        "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"stored-id\"\n\t},\n\t\"AuthFlow\" : "
        "\"REFRESH_TOKEN_AUTH\",\n\t\"AuthParameters\" : \n\t{\n\t\t\"REFRESH_TOKEN\" : \"refresh\"\n\t}\n}\n" );
}

TEST_F( CognitoTest, SignUp )
{
    Cognito::signUp( "ann@example.org", "pw", ignore() );
    EXPECT_EQ( bodyOf( "SignUp", "signUp" ), "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"" +
                                                 std::string( cAnn ) +
                                                 "\"\n\t},\n\t\"Password\" : \"pw\",\n\t\"Username\" : "
                                                 "\"ann@example.org\"\n}\n" );
}

TEST_F( CognitoTest, ConfirmSignUp )
{
    Cognito::confirmSignUp( "ann@example.org", "123456", ignore() );
    EXPECT_EQ( bodyOf( "ConfirmSignUp", "confirmSignUp" ),
        "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"" + std::string( cAnn ) +
            "\"\n\t},\n\t\"ConfirmationCode\" : \"123456\",\n\t\"Username\" : \"ann@example.org\"\n}\n" );
}

TEST_F( CognitoTest, Forget )
{
    Cognito::forget( "ann@example.org", ignore() );
    EXPECT_EQ( bodyOf( "ForgotPassword", "forget" ),
        "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"" + std::string( cAnn ) +
            "\"\n\t},\n\t\"Username\" : \"ann@example.org\"\n}\n" );
}

TEST_F( CognitoTest, ConfirmForget )
{
    Cognito::confirmForget( "ann@example.org", "new", "123456", ignore() );
    EXPECT_EQ( bodyOf( "ConfirmForgotPassword", "confirmForget" ),
        "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"" + std::string( cAnn ) +
            "\"\n\t},\n\t\"ConfirmationCode\" : \"123456\",\n\t\"Password\" : \"new\",\n\t\"Username\" : "
            "\"ann@example.org\"\n}\n" );
}

TEST_F( CognitoTest, ResendConfirmationCode )
{
    Cognito::resendConfirmationCode( "ann@example.org", ignore() );
    EXPECT_EQ( bodyOf( "ResendConfirmationCode", "resendConfirmationCode" ),
        "{\n\t\"AnalyticsMetadata\" : \n\t{\n\t\t\"AnalyticsEndpointId\" : \"" + std::string( cAnn ) +
            "\"\n\t},\n\t\"Username\" : \"ann@example.org\"\n}\n" );
}

TEST_F( CognitoTest, WhatIsTypedIsSentWhateverItIs )
{
    const std::string strange = "\x01\"'\xff" + std::string( 10000, 'x' );
    Cognito::signInEmail( strange, {}, ignore() );
    const auto body = deserializeJsonValue( only().body );
    ASSERT_TRUE( body );
    EXPECT_EQ( ( *body )["AuthParameters"]["PASSWORD"], "" );
    EXPECT_GT( ( *body )["AuthParameters"]["USERNAME"].asString().size(), 10000u );
}

TEST_F( CognitoTest, AnswersComeOnTheUiThreadUntouched )
{
    std::vector<Json::Value> heard;
    Cognito::forget( "a", [&]( const Json::Value& response ) { heard.push_back( response ); } );
    Cognito::forget( "b", [&]( const Json::Value& response ) { heard.push_back( response ); } );
    const auto answer = ScriptedTransport::response( 418, "<html>" );
    ASSERT_TRUE( transport_->deliver( answer ) );
    EXPECT_TRUE( heard.empty() );
    CommandLoop::processCommands();
    EXPECT_EQ( heard, std::vector<Json::Value>{ answer } );
}

TEST( ClientMetadata, HoldsEveryKnownFactAsText )
{
    const auto info =
        deserializeJsonValue( std::string( R"({"OS Version":"Debian","CPU Info":{"CPU":"Fast","Concurrent threads":8},
        "Graphics Info":{"OpenGL Renderer":"Card","OpenGL Version":"4.6"},
        "Memory Info":{"Physical memory total MB":"16000"},
        "Window Info":{"BiggestMonitor":{"Width":3840,"Height":2160,"ScalingPercent":150}}})" ) );
    const auto data = clientMetadata( info.value() );
    EXPECT_EQ( data["os"], "Debian" );
    EXPECT_EQ( data["cpu"], "Fast / 8" );
    EXPECT_EQ( data["gpu"], "Card" );
    EXPECT_EQ( data["gl_version"], "4.6" );
    EXPECT_EQ( data["ram"], "16000" );
    EXPECT_EQ( data["width"], "3840" );
    EXPECT_EQ( data["height"], "2160" );
    EXPECT_EQ( data["scaling_percent"], "150" );
    EXPECT_EQ( data["platform"], getOSNoSpaces() );
    EXPECT_EQ( data["version"], noSpaces( GetVXVersionString() ) );
    EXPECT_EQ( data.size(), 10u );
}

TEST( ClientMetadata, WithoutAWindowThereIsNoScreen )
{
    const auto data = clientMetadata( deserializeJsonValue( std::string( R"({"OS Version":"Debian"})" ) ).value() );
    EXPECT_EQ( data.getMemberNames(), ( std::vector<std::string>{ "os", "platform", "version" } ) );
}

TEST( ClientMetadata, ThreadsAreLeftOutWhenTheyAreNoNumber )
{
    for ( const char* threads : { "-1", "\"8\"", "1.5", "null", "[]" } )
        EXPECT_EQ( clientMetadata( deserializeJsonValue(
                       std::string( R"({"CPU Info":{"CPU":"Fast","Concurrent threads":)" ) + threads + "}}" )
                           .value() )["cpu"],
            "Fast" )
            << threads;
}

TEST( ClientMetadata, HostileObjectsAreOnlyLeftOut )
{
    for ( const char* text :
        { "[]", "7", "null", "\"x\"", R"({"CPU Info":[1],"Graphics Info":7,"Memory Info":"x",
              "Window Info":{"BiggestMonitor":[]},"OS Version":{}})",
            R"({"CPU Info":{"CPU":7},"Graphics Info":{"OpenGL Renderer":[]},"Memory Info":{"Physical memory total MB":1},
              "Window Info":{"BiggestMonitor":{"Width":"1","Height":1e300,"ScalingPercent":null}}})" } )
    {
        const auto data = clientMetadata( deserializeJsonValue( std::string( text ) ).value() );
        EXPECT_EQ( data.getMemberNames(), ( std::vector<std::string>{ "platform", "version" } ) ) << text;
    }
}
