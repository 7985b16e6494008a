#include "support/ui/ShownText.h"
#include "ui/account/SignInFixture.h"

#include <VXOrvanta/account/AuthWindow.h>

#include <gtest/gtest.h>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

/// Where the keyboard is in the sign-in, found out by typing.
class SignInFocus : public Testing::SignInFixture
{
protected:
    [[nodiscard]] static std::string title()
    {
        const auto all = Testing::shownTexts( "Auth window" );
        return all.empty() ? "" : all.front().text;
    }
    /// A click after which only those frames are drawn that somebody asks for.
    void clickAndSettle( float x, float y ) { click( windowPointFromTop( "Auth window", x, y ) ); }
};

} // namespace

TEST_F( SignInFocus, IsOnThePasswordWhereTheAddressIsGood )
{
    for ( const auto form : { AuthState::SignIn, AuthState::SignUp } )
    {
        Access::email( auth() ).clear();
        Access::password( auth() ).clear();
        show( form );
        enter();
        EXPECT_EQ( message(), "Please enter valid email" );
        type( "ann@example.org" );
        EXPECT_EQ( Access::email( auth() ), "ann@example.org" ) << int( form );
        enter();
        EXPECT_NE( message(), "Please enter valid email" );
        type( "y" );
        EXPECT_EQ( Access::password( auth() ), "y" ) << int( form );
        EXPECT_EQ( Access::email( auth() ), "ann@example.org" ) << int( form );
        press( GLFW_KEY_ESCAPE );
    }
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SignInFocus, ComesBackToAFieldWhenSomethingIsMissing )
{
    show( AuthState::SignIn );
    for ( int i = 0; i < 5; ++i )
        press( GLFW_KEY_TAB );
    type( "lost" );
    EXPECT_EQ( Access::email( auth() ), "" ) << "a link has it";
    enter();
    EXPECT_EQ( message(), "Please enter valid email" );
    type( "ann" );
    EXPECT_EQ( Access::email( auth() ), "ann" );
}

TEST_F( SignInFocus, GoesIntoTheFormThatALinkShows )
{
    show( AuthState::SignIn );
    EXPECT_EQ( title(), "Sign in" );
    clickAndSettle( 274, 292 );
    EXPECT_EQ( title(), "Sign Up" );
    type( "ann@example.org" );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org" );
    clickAndSettle( 296, 291 );
    EXPECT_EQ( title(), "Sign in" );
    type( "p" );
    EXPECT_EQ( Access::password( auth() ), "p" );
    clickAndSettle( 380, 162 );
    EXPECT_EQ( title(), "Reset Password" );
    press( GLFW_KEY_END );
    type( "!" );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org!" );
    clickAndSettle( 243, 254 );
    EXPECT_EQ( title(), "Sign in" );
}

TEST_F( SignInFocus, IsInTheFormAfterASignOut )
{
    signInByForm();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    ASSERT_TRUE( auth().isAuthed() );
    menu_->signOut();
    settle();
    EXPECT_EQ( title(), "Sign in" );
    type( "again" );
    EXPECT_EQ( Access::password( auth() ), "again" );
}

TEST_F( SignInFocus, IsOnTheNewPasswordOnceTheCodeStands )
{
    fill( Access::email( auth() ), "ann@example.org" );
    show( AuthState::Forgot );
    enter();
    answer( 200, R"({"CodeDeliveryDetails":{"Destination":"a***@e***"}})" );
    ASSERT_EQ( state(), AuthState::ConfirmForgot );
    type( "123456" );
    EXPECT_EQ( Access::code( auth() ), "123456" );
    enter();
    EXPECT_EQ( message(), "Please enter valid password" );
    type( "long-enough-2" );
    EXPECT_EQ( Access::newPassword( auth() ), "long-enough-2" );
    EXPECT_EQ( Access::code( auth() ), "123456" );
}
