#include "support/LogCapture.h"
#include "support/TestAccess.h"
#include "support/UiFixture.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/system/SystemInfoJson.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <future>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

constexpr const char* cExpired = R"({"__type":"NotAuthorizedException","message":"Refresh Token has expired"})";

class SignIn : public Testing::UiFixture
{
protected:
    [[nodiscard]] bool isSignedIn() const override { return false; }
    std::optional<Json::Value> answerAtStart( const WebRequestData& request ) override
    {
        if ( request.url != Cognito::cAuthUrl )
            return {};
        atStart_.push_back( request );
        return startAnswer_;
    }
    void TearDown() override
    {
        UserInfo::setAccessToken( {} );
        UiFixture::TearDown();
    }

    void store( const std::string& token ) { folder_.write( "Orvanta/Token/.token", token ); }
    void storeToken() { store( R"({"login":"ann@example.org","token":"kept","endpoint":"end"})" ); }
    [[nodiscard]] Json::Value stored() const
    {
        return deserializeJsonValue( folder_.path() / "Orvanta/Token/.token" ).value_or( Json::Value() );
    }
    [[nodiscard]] AuthWindow& auth() { return OrvantaMenuTestAccess::authWindow( *menu_ ); }
    [[nodiscard]] AuthState state() { return Access::state( auth() ); }
    [[nodiscard]] std::string message() { return Access::message( auth() ); }
    void show( AuthState state )
    {
        Access::state( auth() ) = state;
        Access::message( auth() ).clear();
        viewer().incrementForceRedrawFrames( 4 );
        settle();
    }
    /// Requests to the identity service since the program has started.
    [[nodiscard]] std::vector<WebRequestData> sent() const
    {
        std::vector<WebRequestData> out;
        for ( const auto& request : transport_->sent() )
            if ( request.url == Cognito::cAuthUrl )
                out.push_back( request );
        return out;
    }
    [[nodiscard]] Json::Value lastBody() const
    {
        return sent().empty() ? Json::Value() : deserializeJsonValue( sent().back().body ).value_or( Json::Value() );
    }
    void answer( int code, const std::string& text )
    {
        ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( code, text ) ) );
        settle();
    }
    void refuse( const std::string& text ) { answer( 400, R"({"__type":"X","message":")" + text + "\"}" ); }
    /// Frames never end while the spinner turns, so nothing is waited for.
    void enter()
    {
        window().pressKey( GLFW_KEY_ENTER, true );
        drawFrames( 3 );
        window().pressKey( GLFW_KEY_ENTER, false );
        drawFrames( 3 );
    }
    /// Fills a field in while it has not the keyboard, which would put back what is in it.
    void fill( std::string& field, const std::string& text )
    {
        ImGui::ClearActiveID();
        field = text;
        drawFrames( 2 );
    }
    /// A place in the sign-in, from its upper left corner.
    void clickAt( float x, float y )
    {
        clickWhileBusy( windowPointFromTop( "Auth window", x, y ) );
        drawFrames( 8 );
    }
    void signInByForm( const std::string& password = "secret-1" )
    {
        fill( Access::email( auth() ), "Ann@example.org" );
        fill( Access::password( auth() ), password );
        enter();
    }

    std::vector<WebRequestData> atStart_;
    std::optional<Json::Value> startAnswer_;
    Testing::LogCapture log_;
};

std::string target( const WebRequestData& request )
{
    return request.headers.at( "x-amz-target" );
}

} // namespace

TEST_F( SignIn, CoversTheWholeViewerInBlackWithItsWindowInTheMiddle )
{
    const auto image = frame();
    EXPECT_TRUE( isWindowShown( "Background" ) );
    for ( const size_t pixel : { size_t( 5 ), size_t( 1280 * 400 + 60 ), size_t( 1280 * 795 + 1270 ) } )
        for ( size_t channel = 0; channel < 3; ++channel )
            EXPECT_EQ( image.pixels[3 * pixel + channel], 0 );
    const auto low = windowPointFromTop( "Auth window", 0, 0 ), high = windowPoint( "Auth window", 0, 0 );
    EXPECT_EQ( low.x, ( 1280 - 440 ) / 2 );
    EXPECT_EQ( low.y, ( 800 - 332 ) / 2 );
    EXPECT_EQ( high.x - low.x, 440 );
    EXPECT_EQ( high.y - low.y, 332 );
}

TEST_F( SignIn, IsTwiceAsLargeAtTwiceTheScaleAndShrinksIntoASmallWindow )
{
    window().resize( 2000, 1400, 2 );
    (void)frame();
    auto low = windowPointFromTop( "Auth window", 0, 0 ), high = windowPoint( "Auth window", 0, 0 );
    EXPECT_EQ( high.x - low.x, 880 );
    EXPECT_EQ( high.y - low.y, 664 );
    window().resize( 220, 300 );
    (void)frame();
    low = windowPointFromTop( "Auth window", 0, 0 );
    high = windowPoint( "Auth window", 0, 0 );
    EXPECT_EQ( low.x, 0 );
    EXPECT_EQ( high.x, 220 );
    EXPECT_EQ( high.y - low.y, 166 );
}

TEST_F( SignIn, TakesShortcutsFromTheMenuUntilSignedIn )
{
    settle();
    press( 'F', GLFW_MOD_CONTROL );
    EXPECT_FALSE( menu_->isInputAllowed() );
    signInByForm();
    answer( 200, signedInAnswer()["text"].asString() );
    EXPECT_TRUE( menu_->isInputAllowed() );
    EXPECT_FALSE( isWindowShown( "Auth window" ) );
    EXPECT_FALSE( isWindowShown( "Background" ) );
}

TEST_F( SignIn, NothingIsDrawnOverAProgressBar )
{
    std::promise<void> end;
    auto ended = end.get_future().share();
    ProgressBar::orderWithMainThreadPostProcessing( "Work",
        [ended]() -> ProgressBar::PostProcessing
        {
            ended.wait();
            return [] {};
        } );
    drawFrames( 3 );
    EXPECT_FALSE( isWindowShown( "Auth window" ) );
    end.set_value();
    drawUntil( [] { return !ProgressBar::isOrdered(); } );
    drawFrames( 2 );
    EXPECT_TRUE( isWindowShown( "Auth window" ) );
}

TEST_F( SignIn, AQuestionStandsBeforeItUntilItIsAnswered )
{
    menu_->showModalMessage( "A file is broken", NotificationType::Error );
    settle();
    EXPECT_TRUE( menu_->isModalShown() );
    enter();
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SignIn, FormIsFilledInByKeyboardAlone )
{
    settle();
    type( "ann@example.org" );
    press( GLFW_KEY_TAB );
    type( "p\"w" );
    enter();
    ASSERT_EQ( sent().size(), 1u );
    EXPECT_EQ( target( sent()[0] ), "AWSCognitoIdentityProviderService.InitiateAuth" );
    EXPECT_EQ( sent()[0].logName, "signInEmail" );
    EXPECT_EQ( lastBody()["AuthFlow"], "USER_PASSWORD_AUTH" );
    EXPECT_EQ( lastBody()["AuthParameters"]["USERNAME"], "ann@example.org" );
    EXPECT_EQ( lastBody()["AuthParameters"]["PASSWORD"], "p\"w" );
    EXPECT_TRUE( menu_->isAuthInProcess() );
    EXPECT_EQ( stored()["login"], "ann@example.org" ) << "the address is offered again at the next start";
    EXPECT_EQ( stored()["token"], "" );
}

TEST_F( SignIn, RememberedAddressLeavesThePasswordToBeTyped )
{
    store( R"({"login":"ann@example.org","token":"","endpoint":""})" );
    restart();
    EXPECT_TRUE( atStart_.empty() );
    type( "secret-1" );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org" );
    EXPECT_EQ( Access::password( auth() ), "secret-1" );
}

TEST_F( SignIn, TextIsSelectedReplacedAndPastedByKeyboard )
{
    settle();
    type( "nobody" );
    press( GLFW_KEY_A, GLFW_MOD_CONTROL );
    type( "ann" );
    EXPECT_EQ( Access::email( auth() ), "ann" );
    press( GLFW_KEY_A, GLFW_MOD_CONTROL );
    press( GLFW_KEY_C, GLFW_MOD_CONTROL );
    press( GLFW_KEY_TAB );
    press( GLFW_KEY_V, GLFW_MOD_CONTROL );
    EXPECT_EQ( Access::password( auth() ), "ann" );
    press( GLFW_KEY_TAB, GLFW_MOD_SHIFT );
    type( "bob" );
    EXPECT_EQ( Access::email( auth() ), "bob" ) << "Tab marks the whole field";
}

TEST_F( SignIn, ARefusedPasswordIsTypedAnewAtOnce )
{
    store( R"({"login":"ann@example.org","token":"","endpoint":""})" );
    restart();
    type( "wrong-word-1" );
    enter();
    refuse( "Incorrect username or password." );
    type( "right" );
    EXPECT_EQ( Access::password( auth() ), "right" ) << "the whole field was marked";
    enter();
    refuse( "Incorrect username or password." );
    press( GLFW_KEY_A, GLFW_MOD_CONTROL );
    type( "again" );
    EXPECT_EQ( Access::password( auth() ), "again" );
}

TEST_F( SignIn, SpinnerTurnsWhileTheAnswerIsAwaited )
{
    signInByForm();
    const auto image = viewer().frameImage();
    drawFrames( 4 );
    EXPECT_GT( difference( image, viewer().frameImage() ), 20u ) << "it turns";
    EXPECT_LT( difference( image, viewer().frameImage() ), 3000u ) << "nothing else moves";
    const auto frames = viewer().framesDrawn();
    viewer().step( 0 );
    EXPECT_GT( viewer().framesDrawn(), frames ) << "without any event";
}

TEST_F( SignIn, SuccessIsRememberedAndReachesTheProgram )
{
    signInByForm();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    EXPECT_EQ( state(), AuthState::Authed );
    EXPECT_TRUE( log_.contains( "info: Signed in." ) ) << log_.text();
    EXPECT_EQ( stored()["login"], "Ann@example.org" );
    EXPECT_EQ( stored()["token"], "fresh" );
    EXPECT_EQ( stored()["endpoint"], Cognito::getEndpoint( "ann@example.org" ) );
    EXPECT_EQ( UserInfo::getEmail(), "Ann@example.org" );
    EXPECT_EQ( UserInfo::getAccessToken(), "access" );
    EXPECT_EQ( Access::password( auth() ), "" );
    const auto frames = viewer().framesDrawn();
    settle();
    EXPECT_EQ( viewer().framesDrawn(), frames ) << "no frame is drawn because of it any more";
}

TEST_F( SignIn, WithoutRememberingNothingIsKept )
{
    storeToken();
    Access::rememberMe( auth() ) = false;
    signInByForm();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    EXPECT_EQ( stored()["login"], "" );
    EXPECT_EQ( stored()["token"], "" );
    EXPECT_EQ( Access::email( auth() ), "" );
    EXPECT_EQ( UserInfo::getEmail(), "Ann@example.org" ) << "the program still knows who it is";
}

TEST_F( SignIn, WrongPasswordShowsTheServicesTextAndIsNotTriedAgain )
{
    signInByForm();
    refuse( "Incorrect username or password." );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( message(), "Incorrect username or password." );
    EXPECT_EQ( sent().size(), 1u );
    EXPECT_TRUE( log_.contains( "warning: Sign in error: \"Incorrect username or password.\"" ) );
    EXPECT_FALSE( menu_->isAuthInProcess() );
    type( "x" );
    EXPECT_EQ( Access::password( auth() ), "x" ) << "the password has the keyboard again, marked to be replaced";
}

TEST_F( SignIn, BadNetworkShowsTheRetryScreenAtOnce )
{
    signInByForm();
    answer( 0, "" );
    EXPECT_EQ( state(), AuthState::Retry );
    EXPECT_EQ( message(), "Bad internet connection." );
    EXPECT_EQ( sent().size(), 1u );
}

TEST_F( SignIn, AnswerWithoutAResultIsAnUnknownError )
{
    for ( const char* text : { "{}", "[]", "7", "\"text\"", R"({"AuthenticationResult":[]})", "null" } )
    {
        show( AuthState::SignIn );
        signInByForm();
        answer( 200, text );
        EXPECT_EQ( state(), AuthState::Retry ) << text;
        EXPECT_EQ( message(), "Unknown error." ) << text;
    }
    EXPECT_TRUE( log_.contains( "warning: Sign in error: \"Unknown error.\"" ) );
}

TEST_F( SignIn, AnswersThatAreNoJsonAreShownAsTheParsersText )
{
    const std::string huge( 5 << 20, 'x' );
    for ( const std::string& text :
        { std::string( "<html>no</html>" ), std::string(), std::string( "{\"a\":" ), huge } )
    {
        show( AuthState::SignIn );
        signInByForm();
        answer( 200, text );
        EXPECT_EQ( state(), AuthState::SignIn );
        EXPECT_NE( message(), "" );
    }
}

TEST_F( SignIn, MembersOfWrongTypesAreTakenAsMissing )
{
    signInByForm();
    answer( 200, R"({"AuthenticationResult":{"AccessToken":7,"RefreshToken":{"a":1}}})" );
    EXPECT_EQ( state(), AuthState::Authed );
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
    EXPECT_EQ( stored()["token"], "" ) << "no sign-in to be kept";
}

TEST_F( SignIn, StoredTokenSignsInSilently )
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

TEST_F( SignIn, NothingIsDrawnWhileItSignsInSilently )
{
    storeToken();
    restart();
    EXPECT_EQ( state(), AuthState::Loading );
    EXPECT_FALSE( isWindowShown( "Background" ) );
    EXPECT_TRUE( menu_->isAuthInProcess() );
    const auto frames = viewer().framesDrawn();
    settle();
    EXPECT_EQ( viewer().framesDrawn(), frames );
}

TEST_F( SignIn, ExpiredTokenIsTriedThreeTimesMoreThenTheFormIsShown )
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

TEST_F( SignIn, BadNetworkIsTriedThreeTimesMoreThenTheRetryScreenIsShown )
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

TEST_F( SignIn, AnyOtherErrorOfASilentSignInIsNotTriedAgain )
{
    storeToken();
    startAnswer_ = ScriptedTransport::response( 400, R"({"message":"Invalid Refresh Token."})" );
    restart();
    EXPECT_EQ( atStart_.size(), 1u );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( message(), "Invalid Refresh Token." );
}

TEST_F( SignIn, TokenFilesOfNoUseAreNoSignIn )
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

TEST_F( SignIn, RetryWithoutATokenSignsOut )
{
    show( AuthState::Retry );
    enter();
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SignIn, SignOutLinkOfTheRetryScreen )
{
    storeToken();
    startAnswer_ = ScriptedTransport::response( 0, "" );
    restart();
    clickAt( 132, 210 );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( stored()["token"], "" );
    EXPECT_EQ( stored()["login"], "ann@example.org" );
}

TEST_F( SignIn, SignOutForgetsTheTokenAndShowsTheForm )
{
    signInByForm();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    int heard = 0;
    const auto connection = auth().signOutSignal.connect( [&] { ++heard; } );
    menu_->signOut();
    settle();
    EXPECT_EQ( heard, 1 );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( stored()["token"], "" );
    EXPECT_EQ( stored()["endpoint"], "" );
    EXPECT_EQ( stored()["login"], "Ann@example.org" );
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
    EXPECT_EQ( UserInfo::getEmail(), "" );
    EXPECT_TRUE( isWindowShown( "Auth window" ) );
    EXPECT_FALSE( menu_->isInputAllowed() );
    Access::rememberMe( auth() ) = false;
    menu_->signOut();
    EXPECT_EQ( stored()["login"], "" );
}

TEST_F( SignIn, ChecksOfTheSignInForm )
{
    show( AuthState::SignIn );
    enter();
    EXPECT_EQ( message(), "Please enter valid email" );
    fill( Access::email( auth() ), "ann@example.org" );
    enter();
    EXPECT_EQ( message(), "Please enter your password" );
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SignIn, LinksLeadFromFormToForm )
{
    show( AuthState::SignIn );
    clickAt( 381, 186 );
    EXPECT_EQ( state(), AuthState::Forgot ) << "password?";
    clickAt( 243, 231 );
    EXPECT_EQ( state(), AuthState::SignIn ) << "back";
    clickAt( 273, 270 );
    EXPECT_EQ( state(), AuthState::SignUp );
    clickAt( 296, 266 );
    EXPECT_EQ( state(), AuthState::SignIn );
    show( AuthState::ConfirmSignUp );
    clickAt( 243, 270 );
    EXPECT_EQ( state(), AuthState::SignUp );
    Access::codeDestination( auth() ) = "a***@e***.org";
    show( AuthState::ConfirmForgot );
    clickAt( 243, 288 );
    EXPECT_EQ( state(), AuthState::SignIn );
}

TEST_F( SignIn, CheckBoxByTheMouse )
{
    show( AuthState::SignIn );
    EXPECT_TRUE( Access::rememberMe( auth() ) );
    clickAt( 38, 186 );
    EXPECT_FALSE( Access::rememberMe( auth() ) );
}

TEST_F( SignIn, RulesTurnGreenAsTheyAreMet )
{
    show( AuthState::SignUp );
    const auto count = [this]( size_t channel )
    {
        const auto image = frame();
        size_t out = 0;
        for ( size_t i = 0; i + 2 < image.pixels.size(); i += 3 )
            out += image.pixels[i + channel] > 200 && image.pixels[i + ( channel + 1 ) % 2] < 60 &&
                   image.pixels[i + 2] < 60;
        return out;
    };
    const auto red = count( 0 );
    EXPECT_GT( red, 50u );
    EXPECT_EQ( count( 1 ), 0u );
    fill( Access::password( auth() ), "abc" );
    const auto some = count( 1 );
    EXPECT_GT( some, 10u ) << "the letter";
    EXPECT_LT( count( 0 ), red );
    fill( Access::password( auth() ), "abcdef-1" );
    EXPECT_GT( count( 1 ), some );
    EXPECT_EQ( count( 0 ), 0u );
}

TEST_F( SignIn, SignUpThenTheCodeThenTheForm )
{
    show( AuthState::SignUp );
    enter();
    EXPECT_EQ( message(), "Please enter valid email" );
    fill( Access::email( auth() ), "ann@example.org" );
    fill( Access::password( auth() ), "short" );
    enter();
    EXPECT_EQ( message(), "Please enter valid password" );
    fill( Access::password( auth() ), "long-enough-1" );
    enter();
    ASSERT_EQ( sent().size(), 1u );
    EXPECT_EQ( target( sent()[0] ), "AWSCognitoIdentityProviderService.SignUp" );
    EXPECT_EQ( lastBody()["Username"], "ann@example.org" );
    EXPECT_EQ( lastBody()["Password"], "long-enough-1" );
    answer( 200, R"({"CodeDeliveryDetails":{"Destination":"a***@e***"},"UserConfirmed":false})" );
    EXPECT_EQ( state(), AuthState::ConfirmSignUp );
    EXPECT_EQ( Access::codeDestination( auth() ), "a***@e***" );
    enter();
    EXPECT_EQ( message(), "Please enter verification code" );
    EXPECT_EQ( stored()["login"], "ann@example.org" );
    type( "123456" );
    enter();
    EXPECT_EQ( target( sent()[1] ), "AWSCognitoIdentityProviderService.ConfirmSignUp" );
    EXPECT_EQ( lastBody()["ConfirmationCode"], "123456" );
    refuse( "Invalid verification code provided, please try again." );
    EXPECT_EQ( state(), AuthState::ConfirmSignUp );
    EXPECT_EQ( message(), "Invalid verification code provided, please try again." );
    EXPECT_TRUE( log_.contains( "warning: Auth error: \"Invalid verification code provided, please try again.\"" ) );
    enter();
    answer( 200, "{}" );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( message(), "" );
}

TEST_F( SignIn, CodeIsSentAgainOnRequest )
{
    fill( Access::email( auth() ), "ann@example.org" );
    Access::codeDestination( auth() ) = "a***@e***";
    show( AuthState::ConfirmSignUp );
    clickAt( 286, 239 );
    ASSERT_EQ( sent().size(), 1u );
    EXPECT_EQ( target( sent()[0] ), "AWSCognitoIdentityProviderService.ResendConfirmationCode" );
    answer( 200, "{}" );
    EXPECT_EQ( state(), AuthState::ConfirmSignUp );
}

TEST_F( SignIn, ForgottenPasswordByItsCode )
{
    show( AuthState::Forgot );
    enter();
    EXPECT_EQ( message(), "Please enter valid email" );
    fill( Access::email( auth() ), "ann@example.org" );
    enter();
    EXPECT_EQ( target( sent().back() ), "AWSCognitoIdentityProviderService.ForgotPassword" );
    refuse( "User does not exist." );
    EXPECT_EQ( state(), AuthState::Forgot );
    EXPECT_EQ( message(), "User does not exist." );
    enter();
    answer( 200, R"({"CodeDeliveryDetails":{"Destination":"a***@e***"}})" );
    EXPECT_EQ( state(), AuthState::ConfirmForgot );
    type( "654321" );
    press( GLFW_KEY_TAB );
    type( "weak" );
    enter();
    EXPECT_EQ( message(), "Please enter valid password" );
    EXPECT_EQ( Access::brokenRules( auth() ), 1 | 4 | 8 );
    fill( Access::newPassword( auth() ), "long-enough-2" );
    enter();
    EXPECT_EQ( target( sent().back() ), "AWSCognitoIdentityProviderService.ConfirmForgotPassword" );
    EXPECT_EQ( lastBody()["Password"], "long-enough-2" );
    EXPECT_EQ( lastBody()["ConfirmationCode"], "654321" );
    answer( 200, "{}" );
    EXPECT_EQ( state(), AuthState::SignIn );
}

TEST_F( SignIn, PasswordsAndCodesAreInNoLogLine )
{
    signInByForm( "secret-value-1" );
    refuse( "Incorrect username or password." );
    signInByForm( "secret-value-1" );
    answer( 200, signedInAnswer( "refresh-value" )["text"].asString() );
    menu_->signOut();
    settle();
    for ( const char* secret : { "secret-value-1", "refresh-value", "\"access\"" } )
        EXPECT_FALSE( log_.contains( secret ) ) << log_.text();
}

TEST_F( SignIn, SystemInfoTellsOfTheGraphics )
{
    const auto info = GetSystemInfoJson();
    EXPECT_TRUE( info["Graphics Info"]["OpenGL Renderer"].isString() );
    EXPECT_TRUE( info["Graphics Info"]["OpenGL Version"].isString() );
    EXPECT_FALSE( info.isMember( "Window Info" ) ) << "there is no screen";
}

namespace
{

class Credentials : public SignIn
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
    fallsBack( "/no/such/file", "warning: Cannot read credentials file: " );
    fallsBack( folder_.write( "text", "not json" ).string(), "warning: Cannot read credentials file: " );
    fallsBack( folder_.write( "list", "[]" ).string(), "warning: Credentials file is invalid" );
    fallsBack( folder_.write( "number", R"({"email":"a@b.c","password":1})" ).string(),
        "warning: Credentials file is invalid" );
    fallsBack( folder_.write( "email", R"({"email":"nobody","password":"p"})" ).string(),
        "warning: Credentials file: email is invalid" );
}

TEST_F( Credentials, NetworkFailureIsNotTriedAgain )
{
    const auto file = folder_.write( "creds", R"({"email":"bob@example.org","password":"p"})" ).string();
    startAnswer_ = ScriptedTransport::response( 0, "" );
    startWith( { "-creds", file } );
    EXPECT_EQ( atStart_.size(), 1u );
    EXPECT_EQ( state(), AuthState::Retry );
}
