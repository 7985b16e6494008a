#include "TestPlaces.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"
#include "support/voxels/TestVolumes.h"

#include <VXMesh/io/Path.h>
#include <VXViewer/draw/Screenshot.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

#include <GLFW/glfw3.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <stb/stb_image.h>

#include <cstdlib>

using namespace VX;

namespace
{

/// A picture is compared in blocks of so many pixels each way, so that antialiasing does not count.
constexpr int cBlock = 8;
/// From so much on, of 255, a block is another one.
constexpr int cVisible = 24;
/// So many blocks may be others: less than the smallest button has.
constexpr size_t cTolerance = 4;

Image blocksOf( const Image& image )
{
    Image out{ image.width / cBlock, image.height / cBlock, {} };
    for ( int y = 0; y < out.height; ++y )
        for ( int x = 0; x < out.width; ++x )
            for ( int channel = 0; channel < 3; ++channel )
            {
                int sum = 0;
                for ( int i = 0; i < cBlock * cBlock; ++i )
                {
                    const int px = x * cBlock + i % cBlock, py = y * cBlock + i / cBlock;
                    const size_t at = size_t( py ) * size_t( image.width ) + size_t( px );
                    sum += image.pixels[at * 3 + size_t( channel )];
                }
                out.pixels.push_back( uint8_t( sum / ( cBlock * cBlock ) ) );
            }
    return out;
}

/// How many blocks of two pictures of one size are visibly others.
size_t differentBlocks( const Image& a, const Image& b )
{
    size_t count = 0;
    for ( size_t i = 0; i + 2 < a.pixels.size(); i += 3 )
        for ( size_t k = 0; k < 3; ++k )
            if ( std::abs( int( a.pixels[i + k] ) - int( b.pixels[i + k] ) ) > cVisible )
            {
                ++count;
                break;
            }
    return count;
}

/// A picture with the rectangle at a place taken from another place, in pixels.
Image withCopy( Image image, Vector2f to, Vector2f from, Vector2f size )
{
    const Image before = image;
    for ( int y = 0; y < int( size.y ); ++y )
        std::copy_n( before.pixels.begin() + ( ( int( from.y ) + y ) * image.width + int( from.x ) ) * 3,
            int( size.x ) * 3, image.pixels.begin() + ( ( int( to.y ) + y ) * image.width + int( to.x ) ) * 3 );
    return image;
}

/// Draws every part of the interface in both themes and at several scales, and compares it with pictures that somebody
/// has looked at. With ORVANTA_LOOKS set to a folder the pictures are kept there for people to look at; with
/// ORVANTA_APPROVE set they are approved as they are.
class Looks : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        // The dialogs show where they are.
        std::filesystem::create_directories( "/tmp/orvanta-looks/models" );
        ::setenv( "HOME", "/tmp/orvanta-looks", 1 );
    }

    void expectLike( const std::string& name )
    {
        const auto now = frame();
        if ( const char* folder = std::getenv( "ORVANTA_LOOKS" ) )
        {
            const auto saved = savePng( std::filesystem::path( folder ) / ( name + ".png" ), now );
            EXPECT_TRUE( saved ) << saved.error();
        }
        const auto file = std::filesystem::path( ORVANTA_TEST_DATA ) / "ui" / "baselines" / ( name + ".png" );
        const auto blocks = blocksOf( now );
        if ( std::getenv( "ORVANTA_APPROVE" ) )
        {
            ASSERT_TRUE( savePng( file, blocks ) );
        }
        const auto approved = loadPng( file );
        ASSERT_TRUE( approved ) << approved.error();
        ASSERT_EQ( blocks.width, approved->width );
        ASSERT_EQ( blocks.height, approved->height );
        EXPECT_LE( differentBlocks( blocks, *approved ), cTolerance ) << name;
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

    void openParts()
    {
        openCube();
        pressTool( "Select all" );
        pressTool( "Clear Selections" );
    }
};

} // namespace

TEST_F( Looks, AMissingButtonAndAMovedPanelAreSeen )
{
    OrvantaMenuTestAccess::welcomeWindow( *menu_ ).setShowOnStartup( true, true );
    const auto whole = frame();
    const auto button = windowPointFromTop( "##Quickstart", 36, 0.74f * 230 ),
               panel = windowPointFromTop( "##Quickstart", 0, 0 );
    const auto without = withCopy( whole, button, panel + Vector2f{ 150, 120 }, { 110, 36 } );
    EXPECT_GT( differentBlocks( blocksOf( whole ), blocksOf( without ) ), cTolerance );
    const auto moved = withCopy( whole, panel + Vector2f{ 3, 0 }, panel, { 425, 230 } );
    EXPECT_GT( differentBlocks( blocksOf( whole ), blocksOf( moved ) ), cTolerance );
}

namespace
{

class LooksOfAll : public Looks
{
protected:
    void lookAtSettings( const std::string& suffix )
    {
        menu_->selectTab( "View" );
        expectLike( "view" + suffix );
        menu_->selectTab( "Program" );
        pressTool( "Viewer settings" );
        expectLike( "settings_quick" + suffix );
        ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Application );
        expectLike( "settings_application" + suffix );
        ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Viewport );
        expectLike( "settings_viewport" + suffix );
        pressTool( "Viewer settings" );
    }
    void lookAtTools( const std::string& suffix, float scale )
    {
        menu_->selectTab( "Home" );
        pressTool( "Create Simple Objects" );
        expectLike( "create" + suffix );
        pressTool( "Measure distance" );
        expectLike( "measure" + suffix );
        pressTool( "Save picture" );
        expectLike( "picture" + suffix );
        pressTool( "Save picture" );
        pressTool( "Select Primitives" );
        click( { 760 * scale, 420 * scale } );
        expectLike( "primitives" + suffix );
        pressTool( "Select Primitives" );
        pressTool( "Clear Selections" );
    }
    void lookAtSheetAndSearch( const std::string& suffix )
    {
        pressTool( "Shortcuts" );
        expectLike( "shortcuts" + suffix );
        press( GLFW_KEY_ESCAPE );
        pressTool( "Customize toolbar" );
        expectLike( "customize" + suffix );
        press( GLFW_KEY_ESCAPE );
        press( GLFW_KEY_F, GLFW_MOD_CONTROL );
        type( "se" );
        expectLike( "search" + suffix );
        press( GLFW_KEY_ESCAPE );
    }
    void lookAtNotifications( const std::string& suffix )
    {
        // They stay, however long the drawing of the rest takes.
        menu_->pushNotification(
            { .header = "Saved", .text = "/home/user/part.vxu", .type = NotificationType::Time, .lifeTimeSec = 0 } );
        menu_->pushNotification( { .header = "part.step",
            .text = "Two faces were left out because they do not close.",
            .buttonName = "Details",
            .type = NotificationType::Warning,
            .lifeTimeSec = 0 } );
        menu_->pushNotification( { .header = "other.step",
            .text = "The worker ran out of memory",
            .type = NotificationType::Error,
            .lifeTimeSec = 0 } );
        expectLike( "notifications" + suffix );
        for ( int i = 0; i < 12; ++i )
            menu_->pushNotification(
                { .header = fmt::format( "part_{}.step", i ), .text = "The file is open", .lifeTimeSec = 0 } );
        expectLike( "many_notifications" + suffix );
    }
    void lookAtDialogs( const std::string& suffix )
    {
        menu_->showModalMessage( "\"part.step\" is empty", NotificationType::Error );
        expectLike( "message" + suffix );
        press( GLFW_KEY_ENTER );
        press( GLFW_KEY_O, GLFW_MOD_CONTROL );
        expectLike( "open" + suffix );
        press( GLFW_KEY_ESCAPE );
        press( GLFW_KEY_S, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT );
        expectLike( "save" + suffix );
        press( GLFW_KEY_ESCAPE );
    }
};

} // namespace

TEST_F( LooksOfAll, EveryPartInBothThemesAndAtTwoScales )
{
    for ( const auto& [preset, scale] : { std::pair( ColorTheme::Preset::Dark, 1.f ),
              std::pair( ColorTheme::Preset::Light, 1.f ), std::pair( ColorTheme::Preset::Dark, 2.f ) } )
    {
        ColorTheme::setupPreset( preset );
        window().resize( int( 1280 * scale ), int( 800 * scale ), scale );
        settle();
        const auto suffix = std::string( "_" ) + ColorTheme::getPresetName( preset ) + ( scale == 1 ? "_100" : "_200" );
        expectLike( "empty" + suffix );
        openParts();
        expectLike( "cube" + suffix );
        lookAtSettings( suffix );
        lookAtTools( suffix, scale );
        lookAtSheetAndSearch( suffix );
        lookAtNotifications( suffix );
        lookAtDialogs( suffix );
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
        expectLike( "small_" + std::to_string( width ) );
    }
}

TEST_F( Looks, SlicesOfVoxels )
{
    // An egg with a yolk.
    const auto egg = []( const VoxelIndex& at )
    {
        const double x = ( at[0] - 30 ) / 22., y = ( at[1] - 30 ) / 22., z = ( at[2] - 24 ) / 20.;
        const double shell = x * x + y * y + z * z, yolk = x * x + y * y + ( z - 0.3 ) * ( z - 0.3 );
        return shell > 1 ? 10 : yolk < 0.15 ? 90 : shell > 0.85 ? 240 : 160;
    };
    opener_->open( { folder_.write( "egg.nrrd", Testing::nrrdOf( { 60, 60, 48 }, egg ) ) } );
    turnUntil( [] { return isActive( "Slices" ); } );
    expectLike( "slices_dark_100" );
    ColorTheme::setupPreset( ColorTheme::Preset::Light );
    window().resize( 2560, 1600, 2 );
    settle();
    expectLike( "slices_light_200" );
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
            expectLike( fmt::format( "auth_{}_{}", int( state ), int( scale * 100 ) ) );
        }
    }
    window().resize( 300, 240 );
    settle();
    expectLike( "auth_small_viewport" );
}

TEST_F( Looks, WelcomeWindowAndPrivacyInBothThemes )
{
    OrvantaMenuTestAccess::welcomeWindow( *menu_ ).setShowOnStartup( true, true );
    for ( const auto theme : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( theme );
        window().resize( 1280, 800 );
        expectLike( std::string( "welcome_" ) + ColorTheme::getPresetName( theme ) );
        window().resize( 2560, 1600, 2 );
        expectLike( std::string( "welcome_large_" ) + ColorTheme::getPresetName( theme ) );
    }
    window().resize( 1280, 800 );
    pressTool( "Privacy" );
    expectLike( "privacy" );
    pressTool( "Privacy" );
}

namespace
{

/// The note about statistics has not been answered.
class NoteLooks : public Looks
{
protected:
    [[nodiscard]] std::string settings() const override { return R"({"cShowWelcomeWindow":false})"; }
};

} // namespace

TEST_F( NoteLooks, InBothThemesAndAtTwoScales )
{
    ASSERT_TRUE( isWindowShown( "TelemetryDisclaimer" ) );
    for ( const auto theme : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
    {
        ColorTheme::setupPreset( theme );
        window().resize( 1280, 800 );
        expectLike( std::string( "note_" ) + ColorTheme::getPresetName( theme ) );
        window().resize( 2560, 1600, 2 );
        expectLike( std::string( "note_large_" ) + ColorTheme::getPresetName( theme ) );
    }
}
