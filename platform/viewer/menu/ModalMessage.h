#pragma once

#include <VXViewer/menu/Notification.h>

#include <deque>

namespace VX
{

/// Texts that have to be confirmed, one after the other.
class ModalMessage
{
public:
    void push( std::string text, NotificationType type );
    [[nodiscard]] bool isShown() const { return !queue_.empty(); }
    void draw( float scale );

private:
    struct Message
    {
        std::string text;
        NotificationType type;
    };
    std::deque<Message> queue_;
};

} // namespace VX
