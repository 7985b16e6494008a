#include "support/ui/ShownText.h"
#include "ui/account/SignInFixture.h"

#include <VXOrvanta/account/AuthWindow.h>
#include <VXViewer/ui/ImGuiColor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>

using namespace VX;
using namespace std::chrono_literals;
using Access = AuthWindowTestAccess;
using Testing::shownTexts;

namespace
{

constexpr const char* cCard = "Auth window";
constexpr uint32_t cLink = IM_COL32( 60, 120, 255, 255 );
constexpr uint32_t cRed = IM_COL32( 255, 0, 0, 255 ), cGreen = IM_COL32( 0, 255, 0, 255 );

/// Two of the clocks of this thread, or what has passed on them.
struct FrameTime
{
    std::chrono::nanoseconds passed{}, idle{};

    static FrameTime now()
    {
        timespec busy{};
        ::clock_gettime( CLOCK_THREAD_CPUTIME_ID, &busy );
        const auto time = std::chrono::steady_clock::now().time_since_epoch();
        return { time, time - std::chrono::seconds( busy.tv_sec ) - std::chrono::nanoseconds( busy.tv_nsec ) };
    }
    FrameTime operator-( const FrameTime& before ) const { return { passed - before.passed, idle - before.idle }; }
};

/// What the forms of the sign-in say, to the letter, and their measures.
class SignInTexts : public Testing::SignInFixture
{
protected:
    void expectForm( AuthState state, const std::string& wanted, const std::vector<std::string>& links )
    {
        show( state );
        std::string all;
        std::vector<std::string> found;
        for ( const auto& piece : shownTexts( cCard ) )
        {
            all += ( all.empty() ? "" : " | " ) + piece.text;
            if ( piece.color == cLink )
                found.push_back( piece.text );
        }
        EXPECT_EQ( all, wanted );
        EXPECT_EQ( found, links ) << "in the colour of links";
    }
    static Testing::ShownText piece( const std::string& text )
    {
        for ( const auto& shown : shownTexts( cCard ) )
            if ( shown.text == text )
                return shown;
        ADD_FAILURE() << "\"" << text << "\" is not shown";
        return {};
    }
    static std::vector<uint32_t> colorsOfRules()
    {
        std::vector<uint32_t> out;
        for ( const char* rule : { "Lowercase letter", "Special character", "Number", "At least 8 chars" } )
            out.push_back( piece( rule ).color );
        return out;
    }
};

} // namespace

TEST_F( SignInTexts, OfTheSignIn )
{
    expectForm( AuthState::SignIn,
        "Sign in | Email | Password | Remember me | Forgot your | password? | Sign In | Need an account? | Sign Up",
        { "password?", "Sign Up" } );
}

TEST_F( SignInTexts, OfTheSignUp )
{
    expectForm( AuthState::SignUp,
        "Sign Up | Email | Password | Lowercase letter | Special character | Number | At least 8 chars | Sign Up | "
        "Already have an account? | Sign In",
        { "Sign In" } );
}

TEST_F( SignInTexts, OfAForgottenPassword )
{
    expectForm( AuthState::Forgot, "Reset Password | Email | Reset My Password | Back to | Sign In", { "Sign In" } );
}

TEST_F( SignInTexts, OfTheCodeOfASignUp )
{
    Access::codeDestination( auth() ) = "a***@e***";
    expectForm( AuthState::ConfirmSignUp,
        "Confirm Sign Up | We have sent a code by email to a***@e***. | Enter it below to confirm your account. | "
        "Code | Confirm Account | Didn't receive a code? | Resend it | Back to | Sign Up",
        { "Resend it", "Sign Up" } );
}

TEST_F( SignInTexts, OfTheCodeOfANewPassword )
{
    Access::codeDestination( auth() ) = "a***@e***";
    expectForm( AuthState::ConfirmForgot,
        "Confirm Reset Password | We have sent a password reset code by email to a***@e***. | Enter it below to reset "
        "your password. | Code | New Password | Lowercase letter | Special character | Number | At least 8 chars | "
        "Change Password | Back to | Sign In",
        { "Sign In" } );
}

TEST_F( SignInTexts, OfANetworkThatFails )
{
    signInByForm();
    answer( 0, "" );
    std::string all;
    for ( const auto& shown : shownTexts( cCard ) )
        all += shown.text + "\n";
    EXPECT_EQ( all, "Bad internet connection.\nRetry\nSign Out\nand try with another account.\n" );
    EXPECT_EQ( piece( "Sign Out" ).color, cLink );
}

TEST_F( SignInTexts, MessageStandsUnderTheMainButtonInItsColour )
{
    show( AuthState::SignIn );
    enter();
    const auto message = piece( "Please enter valid email" );
    EXPECT_EQ( message.color, themeU32( ColorTheme::Error ) );
    EXPECT_GT( message.low.y, piece( "Sign In" ).low.y + 20 );
    EXPECT_LT( message.low.y, piece( "Need an account?" ).low.y );
}

TEST_F( SignInTexts, PasswordsAndCodesAreMasked )
{
    Access::password( auth() ) = Access::code( auth() ) = Access::newPassword( auth() ) = "qqq";
    for ( const auto state : { AuthState::SignIn, AuthState::SignUp, AuthState::ConfirmForgot } )
    {
        show( state );
        EXPECT_EQ( Testing::shownText( cCard ).find( "qqq" ), std::string::npos ) << int( state );
    }
    Access::code( auth() ) = "qqq";
    AuthWindowTestAccess::state( auth() ) = AuthState::ConfirmSignUp;
    (void)frame();
    EXPECT_EQ( Testing::shownText( cCard ).find( "qqq" ), std::string::npos );
    Access::email( auth() ) = "qqq";
    show( AuthState::Forgot );
    EXPECT_NE( Testing::shownText( cCard ).find( "qqq" ), std::string::npos ) << "an address is not";
}

TEST_F( SignInTexts, EachRuleHasItsColour )
{
    show( AuthState::SignUp );
    const auto with = [this]( const std::string& password )
    {
        fill( Access::password( auth() ), password );
        return colorsOfRules();
    };
    EXPECT_EQ( with( "" ), ( std::vector{ cRed, cRed, cRed, cRed } ) );
    EXPECT_EQ( with( "a" ), ( std::vector{ cGreen, cRed, cRed, cRed } ) );
    EXPECT_EQ( with( "-" ), ( std::vector{ cRed, cGreen, cRed, cRed } ) );
    EXPECT_EQ( with( "1" ), ( std::vector{ cRed, cRed, cGreen, cRed } ) );
    EXPECT_EQ( with( "AAAAAAAA" ), ( std::vector{ cRed, cRed, cRed, cGreen } ) );
    const auto height = [this]( const char* rule ) { return piece( rule ).low.y; };
    EXPECT_EQ( height( "Lowercase letter" ), height( "At least 8 chars" ) ) << "on one line";
}

TEST_F( SignInTexts, MeasuresGrowWithTheScale )
{
    for ( const float s : { 1.f, 2.f } )
    {
        window().resize( int( 1280 * s ), int( 800 * s ), s );
        show( AuthState::Forgot );
        const auto* card = ImGui::FindWindowByName( cCard );
        EXPECT_EQ( card->WindowPadding.x, 28 * s );
        EXPECT_EQ( card->WindowPadding.y, 20 * s );
        const auto title = piece( "Reset Password" ), caption = piece( "Email" );
        EXPECT_NEAR( caption.low.x, card->Pos.x + 28 * s, 1 );
        // The caption stands 5 below the upper edge of its field.
        EXPECT_NEAR( caption.low.y - title.low.y - title.height, ( 16 + 5 ) * s, 1.5f );
    }
}

TEST_F( SignInTexts, SpinnerSleepsAFortiethOfASecondAFrame )
{
    signInByForm();
    std::vector<FrameTime> frames;
    const boost::signals2::scoped_connection first =
        viewer().perFrameSignal.connect( [&] { frames.push_back( FrameTime::now() ); }, boost::signals2::at_front );
    const boost::signals2::scoped_connection last =
        viewer().perFrameSignal.connect( [&] { frames.back() = FrameTime::now() - frames.back(); } );
    drawFrames( 5 );
    ASSERT_EQ( frames.size(), 5u );
    for ( const auto& frame : frames )
        EXPECT_GE( frame.passed, 25ms );
    // Beside busy neighbours it may sleep longer, but not always.
    const auto isShort = []( const FrameTime& frame ) { return frame.idle < 30ms; };
    while ( std::none_of( frames.begin(), frames.end(), isShort ) && frames.size() < 400 )
        drawFrames( 1 );
    EXPECT_TRUE( std::any_of( frames.begin(), frames.end(), isShort ) );
}

TEST_F( SignInTexts, SpinnerTurnsInTheMiddleAtEveryScale )
{
    signInByForm();
    for ( const float s : { 1.f, 2.f } )
    {
        window().resize( int( 1280 * s ), int( 800 * s ), s );
        drawFrames( 2 );
        const auto* card = ImGui::FindWindowByName( cCard );
        const auto ring = Testing::drawnBox( cCard, themeU32( ColorTheme::Separator ) );
        EXPECT_NEAR( ( ring.low.x + ring.high.x ) / 2, card->Pos.x + card->Size.x / 2, 1 );
        EXPECT_NEAR( ( ring.low.y + ring.high.y ) / 2, card->Pos.y + card->Size.y / 2, 1 );
        // The radius and the stroke about it, but for its soft edges and what Dear ImGui takes off a circle, half a
        // pixel each on either side.
        EXPECT_NEAR( ring.high.x - ring.low.x, ( 2 * 20 + 20 * 0.18f ) * s - 2, 0.5f ) << s;
        EXPECT_EQ( Testing::shownText( cCard ), "" ) << "in place of the form";
    }
}

TEST_F( SignInTexts, AnAnswerDrawsFourFramesAndShowsTheLast )
{
    signInByForm();
    ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( 400, R"({"message":"No."})" ) ) );
    const auto spinner = viewer().frameImage();
    const auto before = viewer().framesDrawn();
    for ( int i = 1; i <= 3; ++i )
    {
        viewer().step( 0 );
        EXPECT_EQ( viewer().framesDrawn(), before + uint64_t( i ) );
        EXPECT_EQ( difference( spinner, viewer().frameImage() ), 0u ) << i;
    }
    settle();
    EXPECT_EQ( viewer().framesDrawn(), before + 4 );
    EXPECT_GT( difference( spinner, viewer().frameImage() ), 300u );
}
