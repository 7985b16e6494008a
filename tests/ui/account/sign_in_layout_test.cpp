#include "support/ui/DrawnWindow.h"
#include "support/ui/ShownText.h"
#include "ui/account/SignInFixture.h"

#include <VXOrvanta/account/AuthWindow.h>
#include <VXViewer/ui/ImGuiColor.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace VX;
using Access = AuthWindowTestAccess;
using Testing::DrawnWindow;

namespace
{

using Face = RibbonFontManager::FontType;

constexpr const char* cCard = "Auth window";
constexpr float cPadding = 28, cInnerWidth = 440 - 2 * cPadding;
constexpr uint32_t cRed = IM_COL32( 255, 0, 0, 255 ), cGreen = IM_COL32( 0, 255, 0, 255 );

/// What stands where in the forms of the sign-in; places count from the card's corner.
class SignInLayout : public Testing::SignInFixture
{
protected:
    void showAt( float scale, AuthState form )
    {
        window().resize( int( 1280 * scale ), int( 800 * scale ), scale );
        show( form );
    }
    static DrawnWindow::Part part( const std::string& line, Face face = Face::Default )
    {
        const auto found = DrawnWindow( cCard ).text( line, face );
        EXPECT_TRUE( found ) << line;
        return found.value_or( DrawnWindow::Part() );
    }
    static void expectCentered( const DrawnWindow::Part& line, float s )
    {
        EXPECT_NEAR( line.place.x, ( 440 * s - line.size.x ) / 2, 1 );
    }
    static Testing::DrawnBox fromCorner( Testing::DrawnBox box )
    {
        const Vector2f corner = DrawnWindow( cCard ).corner();
        return { box.low - corner, box.high - corner };
    }
    static void expectSize( const Testing::DrawnBox& box, Vector2f size, float tolerance )
    {
        EXPECT_NEAR( box.high.x - box.low.x, size.x, tolerance );
        EXPECT_NEAR( box.high.y - box.low.y, size.y, tolerance );
    }
    /// The card with a message of so many lines of one letter and one line's end, in bytes two a line.
    float heightOfMessage( int lines )
    {
        Access::message( auth() ) = repeated( lines );
        drawFrames( 3 );
        return DrawnWindow( "##message" ).window().ContentSize.y;
    }
    static float lineHeight() { return RibbonFontManager::getFontByTypeStatic( Face::Default )->FontSize; }
    static std::string repeated( int lines )
    {
        std::string out;
        for ( int i = 0; i < lines; ++i )
            out += "x\n";
        return out;
    }
};

} // namespace

TEST_F( SignInLayout, TitlesAreLargeAndInTheMiddle )
{
    const std::pair<AuthState, const char*> forms[] = { { AuthState::SignIn, "Sign in" },
        { AuthState::SignUp, "Sign Up" }, { AuthState::Forgot, "Reset Password" },
        { AuthState::ConfirmSignUp, "Confirm Sign Up" }, { AuthState::ConfirmForgot, "Confirm Reset Password" } };
    for ( const float s : { 1.f, 2.f } )
        for ( const auto& [form, title] : forms )
        {
            showAt( s, form );
            expectCentered( part( title, Face::Headline ), s );
        }
}

TEST_F( SignInLayout, ATitleThatIsTooWideIsSmallerAndGoesOnBelow )
{
    show( AuthState::Retry );
    Access::message( auth() ) = "Bad internet connection.";
    drawFrames( 3 );
    expectCentered( part( "Bad internet connection.", Face::Headline ), 1 );
    Access::message( auth() ) = "The service of the sign-in cannot be reached from here, whatever is tried";
    drawFrames( 3 );
    const auto lines = Testing::shownTexts( cCard );
    ASSERT_GE( lines.size(), 2u );
    for ( size_t i = 0; i < 2; ++i )
    {
        EXPECT_NEAR( lines[i].low.x - DrawnWindow( cCard ).corner().x, cPadding, 1 ) << lines[i].text;
        EXPECT_EQ( lines[i].height, RibbonFontManager::getFontByTypeStatic( Face::Big )->FontSize );
    }
    EXPECT_NEAR( lines[1].low.y - lines[0].low.y, lines[0].height, 1 );
}

TEST_F( SignInLayout, FieldsStandBesideTheirCaptionsUpToTheEdge )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::Forgot );
        const auto field = fromCorner( Testing::filledBox( cCard, themeU32( ColorTheme::FrameBackground ) ) );
        EXPECT_NEAR( part( "Email" ).place.x, cPadding * s, 1 );
        EXPECT_NEAR( field.low.x, ( cPadding + 104 ) * s, 1.1f );
        expectSize( field, { ( cInnerWidth - 104 ) * s, part( "Email" ).size.y + 10 * s }, 1.1f );
        EXPECT_NEAR( part( "Email" ).place.y - field.low.y, 5 * s, 1 ) << "on the line of what is typed";
    }
}

TEST_F( SignInLayout, MainButtonStandsInTheMiddle )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::Forgot );
        const auto button = fromCorner( Testing::filledBox( cCard, themeU32( ColorTheme::Accent ) ) );
        expectSize( button, { 220 * s, 34 * s }, 1.1f );
        EXPECT_NEAR( ( button.low.x + button.high.x ) / 2, 220 * s, 1 );
        expectCentered( part( "Reset My Password" ), s );
    }
}

TEST_F( SignInLayout, RulesStandOnAnOpaqueDarkGroundFromEdgeToEdge )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::SignUp );
        const auto ground = fromCorner( Testing::filledBox( cCard, IM_COL32( 12, 12, 12, 255 ) ) );
        EXPECT_NEAR( ground.low.x, cPadding * s, 1 );
        const auto last = part( "At least 8 chars", Face::Small );
        expectSize( ground, { cInnerWidth * s, last.size.y + 8 * s }, 1.1f );
        EXPECT_NEAR( last.place.y - ground.low.y, 4 * s, 1 );
        EXPECT_NEAR( part( "Lowercase letter", Face::Small ).place.x, ground.low.x + ( 6 + 8 + 4 ) * s, 1.5f );
        EXPECT_NEAR( last.place.x + last.size.x, ground.high.x - 6 * s, 3 );
        std::vector<float> spaces;
        const char* rules[] = { "Lowercase letter", "Special character", "Number", "At least 8 chars" };
        for ( int i = 1; i < 4; ++i )
        {
            const auto before = part( rules[i - 1], Face::Small );
            spaces.push_back( part( rules[i], Face::Small ).place.x - before.place.x - before.size.x );
        }
        EXPECT_NEAR( spaces[0], spaces[1], 2 );
        EXPECT_NEAR( spaces[1], spaces[2], 2 );
    }
}

TEST_F( SignInLayout, RulesHaveACheckMarkOrACross )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::SignUp );
        const auto ground = Testing::filledBox( cCard, IM_COL32( 12, 12, 12, 255 ) );
        const auto expectMark = [&]( const Testing::DrawnBox& mark, Vector2f size )
        {
            expectSize( mark, size, 1.5f * s );
            EXPECT_NEAR( ( mark.low.y + mark.high.y ) / 2, ( ground.low.y + ground.high.y ) / 2, s );
            const float word = part( "Number", Face::Small ).place.x;
            EXPECT_NEAR( word - fromCorner( mark ).low.x, ( 8 + 4 ) * s, 1.3f * s );
        };
        fill( Access::password( auth() ), "1" );
        expectMark( Testing::filledBox( cCard, cGreen ), { 8 * s, 6.4f * s } );
        fill( Access::password( auth() ), "aaaaaaa-" );
        expectMark( Testing::filledBox( cCard, cRed ), { 8 * s, 8 * s } );
    }
}

TEST_F( SignInLayout, AParagraphOfMoreThanFourLinesScrolls )
{
    show( AuthState::ConfirmSignUp );
    int shown = 0;
    for ( int words = 1; words <= 20; ++words )
    {
        auto& address = Access::codeDestination( auth() );
        address += " somewhere";
        drawFrames( 2 );
        const auto whole = "We have sent a code by email to " + address + ".\nEnter it below to confirm your account.";
        const ImFont* font = RibbonFontManager::getFontByTypeStatic( Face::Default );
        const float lines = font->CalcTextSizeA( font->FontSize, FLT_MAX, cInnerWidth, whole.c_str() ).y / lineHeight();
        const bool fits = lines < 4.5f;
        EXPECT_EQ( isWindowShown( "##paragraph" ), !fits ) << lines << " lines";
        shown += fits;
        if ( !fits )
        {
            const DrawnWindow paragraph( "##paragraph" );
            EXPECT_EQ( paragraph.window().Size.y, 4 * lineHeight() );
            EXPECT_GT( paragraph.window().ScrollMax.y, 0 );
            const auto text = paragraph.text( "We have sent a code by email to" );
            ASSERT_TRUE( text );
            EXPECT_EQ( text->color, themeU32( ColorTheme::Text ) );
        }
        else
            EXPECT_EQ( part( "Enter it below to confirm your account." ).color, themeU32( ColorTheme::Text ) );
    }
    EXPECT_GT( shown, 3 );
    EXPECT_LT( shown, 20 );
}

TEST_F( SignInLayout, AMessageHasTwoLinesInTheMiddleAndScrollsBeyondThem )
{
    show( AuthState::Forgot );
    const auto child = [this]( const std::string& text, const std::string& reason )
    {
        Access::message( auth() ) = text;
        Access::reason( auth() ) = reason;
        drawFrames( 3 );
        const DrawnWindow message( "##message" );
        EXPECT_EQ( message.window().Size.x, cInnerWidth );
        EXPECT_EQ( message.window().Size.y, 2 * lineHeight() );
        return message;
    };
    const auto two = child( "No such user", "of this service" );
    for ( const char* line : { "No such user", "of this service" } )
    {
        const auto text = two.text( line );
        ASSERT_TRUE( text ) << line;
        EXPECT_NEAR( text->place.x, ( cInnerWidth - text->size.x ) / 2, 1 );
    }
    EXPECT_NEAR( two.text( "of this service" )->place.y, lineHeight(), 0.5f ) << "without a gap";
    EXPECT_EQ( two.window().ScrollMax.y, 0 );
    EXPECT_TRUE( two.window().Flags & ImGuiWindowFlags_NoScrollbar );
    const auto three = child( "One\nand another", "and why" );
    EXPECT_GT( three.window().ScrollMax.y, 0 );
    EXPECT_FALSE( three.window().Flags & ImGuiWindowFlags_NoScrollbar );
}

TEST_F( SignInLayout, WhatTheServiceSaysIsCutBehindTwoThousandBytes )
{
    show( AuthState::Forgot );
    const float line = lineHeight(), whole = heightOfMessage( 1000 );
    EXPECT_NEAR( whole, 1000 * line, line );
    for ( const int lines : { 1001, 1 << 19 } )
        EXPECT_EQ( heightOfMessage( lines ), whole + line ) << "and three dots";
    Access::message( auth() ).clear();
    Access::codeDestination( auth() ) = repeated( 1 << 19 );
    show( AuthState::ConfirmSignUp );
    EXPECT_LT( DrawnWindow( "##paragraph" ).window().ContentSize.y, 1000 * line );
}

TEST_F( SignInLayout, RetryTellsTheReasonUnderItsTitle )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::Retry );
        Access::message( auth() ) = "Bad internet connection.";
        Access::reason( auth() ) = "localhost did not answer";
        drawFrames( 3 );
        const auto reason = part( "localhost did not answer" );
        expectCentered( reason, s );
        EXPECT_EQ( reason.color, themeU32( ColorTheme::DimText ) );
        EXPECT_GT( reason.place.y, part( "Bad internet connection.", Face::Headline ).place.y );
        EXPECT_LT( reason.place.y, part( "Retry" ).place.y );
        Access::reason( auth() ).clear();
        drawFrames( 3 );
        EXPECT_FALSE( DrawnWindow( cCard ).text( "localhost did not answer" ) );
    }
}

TEST_F( SignInLayout, WordsAndTheirLinkStandInTheMiddleOneSpaceApart )
{
    const auto expectRow = [this]( AuthState form, const std::vector<std::string>& words )
    {
        for ( const float s : { 1.f, 2.f } )
        {
            showAt( s, form );
            const float space = RibbonFontManager::getFontByTypeStatic( Face::Default )->FindGlyph( ' ' )->AdvanceX;
            const auto first = part( words.front() ), last = part( words.back() );
            EXPECT_NEAR( last.place.x - first.place.x - first.size.x, space, 1.1f ) << words.front();
            EXPECT_NEAR( first.place.y, last.place.y, 1 ) << words.front();
            EXPECT_NEAR( first.place.x + last.place.x + last.size.x, 440 * s, 2.1f ) << words.front();
        }
    };
    Access::message( auth() ) = "x";
    expectRow( AuthState::Forgot, { "Back to", "Sign In" } );
    expectRow( AuthState::SignIn, { "Need an account?", "Sign Up" } );
    expectRow( AuthState::ConfirmSignUp, { "Didn't receive a code?", "Resend it" } );
    expectRow( AuthState::Retry, { "Sign Out", "and try with another account." } );
    EXPECT_EQ( part( "and try with another account." ).color, themeU32( ColorTheme::Text ) );
}

TEST_F( SignInLayout, ForgottenPasswordStandsAtTheRightOfTheCheckBox )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::SignIn );
        const auto link = part( "password?" ), box = part( "Remember me" );
        EXPECT_NEAR( link.place.x + link.size.x, ( cPadding + cInnerWidth ) * s, 1 );
        EXPECT_NEAR( link.place.y, box.place.y, 1 );
        EXPECT_EQ( part( "Forgot your" ).color, themeU32( ColorTheme::Text ) );
    }
}

TEST_F( SignInLayout, AShortFormStandsInTheMiddleOfItsCard )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s, AuthState::Forgot );
        const auto title = part( "Reset Password", Face::Headline ), link = part( "Sign In" );
        EXPECT_NEAR( title.place.y, 332 * s - link.place.y - link.size.y, 2 * s );
        const auto field = fromCorner( Testing::filledBox( cCard, themeU32( ColorTheme::FrameBackground ) ) ),
                   button = fromCorner( Testing::filledBox( cCard, themeU32( ColorTheme::Accent ) ) );
        EXPECT_NEAR( field.low.y - title.place.y - title.size.y, 16 * s, 1.1f );
        EXPECT_NEAR( button.low.y - field.high.y, 16 * s, 1.1f );
    }
}

TEST_F( SignInLayout, IsInPlaceWhenTheFramesOfAResizeHaveBeenDrawn )
{
    const std::tuple<int, int, float> sizes[] = { { 2560, 1600, 2.f }, { 1280, 800, 1.f }, { 220, 300, 1.f } };
    for ( const auto form : { AuthState::SignIn, AuthState::ConfirmForgot } )
    {
        show( form );
        press( GLFW_KEY_ESCAPE );
        for ( const auto& [width, height, scale] : sizes )
        {
            window().resize( width, height, scale );
            settle();
            const Image after = viewer().frameImage();
            drawFrames( 5 );
            EXPECT_EQ( difference( after, viewer().frameImage() ), 0u ) << width << ", form " << int( form );
        }
    }
}

TEST_F( SignInLayout, AFormOfAnotherHeightAsksForTheFramesThatPutItInPlace )
{
    const std::pair<AuthState, const char*> forms[] = {
        { AuthState::ConfirmForgot, "Confirm Reset Password" }, { AuthState::Forgot, "Reset Password" } };
    for ( const auto& [form, title] : forms )
    {
        Access::state( auth() ) = form;
        drawFrames( 1 );
        settle();
        const float after = part( title, Face::Headline ).place.y;
        drawFrames( 5 );
        EXPECT_EQ( part( title, Face::Headline ).place.y, after ) << title;
    }
}

TEST_F( SignInLayout, LettersShrinkWithTheCard )
{
    show( AuthState::Forgot );
    const auto heightOf = []( const std::string& line )
    {
        for ( const auto& shown : Testing::shownTexts( cCard ) )
            if ( shown.text == line )
                return shown.height;
        return 0.f;
    };
    const float title = heightOf( "Reset Password" ), caption = heightOf( "Email" );
    window().resize( 220, 300 );
    show( AuthState::Forgot );
    EXPECT_GT( caption, 10 );
    EXPECT_NEAR( heightOf( "Reset Password" ), title / 2, 0.1f );
    EXPECT_NEAR( heightOf( "Email" ), caption / 2, 0.1f );
}
