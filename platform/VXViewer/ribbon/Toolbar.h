#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/ribbon/RibbonItemHost.h>

#include <functional>
#include <limits>
#include <map>

namespace VX
{

/// The quick-access toolbar: tools that the user wants at hand, in a strip over the viewport, and the dialog that
/// chooses them. The list is kept in the user's settings with the version of its names. UI thread.
class VXVIEWER_API Toolbar
{
public:
    using Items = std::vector<std::string>;
    /// Edits the names of a saved list in place.
    using Upgrade = std::function<void( Items& )>;

    static constexpr size_t cMaxItems = 14;

    /// Lists saved with a version below `version` are edited when they are read, in the order of versions.
    void addUpgrade( int version, Upgrade upgrade ) { upgrades_[version] = std::move( upgrade ); }

    /// Reads the saved list, or takes the schema's where there is none; tools that do not exist are left out. A list
    /// saved by a newer program is taken as it is.
    void load();
    void resetToDefault();

    [[nodiscard]] const Items& items() const { return items_; }
    void setItems( Items items );

    /// A list as it was saved with a version, edited by the upgrades above that version.
    [[nodiscard]] Items upgraded( Items items, int savedVersion ) const;

    void openCustomize() { customizeRequested_ = true; }
    [[nodiscard]] bool isCustomizeOpen() const { return customizeOpen_; }

    /// Draws the strip with its upper edge at `top` pixels, in the middle between `left` and the right edge.
    void drawToolbar( RibbonItemHost& host, float left, float top );
    void drawCustomize();
    /// Pixels from the window's left edge to the strip that was drawn last; endless when it has nothing to show.
    [[nodiscard]] float left() const { return left_; }

private:
    void save_() const;
    void drawChosen_();
    void drawAll_();
    void toggle_( const std::string& name );

    std::map<int, Upgrade> upgrades_;
    Items items_;
    float left_ = std::numeric_limits<float>::infinity();
    bool customizeRequested_ = false;
    bool customizeOpen_ = false;
    std::string filter_;
};

} // namespace VX
