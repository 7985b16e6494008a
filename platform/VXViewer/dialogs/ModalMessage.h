#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/dialogs/Notification.h>
#include <VXViewer/ui/TextBox.h>

#include <deque>

namespace VX
{

/// Texts that have to be confirmed, one after the other. A long one scrolls above its button.
class VXVIEWER_API ModalMessage
{
public:
    void push( std::string text, NotificationType type );
    /// Gives a message that was pushed a second button.
    void addButton(
        const std::string& text, NotificationType type, const std::string& name, std::function<void()> action );
    [[nodiscard]] bool isShown() const { return !queue_.empty(); }
    void draw();

private:
    struct Message
    {
        TextBox text;
        NotificationType type;
        std::string buttonName = {};
        std::function<void()> onButtonClick = {};
    };
    /// Draws the buttons; returns whether one was pressed, and in `clicked` what it does.
    bool drawButtons_( float width, std::function<void()>& clicked ) const;

    std::deque<Message> queue_;
};

} // namespace VX
