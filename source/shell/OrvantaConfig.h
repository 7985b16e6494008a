#pragma once

#include <VXOrvanta/Export.h>
#include <VXViewer/ribbon/RibbonConfig.h>

#include <array>
#include <filesystem>
#include <optional>

namespace VX
{

/// Switches of the main menu. Their order is the binary interface: programs that are built already fill them in by
/// place.
struct OrvantaMenuUIConfig
{
    /// Draw the welcome window.
    bool drawWelcomeWindow = true;
    /// Register the general shortcuts.
    bool allowBaseShortcuts = true;
    /// Register those of undo and redo.
    bool allowHistoryShortcuts = true;
};

/// What the program's JSON configuration says. A value: read it once, apply it when the viewer and its menu exist, and
/// drop it.
///
/// The order of the members is the binary interface: programs that are built already fill them in by place.
struct OrvantaConfig : RibbonConfig
{
    /// Engaged only where the document has a "MenuLayout" object.
    std::optional<OrvantaMenuUIConfig> menuUIConfig;
    /// Replacement font files by `RibbonFontManager::FontFile`; an empty path keeps the current one. The fourth is
    /// never filled from JSON.
    std::array<std::filesystem::path, 4> fonts;
};

/// Reads a configuration. Members of a wrong type are skipped and keep their defaults; a font that is not a regular
/// ".ttf" or ".otf" file is skipped.
[[nodiscard]] VXORVANTA_API OrvantaConfig createOrvantaConfigFromJson( const Json::Value& root );

/// Applies a configuration to the running menu, its fonts and the ribbon. Without an Orvanta menu a warning is logged
/// and nothing at all is applied. UI thread.
VXORVANTA_API void applyOrvantaConfig( const OrvantaConfig& config );

} // namespace VX
