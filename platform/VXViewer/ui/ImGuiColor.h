#pragma once

#include <VXViewer/ui/ColorTheme.h>

#include <imgui.h>

namespace VX
{

[[nodiscard]] inline ImVec4 toImVec4( Color c )
{
    return { float( c.r ) / 255, float( c.g ) / 255, float( c.b ) / 255, float( c.a ) / 255 };
}

[[nodiscard]] inline ImU32 toImU32( Color c )
{
    return IM_COL32( c.r, c.g, c.b, c.a );
}

/// A colour of the theme's interface, as Dear ImGui takes it.
[[nodiscard]] inline ImVec4 themeVec4( ColorTheme::RibbonColorsType type )
{
    return toImVec4( ColorTheme::getRibbonColor( type ) );
}

[[nodiscard]] inline ImU32 themeU32( ColorTheme::RibbonColorsType type )
{
    return toImU32( ColorTheme::getRibbonColor( type ) );
}

} // namespace VX
