#include "source/account/SignInRules.h"
#include "support/service/WaitingTokenCopy.h"
#include "support/ui/TestAccess.h"

#include <VXOrvanta/account/SignIn.h>

using namespace VX;

namespace
{

constexpr const char* cAnn = "ann@example.org";
constexpr const char* cRefreshed = R"({"AuthenticationResult":{"AccessToken":"access"}})";
constexpr const char* cExpired = R"({"message":"Refresh Token has expired"})";
constexpr const char* cBadInternet = "Bad internet connection.";
/// What is said of a page where an answer of the service is expected, as behind the sign-in of a hotel's network.
constexpr const char* cNoJson = "* Line 1, Column 1\n  Syntax error: value, object or array expected.\n";

class SignInSession : public Testing::SignInRules
{
protected:
    /// The token that another thread copies from the moment on at which a request of that name is sent; it has to wait.
    std::string copyDuring( const std::string& logName, const std::function<void()>& action )
    {
        Testing::WaitingTokenCopy copy;
        onOther_ = [&]( const WebRequestData& request )
        {
            if ( !copy.hasBegun() && request.logName == logName )
                copy.begin( logName );
        };
        action();
        onOther_ = {};
        return copy.result();
    }
};

} // namespace

TEST_F( SignInSession, StaysAtTheFormWhereThereIsNothingToSignInWith )
{
    saveAuthToken( { cAnn, "", "" } );
    EXPECT_FALSE( signIn_->isSilentStartPending( {} ) );
    start( { "part.stl", "-creds" } );
    EXPECT_EQ( arguments_, std::vector<std::string>{ "part.stl" } );
    EXPECT_EQ( values_.email, cAnn );
    EXPECT_EQ( values_.state, AuthState::SignIn );
    EXPECT_EQ( values_.retriesLeft, 0 );
    EXPECT_FALSE( values_.requestInProgress );
    EXPECT_TRUE( sent().empty() );
    EXPECT_EQ( changes_, 1 ) << "the address is to be shown";
}

TEST_F( SignInSession, StartsWithTheStoredToken )
{
    saveAuthToken( { cAnn, "kept", "end" } );
    EXPECT_TRUE( signIn_->isSilentStartPending( {} ) );
    start();
    EXPECT_FALSE( signIn_->isSilentStartPending( {} ) ) << "it is not to come any more";
    EXPECT_EQ( values_.state, AuthState::Loading );
    EXPECT_EQ( values_.email, cAnn );
    EXPECT_EQ( values_.retriesLeft, 3 );
    EXPECT_TRUE( values_.requestInProgress );
    EXPECT_EQ( lastName(), "signInToken" );
    answer( 200, cRefreshed );
    EXPECT_EQ( values_.state, AuthState::Authed );
    EXPECT_EQ( stored(), "ann@example.org|kept|end" ) << "no new one has come";
    EXPECT_EQ( UserInfo::getEmail(), cAnn );
    EXPECT_EQ( UserInfo::getAccessToken(), "access" );
}

TEST_F( SignInSession, StartsWithTheFileOfTheCommandLine )
{
    saveAuthToken( { cAnn, "kept", "end" } );
    start( { "-creds", credentialsFile( R"({"email":"bob@example.org","password":"p"})" ) } );
    EXPECT_TRUE( arguments_.empty() );
    EXPECT_EQ( values_.state, AuthState::Loading );
    EXPECT_EQ( values_.email, "bob@example.org" );
    EXPECT_EQ( values_.password, "p" );
    EXPECT_EQ( values_.retriesLeft, 0 );
    EXPECT_EQ( lastName(), "signInEmail" );
    EXPECT_EQ( lastBody()["AuthParameters"]["USERNAME"], "bob@example.org" );
}

TEST_F( SignInSession, SilentOneIsTriedAgainWhereThatMayHelp )
{
    struct Row
    {
        std::string token, file;
        int code;
        std::string text;
        size_t requests;
        AuthState state;
        std::string message;
    };
    const std::string token = "kept", bob = R"({"email":"bob@example.org","password":"p"})";
    const std::string expired = " Session expired. Please log in again.";
    for ( const auto& row : { Row{ token, "", 0, "", 4, AuthState::Retry, cBadInternet },
              Row{ token, "", 503, "{}", 4, AuthState::Retry, cBadInternet },
              Row{ token, "", 400, cExpired, 4, AuthState::SignIn, expired },
              Row{ token, "", 400, R"({"message":"No."})", 1, AuthState::SignIn, "No." },
              Row{ token, "", 200, "{}", 1, AuthState::Retry, "Unknown error." },
              Row{ token, "", 200, "<html>", 1, AuthState::SignIn, cNoJson },
              Row{ "", bob, 0, "", 1, AuthState::Retry, cBadInternet },
              Row{ "", bob, 400, cExpired, 1, AuthState::SignIn, expired } } )
    {
        const auto before = sent().size();
        saveAuthToken( { cAnn, row.token, "end" } );
        start( row.file.empty() ? std::vector<std::string>{}
                                : std::vector{ std::string( "-creds" ), credentialsFile( row.file ) } );
        for ( size_t i = 0; i < row.requests; ++i )
        {
            EXPECT_EQ( values_.state, AuthState::Loading ) << row.text;
            EXPECT_EQ( values_.message, "" ) << row.text;
            EXPECT_EQ( lastBody()["AuthParameters"]["REFRESH_TOKEN"].asString(), row.token ) << row.text;
            answer( row.code, row.text, "why" );
        }
        EXPECT_EQ( sent().size() - before, row.requests ) << row.text;
        EXPECT_EQ( values_.state, row.state ) << row.text;
        EXPECT_EQ( values_.message, row.message ) << row.text;
        EXPECT_EQ( values_.reason, row.message == cBadInternet ? "why" : "" ) << row.text;
        EXPECT_FALSE( values_.requestInProgress );
        EXPECT_EQ( stored(), cAnn + ( "|" + row.token ) + "|end" ) << row.text;
        values_.retriesLeft = 0;
    }
}

TEST_F( SignInSession, RetriesAreCountedDownInTheLog )
{
    saveAuthToken( { cAnn, "kept", "end" } );
    start();
    for ( int i = 0; i < 4; ++i )
        answer( 400, cExpired );
    const std::string line = "warning: Sign in error: \"Refresh Token has expired\"";
    EXPECT_EQ( log_.text(), line + ", retrying (2 left)\n" + line + ", retrying (1 left)\n" + line +
                                ", retrying (0 left)\n" + line + "\n" );
}

TEST_F( SignInSession, FromTheFormIsNeverTriedAgain )
{
    values_.retriesLeft = 3;
    for ( const char* text : { cExpired, "{}" } )
    {
        fillIn();
        press( &SignIn::pressSignIn );
        answer( 503, text );
        EXPECT_FALSE( values_.requestInProgress ) << text;
        values_.state = AuthState::SignIn;
    }
    EXPECT_EQ( sent().size(), 2u );
    EXPECT_EQ( values_.retriesLeft, 3 );
}

TEST_F( SignInSession, AnswerWithoutAResultIsAnUnknownError )
{
    for ( const char* text : { "{}", "[]", "null", R"({"AuthenticationResult":[]})" } )
    {
        values_.state = AuthState::SignIn;
        fillIn();
        press( &SignIn::pressSignIn );
        answer( 200, text );
        EXPECT_EQ( values_.state, AuthState::Retry ) << text;
        EXPECT_EQ( values_.message, "Unknown error." ) << text;
    }
    EXPECT_EQ( log_.count( "warning: Sign in error: \"Unknown error.\"\n" ), 4u );
}

TEST_F( SignInSession, SuccessIsToldWhenAllButTheUserStands )
{
    std::string told, atSession;
    const auto user = [] { return UserInfo::getEmail() + "|" + UserInfo::getAccessToken(); };
    signIn_->signedInSignal.connect(
        [&]
        {
            told = stored() + " " + user();
            EXPECT_EQ( values_.state, AuthState::Authed );
            EXPECT_EQ( values_.password, "" );
        } );
    onOther_ = [&]( const WebRequestData& request )
    {
        if ( request.logName == "requestSessionId" )
            atSession = user();
    };
    signInByForm();
    EXPECT_EQ( told, "ann@example.org|fresh|" + Cognito::getEndpoint( cAnn ) + " |" );
    EXPECT_EQ( atSession, "|access" ) << "the token goes before the address, which opens the session";
    EXPECT_EQ( user(), "ann@example.org|access" );
    EXPECT_EQ( values_.password, "" );
    EXPECT_EQ( values_.email, cAnn );
    EXPECT_EQ( changes_, 1 );
    EXPECT_EQ( log_.count( "info: Signed in.\n" ), 1u );
}

TEST_F( SignInSession, WithoutRememberingNothingIsKept )
{
    saveAuthToken( { cAnn, "t", "e" } );
    values_.rememberMe = false;
    signInByForm();
    EXPECT_EQ( stored(), "||" );
    EXPECT_EQ( values_.email, "" );
    EXPECT_EQ( UserInfo::getEmail(), cAnn ) << "the program still knows who it is";
}

TEST_F( SignInSession, SuccessLeavesNothingThatWasSaid )
{
    fillIn();
    press( &SignIn::pressSignIn );
    values_.message = values_.reason = values_.status = "of before";
    answer( 200, cRefreshed );
    EXPECT_EQ( values_.message + values_.reason + values_.status, "" );
}

TEST_F( SignInSession, NoTokenIsCopiedWhileASignInOrASignOutIsBeingProcessed )
{
    EXPECT_EQ( copyDuring( "requestSessionId", [this] { signInByForm(); } ), "access" );
    SessionLogsTestAccess::setSessionId( 7 );
    EXPECT_EQ( copyDuring( "logAction", [this] { signIn_->signOut(); } ), "" );
}

TEST_F( SignInSession, RetryAsksWithTheStoredTokenOrSignsOut )
{
    saveAuthToken( { cAnn, "kept", "end" } );
    values_.state = AuthState::Retry;
    values_.email = cAnn;
    press( &SignIn::pressRetry );
    EXPECT_EQ( lastName(), "signInToken" );
    EXPECT_EQ( lastBody()["AuthParameters"]["REFRESH_TOKEN"], "kept" );
    answer( 0, "" );
    EXPECT_EQ( values_.state, AuthState::Retry );
    EXPECT_EQ( sent().size(), 1u ) << "this one is not silent";
    saveAuthToken( { cAnn, "kept", "" } );
    press( &SignIn::pressRetry );
    EXPECT_EQ( values_.state, AuthState::SignIn );
    EXPECT_EQ( values_.message, "" );
    EXPECT_EQ( sent().size(), 1u );
    EXPECT_EQ( stored(), "ann@example.org||" );
}

TEST_F( SignInSession, SignOutIsToldWhileTheUserIsStillThere )
{
    signInByForm();
    values_.message = "still there";
    std::string told;
    signIn_->signOutSignal.connect(
        [&]
        {
            told = stored() + " " + UserInfo::getEmail() + " " + UserInfo::getAccessToken() + " " + values_.message;
            EXPECT_EQ( values_.state, AuthState::Authed );
        } );
    changes_ = forms_ = 0;
    signIn_->signOut();
    EXPECT_EQ( told, "ann@example.org|| ann@example.org access still there" );
    EXPECT_EQ( values_.state, AuthState::SignIn );
    EXPECT_EQ( values_.message, "" );
    EXPECT_EQ( UserInfo::getEmail() + UserInfo::getAccessToken(), "" );
    EXPECT_EQ( forms_, 1 );
    EXPECT_EQ( changes_, 1 );
}

TEST_F( SignInSession, SignOutForgetsTheSignInAndTheAddressWhereItIsNotToBeKept )
{
    for ( const bool remember : { true, false } )
    {
        saveAuthToken( { cAnn, "t", "e" } );
        values_.email = cAnn;
        values_.rememberMe = remember;
        signIn_->signOut();
        EXPECT_EQ( stored(), remember ? "ann@example.org||" : "||" );
    }
}
