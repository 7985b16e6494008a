#pragma once

#include <VXViewer/Export.h>

#include <imgui.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace VX
{

/// The drawings of the interface, in two colours of the theme, at the size in pixels at which they are shown.
///
/// Each drawing is made for a size when it is first asked for and kept in one texture. UI thread, with the context.
class VXVIEWER_API RibbonIcons
{
public:
    enum class ColorType
    {
        Colorful, ///< in the theme's colours for icons and accent
        White     ///< white, to be tinted when drawn
    };

    enum class IconType
    {
        RibbonItemIcon,
        ObjectTypeIcon,
        IndependentIcons,
        Logos
    };

    /// Where a drawing stands in a texture.
    struct Icon
    {
        ImTextureID texture = nullptr;
        ImVec2 uv0;
        ImVec2 uv1;
    };

    /// A drawing of this name `width` pixels wide and high, or nothing when there is none. It holds for this frame.
    [[nodiscard]] static std::optional<Icon> findByName(
        const std::string& name, float width, ColorType colorType, IconType iconType );
    [[nodiscard]] static bool exists( const std::string& name );

    /// Adds drawings as PNG files (main colour in the red channel, accent in the green one), replacing those of the
    /// same name. The bytes must outlive the process' interface. Libraries do so while they are loaded.
    static void add( const std::string& name, std::span<const std::byte> png );

    /// Frees the texture; drawings are made again when asked for. Called when the theme changes and before the context
    /// goes.
    static void clear();
};

} // namespace VX
