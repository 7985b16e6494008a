#include <VXViewer/ui/Widgets.h>

#include <VXViewer/loop/Wake.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/RibbonIcons.h>
#include <VXViewer/ui/StyleScope.h>

#include <fmt/format.h>
#include <imgui_internal.h>

#include <algorithm>
#include <cmath>

namespace VX::UI
{
namespace
{

constexpr float cLeastButtonWidth = 96;

/// Not in the frame in which the window appears: the same press of the key has opened it.
bool enterPressed()
{
    return !ImGui::IsWindowAppearing() && ImGui::IsWindowFocused( ImGuiFocusedFlags_RootAndChildWindows ) &&
           ( keyPressed( ImGuiKey_Enter ) || keyPressed( ImGuiKey_KeyPadEnter ) );
}

ImVec4 brighter( ImVec4 color, float by )
{
    return { std::clamp( color.x + by, 0.f, 1.f ), std::clamp( color.y + by, 0.f, 1.f ),
        std::clamp( color.z + by, 0.f, 1.f ), color.w };
}

void beginPrimary( std::optional<StyleScope>& style )
{
    const ImVec4 accent = themeVec4( ColorTheme::Accent );
    style.emplace( std::initializer_list<StyleScope::Entry>{ { ImGuiCol_Button, accent },
        { ImGuiCol_ButtonHovered, brighter( accent, 0.08f ) }, { ImGuiCol_ButtonActive, brighter( accent, -0.08f ) },
        { ImGuiCol_Text, themeVec4( ColorTheme::AccentText ) } } );
}

float widthInDialog( const char* label )
{
    const float wanted = ImGui::CalcTextSize( label, nullptr, true ).x + 2 * ImGui::GetStyle().FramePadding.x;
    return std::max( wanted, cLeastButtonWidth * UI::scale() );
}

/// Where a window has to be for all of it to be in the viewport.
ImVec2 placeInside( const ImGuiWindow& window )
{
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    return { std::clamp( window.Pos.x, 0.f, std::max( display.x - window.Size.x, 0.f ) ),
        std::clamp( window.Pos.y, 0.f, std::max( display.y - window.Size.y, 0.f ) ) };
}

bool isInside( const ImGuiWindow& window )
{
    const ImVec2 inside = placeInside( window );
    return inside.x == window.Pos.x && inside.y == window.Pos.y;
}

/// Brings the next window, of this name, back where its place or size has led it over an edge of the viewport.
void keepNextWindowInside( const char* name )
{
    const ImGuiWindow* window = ImGui::FindWindowByName( name );
    if ( window && window->WasActive && !isInside( *window ) )
        ImGui::SetNextWindowPos( placeInside( *window ) );
}

} // namespace

bool button( const char* label, const Vector2f& size, const ButtonParams& params )
{
    std::optional<StyleScope> style;
    if ( params.primary )
        beginPrimary( style );
    ImGui::BeginDisabled( !params.enabled );
    bool pressed = false;
    {
        const TabStop stop;
        pressed = ImGui::Button( label, { size.x, size.y } );
    }
    ImGui::EndDisabled();
    return pressed || ( params.enabled && params.enterKey && enterPressed() );
}

bool dialogButton( const char* label )
{
    return button( label, { widthInDialog( label ), 0 }, { .primary = false } );
}

bool primaryButton( const char* label )
{
    return button( label, { widthInDialog( label ), 0 }, { .enterKey = true } );
}

bool buttonIconEx( const std::string& icon, const Vector2f& iconSize, const std::string& caption, const Vector2f& size,
    bool enabled, bool active )
{
    ImGui::BeginDisabled( !enabled );
    ImGui::PushID( caption.c_str() );
    std::optional<StyleScope> style;
    if ( active )
        style.emplace(
            std::initializer_list<StyleScope::Entry>{ { ImGuiCol_Button, themeVec4( ColorTheme::Selection ) } } );
    const bool pressed = ImGui::Button( "##icon", { size.x, size.y } );
    style.reset();
    const ImVec2 low = ImGui::GetItemRectMin(), high = ImGui::GetItemRectMax();
    auto& list = *ImGui::GetWindowDrawList();
    const float textHeight = ImGui::GetFontSize();
    const float gap = std::round( textHeight * 0.25f );
    const float top = std::round( ( low.y + high.y - iconSize.y - gap - textHeight ) / 2 );
    const float middle = ( low.x + high.x ) / 2;
    if ( const auto image = RibbonIcons::findByName(
             icon, iconSize.x, RibbonIcons::ColorType::White, RibbonIcons::IconType::RibbonItemIcon ) )
    {
        const ImVec2 at{ std::round( middle - iconSize.x / 2 ), top };
        list.AddImage( image->texture, at, { at.x + iconSize.x, at.y + iconSize.y }, image->uv0, image->uv1,
            ImGui::GetColorU32( ImGuiCol_Text ) );
    }
    const float width = ImGui::CalcTextSize( caption.c_str() ).x;
    list.AddText( { std::round( middle - width / 2 ), top + iconSize.y + gap }, ImGui::GetColorU32( ImGuiCol_Text ),
        caption.c_str() );
    ImGui::PopID();
    ImGui::EndDisabled();
    return pressed;
}

bool glyphButton( const char* glyph, const char* id, const ImVec4& color )
{
    const StyleScope style(
        { { ImGuiCol_Button, ImVec4{} }, { ImGuiCol_Text, color }, { ImGuiStyleVar_FramePadding, ImVec2{} } } );
    ImGui::PushID( id );
    const bool pressed = ImGui::SmallButton( glyph );
    ImGui::PopID();
    return pressed;
}

bool link( const char* label, const ImVec4& color )
{
    // On the base line of what stands before it in its row.
    const float base = ImGui::GetCurrentWindow()->DC.CurrLineTextBaseOffset;
    const ImVec2 size = ImGui::CalcTextSize( label, nullptr, true );
    ImVec2 at = ImGui::GetCursorScreenPos();
    const TabStop stop;
    const bool pressed = ImGui::InvisibleButton( label, { size.x, size.y + base } );
    const auto& last = ImGui::GetCurrentContext()->LastItemData;
    ImGui::RenderNavHighlight( last.Rect, last.ID );
    at.y += base;
    auto& list = *ImGui::GetWindowDrawList();
    const ImU32 packed = ImGui::ColorConvertFloat4ToU32( color );
    list.AddText( at, packed, label, ImGui::FindRenderedTextEnd( label ) );
    if ( ImGui::IsItemHovered() )
    {
        ImGui::SetMouseCursor( ImGuiMouseCursor_Hand );
        list.AddLine( { at.x, at.y + size.y }, { at.x + size.x, at.y + size.y }, packed );
    }
    return pressed;
}

void spinner( const Vector2f& center, float radius )
{
    constexpr float cTurn = 2 * 3.14159265f, cSeconds = 1.2f, cArc = 0.7f * cTurn;
    const float thickness = radius * 0.18f;
    auto& list = *ImGui::GetWindowDrawList();
    list.AddCircle( { center.x, center.y }, radius, themeU32( ColorTheme::Separator ), 64, thickness );
    const float from = float( std::fmod( ImGui::GetTime(), double( cSeconds ) ) ) / cSeconds * cTurn;
    list.PathArcTo( { center.x, center.y }, radius, from, from + cArc, 48 );
    list.PathStroke( themeU32( ColorTheme::Accent ), 0, thickness );
}

bool checkbox( const char* label, bool* value )
{
    const float padding = ImGui::GetStyle().FramePadding.y * 0.5f;
    bool changed = false;
    {
        const StyleScope style(
            { { ImGuiStyleVar_FramePadding, { padding, padding } }, { ImGuiStyleVar_FrameBorderSize, 1 } } );
        const TabStop stop;
        changed = ImGui::Checkbox( label, value );
    }
    return changed;
}

bool combo( const char* label, int* value, const std::vector<std::string>& options )
{
    const bool known = *value >= 0 && size_t( *value ) < options.size();
    bool changed = false, opened = false;
    {
        const TabStop stop;
        opened = ImGui::BeginCombo( label, known ? options[size_t( *value )].c_str() : "" );
    }
    if ( !opened )
        return false;
    for ( int i = 0; i < int( options.size() ); ++i )
        if ( ImGui::Selectable( options[size_t( i )].c_str(), i == *value ) )
        {
            changed = i != *value;
            *value = i;
        }
    ImGui::EndCombo();
    return changed;
}

bool slider( const char* label, float* value, float least, float most, const char* format )
{
    return ImGui::SliderFloat( label, value, least, most, format, ImGuiSliderFlags_AlwaysClamp );
}

bool drag( const char* label, float* value, float speed, float least, float most, const char* format )
{
    return ImGui::DragFloat( label, value, speed, least, most, format, ImGuiSliderFlags_AlwaysClamp );
}

bool drag( const char* label, int* value, float speed, int least, int most )
{
    return ImGui::DragInt( label, value, speed, least, most, "%d", ImGuiSliderFlags_AlwaysClamp );
}

void setTooltipIfHovered( std::string_view text, float scale )
{
    if ( text.empty() || !ImGui::IsItemHovered( ImGuiHoveredFlags_AllowWhenDisabled ) || ImGui::IsItemActive() )
        return;
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { 10 * scale, 7 * scale } } } );
    ImGui::BeginTooltip();
    ImGui::PushTextWrapPos( 320 * scale );
    ImGui::TextUnformatted( text.data(), text.data() + text.size() );
    ImGui::PopTextWrapPos();
    ImGui::EndTooltip();
}

void separator( const std::string& heading )
{
    ImGui::Dummy( { 0, 4 * UI::scale() } );
    text( RibbonFontManager::FontType::SemiBold, heading );
    ImGui::SameLine();
    const ImVec2 at = ImGui::GetCursorScreenPos();
    const float y = std::round( at.y + ImGui::GetTextLineHeight() / 2 );
    ImGui::GetWindowDrawList()->AddLine(
        { at.x, y }, { at.x + ImGui::GetContentRegionAvail().x, y }, themeU32( ColorTheme::Separator ) );
    ImGui::NewLine();
}

void text( RibbonFontManager::FontType face, const std::string& text )
{
    const FontScope font( face );
    ImGui::TextUnformatted( text.data(), text.data() + text.size() );
}

void wrapped( const ImVec4& color, const std::string& text )
{
    ImGui::PushTextWrapPos( 0 );
    colored( color, text );
    ImGui::PopTextWrapPos();
}

void colored( const ImVec4& color, const std::string& text )
{
    const StyleScope style( { { ImGuiCol_Text, color } } );
    ImGui::TextUnformatted( text.data(), text.data() + text.size() );
}

std::string fitted( const std::string& text, float width )
{
    if ( ImGui::CalcTextSize( text.c_str() ).x <= width )
        return text;
    constexpr const char* cEllipsis = "...";
    const float left = width - ImGui::CalcTextSize( cEllipsis ).x;
    const char* end = nullptr;
    ImFont* font = ImGui::GetFont();
    font->CalcTextSizeA( ImGui::GetFontSize(), std::max( left, 0.f ), 0, text.data(), text.data() + text.size(), &end );
    return std::string( text.data(), end ) + cEllipsis;
}

void centerNextWindow()
{
    const ImVec2 size = ImGui::GetIO().DisplaySize;
    ImGui::SetNextWindowPos( { size.x / 2, size.y / 2 }, ImGuiCond_Always, { 0.5f, 0.5f } );
}

bool beginToolDialog( const char* title, bool* open, float width )
{
    const float scale = UI::scale();
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float top = std::min( 176 * scale, display.y / 3 ), margin = 8 * scale;
    ImGui::SetNextWindowPos( { display.x - 16 * scale, top }, ImGuiCond_Appearing, { 1, 0 } );
    keepNextWindowInside( title );
    ImGui::SetNextWindowSize( { std::min( width * scale, display.x ), 0 } );
    // Where little is left below the ribbon, it may cover that rather than show two lines.
    const float height = std::max( display.y - top - margin, std::min( display.y, 360 * scale ) );
    ImGui::SetNextWindowSizeConstraints( { 0, 0 }, { display.x, std::max( height, 1.f ) } );
    const bool drawn = ImGui::Begin( title, open, ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_NoResize );
    // Its size is known from here on.
    if ( !isInside( *ImGui::GetCurrentWindow() ) )
        redraw();
    if ( ImGui::IsWindowFocused( ImGuiFocusedFlags_RootAndChildWindows ) && !ImGui::IsAnyItemActive() &&
         keyPressed( ImGuiKey_Escape ) )
        *open = false;
    return drawn;
}

void beginSidePanel( const char* id, const Vector2f& leftTop, float width, int flags )
{
    ImGui::SetNextWindowPos( { leftTop.x, leftTop.y } );
    // A size of 0 would be that of its contents.
    ImGui::SetNextWindowSize( { width, std::max( ImGui::GetIO().DisplaySize.y - leftTop.y, 1.f ) } );
    const StyleScope style( { { ImGuiStyleVar_WindowMinSize, { 1, 1 } },
        { ImGuiStyleVar_WindowPadding, { 8 * UI::scale(), 8 * UI::scale() } }, { ImGuiStyleVar_WindowRounding, 0 },
        { ImGuiStyleVar_WindowBorderSize, 0 }, { ImGuiCol_WindowBg, themeVec4( ColorTheme::TopPanelBackground ) } } );
    ImGui::Begin( id, nullptr,
        ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
            ImGuiWindowFlags_NoBringToFrontOnFocus | ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse |
            ImGuiWindowFlags_NoFocusOnAppearing | flags );
}

void endSidePanel()
{
    const ImVec2 low = ImGui::GetWindowPos(), size = ImGui::GetWindowSize();
    ImGui::GetWindowDrawList()->AddLine(
        { low.x + size.x - 0.5f, low.y }, { low.x + size.x - 0.5f, low.y + size.y }, themeU32( ColorTheme::Borders ) );
    ImGui::End();
}

std::string formatDuration( double seconds )
{
    const auto total = long( seconds );
    if ( total >= 3600 )
        return fmt::format( "{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60 );
    return fmt::format( "{}:{:02}", total / 60, total % 60 );
}

std::string formatCount( size_t number )
{
    const auto digits = std::to_string( number );
    std::string out;
    for ( size_t i = 0; i < digits.size(); ++i )
    {
        if ( i > 0 && ( digits.size() - i ) % 3 == 0 )
            out += ' ';
        out += digits[i];
    }
    return out;
}

} // namespace VX::UI
