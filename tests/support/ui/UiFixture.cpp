#include "support/ui/UiFixture.h"

#include "support/TestMeshes.h"

#include <AboutTool.h>
#include <ConfigCheck.h>
#include <step/StepFormat.h>
#include <step/StepTools.h>

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/ui/ColorTheme.h>

#include <imgui.h>
#include <imgui_internal.h>

#include <cstdlib>
#include <limits>

namespace VX::Testing
{

void UiFixture::SetUp()
{
    ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
    ::setenv( "XDG_STATE_HOME", ( folder_.path() / ".state" ).c_str(), 1 );
    ::setenv( "HOME", folder_.path().c_str(), 1 );
    ::setenv( "PATH", "/nowhere", 1 ); // no desktop dialog, no browser
    static const bool sRegistered = ( App::registerStepFormat(), App::registerAboutTool(), App::registerConvertTool(),
        App::registerImportSetting(), true );
    ASSERT_TRUE( sRegistered );
    std::filesystem::create_directories( folder_.path() / "Orvanta/Token" );
    if ( isSignedIn() )
    {
        folder_.write( "Orvanta/Token/.token", R"({"login":"ann@example.org","token":"kept","endpoint":"e"})" );
    }
    folder_.write( "Orvanta/config.json", settings() );
    start_();
}

std::optional<Json::Value> UiFixture::answerAtStart( const WebRequestData& request )
{
    return isSignedIn() && request.logName == "signInToken" ? std::optional( signedInAnswer() ) : std::nullopt;
}

Json::Value UiFixture::signedInAnswer( const std::string& refreshToken )
{
    Json::Value body;
    body["AuthenticationResult"]["AccessToken"] = "access";
    if ( !refreshToken.empty() )
        body["AuthenticationResult"]["RefreshToken"] = refreshToken;
    return ScriptedTransport::response( 200, body.toStyledString() );
}

void UiFixture::start_()
{
    setWebTransport( std::make_shared<ScriptedTransport>(
        [this]( const WebRequestData& request ) { return answerAtStart( request ); } ) );
    ColorTheme::setupPreset( ColorTheme::Preset::Dark );
    setup_ = std::make_unique<App::AppSetup>( App::mergedConfig( config() ), App::configProblems( config() ) );
    opener_ = std::make_unique<App::FileOpener>();
    LaunchParams params;
    params.appName = "Orvanta";
    params.windowless = true;
    params.arguments = programArguments();
    const auto start = viewer().start( params, *setup_ );
    ASSERT_TRUE( start ) << start.error();
    // On a busy machine the frames between a press and its end take longer than a person's: that holds no key.
    ImGui::GetIO().KeyRepeatDelay = std::numeric_limits<float>::max();
    menu_ = OrvantaRibbonMenu::instance();
    ASSERT_TRUE( menu_ );
    started();
    menu_->setOpenAction( [this]( const auto& files ) { opener_->open( files ); } );
    drops_ = viewer().filesDroppedSignal.connect( [this]( const auto& files ) { opener_->open( files ); } );
    settle();
    transport_ = std::make_shared<ScriptedTransport>();
    setWebTransport( transport_ );
}

void UiFixture::stop_()
{
    drops_.disconnect();
    opener_.reset();
    EXPECT_TRUE( viewer().stop() );
    menu_.reset();
    setWebTransport( nullptr );
}

void UiFixture::TearDown()
{
    stop_();
}

void UiFixture::restart()
{
    stop_();
    start_();
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

void UiFixture::clickWhileBusy( Vector2f position )
{
    window().moveMouse( position );
    drawFrames( 3 );
    window().pressMouse( MouseButton::Left, true );
    drawFrames( 3 );
    window().pressMouse( MouseButton::Left, false );
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

Vector2f UiFixture::windowPointFromTop( const std::string& name, float left, float top )
{
    for ( const ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        if ( window->Active && std::string( window->Name ).find( name ) != std::string::npos )
            return { window->Pos.x + left, window->Pos.y + top };
    return { -1, -1 };
}

void UiFixture::type( const std::string& text )
{
    window().type( text );
    settle();
}

void UiFixture::pressTool( const std::string& name )
{
    const auto item = RibbonSchemaHolder::findItem( name );
    ASSERT_TRUE( item ) << name;
    menu_->emitItemPressed( item );
    settle();
}

bool UiFixture::isActive( const std::string& toolName )
{
    const auto item = RibbonSchemaHolder::findItem( toolName );
    return item && item->isActive();
}

Vector2f UiFixture::windowPoint( const std::string& name, float right, float bottom )
{
    for ( const ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        if ( window->Active && std::string( window->Name ).find( name ) != std::string::npos )
            return { window->Pos.x + window->Size.x - right, window->Pos.y + window->Size.y - bottom };
    return { -1, -1 };
}

} // namespace VX::Testing
