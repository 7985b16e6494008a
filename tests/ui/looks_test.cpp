#include "support/UiFixture.h"

#include <VXMesh/io/Path.h>
#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/draw/Screenshot.h>
#include <VXViewer/menu/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

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

    void openParts()
    {
        openCube();
        pressTool( "Select all" );
        pressTool( "Clear Selections" );
    }
};

} // namespace

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
