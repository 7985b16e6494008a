#include <VXViewer/dialogs/ShortcutSheet.h>

#include <VXMesh/io/Text.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/TextField.h>
#include <VXViewer/ui/Widgets.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr const char* cId = "Shortcuts##shortcutSheet";

void drawKeys( const std::string& keys )
{
    const float scale = UI::scale();
    const FontScope small( RibbonFontManager::FontType::Small );
    const ImVec2 text = ImGui::CalcTextSize( keys.c_str() );
    const ImVec2 low = ImGui::GetCursorScreenPos();
    const ImVec2 high{ low.x + text.x + 12 * scale, low.y + text.y + 4 * scale };
    auto& list = *ImGui::GetWindowDrawList();
    list.AddRectFilled( low, high, themeU32( ColorTheme::Button ), 4 * scale );
    list.AddRect( low, high, themeU32( ColorTheme::Borders ), 4 * scale );
    list.AddText( { low.x + 6 * scale, low.y + 2 * scale }, themeU32( ColorTheme::Text ), keys.c_str() );
    ImGui::Dummy( { high.x - low.x, high.y - low.y } );
}

} // namespace

void ShortcutSheet::drawTable_( const ShortcutManager& manager )
{
    const auto wanted = toLower( trimmed( filter_ ) );
    int category = -1;
    for ( const auto& [key, command] : manager.getShortcutList() )
    {
        const auto caption = captionOf ? captionOf( command->name ) : command->name;
        const auto keys = ShortcutManager::getKeyFullString( key );
        if ( toLower( caption ).find( wanted ) == std::string::npos &&
             toLower( keys ).find( wanted ) == std::string::npos )
            continue;
        if ( std::exchange( category, int( command->category ) ) != int( command->category ) )
            UI::separator( ShortcutManager::categoryName( command->category ) );
        ImGui::TextUnformatted( caption.c_str() );
        ImGui::SameLine( 250 * UI::scale() );
        drawKeys( keys );
    }
    if ( category < 0 )
        UI::colored( themeVec4( ColorTheme::DimText ), "No shortcut fits" );
}

void ShortcutSheet::draw( const ShortcutManager& manager )
{
    const float scale = UI::scale();
    if ( openRequested_ && UI::openModalInTurn( cId ) )
    {
        openRequested_ = false;
        filter_.clear();
    }
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    UI::centerNextWindow();
    ImGui::SetNextWindowSize( { std::min( 460 * scale, display.x ), std::min( 520 * scale, display.y ) } );
    shown_ = ImGui::BeginModalNoAnimation( cId, nullptr, ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove );
    if ( !shown_ )
        return;
    if ( ImGui::IsWindowAppearing() )
        ImGui::SetKeyboardFocusHere();
    ImGui::SetNextItemWidth( -1 );
    UI::textField( "##filter", filter_, { .hint = "Find a tool or a key" } );
    ImGui::BeginChild( "##shortcuts", { 0, -ImGui::GetFrameHeightWithSpacing() } );
    drawTable_( manager );
    ImGui::EndChild();
    ImGui::SetCursorPosX( ImGui::GetWindowContentRegionMax().x - 96 * scale );
    if ( UI::primaryButton( "Close" ) || UI::keyPressed( ImGuiKey_Escape ) )
    {
        ImGui::CloseCurrentPopup();
        redraw();
    }
    ImGui::EndPopup();
}

} // namespace VX
