#include "ui/viewer/RibbonFixture.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

class Notifications : public Testing::RibbonFixture
{
};

} // namespace

TEST_F( Notifications, NotificationsCanBeLeftOutByTheirTags )
{
    menu_->setAllowedNotificationTags( ImportantTag );
    menu_->pushNotification( { .header = "Report", .tags = ReportTag } );
    EXPECT_EQ( menu_->notificationCount(), 0u );
    menu_->pushNotification( { .header = "Both", .tags = ReportTag | ImportantTag } );
    menu_->pushNotification( { .header = "All" } );
    EXPECT_EQ( menu_->notificationCount(), 2u );
}

TEST_F( Notifications, NotificationsStayUntilDismissedWhenTheyHaveNoTime )
{
    menu_->pushNotification( { .header = "Stays", .lifeTimeSec = 0 } );
    settle();
    EXPECT_EQ( menu_->notificationCount(), 1u );
    menu_->pushNotification( { .header = "Goes", .lifeTimeSec = 0.05f } );
    turnUntil( [this] { return menu_->notificationCount() == 1; } );
}

TEST_F( Notifications, NotificationsStayWithinTheWindowAndTheOlderOnesWait )
{
    for ( int i = 0; i < 30; ++i )
        menu_->pushNotification(
            { .header = fmt::format( "part_{}", i ), .text = "The file is open", .lifeTimeSec = 0 } );
    settle();
    int shown = 0;
    for ( const ImGuiWindow* note : ImGui::GetCurrentContext()->Windows )
        if ( note->Active && std::string( note->Name ).starts_with( "##notification" ) )
        {
            ++shown;
            EXPECT_GE( note->Pos.y, windowPoint( "##topPanel", 0, 0 ).y ) << note->Name;
            EXPECT_LE( note->Pos.y + note->Size.y, 800 ) << note->Name;
        }
    EXPECT_GT( shown, 5 );
    EXPECT_LT( shown, 30 );
    EXPECT_TRUE( isWindowShown( "##notification29" ) ) << "the newest";
    EXPECT_FALSE( isWindowShown( "##notification0" ) );
    EXPECT_EQ( menu_->notificationCount(), 30u );
    click( windowPoint( "##notificationRow", 30, 15 ) );
    EXPECT_EQ( menu_->notificationCount(), 0u );
}

TEST_F( Notifications, ANotificationThatWaitedComesWhenThereIsRoom )
{
    for ( int i = 0; i < 12; ++i )
        menu_->pushNotification( { .header = fmt::format( "note_{}", i ), .text = "x", .lifeTimeSec = 0 } );
    settle();
    EXPECT_FALSE( isWindowShown( "##notification0" ) );
    for ( int i = 11; i > 1; --i )
    {
        const auto newest = fmt::format( "##notification{}", i );
        click( { windowPoint( newest, 26, 0 ).x, windowPointFromTop( newest, 0, 22 ).y } );
        EXPECT_EQ( menu_->notificationCount(), size_t( i ) );
    }
    EXPECT_TRUE( isWindowShown( "##notification0" ) );
    EXPECT_FALSE( isWindowShown( "##notificationRow" ) );
}

TEST_F( Notifications, TheNewestNotificationIsShownInTheSmallestWindow )
{
    window().resize( 300, 200 );
    for ( int i = 0; i < 4; ++i )
        menu_->pushNotification( { .header = fmt::format( "note_{}", i ), .lifeTimeSec = 0 } );
    settle();
    EXPECT_TRUE( isWindowShown( "##notification3" ) );
    EXPECT_FALSE( isWindowShown( "##notification2" ) );
}

TEST_F( Notifications, ButtonOfANotificationRunsAndCloses )
{
    int pressed = 0;
    menu_->pushNotification(
        { .header = "New", .buttonName = "Do it", .onButtonClick = [&] { ++pressed; }, .lifeTimeSec = 0 } );
    settle();
    click( { windowPointFromTop( "##notification", 40, 0 ).x, windowPoint( "##notification", 0, 30 ).y } );
    EXPECT_EQ( pressed, 1 );
    EXPECT_EQ( menu_->notificationCount(), 0u );
}
