#include <VXViewer/ui/ColorTheme.h>

#include <VXMesh/io/Json.h>
#include <VXViewer/ui/ImGuiColor.h>

#include <boost/signals2/signal.hpp>
#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace VX
{
namespace
{

using RibbonColors = std::array<Color, ColorTheme::RibbonColorsCount>;
using ViewportColors = std::array<Color, ColorTheme::ViewportColorsCount>;

struct Theme
{
    ColorTheme::Type type = ColorTheme::Type::Preset;
    ColorTheme::Preset preset = ColorTheme::Preset::Dark;
    std::string name;
    RibbonColors ribbon{};
    ViewportColors viewport{};
};

const std::vector<std::string>& viewportColorNames()
{
    static const std::vector<std::string> sNames{ "ViewportTop", "ViewportBottom", "Highlight", "Label" };
    return sNames;
}

Theme darkTheme()
{
    Theme out;
    out.ribbon = { Color{ 27, 29, 33, 255 }, { 36, 38, 43, 255 }, { 40, 43, 48, 252 }, { 62, 66, 74, 255 },
        { 52, 55, 62, 255 }, { 63, 67, 75, 255 }, { 58, 62, 69, 255 }, { 72, 76, 85, 255 }, { 84, 89, 99, 255 },
        { 58, 61, 68, 255 }, { 36, 38, 43, 255 }, { 150, 157, 169, 255 }, { 228, 231, 236, 255 },
        { 206, 211, 219, 255 }, { 255, 158, 54, 255 }, { 28, 22, 14, 255 }, { 255, 107, 97, 255 },
        { 255, 199, 89, 255 }, { 115, 209, 133, 255 }, { 255, 158, 54, 56 }, { 8, 9, 11, 140 } };
    out.viewport = { Color{ 86, 94, 106, 255 }, { 34, 37, 43, 255 }, { 255, 158, 54, 255 }, { 206, 211, 219, 255 } };
    return out;
}

Theme lightTheme()
{
    Theme out;
    out.preset = ColorTheme::Preset::Light;
    out.ribbon = { Color{ 224, 227, 232, 255 }, { 245, 246, 248, 255 }, { 252, 252, 253, 252 }, { 203, 208, 216, 255 },
        { 236, 239, 243, 255 }, { 226, 230, 236, 255 }, { 228, 231, 236, 255 }, { 216, 220, 227, 255 },
        { 202, 208, 217, 255 }, { 216, 220, 227, 255 }, { 245, 246, 248, 255 }, { 98, 106, 119, 255 },
        { 30, 34, 40, 255 }, { 58, 64, 74, 255 }, { 222, 112, 8, 255 }, { 255, 255, 255, 255 }, { 196, 40, 30, 255 },
        { 166, 106, 0, 255 }, { 24, 128, 56, 255 }, { 255, 158, 54, 84 }, { 40, 44, 52, 110 } };
    out.viewport = { Color{ 250, 251, 253, 255 }, { 196, 203, 213, 255 }, { 240, 130, 20, 255 }, { 58, 64, 74, 255 } };
    return out;
}

Theme themeOf( ColorTheme::Preset preset )
{
    return preset == ColorTheme::Preset::Light ? lightTheme() : darkTheme();
}

Theme& current()
{
    static Theme sTheme = darkTheme();
    return sTheme;
}

boost::signals2::signal<void()>& changedSignal()
{
    static boost::signals2::signal<void()> sSignal;
    return sSignal;
}

std::optional<Color> parseColor( const Json::Value& value )
{
    if ( !value.isString() )
        return {};
    const auto text = value.asString();
    if ( ( text.size() != 7 && text.size() != 9 ) || text[0] != '#' )
        return {};
    uint32_t number = 0;
    const auto end = text.data() + text.size();
    if ( const auto read = std::from_chars( text.data() + 1, end, number, 16 ); read.ptr != end )
        return {};
    if ( text.size() == 7 )
        number = number << 8 | 0xff;
    return Color{ uint8_t( number >> 24 ), uint8_t( number >> 16 ), uint8_t( number >> 8 ), uint8_t( number ) };
}

/// Reads the colours of one member of a theme over those that are there; the text says what is wrong.
template <size_t N>
tl::expected<void, std::string> readColors(
    const Json::Value& theme, const char* member, const std::vector<std::string>& names, std::array<Color, N>& colors )
{
    if ( !theme.isMember( member ) )
        return {};
    const auto& values = theme[member];
    if ( !values.isObject() )
        return tl::unexpected( fmt::format( "The theme's \"{}\" is not an object", member ) );
    for ( const auto& name : values.getMemberNames() )
    {
        const auto found = std::find( names.begin(), names.end(), name );
        if ( found == names.end() )
            return tl::unexpected( fmt::format( "The theme has no colour \"{}\" in \"{}\"", name, member ) );
        const auto color = parseColor( values[name] );
        if ( !color )
            return tl::unexpected( fmt::format( "The theme's colour \"{}\" is not of the form \"#rrggbb\"", name ) );
        colors[size_t( found - names.begin() )] = *color;
    }
    return {};
}

std::optional<ColorTheme::Preset> presetOf( const Json::Value& name )
{
    for ( const auto preset : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
        if ( name.isString() && name.asString() == ColorTheme::getPresetName( preset ) )
            return preset;
    return {};
}

void setColors( ImVec4* colors )
{
    const auto set = [colors]( int slot, ColorTheme::RibbonColorsType type )
    { colors[slot] = toImVec4( ColorTheme::getRibbonColor( type ) ); };
    using C = ColorTheme;
    for ( const auto& [slot, type] : { std::pair{ ImGuiCol_Text, C::Text }, { ImGuiCol_TextDisabled, C::DimText },
              { ImGuiCol_WindowBg, C::DialogBackground }, { ImGuiCol_ChildBg, C::TopPanelBackground },
              { ImGuiCol_PopupBg, C::DialogBackground }, { ImGuiCol_Border, C::Borders },
              { ImGuiCol_FrameBg, C::FrameBackground }, { ImGuiCol_FrameBgHovered, C::FrameHovered },
              { ImGuiCol_FrameBgActive, C::FrameHovered }, { ImGuiCol_TitleBg, C::TopPanelBackground },
              { ImGuiCol_TitleBgActive, C::TopPanelBackground }, { ImGuiCol_TitleBgCollapsed, C::TopPanelBackground },
              { ImGuiCol_MenuBarBg, C::Background }, { ImGuiCol_ScrollbarGrab, C::ButtonHovered },
              { ImGuiCol_ScrollbarGrabHovered, C::ButtonActive }, { ImGuiCol_ScrollbarGrabActive, C::ButtonActive },
              { ImGuiCol_CheckMark, C::Accent }, { ImGuiCol_SliderGrab, C::Accent },
              { ImGuiCol_SliderGrabActive, C::Accent }, { ImGuiCol_Button, C::Button },
              { ImGuiCol_ButtonHovered, C::ButtonHovered }, { ImGuiCol_ButtonActive, C::ButtonActive },
              { ImGuiCol_Header, C::Selection }, { ImGuiCol_HeaderHovered, C::ButtonHovered },
              { ImGuiCol_HeaderActive, C::Selection }, { ImGuiCol_Separator, C::Separator },
              { ImGuiCol_PlotHistogram, C::Accent }, { ImGuiCol_TextSelectedBg, C::Selection },
              { ImGuiCol_NavHighlight, C::Accent }, { ImGuiCol_ModalWindowDimBg, C::ModalDim },
              { ImGuiCol_Tab, C::TopPanelBackground }, { ImGuiCol_TabHovered, C::ButtonHovered },
              { ImGuiCol_TabActive, C::Button }, { ImGuiCol_TabUnfocused, C::TopPanelBackground },
              { ImGuiCol_TabUnfocusedActive, C::Button }, { ImGuiCol_ResizeGrip, C::Button },
              { ImGuiCol_ResizeGripHovered, C::ButtonHovered }, { ImGuiCol_ResizeGripActive, C::Accent },
              { ImGuiCol_SeparatorHovered, C::Accent }, { ImGuiCol_SeparatorActive, C::Accent },
              { ImGuiCol_DragDropTarget, C::Accent }, { ImGuiCol_TableBorderLight, C::Separator },
              { ImGuiCol_TableBorderStrong, C::Borders } } )
        set( slot, type );
    colors[ImGuiCol_ScrollbarBg] = {};
}

} // namespace

ColorTheme::Type ColorTheme::getThemeType()
{
    return current().type;
}

ColorTheme::Preset ColorTheme::getPreset()
{
    return current().preset;
}

const char* ColorTheme::getPresetName( Preset preset )
{
    return preset == Preset::Light ? "Light" : "Dark";
}

const std::string& ColorTheme::getUserThemeName()
{
    return current().name;
}

Color ColorTheme::getRibbonColor( RibbonColorsType type )
{
    return current().ribbon.at( type );
}

Color ColorTheme::getViewportColor( ViewportColorsType type )
{
    return current().viewport.at( type );
}

void ColorTheme::setupPreset( Preset preset )
{
    current() = themeOf( preset );
    changedSignal()();
}

tl::expected<void, std::string> ColorTheme::setupUserTheme( const Json::Value& theme )
{
    if ( !theme.isObject() )
        return tl::unexpected( std::string( "The theme is not an object" ) );
    const auto base = theme.isMember( "Base" ) ? presetOf( theme["Base"] ) : Preset::Dark;
    if ( !base )
        return tl::unexpected( std::string( "The theme's \"Base\" is not the name of a preset" ) );
    Theme out = themeOf( *base );
    out.type = Type::User;
    out.name = textMember( theme, "Name", "Custom" );
    if ( auto read = readColors( theme, "Ribbon", ribbonColorNames(), out.ribbon ); !read )
        return read;
    if ( auto read = readColors( theme, "Viewport", viewportColorNames(), out.viewport ); !read )
        return read;
    current() = std::move( out );
    changedSignal()();
    return {};
}

tl::expected<void, std::string> ColorTheme::setup( const Json::Value& theme )
{
    if ( !theme.isString() )
        return setupUserTheme( theme );
    const auto preset = presetOf( theme );
    if ( !preset )
        return tl::unexpected( fmt::format( "There is no theme \"{}\"", theme.asString() ) );
    setupPreset( *preset );
    return {};
}

const std::vector<std::string>& ColorTheme::ribbonColorNames()
{
    static const std::vector<std::string> sNames{ "Background", "TopPanelBackground", "DialogBackground", "Borders",
        "FrameBackground", "FrameHovered", "Button", "ButtonHovered", "ButtonActive", "Separator", "TabActive",
        "DimText", "Text", "Icon", "Accent", "AccentText", "Error", "Warning", "Good", "Selection", "ModalDim" };
    return sNames;
}

boost::signals2::connection ColorTheme::onChanged( std::function<void()> slot )
{
    return changedSignal().connect( [slot = std::move( slot )] { slot(); } );
}

void ColorTheme::applyToImGui( float scale )
{
    ImGuiStyle style;
    if ( getPreset() == Preset::Light )
        ImGui::StyleColorsLight( &style );
    else
        ImGui::StyleColorsDark( &style );
    style.WindowPadding = { 16, 14 };
    style.FramePadding = { 12, 7 };
    style.ItemSpacing = { 10, 8 };
    style.ItemInnerSpacing = { 8, 6 };
    style.CellPadding = { 8, 5 };
    style.ScrollbarSize = 12;
    style.IndentSpacing = 18;
    style.WindowRounding = 8;
    style.ChildRounding = style.PopupRounding = 6;
    style.FrameRounding = style.GrabRounding = 5;
    style.ScrollbarRounding = 6;
    style.WindowBorderSize = 1;
    style.PopupBorderSize = 1;
    style.WindowTitleAlign = { 0, 0.5f };
    style.WindowMenuButtonPosition = ImGuiDir_None;
    setColors( style.Colors );
    style.ScaleAllSizes( scale );
    ImGui::GetStyle() = style;
}

} // namespace VX
