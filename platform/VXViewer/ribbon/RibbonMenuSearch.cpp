#include <VXViewer/ribbon/RibbonMenuSearch.h>

#include <VXMesh/io/Text.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/TextField.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui_internal.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr size_t cMaxShown = 9;

bool pressed( ImGuiKey key )
{
    return ImGui::IsKeyPressed( ImGui::GetKeyIndex( key ) ) && !UI::popupClosed();
}

} // namespace

void RibbonMenuSearch::close_()
{
    open_ = false;
    text_.clear();
    results_.clear();
    cursor_ = 0;
    ImGui::ClearActiveID();
    redraw();
}

void RibbonMenuSearch::press_( const std::string& name, RibbonItemHost& host )
{
    const auto item = RibbonSchemaHolder::findItem( name );
    close_();
    if ( !item )
        return;
    onToolActivate( item );
    host.press( item );
}

void RibbonMenuSearch::handleKeys_( RibbonItemHost& host )
{
    const size_t count = std::min( results_.size(), cMaxShown );
    if ( pressed( ImGuiKey_Escape ) )
        return close_();
    if ( count == 0 )
        return;
    if ( pressed( ImGuiKey_DownArrow ) )
        cursor_ = ( cursor_ + 1 ) % count;
    else if ( pressed( ImGuiKey_UpArrow ) )
        cursor_ = ( cursor_ + count - 1 ) % count;
    else if ( pressed( ImGuiKey_Enter ) || pressed( ImGuiKey_KeyPadEnter ) )
        press_( results_[cursor_].name, host );
}

void RibbonMenuSearch::drawField_( float width )
{
    const float scale = UI::scale();
    ImGui::SetNextItemWidth( width );
    if ( std::exchange( focusRequested_, false ) )
        ImGui::SetKeyboardFocusHere();
    const auto field = [&]
    {
        const StyleScope style( { { ImGuiStyleVar_FramePadding, { 26 * scale, 4 * scale } } } );
        return UI::textField( "##search", text_, { .hint = hint_.c_str() } );
    }();
    const ImVec2 low = ImGui::GetItemRectMin(), high = ImGui::GetItemRectMax();
    const ImVec2 glass = ImGui::CalcTextSize( Icons::cSearch );
    ImGui::GetWindowDrawList()->AddText( { low.x + 8 * scale, std::round( ( low.y + high.y - glass.y ) / 2 ) },
        themeU32( ColorTheme::DimText ), Icons::cSearch );
    if ( field.active && !focused_ )
    {
        open_ = true;
        onFocus();
    }
    focused_ = field.active;
    menuOpen_ = field.menuOpen;
    if ( field.changed )
    {
        open_ = true;
        results_ = RibbonSchemaHolder::search( text_ );
        cursor_ = 0;
    }
}

void RibbonMenuSearch::drawResult_( size_t index, RibbonItemHost& host )
{
    const float scale = UI::scale();
    const auto& result = results_[index];
    const auto& items = RibbonSchemaHolder::schema().items;
    const auto it = items.find( result.name );
    if ( it == items.end() )
        return;
    const auto& info = it->second;
    const float height = 30 * scale, icon = 18 * scale, width = ImGui::GetContentRegionAvail().x;
    const ImVec2 low = ImGui::GetCursorScreenPos();
    ImGui::PushID( int( index ) );
    // The field keeps the keyboard, so a result is taken when the button goes down.
    ImGui::Selectable( "##result", index == cursor_, 0, { width, height } );
    const bool moved = ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_DownArrow ) ) ||
                       ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_UpArrow ) );
    if ( moved && index == cursor_ )
        ImGui::SetScrollHereY();
    const bool chosen = ImGui::IsItemHovered() && ImGui::IsMouseClicked( ImGuiMouseButton_Left );
    ImGui::PopID();
    auto& list = *ImGui::GetWindowDrawList();
    const bool enabled = host.requirements( info.item ).empty();
    RibbonItemButton::drawIcon( list, info.icon, { low.x + 6 * scale, low.y + ( height - icon ) / 2 }, icon, enabled );
    const float y = std::round( low.y + ( height - ImGui::GetFontSize() ) / 2 );
    list.AddText(
        { low.x + 32 * scale, y }, themeU32( enabled ? ColorTheme::Text : ColorTheme::DimText ), info.caption.c_str() );
    const auto shortcut = host.shortcut( result.name );
    const auto& note = shortcut.empty() ? result.tab : shortcut;
    list.AddText( { low.x + width - ImGui::CalcTextSize( note.c_str() ).x - 8 * scale, y },
        themeU32( ColorTheme::DimText ), note.c_str() );
    if ( chosen )
        press_( std::string( result.name ), host );
}

void RibbonMenuSearch::drawResults_( RibbonItemHost& host, float right, float top )
{
    const float scale = UI::scale();
    const float width = std::min( 340 * scale, ImGui::GetIO().DisplaySize.x );
    const float room = std::max( ImGui::GetIO().DisplaySize.y - top - 8 * scale, 1.f );
    ImGui::SetNextWindowPos( { std::max( right - width, 0.f ), top } );
    ImGui::SetNextWindowSize( { width, 0 } );
    ImGui::SetNextWindowSizeConstraints( { width, 0 }, { width, room } );
    const StyleScope style(
        { { ImGuiStyleVar_WindowPadding, { 6 * scale, 6 * scale } }, { ImGuiStyleVar_ItemSpacing, ImVec2{} } } );
    ImGui::Begin( "##searchResults", nullptr,
        ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
            ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav );
    if ( !menuOpen_ )
        ImGui::BringWindowToDisplayFront( ImGui::GetCurrentWindow() );
    if ( results_.empty() )
        UI::colored( themeVec4( ColorTheme::DimText ), "No tool is called so" );
    for ( size_t i = 0; i < std::min( results_.size(), cMaxShown ); ++i )
        drawResult_( i, host );
    const bool outside = ImGui::IsMouseClicked( ImGuiMouseButton_Left ) && !ImGui::IsWindowHovered();
    ImGui::End();
    if ( outside && !focused_ )
        close_();
}

void RibbonMenuSearch::draw( RibbonItemHost& host, float width )
{
    drawField_( width );
    const float right = ImGui::GetItemRectMax().x, bottom = ImGui::GetItemRectMax().y + 4 * UI::scale();
    if ( !open_ )
        return;
    if ( !menuOpen_ )
        handleKeys_( host );
    if ( open_ && !trimmed( text_ ).empty() )
        drawResults_( host, right, bottom );
    else if ( open_ && !focused_ )
        close_();
}

} // namespace VX
