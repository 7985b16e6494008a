#include "ui/account/SignInFixture.h"

#include <HeadlessSignIn.h>

#include <VXOrvanta/account/AuthWindow.h>

#include <gtest/gtest.h>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

constexpr const char* cExpired = R"({"__type":"NotAuthorizedException","message":"Refresh Token has expired"})";

class SilentSignIn : public Testing::SignInFixture
{
};

/// The program as it stands before its loop has turned once.
class FirstFrame : public Testing::SignInFixture
{
protected:
    /// Starts the program again, and tells what its first frame has shown.
    std::string firstFrame()
    {
        shown_.clear();
        restart();
        return shown_;
    }
    void started() override
    {
        shown_ = isWindowShown( "Background" ) ? "sign-in" : "menu";
        atFirst_ = viewer().arguments();
    }
    [[nodiscard]] std::vector<std::string> programArguments() const override { return arguments_; }
    std::vector<std::string> arguments_, atFirst_;
    std::string shown_;
};

} // namespace

TEST_F( SilentSignIn, RememberedAddressLeavesThePasswordToBeTyped )
{
    store( R"({"login":"ann@example.org","token":"","endpoint":""})" );
    restart();
    EXPECT_TRUE( atStart_.empty() );
    type( "secret-1" );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org" );
    EXPECT_EQ( Access::password( auth() ), "secret-1" );
}

TEST_F( SilentSignIn, StoredTokenSignsInSilently )
{
    storeToken();
    startAnswer_ = signedInAnswer();
    restart();
    ASSERT_EQ( atStart_.size(), 1u );
    EXPECT_EQ( atStart_[0].logName, "signInToken" );
    EXPECT_EQ( state(), AuthState::Authed );
    EXPECT_EQ( stored()["token"], "kept" ) << "no new one has come, so the file stays";
    EXPECT_EQ( UserInfo::getEmail(), "ann@example.org" );
    EXPECT_TRUE( menu_->isInputAllowed() );
}

TEST_F( SilentSignIn, NothingIsDrawnWhileItSignsInSilently )
{
    storeToken();
    restart();
    EXPECT_EQ( state(), AuthState::Loading );
    EXPECT_FALSE( isWindowShown( "Background" ) );
    EXPECT_TRUE( menu_->isAuthInProcess() );
    const auto frames = viewer().framesDrawn();
    settle();
    EXPECT_EQ( viewer().framesDrawn(), frames );
    EXPECT_TRUE( menu_->isInputAllowed() );
    press( GLFW_KEY_F1 );
    EXPECT_TRUE( isWindowShown( "Shortcuts" ) ) << "what stands there can be used";
}

TEST_F( FirstFrame, ShowsNoSignInWhereOneIsStored )
{
    storeToken();
    EXPECT_EQ( firstFrame(), "menu" );
    settle();
    EXPECT_EQ( state(), AuthState::Loading );
}

TEST_F( FirstFrame, ShowsNoSignInWhereThereAreCredentials )
{
    arguments_ = { "-creds", folder_.write( "creds", R"({"email":"bob@example.org","password":"p"})" ).string() };
    EXPECT_EQ( firstFrame(), "menu" );
    EXPECT_EQ( atFirst_, arguments_ ) << "they are for the start-up task";
}

TEST_F( FirstFrame, ShowsTheSignInWhereNothingIsStored )
{
    EXPECT_EQ( firstFrame(), "sign-in" );
}

TEST_F( SilentSignIn, ExpiredTokenIsTriedThreeTimesMoreThenTheFormIsShown )
{
    storeToken();
    startAnswer_ = ScriptedTransport::response( 400, cExpired );
    restart();
    EXPECT_EQ( atStart_.size(), 4u );
    for ( const char* left : { "2", "1", "0" } )
        EXPECT_TRUE( log_.contains(
            std::string( "warning: Sign in error: \"Refresh Token has expired\", retrying (" ) + left + " left)" ) )
            << left;
    EXPECT_EQ( log_.count( "retrying" ), 3u );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( message(), " Session expired. Please log in again." );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org" );
}

TEST_F( SilentSignIn, BadNetworkIsTriedThreeTimesMoreThenTheRetryScreenIsShown )
{
    storeToken();
    startAnswer_ = ScriptedTransport::response( 0, "" );
    restart();
    EXPECT_EQ( atStart_.size(), 4u );
    EXPECT_EQ( state(), AuthState::Retry );
    EXPECT_EQ( message(), "Bad internet connection." );
    enter();
    ASSERT_EQ( sent().size(), 1u ) << "Retry, with the stored token";
    EXPECT_EQ( lastBody()["AuthParameters"]["REFRESH_TOKEN"], "kept" );
    answer( 200, signedInAnswer()["text"].asString() );
    EXPECT_EQ( state(), AuthState::Authed );
}

TEST_F( SilentSignIn, AnyOtherErrorOfASilentSignInIsNotTriedAgain )
{
    storeToken();
    startAnswer_ = ScriptedTransport::response( 400, R"({"message":"Invalid Refresh Token."})" );
    restart();
    EXPECT_EQ( atStart_.size(), 1u );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( message(), "Invalid Refresh Token." );
}

TEST_F( SilentSignIn, TokenFilesOfNoUseAreNoSignIn )
{
    const auto file = folder_.path() / "Orvanta/Token/.token";
    const std::string binary( "\x00\xff\x80{", 4 );
    for ( const std::string& text : { std::string(), std::string( "[]" ), binary, std::string( 1000, '[' ),
              std::string( R"({"login":"a@b.c","token":7,"endpoint":"e"})" ),
              std::string( R"({"login":"a@b.c","token":"t"})" ) } )
    {
        store( text );
        restart();
        EXPECT_TRUE( atStart_.empty() );
        EXPECT_EQ( Access::email( auth() ), "" );
        EXPECT_EQ( state(), AuthState::SignIn );
    }
    std::filesystem::remove( file );
    std::filesystem::create_directory( file );
    restart();
    EXPECT_EQ( state(), AuthState::SignIn );
    signInByForm();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    EXPECT_EQ( state(), AuthState::Authed ) << "a file that cannot be written is no reason to refuse";
}

TEST_F( SilentSignIn, HalfAStoredSignInIsOnlyAnAddress )
{
    for ( const char* text : { R"({"login":"ann@example.org","token":"t","endpoint":""})",
              R"({"login":"ann@example.org","token":"","endpoint":"e"})" } )
    {
        store( text );
        restart();
        EXPECT_TRUE( atStart_.empty() ) << text;
        EXPECT_EQ( state(), AuthState::SignIn );
        EXPECT_EQ( Access::email( auth() ), "ann@example.org" );
    }
}

TEST_F( SilentSignIn, RetryWithoutATokenSignsOut )
{
    show( AuthState::Retry );
    enter();
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SilentSignIn, SignOutLinkOfTheRetryScreen )
{
    storeToken();
    startAnswer_ = ScriptedTransport::response( 0, "" );
    restart();
    clickAt( 132, 210 );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( stored()["token"], "" );
    EXPECT_EQ( stored()["login"], "ann@example.org" );
}

TEST_F( SilentSignIn, SignOutToolSaysThatNobodyIsSignedIn )
{
    storeToken();
    restart();
    const auto item = RibbonSchemaHolder::findItem( "Sign out" );
    ASSERT_TRUE( item );
    const auto text = item->isAvailable( {} );
    // In the place of the text's characters, if they were given back.
    const auto other = std::make_unique<std::string>( text.size(), 'x' );
    EXPECT_EQ( text, "Nobody is signed in" ) << "the text outlives the question, and " << *other;
    const auto before = menu_->notificationCount();
    pressTool( "Sign out" );
    EXPECT_EQ( menu_->notificationCount(), before + 1 );
    EXPECT_EQ( state(), AuthState::Loading );
}

namespace
{

class Credentials : public Testing::SignInFixture
{
protected:
    void startWith( const std::vector<std::string>& arguments )
    {
        arguments_ = arguments;
        restart();
    }
    [[nodiscard]] std::vector<std::string> programArguments() const override { return arguments_; }
    std::vector<std::string> arguments_;
};

} // namespace

TEST_F( Credentials, SignInAndLeaveTheArguments )
{
    const auto file = folder_.write( "creds", R"({"email":"bob@example.org","password":"p"})" ).string();
    startAnswer_ = signedInAnswer( "fresh" );
    startWith( { "-creds", "/first", "part.stl", "-creds", file } );
    EXPECT_EQ( viewer().arguments(), std::vector<std::string>{ "part.stl" } );
    ASSERT_EQ( atStart_.size(), 1u );
    EXPECT_EQ( atStart_[0].logName, "signInEmail" );
    EXPECT_EQ( state(), AuthState::Authed );
    EXPECT_EQ( UserInfo::getEmail(), "bob@example.org" );
    EXPECT_EQ( stored()["token"], "fresh" );
}

TEST_F( Credentials, WithoutAFileTheArgumentGoes )
{
    startWith( { "part.stl", "-creds" } );
    EXPECT_EQ( viewer().arguments(), std::vector<std::string>{ "part.stl" } );
    EXPECT_EQ( state(), AuthState::SignIn );
}

TEST_F( Credentials, OfNoUseFallBackToTheStoredToken )
{
    storeToken();
    startAnswer_ = signedInAnswer();
    const auto fallsBack = [&]( const std::string& file, const std::string& line )
    {
        atStart_.clear();
        startWith( { "-creds", file } );
        EXPECT_TRUE( log_.contains( line ) ) << log_.text();
        EXPECT_TRUE( viewer().arguments().empty() );
        ASSERT_EQ( atStart_.size(), 1u );
        EXPECT_EQ( atStart_[0].logName, "signInToken" );
        EXPECT_EQ( UserInfo::getEmail(), "ann@example.org" );
    };
    fallsBack( "", "warning: Cannot read credentials file: " );
    fallsBack( "/no/such/file", "warning: Cannot read credentials file: " );
    fallsBack( folder_.write( "text", "not json" ).string(), "warning: Cannot read credentials file: " );
    fallsBack( folder_.write( "list", "[]" ).string(), "warning: Credentials file is invalid" );
    fallsBack( folder_.write( "number", R"({"email":"a@b.c","password":1})" ).string(),
        "warning: Credentials file is invalid" );
    fallsBack( folder_.write( "email", R"({"email":"nobody","password":"p"})" ).string(),
        "warning: Credentials file: email is invalid" );
}

TEST_F( Credentials, RefusedByTheServiceLeaveTheFormAndTheStoredToken )
{
    storeToken();
    const auto file = folder_.write( "creds", R"({"email":"bob@example.org","password":"p"})" ).string();
    startAnswer_ = ScriptedTransport::response( 400, R"({"message":"Incorrect username or password."})" );
    startWith( { "-creds", file } );
    ASSERT_EQ( atStart_.size(), 1u ) << "neither tried again nor with the token";
    EXPECT_EQ( atStart_[0].logName, "signInEmail" );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( message(), "Incorrect username or password." );
    EXPECT_TRUE( viewer().arguments().empty() );
    EXPECT_EQ( stored()["token"], "kept" );
    EXPECT_FALSE( menu_->isInputAllowed() ) << "the form has the keyboard";
}

TEST_F( Credentials, NetworkFailureIsNotTriedAgain )
{
    const auto file = folder_.write( "creds", R"({"email":"bob@example.org","password":"p"})" ).string();
    startAnswer_ = ScriptedTransport::response( 0, "" );
    startWith( { "-creds", file } );
    EXPECT_EQ( atStart_.size(), 1u );
    EXPECT_EQ( state(), AuthState::Retry );
}

namespace
{

class Headless : public Testing::SignInFixture
{
protected:
    /// Signs in as the program does without a window; every request gets the same answer.
    std::string signIn( const std::vector<std::string>& arguments, const Json::Value& answer )
    {
        transport_ = std::make_shared<ScriptedTransport>(
            [answer]( const WebRequestData& ) { return std::optional( answer ); } );
        setWebTransport( transport_ );
        viewer().arguments() = arguments;
        return App::signInHeadless();
    }
    [[nodiscard]] std::string file( const std::string& email )
    {
        return folder_.write( email, R"({"email":")" + email + R"(","password":"p"})" ).string();
    }
};

} // namespace

TEST_F( Headless, LastCredentialsCount )
{
    EXPECT_EQ(
        signIn( { "-creds", file( "ann@example.org" ), "-creds", file( "bob@example.org" ) }, signedInAnswer() ), "" );
    ASSERT_EQ( sent().size(), 1u );
    EXPECT_EQ( lastBody()["AuthParameters"]["USERNAME"], "bob@example.org" );
    EXPECT_EQ( UserInfo::getAccessToken(), "access" );
    EXPECT_TRUE( viewer().arguments().empty() );
}

TEST_F( Headless, CredentialsOfNoUseFallBackToTheStoredToken )
{
    storeToken();
    EXPECT_EQ( signIn( { "-creds", file( "nobody" ) }, signedInAnswer() ), "" );
    ASSERT_EQ( sent().size(), 1u ) << "an address that is none is not sent";
    EXPECT_EQ( sent()[0].logName, "signInToken" );
    EXPECT_TRUE( log_.contains( "warning: Credentials file: email is invalid" ) ) << log_.text();
}

TEST_F( Headless, CredentialsOfNoUseAreAnErrorWhereNothingIsStored )
{
    EXPECT_EQ( signIn( { "-creds", file( "nobody" ) }, signedInAnswer() ),
        "Cannot sign in: Credentials file: email is invalid" );
    EXPECT_EQ( signIn( {}, signedInAnswer() ), "" );
    EXPECT_TRUE( sent().empty() );
}

TEST_F( Headless, RefusalIsToldInTheServicesWords )
{
    EXPECT_EQ( signIn( { "-creds", file( "ann@example.org" ) },
                   ScriptedTransport::response( 400, R"({"message":"Incorrect username or password."})" ) ),
        "Cannot sign in: Incorrect username or password." );
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
}
