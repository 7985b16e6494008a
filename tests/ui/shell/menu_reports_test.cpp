#include "support/LogCapture.h"
#include "support/ui/LoggedFixture.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/shell/ArchitectureCheck.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/welcome/SitePages.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// A tool that does as it is told.
class ObedientItem final : public RibbonMenuItem
{
public:
    using RibbonMenuItem::RibbonMenuItem;
    bool action() override { return result; }
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& ) const override { return requirement; }
    bool result = true;
    std::string requirement;
};

std::chrono::nanoseconds sNow{};

/// What the menu tells about the use of the program, and about the machine.
class MenuReports : public Testing::LoggedFixture
{
protected:
    Names loggedAfterPress( const std::shared_ptr<RibbonMenuItem>& item )
    {
        logged();
        menu_->emitItemPressed( item );
        return logged();
    }
    void signInAgain()
    {
        menu_->signOut();
        UserInfo::setAccessToken( "token" );
        OrvantaMenuTestAccess::setAuthed( *menu_, true );
        drawFrames( 5 );
    }
    [[nodiscard]] size_t requestsOf( const std::string& logName ) const
    {
        size_t out = 0;
        for ( const auto& request : transport_->sent() )
            out += request.logName == logName && request.url.ends_with( "/stats/log" );
        return out;
    }
    Testing::LogCapture log_;
};

} // namespace

TEST_F( MenuReports, ToolsOutsideTheSchemaAreNotReported )
{
    const auto item = std::make_shared<ObedientItem>( "Test stranger" );
    EXPECT_EQ( loggedAfterPress( item ), Names{} ) << "done";
    item->requirement = "Do something else first";
    EXPECT_EQ( loggedAfterPress( item ), Names{} ) << "refused";
    RibbonSchemaHolder::addItem( item );
    EXPECT_EQ( loggedAfterPress( item ), Names{ "Requirements Faced: Test stranger" } );
    item->requirement.clear();
    EXPECT_EQ( loggedAfterPress( item ), Names{ "Tool Activated: Test stranger" } );
    item->result = false;
    EXPECT_EQ( loggedAfterPress( item ), Names{} ) << "failed without a reason";
    RibbonSchemaHolder::removeItem( "Test stranger" );
}

TEST_F( MenuReports, PressingAToolThatDoesNotExistDoesNothing )
{
    EXPECT_EQ( loggedAfterPress( RibbonSchemaHolder::findItem( "No such tool" ) ), Names{} );
    EXPECT_EQ( menu_->notificationCount(), 0u );
}

TEST_F( MenuReports, MachineIsLookedAtOncePerSignIn )
{
    const auto line =
        "debug: \nplatform: \"" + toLower( getOSNoSpaces() ) + "\"\n cpuName: \"" + toLower( GetCpuId() ) + "\"\n";
    drawFrames( 5 );
    EXPECT_EQ( log_.count( line ), 1u ) << log_.text();
    signInAgain();
    EXPECT_EQ( log_.count( line ), 2u );
    UserInfo::setAccessToken( {} );
    drawFrames( 5 );
    EXPECT_EQ( log_.count( line ), 2u ) << "nobody is signed in";
    UserInfo::setAccessToken( "token" );
    drawFrames( 5 );
    EXPECT_EQ( log_.count( line ), 3u );
}

TEST_F( MenuReports, BuildForAnotherProcessorIsAWarningAndNoError )
{
    OrvantaMenuTestAccess::checkArchitecture( *menu_, "Linux_x86_64", "Apple M2" );
    EXPECT_EQ( menu_->notificationCount(), 0u );
    OrvantaMenuTestAccess::checkArchitecture( *menu_, "Apple_x86_64", "Apple M2" );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    EXPECT_TRUE( log_.contains( "debug: \nplatform: \"apple_x86_64\"\n cpuName: \"apple m2\"\n" ) ) << log_.text();
    EXPECT_EQ( logged(), Names{} );
}

TEST_F( MenuReports, NoticeOfTheOtherBuildLeadsToTheDownloads )
{
    const auto notice = architectureNotice( "apple_x86_64", "apple m2" );
    ASSERT_TRUE( notice );
    notice->onButtonClick();
    EXPECT_TRUE( downloadPage().ends_with( "/download" ) );
    EXPECT_TRUE( log_.contains( "No browser could be started for " + downloadPage() + "\n" ) ) << log_.text();
}

TEST_F( MenuReports, AreSentOnceAMinuteByTheFramesThatAreDrawn )
{
    sNow = std::chrono::hours( 1000 );
    SessionLogsTestAccess::reset( []() -> std::chrono::nanoseconds { return sNow; } );
    SessionLogsTestAccess::setSessionId( 5 );
    SessionLogs::logAction( "Something" );
    (void)frame();
    const auto before = requestsOf( "logAction" );
    SessionLogs::logAction( "Something else" );
    sNow += std::chrono::seconds( 59 );
    (void)frame();
    EXPECT_EQ( requestsOf( "logAction" ), before );
    sNow += std::chrono::seconds( 2 );
    (void)frame();
    EXPECT_EQ( requestsOf( "logAction" ), before + 1 );
    (void)frame();
    EXPECT_EQ( requestsOf( "logAction" ), before + 1 );
}

TEST_F( MenuReports, ClosingTheProgramSendsWhatWaits )
{
    SessionLogsTestAccess::setSessionId( 5 );
    SessionLogs::logAction( "Something" );
    menu_->shutdown();
    ASSERT_EQ( requestsOf( "logAction" ), 1u );
    for ( const auto& request : transport_->sent() )
    {
        if ( request.logName != "logAction" )
            continue;
        const auto names = deserializeJsonValue( request.body ).value()["actionNames"];
        ASSERT_EQ( names.size(), 2u );
        EXPECT_EQ( names[0]["name"], "Something" );
        EXPECT_EQ( names[1]["name"], "Close Application" );
    }
    EXPECT_EQ( logged(), Names{} );
}
