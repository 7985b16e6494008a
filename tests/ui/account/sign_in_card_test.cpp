#include "ui/account/SignInFixture.h"

#include <VXOrvanta/account/AuthWindow.h>
#include <VXViewer/ui/ColorTheme.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

class SignInCard : public Testing::SignInFixture
{
};

} // namespace

TEST_F( SignInCard, CoversTheWholeViewerInBlackWithItsWindowInTheMiddle )
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

TEST_F( SignInCard, NothingElseIsSeenWhateverIsOpen )
{
    pressTool( "Privacy" );
    menu_->pushNotification( { .header = "Saved", .text = "part.vxu", .lifeTimeSec = 0 } );
    const auto image = frame();
    EXPECT_TRUE( isWindowShown( "##notification" ) );
    const auto low = windowPointFromTop( "Auth window", 0, 0 ), high = windowPoint( "Auth window", 0, 0 );
    size_t seen = 0;
    for ( int y = 0; y < image.height; ++y )
        for ( int x = 0; x < image.width; ++x )
        {
            const bool isCard =
                float( x ) >= low.x && float( x ) < high.x && float( y ) >= low.y && float( y ) < high.y;
            const auto* pixel = &image.pixels[3 * ( size_t( y ) * size_t( image.width ) + size_t( x ) )];
            seen += !isCard && pixel[0] + pixel[1] + pixel[2] > 0;
        }
    EXPECT_EQ( seen, 0u );
    pressTool( "Privacy" );
}

TEST_F( SignInCard, IsTwiceAsLargeAtTwiceTheScaleAndShrinksIntoASmallWindow )
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

TEST_F( SignInCard, SpinnerTurnsWhileTheAnswerIsAwaited )
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

TEST_F( SignInCard, RulesTurnGreenAsTheyAreMet )
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

TEST_F( SignInCard, AnErrorStatusIsNoSuccessWhateverItsBody )
{
    fill( Access::email( auth() ), "ann@example.org" );
    const std::pair<int, const char*> answers[] = { { 500, "{}" }, { 500, R"({"error":{"message":"x"}})" },
        { 413, R"({"error":{"message":"Payload Too Large"}})" }, { 404, "{}" }, { 502, "<html>" }, { 400, "[]" } };
    for ( const auto& [code, text] : answers )
        for ( const auto form :
            { AuthState::SignUp, AuthState::Forgot, AuthState::ConfirmSignUp, AuthState::ConfirmForgot } )
        {
            show( form );
            fill( Access::password( auth() ), "long-enough-1" );
            fill( Access::newPassword( auth() ), "long-enough-2" );
            fill( Access::code( auth() ), "123456" );
            enter();
            answer( code, text );
            EXPECT_EQ( state(), form ) << code << " " << text;
            EXPECT_EQ( message(), code >= 500 ? "Bad internet connection."
                                              : "The server answered with status " + std::to_string( code ) );
            EXPECT_EQ( Access::status( auth() ), "" );
        }
}

TEST_F( SignInCard, AnErrorStatusIsNoSuccessOfASignInOrOfACodeSentAgainEither )
{
    fill( Access::email( auth() ), "ann@example.org" );
    const std::pair<int, const char*> answers[] = { { 404, "{}" }, { 400, "" }, { 400, "<html>" }, { 413, "[]" } };
    for ( const auto& [code, text] : answers )
    {
        show( AuthState::ConfirmSignUp );
        clickAt( 286, 261 );
        answer( code, text );
        EXPECT_EQ( state(), AuthState::ConfirmSignUp );
        EXPECT_NE( message(), "" ) << code << " " << text;
        EXPECT_EQ( Access::status( auth() ), "" );
        show( AuthState::SignIn );
        signInByForm();
        answer( code, text );
        EXPECT_EQ( state(), AuthState::SignIn );
        EXPECT_NE( message(), "" ) << code << " " << text;
        EXPECT_FALSE( auth().isAuthed() );
    }
}

TEST_F( SignInCard, TabReachesEverythingInItsOrder )
{
    settle();
    const auto tab = [this] { press( GLFW_KEY_TAB ); };
    type( "ann@example.org" );
    tab();
    type( "p" );
    tab();
    press( GLFW_KEY_SPACE );
    EXPECT_FALSE( Access::rememberMe( auth() ) );
    press( GLFW_KEY_SPACE );
    EXPECT_TRUE( Access::rememberMe( auth() ) );
    tab();
    tab();
    fill( Access::email( auth() ), "nobody" );
    press( GLFW_KEY_SPACE );
    EXPECT_EQ( message(), "Please enter valid email" ) << "the main button";
    EXPECT_EQ( state(), AuthState::SignIn );
    for ( int i = 0; i < 5; ++i )
        tab();
    press( GLFW_KEY_SPACE );
    EXPECT_EQ( state(), AuthState::SignUp ) << "the last link, from the address on";
    for ( int i = 0; i < 3; ++i )
        tab();
    press( GLFW_KEY_SPACE );
    EXPECT_EQ( state(), AuthState::SignIn );
}

TEST_F( SignInCard, TabGoesRoundAndBack )
{
    settle();
    for ( int i = 0; i < 6; ++i )
        press( GLFW_KEY_TAB );
    type( "ann" );
    EXPECT_EQ( Access::email( auth() ), "ann" ) << "six of them, then the first again";
    press( GLFW_KEY_TAB, GLFW_MOD_SHIFT );
    press( GLFW_KEY_SPACE );
    EXPECT_EQ( state(), AuthState::SignUp ) << "the last one stands before the first";
}

TEST_F( SignInCard, EnterIsForTheMainButtonWhateverHasTheKeyboard )
{
    settle();
    for ( int i = 0; i < 3; ++i )
        press( GLFW_KEY_TAB );
    enter();
    EXPECT_EQ( state(), AuthState::SignIn ) << "the link has the keyboard";
    EXPECT_EQ( message(), "Please enter valid email" );
}

TEST_F( SignInCard, NothingJumpsWhenAMessageAppears )
{
    for ( const auto form : { AuthState::SignIn, AuthState::SignUp, AuthState::Forgot, AuthState::ConfirmSignUp,
              AuthState::ConfirmForgot } )
    {
        show( form );
        // The cursor blinks.
        press( GLFW_KEY_ESCAPE );
        const auto before = frame();
        Access::message( auth() ) = "Something is wrong";
        Access::reason( auth() ) = "And this is why";
        const auto after = frame();
        int first = before.height, last = 0;
        for ( int y = 0; y < before.height; ++y )
            for ( int x = 0; x < before.width; ++x )
                for ( size_t c = 0; c < 3; ++c )
                    if ( const size_t i = 3 * ( size_t( y ) * size_t( before.width ) + size_t( x ) ) + c;
                        before.pixels[i] != after.pixels[i] )
                    {
                        first = std::min( first, y );
                        last = std::max( last, y );
                    }
        EXPECT_GT( last - first, 20 ) << "two lines, form " << int( form );
        EXPECT_LT( last - first, 45 ) << "and nothing else, form " << int( form );
    }
}

TEST_F( SignInCard, ALongMessageScrollsInItsPlace )
{
    show( AuthState::SignIn );
    Access::message( auth() ) = std::string( 1 << 20, 'w' ) + " " + std::string( 5000, 'v' );
    (void)frame();
    const ImGuiWindow* card = ImGui::FindWindowByName( "Auth window" );
    EXPECT_LE( card->ContentSize.y, 332 );
    clickAt( 273, 292 );
    EXPECT_EQ( state(), AuthState::SignUp ) << "the link below it is in reach";
}

TEST_F( SignInCard, AnAddressOfAnyLengthLeavesTheButtonInReach )
{
    fill( Access::email( auth() ), "ann@example.org" );
    for ( const auto& text : { std::string( 1 << 20, 'w' ), std::string( 5000, '\n' ) } )
    {
        Access::codeDestination( auth() ) = text;
        show( AuthState::ConfirmForgot );
        const ImGuiWindow* card = ImGui::FindWindowByName( "Auth window" );
        EXPECT_LE( card->ContentSize.y, 332 - 40 );
    }
}

TEST_F( SignInCard, WhatHasGoneWellIsTold )
{
    fill( Access::email( auth() ), "ann@example.org" );
    show( AuthState::ConfirmSignUp );
    const auto before = frame();
    clickAt( 286, 261 );
    answer( 200, "{}" );
    EXPECT_EQ( Access::status( auth() ), "A new code is on its way" );
    EXPECT_EQ( message(), "" );
    EXPECT_GT( difference( before, frame() ), 100u ) << "it is shown";
    fill( Access::code( auth() ), "123456" );
    enter();
    EXPECT_EQ( Access::status( auth() ), "" ) << "until the next request";
    answer( 200, "{}" );
    EXPECT_EQ( Access::status( auth() ), "Your account is confirmed" );
    show( AuthState::ConfirmForgot );
    fill( Access::code( auth() ), "123456" );
    fill( Access::newPassword( auth() ), "long-enough-2" );
    enter();
    answer( 200, "{}" );
    EXPECT_EQ( state(), AuthState::SignIn );
    EXPECT_EQ( Access::status( auth() ), "Your password is changed" );
    enter();
    EXPECT_EQ( message(), "Please enter your password" );
    EXPECT_EQ( Access::status( auth() ), "" );
}

TEST_F( SignInCard, ALineTellsWhichAddressHasNotAnsweredAndWhy )
{
    const std::string why = "localhost:8443 did not answer: the connection was refused";
    signInByForm();
    answer( 0, "", why );
    EXPECT_EQ( state(), AuthState::Retry );
    EXPECT_EQ( message(), "Bad internet connection." );
    EXPECT_EQ( Access::reason( auth() ), why );
    EXPECT_TRUE( log_.contains( "warning: Sign in error: \"Bad internet connection.\"" ) );
    const auto with = frame();
    Access::reason( auth() ).clear();
    EXPECT_GT( difference( with, frame() ), 300u ) << "it is shown";
    show( AuthState::Forgot );
    enter();
    answer( 503, "", "The server answered with status 503" );
    EXPECT_EQ( message(), "Bad internet connection." );
    EXPECT_EQ( Access::reason( auth() ), "The server answered with status 503" );
    enter();
    refuse( "User does not exist." );
    EXPECT_EQ( Access::reason( auth() ), "" );
}

TEST_F( SignInCard, RulesCanBeReadInBothThemesAndToldApartWithoutColour )
{
    const auto luminance = []( const unsigned char* pixel )
    {
        const auto linear = []( unsigned char c )
        {
            const double v = c / 255.0;
            return v <= 0.04045 ? v / 12.92 : std::pow( ( v + 0.055 ) / 1.055, 2.4 );
        };
        return 0.2126 * linear( pixel[0] ) + 0.7152 * linear( pixel[1] ) + 0.0722 * linear( pixel[2] );
    };
    for ( const auto theme : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( theme );
        show( AuthState::SignUp );
        const auto marked = [&]( const std::string& password )
        {
            fill( Access::password( auth() ), password );
            press( GLFW_KEY_ESCAPE );
            return frame();
        };
        const auto failing = marked( "" ), met = marked( "abcdef-1" );
        // The ground between the words, found as the row of pixels in which pure red is met.
        size_t at = 0;
        while ( at + 2 < failing.pixels.size() &&
                !( failing.pixels[at] == 255 && failing.pixels[at + 1] < 2 && failing.pixels[at + 2] < 2 ) )
            at += 3;
        ASSERT_LT( at + 2, failing.pixels.size() );
        const size_t row = at / 3 / size_t( failing.width );
        const auto* ground = &failing.pixels[3 * ( row * size_t( failing.width ) + 420 + 30 )];
        const unsigned char red[] = { 255, 0, 0 }, green[] = { 0, 255, 0 };
        EXPECT_GE( ( luminance( red ) + 0.05 ) / ( luminance( ground ) + 0.05 ), 4.5 );
        EXPECT_GE( ( luminance( green ) + 0.05 ) / ( luminance( ground ) + 0.05 ), 4.5 );
        size_t told = 0;
        for ( size_t i = 0; i + 2 < failing.pixels.size(); i += 3 )
        {
            const bool a = failing.pixels[i] > 150 && failing.pixels[i + 1] < 60;
            const bool b = met.pixels[i + 1] > 150 && met.pixels[i] < 60;
            told += a != b && ( failing.pixels[i + 2] < 20 && met.pixels[i + 2] < 20 );
        }
        EXPECT_GT( told, 40u ) << "other marks, not only other colours";
        for ( const size_t pixel : { size_t( 5 ), size_t( 1280 * 400 + 60 ) } )
            for ( size_t channel = 0; channel < 3; ++channel )
                EXPECT_EQ( met.pixels[3 * pixel + channel], 0 ) << "the screen is black in every theme";
    }
}

TEST_F( SignInCard, FieldsHaveAMenu )
{
    settle();
    ImGui::SetClipboardText( "ann@example.org" );
    window().moveMouse( windowPointFromTop( "Auth window", 250, 80 ) );
    settle();
    window().pressMouse( MouseButton::Right, true );
    settle();
    window().pressMouse( MouseButton::Right, false );
    settle();
    EXPECT_TRUE( isWindowShown( "##Popup" ) );
    for ( int i = 0; i < 3; ++i )
        (void)frame();
    EXPECT_TRUE( isWindowShown( "##Popup" ) ) << "the form does not take the keyboard from it";
    const auto at = windowPointFromTop( "##Popup", 30, 0 );
    const float height = windowPoint( "##Popup", 0, 0 ).y - at.y;
    click( { at.x, at.y + height * 0.62f } );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org" );
    type( "!" );
    EXPECT_EQ( Access::email( auth() ), "ann@example.org!" ) << "and the field has it again";
}
