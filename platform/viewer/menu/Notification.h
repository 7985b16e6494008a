#pragma once

#include <functional>
#include <string>

namespace VX
{

enum class NotificationType
{
    Error,
    Warning,
    Info,
    Time
};

/// A note that stands in the corner for a while without asking for an answer.
struct RibbonNotification
{
    std::string header;
    std::string text;
    NotificationType type = NotificationType::Info;
    /// Empty when there is no button.
    std::string buttonName;
    std::function<void()> onButtonClick;
    float lifeTimeSec = 8;
};

} // namespace VX
