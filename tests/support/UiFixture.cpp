#include "support/UiFixture.h"

#include "support/TestMeshes.h"

#include <AppMenu.h>

#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

#include <imgui.h>
#include <imgui_internal.h>

#include <cstdlib>

namespace VX::Testing
{

void UiFixture::SetUp()
{
    ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
    ::setenv( "HOME", folder_.path().c_str(), 1 );
    ::setenv( "PATH", "/nowhere", 1 ); // no desktop dialog, no browser
    setUserConfigName( "OrvantaUiTest" );
    Config::instance().reload();
    static const bool sRegistered = ( App::registerStepFormat(), true );
    ASSERT_TRUE( sRegistered );
    transport_ = std::make_shared<ScriptedTransport>();
    setWebTransport( transport_ );
    menu_ = std::make_shared<ImGuiMenu>();
    opener_ = std::make_unique<App::FileOpener>();
    App::addAppMenu( *menu_, *opener_ );
    viewer().setMenuPlugin( menu_ );
    LaunchParams params;
    params.appName = "Orvanta";
    params.windowless = true;
    const auto started = viewer().start( params );
    ASSERT_TRUE( started ) << started.error();
    drops_ = viewer().filesDroppedSignal.connect( [this]( const auto& files ) { opener_->open( files ); } );
    settle();
}

void UiFixture::TearDown()
{
    drops_.disconnect();
    opener_.reset();
    EXPECT_TRUE( viewer().stop() );
    menu_.reset();
    setWebTransport( nullptr );
}

void UiFixture::settle()
{
    uint64_t before = 0;
    do
    {
        before = viewer().framesDrawn();
        for ( int i = 0; i < 8; ++i )
            viewer().step( 0 );
    } while ( viewer().framesDrawn() != before );
}

void UiFixture::drawFrames( int count )
{
    for ( int i = 0; i < count; ++i )
    {
        viewer().incrementForceRedrawFrames();
        viewer().step( 0 );
    }
}

void UiFixture::click( Vector2f position, int modifiers )
{
    // Dear ImGui finds what is under the pointer in the frame before the one in which the button goes down.
    window().moveMouse( position );
    settle();
    window().pressMouse( MouseButton::Left, true, modifiers );
    settle();
    window().pressMouse( MouseButton::Left, false, modifiers );
    settle();
}

void UiFixture::drag( MouseButton button, Vector2f from, Vector2f to )
{
    window().moveMouse( from );
    settle();
    window().pressMouse( button, true );
    window().moveMouse( ( from + to ) * 0.5f );
    window().moveMouse( to );
    window().pressMouse( button, false );
    settle();
}

void UiFixture::press( int key, int modifiers )
{
    window().pressKey( key, true, modifiers );
    settle();
    window().pressKey( key, false, 0 );
    settle();
}

void UiFixture::openCube()
{
    opener_->open( { folder_.write( "cube.vxu", cubeFile() ) } );
    turnUntil( [this] { return opener_->pending() == 0; } );
    settle();
}

Image UiFixture::frame()
{
    viewer().incrementForceRedrawFrames();
    settle();
    return viewer().frameImage();
}

size_t UiFixture::difference( const Image& a, const Image& b )
{
    size_t count = 0;
    for ( size_t i = 0; i + 2 < a.pixels.size(); i += 3 )
        for ( size_t k = 0; k < 3; ++k )
            if ( std::abs( int( a.pixels[i + k] ) - int( b.pixels[i + k] ) ) > 8 )
            {
                ++count;
                break;
            }
    return count;
}

bool UiFixture::isWindowShown( const std::string& name )
{
    for ( const ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        if ( window->Active && std::string( window->Name ).find( name ) != std::string::npos )
            return true;
    return false;
}

Vector2f UiFixture::windowPoint( const std::string& name, float right, float bottom )
{
    for ( const ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        if ( window->Active && std::string( window->Name ).find( name ) != std::string::npos )
            return { window->Pos.x + window->Size.x - right, window->Pos.y + window->Size.y - bottom };
    return { -1, -1 };
}

} // namespace VX::Testing
