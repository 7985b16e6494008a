#pragma once

#include <VXMesh/math/Color.h>
#include <VXViewer/Export.h>

#include <boost/signals2/connection.hpp>
#include <json/value.h>
#include <tl/expected.hpp>

#include <functional>
#include <string>
#include <vector>

namespace VX
{

/// Where the user's choice of a theme is kept in the settings.
inline constexpr const char* cColorThemeConfigKey = "colorTheme";

/// The colours of the interface and of the viewport: one of the presets, or a theme of the user's own.
///
/// There is one theme for the process. UI thread; it may be set before the viewer starts.
class VXVIEWER_API ColorTheme
{
public:
    enum class Type
    {
        Preset,
        User
    };

    enum class Preset
    {
        Dark,
        Light
    };

    /// What a colour of the interface is for. Themes name them by the names of these values.
    enum RibbonColorsType
    {
        Background,         ///< row of the tabs
        TopPanelBackground, ///< row of the tools, panels at the edges
        DialogBackground,   ///< dialogs, notices, notifications
        Borders,
        FrameBackground, ///< fields to type in
        FrameHovered,
        Button,
        ButtonHovered,
        ButtonActive,
        Separator,
        TabActive,
        DimText,
        Text,
        Icon,
        Accent,     ///< the one colour that draws attention
        AccentText, ///< on the accent colour
        Error,
        Warning,
        Good,
        Selection, ///< behind selected rows and active tools
        ModalDim,  ///< over everything below a modal dialog
        RibbonColorsCount
    };

    enum ViewportColorsType
    {
        ViewportTop,
        ViewportBottom,
        Highlight,
        Label,
        ViewportColorsCount
    };

    [[nodiscard]] static Type getThemeType();
    /// The preset in use, or the one that the user's theme builds on.
    [[nodiscard]] static Preset getPreset();
    [[nodiscard]] static const char* getPresetName( Preset preset );
    /// Name of the user's theme; empty while a preset is in use.
    [[nodiscard]] static const std::string& getUserThemeName();

    [[nodiscard]] static Color getRibbonColor( RibbonColorsType type );
    [[nodiscard]] static Color getViewportColor( ViewportColorsType type );

    static void setupPreset( Preset preset );

    /// Takes a theme of the user's own:
    /// `{"Name": "Sea", "Base": "Dark", "Ribbon": {"Accent": "#30a0ff"}, "Viewport": {"ViewportTop": "#102030"}}`.
    ///
    /// Colours are "#rrggbb" or "#rrggbbaa"; those not named are the base's. On failure the text names the member that
    /// is wrong, and the theme stays as it was.
    [[nodiscard]] static tl::expected<void, std::string> setupUserTheme( const Json::Value& theme );

    /// Takes what `applyRibbonConfig` or the settings hold: the name of a preset, or an object as above.
    [[nodiscard]] static tl::expected<void, std::string> setup( const Json::Value& theme );

    /// Names of the members that a theme may set.
    [[nodiscard]] static const std::vector<std::string>& ribbonColorNames();

    /// Called after each change, in the order of connecting.
    static boost::signals2::connection onChanged( std::function<void()> slot );

    /// Colours and measures of Dear ImGui for a scale.
    static void applyToImGui( float scale );
};

} // namespace VX
