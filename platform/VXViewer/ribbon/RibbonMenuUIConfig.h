#pragma once

namespace VX
{

enum class TopPanelLayoutMode
{
    None,
    RibbonNoTabs,  ///< the tools of the current tab alone
    RibbonWithTabs ///< the whole ribbon
};

/// Which parts of the ribbon menu are drawn.
struct RibbonMenuUIConfig
{
    TopPanelLayoutMode topLayout = TopPanelLayoutMode::RibbonWithTabs;
    /// Whether the tools stand in the middle of the panel rather than at its left end.
    bool centerRibbonItems = false;
    bool drawScenePanel = true;
    bool drawToolbar = true;
    bool drawViewportTags = true;
    bool drawNotifications = true;
};

} // namespace VX
