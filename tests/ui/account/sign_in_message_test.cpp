#include "ui/account/SignInFixture.h"

#include <VXOrvanta/account/AuthWindow.h>
#include <VXViewer/ui/ColorTheme.h>

#include <gtest/gtest.h>

#include <cstdlib>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

class SignInMessage : public Testing::SignInFixture
{
protected:
    /// Pixels of nearly this colour, as the inside of letters has it.
    [[nodiscard]] size_t count( ColorTheme::RibbonColorsType type )
    {
        const auto color = ColorTheme::getRibbonColor( type );
        const auto isNear = []( int a, int b ) { return std::abs( a - b ) < 30; };
        const auto image = frame();
        size_t out = 0;
        for ( size_t i = 0; i + 2 < image.pixels.size(); i += 3 )
            out += isNear( image.pixels[i], color.r ) && isNear( image.pixels[i + 1], color.g ) &&
                   isNear( image.pixels[i + 2], color.b );
        return out;
    }

    /// The form without the cursor, which blinks.
    [[nodiscard]] Image stillFrame()
    {
        press( GLFW_KEY_ESCAPE );
        return frame();
    }
};

} // namespace

TEST_F( SignInMessage, HasTheColourOfItsKind )
{
    for ( const auto theme : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( theme );
        show( AuthState::SignIn );
        const auto error = count( ColorTheme::Error ), good = count( ColorTheme::Good ),
                   dim = count( ColorTheme::DimText );
        Access::message( auth() ) = "Wrong wrong wrong";
        EXPECT_GT( count( ColorTheme::Error ), error + 20 );
        EXPECT_EQ( count( ColorTheme::Good ), good );
        Access::reason( auth() ) = "The reason of it all";
        EXPECT_GT( count( ColorTheme::DimText ), dim + 20 ) << "a line about the reason";
        Access::message( auth() ).clear();
        Access::status( auth() ) = "Well well well";
        EXPECT_GT( count( ColorTheme::Good ), good + 20 );
        EXPECT_EQ( count( ColorTheme::Error ), error );
        EXPECT_EQ( count( ColorTheme::DimText ), dim ) << "there is no reason for what went well";
        Access::reason( auth() ).clear();
        Access::status( auth() ).clear();
    }
}

TEST_F( SignInMessage, GoesBeforeWhatWentWell )
{
    show( AuthState::SignIn );
    const auto good = count( ColorTheme::Good );
    Access::message( auth() ) = "Wrong wrong wrong";
    Access::status( auth() ) = "Well well well";
    EXPECT_EQ( count( ColorTheme::Good ), good );
}

TEST_F( SignInMessage, SecretsShowTheirLengthAlone )
{
    const std::pair<AuthState, std::string& (*)( AuthWindow& )> secrets[] = { { AuthState::SignIn, &Access::password },
        { AuthState::SignUp, &Access::password }, { AuthState::ConfirmSignUp, &Access::code },
        { AuthState::ConfirmForgot, &Access::code }, { AuthState::ConfirmForgot, &Access::newPassword } };
    for ( const auto& [form, field] : secrets )
    {
        show( form );
        field( auth() ) = "1111";
        const auto ones = stillFrame();
        field( auth() ) = "8888";
        EXPECT_EQ( difference( ones, stillFrame() ), 0u ) << "form " << int( form );
        field( auth() ) = "88888";
        EXPECT_GT( difference( ones, stillFrame() ), 0u ) << "form " << int( form );
        field( auth() ).clear();
    }
    for ( const auto form : { AuthState::SignIn, AuthState::SignUp, AuthState::Forgot } )
    {
        show( form );
        Access::email( auth() ) = "1111";
        const auto ones = stillFrame();
        Access::email( auth() ) = "8888";
        EXPECT_GT( difference( ones, stillFrame() ), 0u ) << "form " << int( form );
        Access::email( auth() ).clear();
    }
}
