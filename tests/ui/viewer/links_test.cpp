#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/shell/ArchitectureCheck.h>
#include <VXOrvanta/welcome/SitePages.h>
#include <VXViewer/system/OpenLink.h>

#include <gtest/gtest.h>
#include <imgui.h>

#include <cstdlib>

#include <sys/stat.h>

using namespace VX;

namespace
{

/// Pages that the program opens, on a machine whose browser is what the test says; none at first.
class Links : public Testing::UiFixture
{
protected:
    [[nodiscard]] std::string settings() const override { return R"({"telemetryDisclaimerModalShowed":0})"; }
    void TearDown() override
    {
        UiFixture::TearDown();
        SessionLogsTestAccess::take();
    }
    /// Puts a script where the browser's starter is looked for.
    void browser( const std::string& script ) const
    {
        ::chmod( folder_.write( "xdg-open", "#!/bin/sh\n" + script + "\n" ).c_str(), 0700 );
        ::setenv( "PATH", folder_.path().c_str(), 1 );
    }
    [[nodiscard]] size_t told() const { return menu_->notificationCount(); }
};

} // namespace

TEST_F( Links, TheWelcomeWindowTellsOfAPageThatCannotBeOpened )
{
    click( windowPointFromTop( "##Quickstart", 90, 188 ) );
    EXPECT_EQ( told(), 1u );
    ASSERT_TRUE( isWindowShown( "##notification" ) );
    ImGui::SetClipboardText( "" );
    // "Copy address" stands below the texts.
    click( windowPoint( "##notification", 260, 24 ) );
    EXPECT_EQ( std::string( ImGui::GetClipboardText() ), onboardingVideoPage() );
    EXPECT_EQ( told(), 0u );
}

TEST_F( Links, SoDoTheVideoToolAndTheNoticeOfTheArchitecture )
{
    pressTool( "Quickstart video" );
    EXPECT_EQ( told(), 1u );
    architectureNotice( "apple_x86_64", "apple m1" )->onButtonClick();
    EXPECT_EQ( told(), 2u ) << "another address";
}

TEST_F( Links, ABrowserThatGivesUpIsToldOfToo )
{
    browser( "exit 3" );
    pressTool( "Quickstart video" );
    turnUntil( [this] { return told() == 1; } );
}

TEST_F( Links, ABrowserThatTakesThePageIsNot )
{
    const auto taken = folder_.path() / "taken";
    browser( "printf %s \"$1\" > '" + taken.string() + ".new'; /bin/mv '" + taken.string() + ".new' '" +
             taken.string() + "'" );
    pressTool( "Quickstart video" );
    drawUntil( [&] { return std::filesystem::exists( taken ); } );
    EXPECT_EQ( Testing::readFile( taken ), onboardingVideoPage() );
    EXPECT_EQ( told(), 0u );
}

TEST_F( Links, OtherSchemesAreRefused )
{
    browser( "exit 0" );
    for ( const char* url : { "file:///etc/passwd", "javascript:alert(1)", "", "-version" } )
        EXPECT_FALSE( OpenLink( url ) ) << url;
    EXPECT_TRUE( OpenLink( "https://localhost/" ) );
}
