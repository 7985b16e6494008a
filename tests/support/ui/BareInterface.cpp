#include "support/ui/BareInterface.h"

#include "support/ui/ShownText.h"

#include <VXViewer/ui/KeyMap.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/Scale.h>
#include <VXViewer/window/Window.h>

#include <imgui.h>
#include <imgui_internal.h>

#include <algorithm>

namespace VX::Testing
{

BareInterface::BareInterface()
{
    ImGui::CreateContext();
    auto& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = { 1280, 800 };
    io.ConfigFlags |= ImGuiConfigFlags_NavEnableKeyboard;
    io.MousePos = { -1000, -1000 };
    fillGlfwKeyMap( io );
    io.Fonts->AddFontDefault();
    io.Fonts->Build();
    UI::setScale( 1 );
    setLoopToWake( this );
}

BareInterface::~BareInterface()
{
    setLoopToWake( nullptr );
    ImGui::DestroyContext();
}

void BareInterface::requestFrameIn( double seconds )
{
    frameWantedIn_ = frameWantedIn_ < 0 ? seconds : std::min( frameWantedIn_, seconds );
}

void BareInterface::frames( int count, double secondsEach )
{
    for ( int i = 0; i < count; ++i )
    {
        ImGui::GetIO().DeltaTime = float( secondsEach );
        UI::beforeNewFrame();
        ImGui::NewFrame();
        UI::beginModals();
        UI::afterNewFrame();
        if ( draw )
            draw();
        (void)UI::endModals();
        ImGui::Render();
    }
}

void BareInterface::press( int key, int modifiers )
{
    auto& io = ImGui::GetIO();
    const auto hold = [&]( bool down )
    {
        io.KeysDown[key] = down;
        io.KeyShift = down && ( modifiers & ShiftModifier );
        io.KeyCtrl = down && ( modifiers & ControlModifier );
        io.KeyAlt = down && ( modifiers & AltModifier );
        frames( 1 );
    };
    hold( true );
    hold( false );
    settle();
}

void BareInterface::type( const std::string& text )
{
    ImGui::GetIO().AddInputCharactersUTF8( text.c_str() );
    settle();
}

void BareInterface::moveMouse( Vector2f at )
{
    ImGui::GetIO().MousePos = { at.x, at.y };
    frames( 2 );
}

void BareInterface::click( Vector2f at )
{
    moveMouse( at );
    for ( const bool down : { true, false } )
    {
        ImGui::GetIO().MouseDown[0] = down;
        frames( 1 );
    }
    settle();
}

void BareInterface::clickText( const std::string& window, const std::string& text )
{
    for ( const auto& piece : shownTexts( window ) )
        if ( const auto at = piece.text.find( text ); at != std::string::npos )
        {
            const float letter = ImGui::CalcTextSize( "x" ).x;
            const float middle = ( float( at ) + float( text.size() ) / 2 ) * letter;
            return click( { piece.low.x + middle, piece.low.y + piece.height / 2 } );
        }
    FAIL() << "\"" << text << "\" does not stand in " << window << ", but\n" << said( window );
}

bool BareInterface::isShown( const std::string& window )
{
    const auto& all = ImGui::GetCurrentContext()->Windows;
    return std::any_of( all.begin(), all.end(), [&]( const ImGuiWindow* other )
        { return other->Active && std::string( other->Name ).find( window ) != std::string::npos; } );
}

std::string BareInterface::said( const std::string& window )
{
    return shownText( window );
}

bool BareInterface::says( const std::string& window, const std::string& text )
{
    return said( window ).find( text ) != std::string::npos;
}

} // namespace VX::Testing
