#pragma once

#include <VXViewer/ribbon/RibbonGroupLayout.h>
#include <VXViewer/ribbon/RibbonItemHost.h>
#include <VXViewer/ribbon/RibbonMenuSearch.h>

namespace VX
{

/// The panel at the upper edge: a row of tabs with the search field, and the groups of tools of the current tab.
///
/// Where the groups stand is worked out when the schema, the tab, the scale or the width changes. UI thread.
class RibbonTopPanel
{
public:
    /// Heights at scale 1. Together they stay below 120, where notices of the program begin.
    static constexpr float cTabsHeight = 33;
    static constexpr float cToolsHeight = 85;

    void draw( RibbonItemHost& host, RibbonMenuSearch& search, bool drawTabs, bool centerItems );

    /// Height at scale 1 for a mode, as it is drawn now.
    [[nodiscard]] float height( bool drawTabs ) const;

    /// Whether the tools are hidden so that only the tabs take room.
    [[nodiscard]] bool isCollapsed() const { return collapsed_; }
    void setCollapsed( bool on ) { collapsed_ = on; }

    void selectTab( const std::string& name );
    [[nodiscard]] const std::string& currentTab() const { return tab_; }

private:
    struct Group
    {
        std::string name;
        std::string icon;
        std::vector<MenuItemInfo> items;
        RibbonGroupWidths widths{};
        RibbonGroupSize size = RibbonGroupSize::Full;
    };

    void updateGroups_( float available );
    void collectGroups_();
    void drawTabs_( RibbonItemHost& host, RibbonMenuSearch& search );
    void drawTab_( const RibbonTab& tab );
    void drawCollapse_();
    void drawTools_( RibbonItemHost& host, bool centerItems, float top );
    void drawPopup_( RibbonItemHost& host );
    void drawGroup_( Group& group, RibbonItemHost& host, float top );

    std::string tab_;
    std::vector<Group> groups_;
    uint64_t revision_ = 0;
    float scale_ = 0;
    float available_ = -1;
    bool collapsed_ = false;
    bool openPopup_ = false;
};

} // namespace VX
