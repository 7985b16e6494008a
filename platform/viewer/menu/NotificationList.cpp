#include <VXViewer/menu/NotificationList.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/ui/Theme.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

ImVec4 colorOf( NotificationType type )
{
    switch ( type )
    {
    case NotificationType::Error:
        return Theme::cErrorText;
    case NotificationType::Warning:
        return Theme::cWarningText;
    default:
        return Theme::cGoodText;
    }
}

const char* iconOf( NotificationType type )
{
    switch ( type )
    {
    case NotificationType::Error:
        return Icons::cError;
    case NotificationType::Warning:
        return Icons::cWarning;
    default:
        return Icons::cDone;
    }
}

} // namespace

void NotificationList::push( const RibbonNotification& notification )
{
    const auto same = std::find_if( entries_.begin(), entries_.end(),
        [&]( const Entry& entry )
        {
            return entry.notification.header == notification.header && entry.notification.text == notification.text &&
                   entry.notification.type == notification.type;
        } );
    if ( same != entries_.end() )
    {
        ++same->count;
        same->shownAt = -1;
        return;
    }
    entries_.push_back( { notification, -1, 1, nextId_++ } );
}

float NotificationList::drawEntry_( Entry& entry, float bottom, float scale )
{
    const auto& note = entry.notification;
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float margin = 16 * scale, width = 320 * scale;
    ImGui::SetNextWindowPos( { display.x - margin, bottom }, ImGuiCond_Always, { 1, 1 } );
    ImGui::SetNextWindowSize( { width, 0 } );
    const auto id = fmt::format( "##notification{}", entry.id );
    ImGui::Begin( id.c_str(), nullptr,
        ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
            ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav );
    ImGui::TextColored( colorOf( note.type ), "%s", iconOf( note.type ) );
    ImGui::SameLine();
    UI::text(
        Fonts::Face::SemiBold, entry.count > 1 ? fmt::format( "{} ({})", note.header, entry.count ) : note.header );
    ImGui::SameLine( width - 34 * scale );
    ImGui::PushStyleColor( ImGuiCol_Button, ImVec4{} );
    bool close = ImGui::SmallButton( Icons::cClose );
    ImGui::PopStyleColor();
    if ( !note.text.empty() )
        UI::wrapped( Theme::cDimText, note.text );
    if ( !note.buttonName.empty() && ImGui::Button( note.buttonName.c_str() ) )
    {
        close = true;
        if ( note.onButtonClick )
            note.onButtonClick();
    }
    const bool hovered = ImGui::IsWindowHovered( ImGuiHoveredFlags_ChildWindows );
    const float height = ImGui::GetWindowHeight();
    ImGui::End();
    if ( entry.shownAt < 0 || hovered )
        entry.shownAt = ImGui::GetTime();
    const double left = entry.shownAt + double( note.lifeTimeSec ) - ImGui::GetTime();
    if ( left <= 0 || close )
        return -1;
    getViewerInstance().requestFrameIn( left + 0.02 );
    return height;
}

void NotificationList::draw( float scale )
{
    if ( entries_.empty() )
        return;
    float bottom = ImGui::GetIO().DisplaySize.y - 16 * scale;
    const size_t before = entries_.size();
    std::erase_if( entries_,
        [&]( Entry& entry )
        {
            const float height = drawEntry_( entry, bottom, scale );
            bottom -= std::max( height, 0.f ) + 8 * scale;
            return height < 0;
        } );
    if ( entries_.size() != before )
        getViewerInstance().incrementForceRedrawFrames( 2 );
}

} // namespace VX
