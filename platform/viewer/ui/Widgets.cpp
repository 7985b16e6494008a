#include <VXViewer/ui/Widgets.h>

#include <VXViewer/ui/Theme.h>

#include <fmt/format.h>

namespace VX::UI
{
namespace
{

ImVec2 buttonSize( const char* label, float scale )
{
    const float wanted = ImGui::CalcTextSize( label, nullptr, true ).x + 2 * ImGui::GetStyle().FramePadding.x;
    return { std::max( wanted, 96 * scale ), 0 };
}

bool enterPressed()
{
    return ImGui::IsWindowFocused( ImGuiFocusedFlags_RootAndChildWindows ) &&
           ( ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_Enter ), false ) ||
               ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_KeyPadEnter ), false ) );
}

} // namespace

bool button( const char* label, float scale )
{
    return ImGui::Button( label, buttonSize( label, scale ) );
}

bool primaryButton( const char* label, float scale )
{
    ImVec4 hovered = Theme::cAccent;
    hovered.y += 0.08f;
    hovered.z += 0.12f;
    ImGui::PushStyleColor( ImGuiCol_Button, Theme::cAccent );
    ImGui::PushStyleColor( ImGuiCol_ButtonHovered, hovered );
    ImGui::PushStyleColor( ImGuiCol_ButtonActive, Theme::cAccent );
    ImGui::PushStyleColor( ImGuiCol_Text, { 0.10f, 0.08f, 0.05f, 1 } );
    const bool pressed = ImGui::Button( label, buttonSize( label, scale ) ) || enterPressed();
    ImGui::PopStyleColor( 4 );
    return pressed;
}

void text( Fonts::Face face, const std::string& text )
{
    ImGui::PushFont( Fonts::get( face ) );
    ImGui::TextUnformatted( text.data(), text.data() + text.size() );
    ImGui::PopFont();
}

void wrapped( const ImVec4& color, const std::string& text )
{
    ImGui::PushStyleColor( ImGuiCol_Text, color );
    ImGui::PushTextWrapPos( 0 );
    ImGui::TextUnformatted( text.data(), text.data() + text.size() );
    ImGui::PopTextWrapPos();
    ImGui::PopStyleColor();
}

void centerNextWindow()
{
    const ImVec2 size = ImGui::GetIO().DisplaySize;
    ImGui::SetNextWindowPos( { size.x / 2, size.y / 2 }, ImGuiCond_Always, { 0.5f, 0.5f } );
}

std::string formatDuration( double seconds )
{
    const auto total = long( seconds );
    if ( total >= 3600 )
        return fmt::format( "{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60 );
    return fmt::format( "{}:{:02}", total / 60, total % 60 );
}

} // namespace VX::UI
