#include <VXViewer/ribbon/RibbonItemButton.h>

#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/RibbonIcons.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui_internal.h>

#include <algorithm>

namespace VX::RibbonItemButton
{
namespace
{

using FontType = RibbonFontManager::FontType;

constexpr float cLargeIcon = 28;
constexpr float cSmallIcon = 18;
constexpr float cLargeHeight = 66;
constexpr float cRowHeight = 21;
constexpr float cStrip = 14; // of the arrow of a drop-down list

struct Caption
{
    std::string first;
    std::string second;
};

/// The caption in two lines of about the same length, or in one where it is short or one word.
Caption splitCaption( const std::string& text )
{
    constexpr size_t cShort = 9;
    if ( text.size() <= cShort )
        return { text, {} };
    size_t best = std::string::npos;
    const auto distance = [&]( size_t at )
    { return at > text.size() / 2 ? at - text.size() / 2 : text.size() / 2 - at; };
    for ( size_t at = text.find( ' ' ); at != std::string::npos; at = text.find( ' ', at + 1 ) )
        if ( best == std::string::npos || distance( at ) < distance( best ) )
            best = at;
    if ( best == std::string::npos )
        return { text, {} };
    return { text.substr( 0, best ), text.substr( best + 1 ) };
}

float widthOf( const std::string& text )
{
    return ImGui::CalcTextSize( text.c_str() ).x;
}

struct Pressed
{
    bool main = false;
    bool list = false;
};

/// A frame that is filled while it is hovered, held or active; keyboard navigation goes through it.
bool frame( const char* id, ImVec2 low, ImVec2 size, bool active )
{
    auto* window = ImGui::GetCurrentWindow();
    const ImGuiID number = window->GetID( id );
    const ImRect box( low, { low.x + size.x, low.y + size.y } );
    if ( !ImGui::ItemAdd( box, number ) )
        return false;
    bool hovered = false, held = false;
    const bool pressed = ImGui::ButtonBehavior( box, number, &hovered, &held );
    const auto fill = held      ? themeU32( ColorTheme::ButtonActive )
                      : hovered ? themeU32( ColorTheme::ButtonHovered )
                      : active  ? themeU32( ColorTheme::Selection )
                                : 0;
    const float rounding = ImGui::GetStyle().FrameRounding;
    if ( fill )
        window->DrawList->AddRectFilled( box.Min, box.Max, fill, rounding );
    if ( active )
        window->DrawList->AddRect( box.Min, box.Max, themeU32( ColorTheme::Accent ), rounding );
    ImGui::RenderNavHighlight( box, number );
    return pressed;
}

void drawLines( ImDrawList& list, const std::string& text, ImVec2 low, ImVec2 size, float top )
{
    const auto caption = splitCaption( text );
    float y = top;
    for ( const auto* line : { &caption.first, &caption.second } )
    {
        list.AddText( { std::round( low.x + ( size.x - widthOf( *line ) ) / 2 ), std::round( y ) },
            ImGui::GetColorU32( ImGuiCol_Text ), line->c_str() );
        y += ImGui::GetFontSize();
    }
}

void drawContents( const MenuItemInfo& info, Kind kind, ImVec2 low, ImVec2 size, bool enabled )
{
    const float scale = UI::scale();
    auto& list = *ImGui::GetWindowDrawList();
    const float icon = ( kind == Kind::Large ? cLargeIcon : cSmallIcon ) * scale;
    if ( kind == Kind::Large )
    {
        drawIcon( list, info.icon, { low.x + ( size.x - icon ) / 2, low.y + 4 * scale }, icon, enabled );
        drawLines( list, info.caption, low, size, low.y + 35 * scale );
        return;
    }
    drawIcon( list, info.icon, { low.x + 4 * scale, low.y + ( size.y - icon ) / 2 }, icon, enabled );
    if ( kind == Kind::Row )
        list.AddText( { low.x + icon + 9 * scale, std::round( low.y + ( size.y - ImGui::GetFontSize() ) / 2 ) },
            ImGui::GetColorU32( ImGuiCol_Text ), info.caption.c_str() );
}

/// Whether a narrow part beside the button opens a list of further tools.
bool hasStrip( const MenuItemInfo& info, Kind kind )
{
    return kind != Kind::Alone && !info.dropList.empty();
}

void drawTooltip( const MenuItemInfo& info, std::string_view requirements, RibbonItemHost& host )
{
    const float scale = UI::scale();
    if ( !ImGui::IsItemHovered( ImGuiHoveredFlags_AllowWhenDisabled ) || ImGui::IsItemActive() )
        return;
    const auto dynamic = info.item->dynamicTooltip();
    const auto& text = dynamic.empty() ? info.tooltip : dynamic;
    const auto shortcut = host.shortcut( info.item->name() );
    const FontScope font( FontType::Default );
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { 10 * scale, 7 * scale } },
        { ImGuiStyleVar_ItemSpacing, { 12 * scale, 3 * scale } } } );
    ImGui::BeginTooltip();
    UI::text( FontType::SemiBold, info.caption );
    if ( !shortcut.empty() )
    {
        ImGui::SameLine();
        UI::colored( themeVec4( ColorTheme::DimText ), shortcut );
    }
    ImGui::PushTextWrapPos( 280 * scale );
    if ( !text.empty() )
        UI::colored( themeVec4( ColorTheme::DimText ), text );
    if ( !requirements.empty() )
        UI::colored( themeVec4( ColorTheme::Warning ), std::string( requirements ) );
    ImGui::PopTextWrapPos();
    ImGui::EndTooltip();
}

void drawDropList( const MenuItemInfo& info, RibbonItemHost& host )
{
    const float scale = UI::scale();
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { 6 * scale, 6 * scale } } } );
    const FontScope font( FontType::Default );
    if ( ImGui::BeginPopup( "##dropList" ) )
    {
        const auto& items = RibbonSchemaHolder::schema().items;
        for ( const auto& name : info.dropList )
            if ( const auto it = items.find( name ); it != items.end() )
                drawMenuRow( it->second, host );
        ImGui::EndPopup();
    }
}

/// The arrow at the right edge of a tool with a list.
void drawStrip( const MenuItemInfo& info, ImVec2 low, ImVec2 size, RibbonItemHost& host )
{
    const float scale = UI::scale();
    const float width = cStrip * scale;
    if ( frame( "##strip", low, { width, size.y }, false ) )
        ImGui::OpenPopup( "##dropList" );
    const ImVec2 middle{ low.x + width / 2, low.y + size.y / 2 };
    const float arm = 3.5f * scale;
    ImGui::GetWindowDrawList()->AddTriangleFilled( { middle.x - arm, middle.y - arm / 2 },
        { middle.x + arm, middle.y - arm / 2 }, { middle.x, middle.y + arm * 0.7f }, themeU32( ColorTheme::DimText ) );
    drawDropList( info, host );
}

} // namespace

ImVec2 sizeOf( const MenuItemInfo& info, Kind kind )
{
    const float scale = UI::scale();
    const FontScope font( FontType::Small );
    const float strip = hasStrip( info, kind ) ? cStrip * scale : 0;
    if ( kind == Kind::Large )
    {
        const auto caption = splitCaption( info.caption );
        const float text = std::max( widthOf( caption.first ), widthOf( caption.second ) );
        return { std::ceil( std::max( 52 * scale, text + 12 * scale ) + strip ), std::round( cLargeHeight * scale ) };
    }
    const float text = kind == Kind::Row ? widthOf( info.caption ) + 8 * scale : 0;
    return { std::ceil( ( cSmallIcon + 8 ) * scale + text + strip ), std::round( cRowHeight * scale ) };
}

bool draw( const MenuItemInfo& info, Kind kind, RibbonItemHost& host )
{
    const FontScope font( FontType::Small );
    const auto requirements = host.requirements( info.item );
    const bool active = info.item->isActive();
    const bool enabled = active || requirements.empty();
    const ImVec2 low = ImGui::GetCursorScreenPos();
    const ImVec2 whole = sizeOf( info, kind );
    const ImVec2 main{ whole.x - ( hasStrip( info, kind ) ? cStrip * UI::scale() : 0 ), whole.y };
    ImGui::PushID( info.item->name().c_str() );
    ImGui::ItemSize( ImRect( low, { low.x + whole.x, low.y + whole.y } ) );
    // One that cannot be used can still be pressed: the press tells what is missing.
    const bool pressed = frame( "##button", low, main, active );
    drawTooltip( info, requirements, host );
    {
        const StyleScope style( { { ImGuiCol_Text,
            enabled ? ImGui::GetStyleColorVec4( ImGuiCol_Text ) : themeVec4( ColorTheme::DimText ) } } );
        drawContents( info, kind, low, main, enabled );
    }
    if ( hasStrip( info, kind ) )
        drawStrip( info, { low.x + main.x, low.y }, whole, host );
    ImGui::PopID();
    if ( pressed )
        host.press( info.item );
    return pressed;
}

bool drawMenuRow( const MenuItemInfo& info, RibbonItemHost& host )
{
    const float scale = UI::scale();
    const auto requirements = host.requirements( info.item );
    const bool enabled = requirements.empty() || info.item->isActive();
    const auto shortcut = host.shortcut( info.item->name() );
    const float icon = cSmallIcon * scale, gap = 8 * scale, height = 26 * scale;
    const float text = widthOf( info.caption ), keys = widthOf( shortcut );
    const ImVec2 low = ImGui::GetCursorScreenPos();
    const float width = std::max( ImGui::GetContentRegionAvail().x, icon + text + keys + 5 * gap );
    ImGui::PushID( info.item->name().c_str() );
    const bool pressed = ImGui::Selectable( "##row", info.item->isActive(), 0, { width, height } );
    drawTooltip( info, requirements, host );
    auto& list = *ImGui::GetWindowDrawList();
    drawIcon( list, info.icon, { low.x + gap / 2, low.y + ( height - icon ) / 2 }, icon, enabled );
    const float y = std::round( low.y + ( height - ImGui::GetFontSize() ) / 2 );
    list.AddText( { low.x + icon + 1.5f * gap, y }, themeU32( enabled ? ColorTheme::Text : ColorTheme::DimText ),
        info.caption.c_str() );
    list.AddText( { low.x + width - keys - gap, y }, themeU32( ColorTheme::DimText ), shortcut.c_str() );
    ImGui::PopID();
    if ( pressed )
        host.press( info.item );
    return pressed;
}

void drawIcon( ImDrawList& list, const std::string& icon, ImVec2 at, float side, bool enabled )
{
    const float rounded = std::round( side );
    const auto image = RibbonIcons::findByName(
        icon, rounded, RibbonIcons::ColorType::Colorful, RibbonIcons::IconType::RibbonItemIcon );
    if ( !image )
        return;
    const ImVec2 low{ std::round( at.x ), std::round( at.y ) };
    list.AddImage( image->texture, low, { low.x + rounded, low.y + rounded }, image->uv0, image->uv1,
        IM_COL32( 255, 255, 255, enabled ? 255 : 110 ) );
}

} // namespace VX::RibbonItemButton
