#include "support/service/AccountFixture.h"

#include <VXOrvanta/account/AuthAnswer.h>
#include <VXOrvanta/account/SignInSource.h>

using namespace VX;

namespace
{

constexpr const char* cBob = R"({"email":"bob@example.org","password":"p"})";

class SignInSourceTest : public Testing::AccountFixture
{
protected:
    std::vector<std::string> arguments_;
};

} // namespace

TEST_F( SignInSourceTest, FileOfTheCommandLineGoesBeforeTheStoredToken )
{
    saveAuthToken( { "ann@example.org", "kept", "end" } );
    arguments_ = { "-creds", "/first", "part.stl", "-creds", credentialsFile( cBob ) };
    const auto source = takeSignInSource( arguments_ );
    EXPECT_EQ( arguments_, std::vector<std::string>{ "part.stl" } );
    ASSERT_TRUE( source.credentials );
    EXPECT_EQ( source.credentials->email, "bob@example.org" );
    EXPECT_EQ( source.token.token, "" );
    EXPECT_EQ( source.problem, "" );
    EXPECT_TRUE( source.isUsable() );
    EXPECT_EQ( log_.text(), "" );
    source.signIn( []( const Json::Value& ) {} );
    EXPECT_EQ( lastName(), "signInEmail" );
    EXPECT_EQ( lastBody()["AuthParameters"]["USERNAME"], "bob@example.org" );
    EXPECT_EQ( lastBody()["AuthParameters"]["PASSWORD"], "p" );
}

TEST_F( SignInSourceTest, FileOfNoUseIsLoggedAndGivesWayToTheStoredToken )
{
    saveAuthToken( { "ann@example.org", "kept", "end" } );
    arguments_ = { "-creds", credentialsFile( "[]" ) };
    const auto source = takeSignInSource( arguments_ );
    EXPECT_TRUE( arguments_.empty() );
    EXPECT_FALSE( source.credentials );
    EXPECT_EQ( source.problem, "Credentials file is invalid" );
    EXPECT_EQ( log_.text(), "warning: Credentials file is invalid\n" );
    ASSERT_TRUE( source.isUsable() );
    source.signIn( []( const Json::Value& ) {} );
    EXPECT_EQ( lastName(), "signInToken" );
    EXPECT_EQ( lastBody()["AuthParameters"]["REFRESH_TOKEN"], "kept" );
    EXPECT_EQ( lastBody()["AnalyticsMetadata"]["AnalyticsEndpointId"], "end" );
}

TEST_F( SignInSourceTest, HalfAStoredSignInIsAnAddressAlone )
{
    EXPECT_FALSE( takeSignInSource( arguments_ ).isUsable() ) << "nothing is stored";
    for ( const auto& token : { AuthToken{ "ann@example.org", "t", "" }, AuthToken{ "ann@example.org", "", "e" } } )
    {
        saveAuthToken( token );
        const auto source = takeSignInSource( arguments_ );
        EXPECT_FALSE( source.isUsable() );
        EXPECT_EQ( source.token.login, "ann@example.org" );
        EXPECT_FALSE( hasSignInSource( {} ) );
    }
}

TEST_F( SignInSourceTest, IsThereForAFileUnseenAndForAToken )
{
    EXPECT_FALSE( hasSignInSource( { "part.stl", "-creds" } ) );
    EXPECT_TRUE( hasSignInSource( { "-creds", "/no/such/file" } ) );
    saveAuthToken( { "", "t", "e" } );
    EXPECT_TRUE( hasSignInSource( {} ) );
    EXPECT_EQ( log_.text(), "" );
}

TEST( AuthAnswer, ReasonOfAFailureIsToldOnlyWhereTheNetworkHasFailed )
{
    struct Row
    {
        Json::Value response;
        std::string text, reason;
        bool badInternet, expired;
    };
    const auto response = []( int code, const std::string& text, const std::string& error = {} )
    { return ScriptedTransport::response( code, text, error ); };
    Json::Value number = response( 0, "", "" );
    number["error"] = 7;
    for ( const auto& [answer, text, reason, badInternet, expired] :
        { Row{ response( 0, "", "Cannot reach a host" ), "Bad internet connection.", "Cannot reach a host", true,
              false },
            Row{ number, "Bad internet connection.", "", true, false },
            Row{ response( 400, R"({"message":"No."})", "Odd" ), "No.", "", false, false },
            Row{ response( 400, R"({"message":"Refresh Token has expired"})" ), "Refresh Token has expired", "", false,
                true },
            Row{ response( 400, R"({"message":"So: Refresh Token has expired!"})" ), "So: Refresh Token has expired!",
                "", false, true },
            Row{ response( 400, R"({"message":"Bad internet connection. Or not."})" ),
                "Bad internet connection. Or not.", "", false, false } } )
    {
        const auto read = readAuthAnswer( answer );
        ASSERT_FALSE( read ) << text;
        EXPECT_EQ( read.error().text, text );
        EXPECT_EQ( read.error().reason, reason ) << text;
        EXPECT_EQ( read.error().isBadInternet(), badInternet ) << text;
        EXPECT_EQ( read.error().isExpired(), expired ) << text;
    }
    EXPECT_EQ( readAuthAnswer( response( 200, R"({"a":1})", "" ) ).value()["a"], 1 );
}

TEST( AuthAnswer, ResultOfASignInIsAnObjectWhoseTextsMayBeMissing )
{
    const auto resultOf = []( const std::string& text )
    { return signInResultOf( deserializeJsonValue( text ).value() ); };
    for ( const char* text :
        { "{}", "[]", "7", "null", R"({"AuthenticationResult":[]})", R"({"AuthenticationResult":"a"})" } )
        EXPECT_FALSE( resultOf( text ) ) << text;
    const auto whole = resultOf( R"({"AuthenticationResult":{"AccessToken":"a","RefreshToken":"r"}})" );
    ASSERT_TRUE( whole );
    EXPECT_EQ( whole->accessToken, "a" );
    EXPECT_EQ( whole->refreshToken, "r" );
    const auto odd = resultOf( R"({"AuthenticationResult":{"AccessToken":7,"RefreshToken":{}}})" );
    ASSERT_TRUE( odd );
    EXPECT_EQ( odd->accessToken, std::nullopt );
    EXPECT_EQ( odd->refreshToken, "" );
    EXPECT_EQ( resultOf( R"({"AuthenticationResult":{"AccessToken":""}})" )->accessToken, "" );
}

TEST( AuthAnswer, PlaceOfACodeIsEmptyWhereItIsNotSaid )
{
    const auto placeIn = []( const std::string& text )
    { return codeDestinationOf( deserializeJsonValue( text ).value() ); };
    EXPECT_EQ( placeIn( R"({"CodeDeliveryDetails":{"Destination":"a***@e***"}})" ), "a***@e***" );
    for ( const char* text :
        { "{}", "[]", "7", "null", R"({"CodeDeliveryDetails":[]})", R"({"CodeDeliveryDetails":"a"})",
            R"({"CodeDeliveryDetails":{}})", R"({"CodeDeliveryDetails":{"Destination":1}})" } )
        EXPECT_EQ( placeIn( text ), "" ) << text;
}
