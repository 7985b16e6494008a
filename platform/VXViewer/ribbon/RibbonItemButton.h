#pragma once

#include <VXViewer/ribbon/RibbonItemHost.h>

#include <imgui.h>

namespace VX::RibbonItemButton
{

enum class Kind
{
    Large, ///< drawing over a caption of up to two lines
    Row,   ///< small drawing and caption in one line
    Icon,  ///< small drawing alone
    Alone  ///< the same without the list of further tools
};

/// Size of a button in the current fonts and the running frame.
[[nodiscard]] VXVIEWER_API ImVec2 sizeOf( const MenuItemInfo& info, Kind kind );

/// Draws a tool's button at the cursor and tells the host when it is pressed. Tools with a drop-down list get a strip
/// that opens it. Returns whether it was pressed.
VXVIEWER_API bool draw( const MenuItemInfo& info, Kind kind, RibbonItemHost& host );

/// Draws a tool as a row of a popup, with its shortcut; true when it was pressed, which closes the popup.
bool drawMenuRow( const MenuItemInfo& info, RibbonItemHost& host );

/// Draws a tool's drawing in the current text colour; nothing where there is none.
void drawIcon( ImDrawList& list, const std::string& icon, ImVec2 at, float side, bool enabled );

} // namespace VX::RibbonItemButton
