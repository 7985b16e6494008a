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

/// What a notification is about, as bits; a user interface may leave some out.
enum NotificationTags : unsigned
{
    NoNotificationTags = 0,
    ReportTag = 1,
    RecommendationTag = 2,
    ImportantTag = 4,
    ImplicitTag = 8,
    AllNotificationTags = ReportTag | RecommendationTag | ImportantTag | ImplicitTag
};

/// A note that stands in the corner for a while without asking for an answer.
struct RibbonNotification
{
    std::string header = {};
    std::string text = {};
    /// Empty when there is no button.
    std::string buttonName = {};
    std::function<void()> onButtonClick = {};
    NotificationType type = NotificationType::Info;
    /// Seconds; 0 or less stays until it is dismissed.
    float lifeTimeSec = 8;
    unsigned tags = AllNotificationTags;
    /// A note with a key takes the place of the one of that key which is still shown: for news of one matter.
    std::string key = {};
    /// 0..1 is drawn as a bar; less is none.
    float progress = -1;
};

} // namespace VX
