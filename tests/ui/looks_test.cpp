#include "support/TestAccess.h"
#include "support/UiFixture.h"

#include <VXMesh/io/Path.h>
#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/draw/Screenshot.h>
#include <VXViewer/menu/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

#include <GLFW/glfw3.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <stb/stb_image.h>

#include <cstdlib>
#include <set>

using namespace VX;

namespace
{

/// Draws every part of the interface in both themes and at several scales. With ORVANTA_LOOKS set to a folder the
/// pictures are kept there for people to look at.
class Looks : public Testing::UiFixture
{
protected:
    void keep( const std::string& name )
    {
        const auto image = frame();
        // A part that is drawn has more than one colour.
        EXPECT_GT( std::set<uint8_t>( image.pixels.begin(), image.pixels.end() ).size(), 20u ) << name;
        const char* folder = std::getenv( "ORVANTA_LOOKS" );
        const auto saved = folder ? savePng( std::filesystem::path( folder ) / ( name + ".png" ), image )
                                  : tl::expected<void, std::string>{};
        EXPECT_TRUE( saved ) << saved.error();
    }

    /// Compares the frame with an approved picture in blocks of eight by eight pixels, so that antialiasing does not
    /// count. With ORVANTA_APPROVE set the picture is approved as it is.
    void expectLike( const std::string& name )
    {
        const auto now = frame();
        const auto file = std::filesystem::path( ORVANTA_TEST_DATA ) / "ui" / "baselines" / ( name + ".png" );
        if ( std::getenv( "ORVANTA_APPROVE" ) )
        {
            ASSERT_TRUE( savePng( file, blocksOf( now ) ) );
        }
        const auto approved = loadPng( file );
        ASSERT_TRUE( approved ) << approved.error();
        const auto blocks = blocksOf( now );
        ASSERT_EQ( blocks.width, approved->width );
        ASSERT_EQ( blocks.height, approved->height );
        size_t different = 0;
        for ( size_t i = 0; i < blocks.pixels.size(); ++i )
            different += std::abs( int( blocks.pixels[i] ) - int( approved->pixels[i] ) ) > 24;
        EXPECT_LT( different, blocks.pixels.size() / 200 ) << name;
    }

    static tl::expected<Image, std::string> loadPng( const std::filesystem::path& file )
    {
        Image out;
        int channels = 0;
        stbi_uc* pixels = stbi_load( file.c_str(), &out.width, &out.height, &channels, 3 );
        if ( !pixels )
            return tl::unexpected( file.string() + " cannot be read" );
        out.pixels.assign( pixels, pixels + size_t( out.width ) * size_t( out.height ) * 3 );
        stbi_image_free( pixels );
        return out;
    }

    static Image blocksOf( const Image& image )
    {
        constexpr int cBlock = 8;
        Image out{ image.width / cBlock, image.height / cBlock, {} };
        for ( int y = 0; y < out.height; ++y )
            for ( int x = 0; x < out.width; ++x )
                for ( int channel = 0; channel < 3; ++channel )
                {
                    int sum = 0;
                    for ( int i = 0; i < cBlock * cBlock; ++i )
                    {
                        const int px = x * cBlock + i % cBlock, py = y * cBlock + i / cBlock;
                        sum += image.pixels[size_t( ( py * image.width + px ) * 3 + channel )];
                    }
                    out.pixels.push_back( uint8_t( sum / ( cBlock * cBlock ) ) );
                }
        return out;
    }

    void openParts()
    {
        openCube();
        pressTool( "Select all" );
        pressTool( "Clear Selections" );
    }
};

} // namespace

TEST_F( Looks, AreLikeThePicturesThatWereApproved )
{
    for ( const auto preset : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( preset );
        openCube();
        const std::string suffix = ColorTheme::getPresetName( preset );
        expectLike( "ribbon_" + suffix );
        pressTool( "Create Simple Objects" );
        expectLike( "create_" + suffix );
        restart();
    }
}

TEST_F( Looks, EveryPartInBothThemesAndAtTwoScales )
{
    for ( const auto& [preset, scale] : { std::pair( ColorTheme::Preset::Dark, 1.f ),
              std::pair( ColorTheme::Preset::Light, 1.f ), std::pair( ColorTheme::Preset::Dark, 2.f ) } )
    {
        ColorTheme::setupPreset( preset );
        window().resize( int( 1280 * scale ), int( 800 * scale ), scale );
        settle();
        const auto suffix = std::string( "_" ) + ColorTheme::getPresetName( preset ) + ( scale == 1 ? "_100" : "_200" );
        keep( "empty" + suffix );
        openParts();
        keep( "cube" + suffix );
        menu_->selectTab( "View" );
        keep( "view" + suffix );
        menu_->selectTab( "Program" );
        pressTool( "Viewer settings" );
        keep( "settings_quick" + suffix );
        ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Application );
        keep( "settings_application" + suffix );
        ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Viewport );
        keep( "settings_viewport" + suffix );
        pressTool( "Viewer settings" );
        menu_->selectTab( "Home" );
        pressTool( "Create Simple Objects" );
        keep( "create" + suffix );
        pressTool( "Measure distance" );
        keep( "measure" + suffix );
        pressTool( "Select Primitives" );
        click( { 760 * scale, 420 * scale } );
        keep( "primitives" + suffix );
        pressTool( "Select Primitives" );
        pressTool( "Clear Selections" );
        pressTool( "Shortcuts" );
        keep( "shortcuts" + suffix );
        press( GLFW_KEY_ESCAPE );
        pressTool( "Customize toolbar" );
        keep( "customize" + suffix );
        press( GLFW_KEY_ESCAPE );
        press( GLFW_KEY_F, GLFW_MOD_CONTROL );
        type( "se" );
        keep( "search" + suffix );
        press( GLFW_KEY_ESCAPE );
        menu_->pushNotification( { .header = "Saved", .text = "/home/user/part.vxu", .type = NotificationType::Time } );
        menu_->pushNotification( { .header = "part.step",
            .text = "Two faces were left out because they do not close.",
            .buttonName = "Details",
            .type = NotificationType::Warning,
            .lifeTimeSec = 100 } );
        menu_->pushNotification(
            { .header = "other.step", .text = "The worker ran out of memory", .type = NotificationType::Error } );
        keep( "notifications" + suffix );
        menu_->showModalMessage( "\"part.step\" is empty", NotificationType::Error );
        keep( "message" + suffix );
        press( GLFW_KEY_ENTER );
        press( GLFW_KEY_O, GLFW_MOD_CONTROL );
        keep( "open" + suffix );
        press( GLFW_KEY_ESCAPE );
        press( GLFW_KEY_S, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT );
        keep( "save" + suffix );
        press( GLFW_KEY_ESCAPE );
        restart();
    }
}

TEST_F( Looks, SmallWindowsKeepEveryToolWithinReach )
{
    openCube();
    for ( const auto& [width, height] : { std::pair( 1024, 700 ), std::pair( 640, 480 ), std::pair( 300, 200 ) } )
    {
        window().resize( width, height );
        settle();
        keep( "small_" + std::to_string( width ) );
    }
}

TEST_F( Looks, EveryFormOfTheSignIn )
{
    menu_->signOut();
    auto& auth = OrvantaMenuTestAccess::authWindow( *menu_ );
    AuthWindowTestAccess::codeDestination( auth ) = "a***@e***.org";
    const std::map<AuthState, std::string> forms{ { AuthState::Retry, "Bad internet connection." },
        { AuthState::SignIn, "Incorrect username or password." }, { AuthState::SignUp, "Please enter valid password" },
        { AuthState::ConfirmSignUp, "Please enter verification code" },
        { AuthState::Forgot, "Attempt limit exceeded, please try after some time." },
        { AuthState::ConfirmForgot, "Password did not conform with policy: Password must have symbol characters, and "
                                    "so it goes on for a while until it needs a third line" } };
    for ( const float scale : { 1.f, 1.5f, 2.f } )
    {
        window().resize( int( 1280 * scale ), int( 800 * scale ), scale );
        for ( const auto& [state, message] : forms )
        {
            AuthWindowTestAccess::state( auth ) = state;
            AuthWindowTestAccess::message( auth ) = message;
            settle();
            keep( fmt::format( "auth_{}_{}", int( state ), int( scale * 100 ) ) );
        }
    }
    window().resize( 300, 240 );
    settle();
    keep( "auth_small_viewport" );
}

TEST_F( Looks, WelcomeWindowAndPrivacyInBothThemes )
{
    OrvantaMenuTestAccess::welcomeWindow( *menu_ ).setShowOnStartup( true, true );
    for ( const auto theme : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( theme );
        window().resize( 1280, 800 );
        keep( std::string( "welcome_" ) + ColorTheme::getPresetName( theme ) );
        expectLike( std::string( "welcome_" ) + ColorTheme::getPresetName( theme ) );
        window().resize( 2560, 1600, 2 );
        keep( std::string( "welcome_large_" ) + ColorTheme::getPresetName( theme ) );
    }
    window().resize( 1280, 800 );
    pressTool( "Privacy" );
    keep( "privacy" );
    pressTool( "Privacy" );
}
