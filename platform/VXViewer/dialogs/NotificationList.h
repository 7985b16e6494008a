#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/dialogs/Notification.h>
#include <VXViewer/ui/TextBox.h>

#include <functional>
#include <string>
#include <vector>

namespace VX
{

/// Notifications stacked in the lower right corner, the newest at the top; the same one again is counted instead of
/// repeated. Long texts scroll. Where there is no room for all, the older ones wait and are counted in a row below.
class VXVIEWER_API NotificationList
{
public:
    void push( const RibbonNotification& notification );
    /// Takes the one of this key away, where it is still shown.
    void remove( const std::string& key );
    /// Draws below `top`, in pixels.
    void draw( float top );
    [[nodiscard]] size_t size() const { return entries_.size(); }
    void clear() { entries_.clear(); }

private:
    struct Entry
    {
        RibbonNotification notification;
        TextBox header;
        TextBox text;
        double shownAt = -1;
        int count = 1;
        int id = 0;
        float height = 0; ///< as last drawn; 0 before
    };
    /// How many of the newest have room in a height.
    [[nodiscard]] size_t fitting_( float room ) const;
    /// Draws the row below the list; returns its height.
    float drawRow_( size_t waiting, float bottom );
    /// Draws one above `bottom`; returns its height, or a negative number when it is to go.
    float drawEntry_( Entry& entry, float bottom, std::function<void()>& clicked );

    /// Returns whether it is to go; `clicked` becomes what its button does when that was pressed.
    static bool drawContents_( Entry& entry, float width, std::function<void()>& clicked );

    std::vector<Entry> entries_;
    int nextId_ = 0;
};

} // namespace VX
