#include <VXViewer/dialogs/NotificationList.h>

#include <VXViewer/loop/Wake.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>
#include <utility>

namespace VX
{
namespace
{

constexpr ImGuiWindowFlags cFlags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
                                    ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav;
// At scale 1.
constexpr float cMargin = 16, cWidth = 320, cGap = 8, cRowHeight = 30;

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
        *former = { notification, TextBox( notification.header ), TextBox( notification.text ), -1, 1, former->id,
            former->height };
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
        same->header = TextBox( fmt::format( "{} ({})", notification.header, ++same->count ) );
        same->shownAt = -1;
        return;
    }
    entries_.push_back(
        { notification, TextBox( notification.header ), TextBox( notification.text ), -1, 1, nextId_++, 0 } );
}

bool NotificationList::drawContents_( Entry& entry, float width, std::function<void()>& clicked )
{
    const float scale = UI::scale();
    const auto& note = entry.notification;
    const auto look = lookOf( note.type );
    UI::colored( themeVec4( look.color ), look.icon );
    ImGui::SameLine();
    {
        const FontScope semiBold( RibbonFontManager::FontType::SemiBold );
        entry.header.draw( "##header", ImGui::GetStyleColorVec4( ImGuiCol_Text ),
            width - 40 * scale - ImGui::GetCursorPosX(), 4 * ImGui::GetTextLineHeight() );
    }
    ImGui::SameLine( width - 34 * scale );
    bool close = UI::glyphButton( Icons::cClose, "close", themeVec4( ColorTheme::DimText ) );
    UI::setTooltipIfHovered( "Dismiss" );
    if ( !note.text.empty() )
        entry.text.draw( "##text", themeVec4( ColorTheme::DimText ), ImGui::GetContentRegionAvail().x,
            8 * ImGui::GetTextLineHeight() );
    if ( note.progress >= 0 )
        ImGui::ProgressBar( note.progress, { -1, 6 * scale }, "" );
    if ( !note.buttonName.empty() && ImGui::Button( note.buttonName.c_str() ) )
    {
        close = true;
        clicked = note.onButtonClick;
    }
    return close;
}

float NotificationList::drawEntry_( Entry& entry, float bottom, std::function<void()>& clicked )
{
    const float scale = UI::scale();
    const float lifeTime = entry.notification.lifeTimeSec;
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float margin = cMargin * scale, width = std::min( cWidth * scale, display.x - 2 * margin );
    ImGui::SetNextWindowPos( { display.x - margin, bottom }, ImGuiCond_Always, { 1, 1 } );
    ImGui::SetNextWindowSize( { width, 0 } );
    ImGui::SetNextWindowSizeConstraints( { width, 0 }, { width, std::max( bottom, 1.f ) } );
    const auto id = fmt::format( "##notification{}", entry.id );
    ImGui::Begin( id.c_str(), nullptr, cFlags );
    UI::keepBehindModals();
    const bool close = drawContents_( entry, width, clicked );
    const bool hovered = ImGui::IsWindowHovered( ImGuiHoveredFlags_ChildWindows );
    const float height = ImGui::GetWindowHeight();
    ImGui::End();
    // What has room is known once the height is.
    if ( std::exchange( entry.height, height ) != height )
        redraw();
    if ( entry.shownAt < 0 || hovered )
        entry.shownAt = ImGui::GetTime();
    if ( close )
        return -1;
    if ( lifeTime <= 0 )
        return height;
    const double left = entry.shownAt + double( lifeTime ) - ImGui::GetTime();
    if ( left <= 0 )
        return -1;
    redrawIn( left + 0.02 );
    return height;
}

size_t NotificationList::fitting_( float room ) const
{
    const float scale = UI::scale();
    constexpr float cExpected = 66;
    size_t count = 0;
    for ( auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry, ++count )
    {
        room -= ( entry->height > 0 ? entry->height : cExpected * scale ) + cGap * scale;
        if ( room < 0 )
            break;
    }
    // The newest is shown in the smallest window.
    return std::max<size_t>( count, 1 );
}

float NotificationList::drawRow_( size_t waiting, float bottom )
{
    const float scale = UI::scale();
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float margin = cMargin * scale, width = std::min( cWidth * scale, display.x - 2 * margin );
    const float height = cRowHeight * scale;
    ImGui::SetNextWindowPos( { display.x - margin, bottom }, ImGuiCond_Always, { 1, 1 } );
    ImGui::SetNextWindowSize( { width, height } );
    {
        const StyleScope style(
            { { ImGuiStyleVar_WindowPadding, { 12 * scale, 6 * scale } }, { ImGuiStyleVar_WindowMinSize, { 1, 1 } } } );
        ImGui::Begin( "##notificationRow", nullptr, cFlags | ImGuiWindowFlags_NoScrollbar );
    }
    UI::keepBehindModals();
    if ( waiting > 0 )
    {
        UI::colored( themeVec4( ColorTheme::DimText ), fmt::format( "{} more", waiting ) );
        ImGui::SameLine();
    }
    constexpr const char* cDismiss = "Dismiss all";
    ImGui::SetCursorPosX( width - ImGui::CalcTextSize( cDismiss ).x - 12 * scale );
    if ( UI::link( cDismiss, themeVec4( ColorTheme::Text ) ) )
        entries_.clear();
    ImGui::End();
    return height;
}

void NotificationList::draw( float top )
{
    const float scale = UI::scale();
    if ( entries_.empty() )
        return;
    const size_t before = entries_.size();
    const float lowest = ImGui::GetIO().DisplaySize.y;
    // Above the axes in the corner, where the window is not too small for that.
    float bottom = lowest - 116 * scale;
    if ( bottom - top < 100 * scale )
        bottom = lowest - 8 * scale;
    const float row = ( cRowHeight + cGap ) * scale;
    size_t shown = fitting_( bottom - top );
    const bool hasRow = before > 2 || shown < before;
    if ( hasRow )
    {
        shown = fitting_( bottom - top - row );
        bottom -= drawRow_( before - shown, bottom ) + cGap * scale;
    }
    // What a button does may push and remove notes, so it is done when the list stands still.
    std::function<void()> clicked;
    size_t index = 0;
    std::erase_if( entries_,
        [&]( Entry& entry )
        {
            if ( index++ < before - shown )
                return false;
            const float height = drawEntry_( entry, bottom, clicked );
            bottom -= std::max( height, 0.f ) + cGap * scale;
            return height < 0;
        } );
    if ( entries_.size() != before )
        redraw();
    if ( clicked )
        clicked();
}

} // namespace VX
