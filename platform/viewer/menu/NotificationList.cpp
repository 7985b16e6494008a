#include <VXViewer/menu/NotificationList.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

struct Look
{
    ColorTheme::RibbonColorsType color;
    const char* icon;
};

Look lookOf( NotificationType type )
{
    switch ( type )
    {
    case NotificationType::Error:
        return { ColorTheme::Error, Icons::cError };
    case NotificationType::Warning:
        return { ColorTheme::Warning, Icons::cWarning };
    case NotificationType::Info:
        return { ColorTheme::Good, Icons::cInfo };
    default:
        return { ColorTheme::Good, Icons::cDone };
    }
}

} // namespace

void NotificationList::remove( const std::string& key )
{
    std::erase_if( entries_, [&]( const Entry& entry ) { return entry.notification.key == key; } );
}

void NotificationList::push( const RibbonNotification& notification )
{
    const auto former = std::find_if( entries_.begin(), entries_.end(),
        [&]( const Entry& entry ) { return !notification.key.empty() && entry.notification.key == notification.key; } );
    if ( former != entries_.end() )
    {
        former->notification = notification;
        former->shownAt = -1;
        return;
    }
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

bool NotificationList::drawContents_( const Entry& entry, float width, float scale, std::function<void()>& clicked )
{
    const auto& note = entry.notification;
    const auto look = lookOf( note.type );
    UI::colored( themeVec4( look.color ), look.icon );
    ImGui::SameLine();
    {
        const FontScope semiBold( RibbonFontManager::FontType::SemiBold );
        const auto header = entry.count > 1 ? fmt::format( "{} ({})", note.header, entry.count ) : note.header;
        ImGui::PushTextWrapPos( width - 40 * scale );
        ImGui::TextUnformatted( header.data(), header.data() + header.size() );
        ImGui::PopTextWrapPos();
    }
    ImGui::SameLine( width - 34 * scale );
    bool close = UI::glyphButton( Icons::cClose, "close", themeVec4( ColorTheme::DimText ) );
    UI::setTooltipIfHovered( "Dismiss", scale );
    if ( !note.text.empty() )
        UI::wrapped( themeVec4( ColorTheme::DimText ), note.text );
    if ( note.progress >= 0 )
        ImGui::ProgressBar( note.progress, { -1, 6 * scale }, "" );
    if ( !note.buttonName.empty() && ImGui::Button( note.buttonName.c_str() ) )
    {
        close = true;
        clicked = note.onButtonClick;
    }
    return close;
}

float NotificationList::drawEntry_( Entry& entry, float bottom, float scale, std::function<void()>& clicked )
{
    const float lifeTime = entry.notification.lifeTimeSec;
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float margin = 16 * scale, width = std::min( 320 * scale, display.x - 2 * margin );
    ImGui::SetNextWindowPos( { display.x - margin, bottom }, ImGuiCond_Always, { 1, 1 } );
    ImGui::SetNextWindowSize( { width, 0 } );
    const auto id = fmt::format( "##notification{}", entry.id );
    ImGui::Begin( id.c_str(), nullptr,
        ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
            ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav );
    const bool close = drawContents_( entry, width, scale, clicked );
    const bool hovered = ImGui::IsWindowHovered( ImGuiHoveredFlags_ChildWindows );
    const float height = ImGui::GetWindowHeight();
    ImGui::End();
    if ( entry.shownAt < 0 || hovered )
        entry.shownAt = ImGui::GetTime();
    if ( close )
        return -1;
    if ( lifeTime <= 0 )
        return height;
    const double left = entry.shownAt + double( lifeTime ) - ImGui::GetTime();
    if ( left <= 0 )
        return -1;
    getViewerInstance().requestFrameIn( left + 0.02 );
    return height;
}

void NotificationList::draw( float scale )
{
    if ( entries_.empty() )
        return;
    // Above the axes in the corner.
    float bottom = ImGui::GetIO().DisplaySize.y - 116 * scale;
    const size_t before = entries_.size();
    // What a button does may push and remove notes, so it is done when the list stands still.
    std::function<void()> clicked;
    std::erase_if( entries_,
        [&]( Entry& entry )
        {
            const float height = drawEntry_( entry, bottom, scale, clicked );
            bottom -= std::max( height, 0.f ) + 8 * scale;
            return height < 0;
        } );
    if ( entries_.size() != before )
        getViewerInstance().incrementForceRedrawFrames( 2 );
    if ( clicked )
        clicked();
}

} // namespace VX
