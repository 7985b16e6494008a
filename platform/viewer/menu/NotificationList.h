#pragma once

#include <VXViewer/menu/Notification.h>

#include <vector>

namespace VX
{

/// Notifications stacked in the lower right corner; the same one again is counted instead of repeated.
class NotificationList
{
public:
    void push( const RibbonNotification& notification );
    /// Takes the one of this key away, where it is still shown.
    void remove( const std::string& key );
    void draw( float scale );
    [[nodiscard]] size_t size() const { return entries_.size(); }
    void clear() { entries_.clear(); }

private:
    struct Entry
    {
        RibbonNotification notification;
        double shownAt = -1;
        int count = 1;
        int id = 0;
    };
    /// Draws one above `bottom`; returns its height, or a negative number when it is to go.
    float drawEntry_( Entry& entry, float bottom, float scale, std::function<void()>& clicked );

    /// Returns whether it is to go; `clicked` becomes what its button does when that was pressed.
    static bool drawContents_( const Entry& entry, float width, float scale, std::function<void()>& clicked );

    std::vector<Entry> entries_;
    int nextId_ = 0;
};

} // namespace VX
