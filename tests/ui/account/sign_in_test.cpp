#include "support/service/WaitingTokenCopy.h"
#include "ui/account/SignInFixture.h"

#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/AuthWindow.h>
#include <VXViewer/core/SystemInfoJson.h>
#include <VXViewer/work/ProgressBar.h>

#include <gtest/gtest.h>

#include <future>

using namespace VX;
using Access = AuthWindowTestAccess;
using Testing::target;

namespace
{

class SignInScreen : public Testing::SignInFixture
{
};

} // namespace

TEST_F( SignInScreen, TakesShortcutsFromTheMenuUntilSignedIn )
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

TEST_F( SignInScreen, NothingIsDrawnOverAProgressBar )
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

TEST_F( SignInScreen, AQuestionStandsBeforeItUntilItIsAnswered )
{
    menu_->showModalMessage( "A file is broken", NotificationType::Error );
    settle();
    EXPECT_TRUE( menu_->isModalShown() );
    enter();
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_TRUE( sent().empty() );
    EXPECT_EQ( message(), "" ) << "the Enter was for the question";
    enter();
    EXPECT_EQ( message(), "Please enter valid email" ) << "the next one is for the form";
}

TEST_F( SignInScreen, FormIsFilledInByKeyboardAlone )
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

TEST_F( SignInScreen, TextIsSelectedReplacedAndPastedByKeyboard )
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

TEST_F( SignInScreen, ARefusedPasswordIsTypedAnewAtOnce )
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

TEST_F( SignInScreen, SuccessIsRememberedAndReachesTheProgram )
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
    EXPECT_EQ( log_.count( "info: Signed in.\n" ), 1u ) << log_.text();
    const auto frames = viewer().framesDrawn();
    settle();
    EXPECT_EQ( viewer().framesDrawn(), frames ) << "no frame is drawn because of it any more";
}

TEST_F( SignInScreen, NoTokenIsCopiedWhileASignInIsBeingProcessed )
{
    signInByForm();
    const auto form = transport_;
    Testing::WaitingTokenCopy copy;
    int times = 0;
    setWebTransport( std::make_shared<ScriptedTransport>(
        [&]( const WebRequestData& request ) -> std::optional<Json::Value>
        {
            if ( copy.hasBegun() )
                return {};
            copy.begin( request.logName );
            ++times;
            return {};
        } ) );
    ASSERT_TRUE( form->deliver( signedInAnswer() ) );
    settle();
    ASSERT_EQ( times, 1 ) << "the session of the statistics is opened by the sign-in";
    EXPECT_EQ( copy.result(), "access" );
}

TEST_F( SignInScreen, WithoutRememberingNothingIsKept )
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

TEST_F( SignInScreen, WrongPasswordShowsTheServicesTextAndIsNotTriedAgain )
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

TEST_F( SignInScreen, BadNetworkShowsTheRetryScreenAtOnce )
{
    signInByForm();
    answer( 0, "" );
    EXPECT_EQ( state(), AuthState::Retry );
    EXPECT_EQ( message(), "Bad internet connection." );
    EXPECT_EQ( sent().size(), 1u );
}

TEST_F( SignInScreen, AnswerWithoutAResultIsAnUnknownError )
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

TEST_F( SignInScreen, AnswersThatAreNoJsonAreShownAsTheParsersText )
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

TEST_F( SignInScreen, MembersOfWrongTypesAreTakenAsMissing )
{
    signInByForm();
    answer( 200, R"({"AuthenticationResult":{"AccessToken":7,"RefreshToken":{"a":1}}})" );
    EXPECT_EQ( state(), AuthState::Authed );
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
    EXPECT_EQ( stored()["token"], "" ) << "no sign-in to be kept";
}

TEST_F( SignInScreen, SignOutForgetsTheTokenAndShowsTheForm )
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

TEST_F( SignInScreen, ChecksOfTheSignInForm )
{
    show( AuthState::SignIn );
    enter();
    EXPECT_EQ( message(), "Please enter valid email" );
    fill( Access::email( auth() ), "ann@example.org" );
    enter();
    EXPECT_EQ( message(), "Please enter your password" );
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SignInScreen, LinksLeadFromFormToForm )
{
    show( AuthState::SignIn );
    clickAt( 380, 162 );
    EXPECT_EQ( state(), AuthState::Forgot ) << "password?";
    clickAt( 243, 254 );
    EXPECT_EQ( state(), AuthState::SignIn ) << "back";
    clickAt( 274, 292 );
    EXPECT_EQ( state(), AuthState::SignUp );
    clickAt( 296, 291 );
    EXPECT_EQ( state(), AuthState::SignIn );
    show( AuthState::ConfirmSignUp );
    clickAt( 243, 291 );
    EXPECT_EQ( state(), AuthState::SignUp );
    Access::codeDestination( auth() ) = "a***@e***.org";
    show( AuthState::ConfirmForgot );
    clickAt( 243, 304 );
    EXPECT_EQ( state(), AuthState::SignIn );
}

TEST_F( SignInScreen, CheckBoxByTheMouse )
{
    show( AuthState::SignIn );
    EXPECT_TRUE( Access::rememberMe( auth() ) );
    clickAt( 38, 162 );
    EXPECT_FALSE( Access::rememberMe( auth() ) );
}

TEST_F( SignInScreen, SignUpThenTheCodeThenTheForm )
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

TEST_F( SignInScreen, CodeIsSentAgainOnRequest )
{
    fill( Access::email( auth() ), "ann@example.org" );
    Access::codeDestination( auth() ) = "a***@e***";
    show( AuthState::ConfirmSignUp );
    clickAt( 286, 261 );
    ASSERT_EQ( sent().size(), 1u );
    EXPECT_EQ( target( sent()[0] ), "AWSCognitoIdentityProviderService.ResendConfirmationCode" );
    answer( 200, "{}" );
    EXPECT_EQ( state(), AuthState::ConfirmSignUp );
}

TEST_F( SignInScreen, ForgottenPasswordByItsCode )
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

TEST_F( SignInScreen, PasswordsAndCodesAreInNoLogLine )
{
    fill( Access::email( auth() ), "ann@example.org" );
    show( AuthState::ConfirmSignUp );
    fill( Access::code( auth() ), "code-value-1" );
    enter();
    EXPECT_EQ( lastBody()["ConfirmationCode"], "code-value-1" );
    refuse( "Invalid verification code provided, please try again." );
    show( AuthState::ConfirmForgot );
    fill( Access::code( auth() ), "code-value-2" );
    fill( Access::newPassword( auth() ), "secret-value-2" );
    enter();
    EXPECT_EQ( lastBody()["Password"], "secret-value-2" );
    answer( 0, "" );
    show( AuthState::SignIn );
    signInByForm( "secret-value-1" );
    refuse( "Incorrect username or password." );
    signInByForm( "secret-value-1" );
    answer( 200, signedInAnswer( "refresh-value" )["text"].asString() );
    menu_->signOut();
    settle();
    for ( const char* secret :
        { "secret-value-1", "secret-value-2", "code-value-1", "code-value-2", "refresh-value", "\"access\"" } )
        EXPECT_FALSE( log_.contains( secret ) ) << log_.text();
}

TEST_F( SignInScreen, SystemInfoTellsOfTheGraphics )
{
    const auto info = GetSystemInfoJson();
    EXPECT_TRUE( info["Graphics Info"]["OpenGL Renderer"].isString() );
    EXPECT_TRUE( info["Graphics Info"]["OpenGL Version"].isString() );
    EXPECT_FALSE( info.isMember( "Window Info" ) ) << "there is no screen";
}

TEST_F( SignInScreen, WhatIsPastedIsTrimmed )
{
    settle();
    ImGui::SetClipboardText( " \tann@example.org \r\n" );
    press( GLFW_KEY_V, GLFW_MOD_CONTROL );
    press( GLFW_KEY_TAB );
    type( " p " );
    enter();
    ASSERT_EQ( sent().size(), 1u );
    EXPECT_EQ( lastBody()["AuthParameters"]["USERNAME"], "ann@example.org" );
    EXPECT_EQ( lastBody()["AuthParameters"]["PASSWORD"], " p " ) << "a password is what it is";
    refuse( "no" );
    show( AuthState::ConfirmSignUp );
    fill( Access::code( auth() ), " 123456 " );
    enter();
    EXPECT_EQ( lastBody()["ConfirmationCode"], "123456" );
}

TEST_F( SignInScreen, AfterAWrongCodeTheCodeIsTypedAnew )
{
    show( AuthState::ConfirmForgot );
    press( GLFW_KEY_TAB );
    type( "111111" );
    press( GLFW_KEY_TAB );
    type( "long-enough-2" );
    enter();
    refuse( "Invalid verification code provided, please try again." );
    type( "2" );
    EXPECT_EQ( Access::code( auth() ), "2" );
    EXPECT_EQ( Access::newPassword( auth() ), "long-enough-2" );
}
