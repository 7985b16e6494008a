#include "support/ui/BareInterface.h"
#include "support/ui/ShownText.h"

#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Widgets.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <limits>

using namespace VX;

namespace
{

/// One widget in a window.
class Widgets : public Testing::BareInterface
{
protected:
    void show( std::function<void()> widget )
    {
        draw = [widget = std::move( widget )]
        {
            ImGui::SetNextWindowPos( { 100, 100 } );
            ImGui::SetNextWindowSize( { 400, 300 } );
            ImGui::Begin( "Dialog" );
            widget();
            ImGui::End();
        };
        settle();
    }
    int presses_ = 0;
};

} // namespace

TEST( Durations, AreMinutesAndSecondsAndHoursWhereThereAreSome )
{
    EXPECT_EQ( UI::formatDuration( 0 ), "0:00" );
    EXPECT_EQ( UI::formatDuration( 7.9 ), "0:07" );
    EXPECT_EQ( UI::formatDuration( 59.999 ), "0:59" );
    EXPECT_EQ( UI::formatDuration( 60 ), "1:00" );
    EXPECT_EQ( UI::formatDuration( 754 ), "12:34" );
    EXPECT_EQ( UI::formatDuration( 3599 ), "59:59" );
    EXPECT_EQ( UI::formatDuration( 3600 ), "1:00:00" );
    EXPECT_EQ( UI::formatDuration( 3723 ), "1:02:03" );
    EXPECT_EQ( UI::formatDuration( 100 * 3600 ), "100:00:00" );
}

TEST( Counts, HaveABlankBeforeEveryThreeDigits )
{
    EXPECT_EQ( UI::formatCount( 0 ), "0" );
    EXPECT_EQ( UI::formatCount( 999 ), "999" );
    EXPECT_EQ( UI::formatCount( 1000 ), "1 000" );
    EXPECT_EQ( UI::formatCount( 12345 ), "12 345" );
    EXPECT_EQ( UI::formatCount( 1234567 ), "1 234 567" );
    EXPECT_EQ( UI::formatCount( std::numeric_limits<uint64_t>::max() ), "18 446 744 073 709 551 615" );
}

TEST_F( Widgets, ATextThatIsTooWideEndsWithDots )
{
    show(
        []
        {
            EXPECT_EQ( UI::fitted( "0123456789", 70 ), "0123456789" ) << "it just fits";
            EXPECT_EQ( UI::fitted( "0123456789", 69 ), "012345..." );
            EXPECT_EQ( UI::fitted( "0123456789", 29 ), "0..." );
            EXPECT_EQ( UI::fitted( "0123456789", 5 ), "..." ) << "no room for a letter";
            EXPECT_EQ( UI::fitted( "", 5 ), "" );
            const auto cut = UI::fitted( "ÄÖÜäöüßÄÖÜ", 50 );
            EXPECT_EQ( cut, "ÄÖÜä..." ) << "never in the middle of a letter";
        } );
}

TEST_F( Widgets, AButtonIsPressedByEnterWhereItMayInTheWindowWithTheFocus )
{
    UI::ButtonParams params{ .enterKey = true };
    show( [&] { presses_ += UI::button( "Go", { 80, 30 }, params ); } );
    press( GLFW_KEY_ENTER );
    press( GLFW_KEY_KP_ENTER );
    EXPECT_EQ( presses_, 2 );
    params.enterKey = false;
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( presses_, 2 );
    params = { .enabled = false, .enterKey = true };
    press( GLFW_KEY_ENTER );
    clickText( "Dialog", "Go" );
    EXPECT_EQ( presses_, 2 ) << "it cannot be pressed";
    params.enabled = true;
    const auto button = draw;
    draw = [button]
    {
        button();
        ImGui::SetNextWindowPos( { 600, 100 } );
        ImGui::Begin( "Other" );
        ImGui::TextUnformatted( "other" );
        ImGui::End();
    };
    settle();
    clickText( "Other", "other" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( presses_, 2 ) << "another window has the focus";
}

TEST_F( Widgets, TheEnterThatHasOpenedAWindowPressesNothingInIt )
{
    ImGui::GetIO().KeysDown[GLFW_KEY_ENTER] = true;
    bool first = false;
    draw = [&]
    {
        ImGui::Begin( "Dialog" );
        first |= UI::button( "Go", { 80, 30 }, { .enterKey = true } );
        ImGui::End();
    };
    frames( 1 );
    EXPECT_FALSE( first );
}

TEST_F( Widgets, AButtonOfADialogHasALeastWidthAndGrowsWithItsText )
{
    float narrow = 0, wide = 0;
    show(
        [&]
        {
            (void)UI::dialogButton( "OK##id" );
            narrow = ImGui::GetItemRectSize().x;
            (void)UI::dialogButton( "A caption of many letters" );
            wide = ImGui::GetItemRectSize().x;
        } );
    EXPECT_EQ( narrow, 96 );
    EXPECT_EQ( wide, 25 * 7 + 2 * ImGui::GetStyle().FramePadding.x );
    UI::setScale( 2 );
    settle();
    EXPECT_EQ( narrow, 192 );
}

TEST_F( Widgets, AChoiceOutsideOfTheOptionsIsShownEmptyAndChangedByOneOfThem )
{
    int value = 7;
    bool changed = false;
    show( [&] { changed |= UI::combo( "##choice", &value, { "one", "two" } ); } );
    EXPECT_FALSE( says( "Dialog", "one" ) || says( "Dialog", "two" ) );
    click( { 130, 138 } );
    ASSERT_TRUE( isShown( "##Combo" ) );
    clickText( "##Combo", "two" );
    EXPECT_TRUE( changed );
    EXPECT_EQ( value, 1 );
    EXPECT_TRUE( says( "Dialog", "two" ) );
    changed = false;
    click( { 130, 138 } );
    clickText( "##Combo", "two" );
    EXPECT_FALSE( changed ) << "the same again is no change";
}

TEST_F( Widgets, ALinkIsUnderlinedUnderThePointerAndPressed )
{
    const ImVec4 color{ 1, 0, 0, 1 };
    show( [&] { presses_ += UI::link( "Read more##page", color ); } );
    EXPECT_TRUE( says( "Dialog", "Read more" ) );
    EXPECT_FALSE( says( "Dialog", "##page" ) );
    const auto plain = Testing::drawnBox( "Dialog", ImGui::ColorConvertFloat4ToU32( color ) );
    clickText( "Dialog", "Read more" );
    EXPECT_EQ( presses_, 1 );
    const auto under = Testing::drawnBox( "Dialog", ImGui::ColorConvertFloat4ToU32( color ) );
    EXPECT_GT( under.high.y, plain.high.y );
}

TEST_F( Widgets, ATooltipComesWhereItHasAText )
{
    std::string text = "What this does";
    show(
        [&]
        {
            ImGui::TextUnformatted( "here" );
            UI::setTooltipIfHovered( text );
        } );
    EXPECT_FALSE( isShown( "##Tooltip" ) );
    moveMouse( { 115, 135 } );
    settle();
    EXPECT_TRUE( says( "##Tooltip", "What this does" ) );
    text.clear();
    settle();
    EXPECT_FALSE( isShown( "##Tooltip" ) );
}

TEST_F( Widgets, AToolsDialogStandsAtTheRightAndInsideAlsoWhenItIsPushedOut )
{
    bool open = true;
    draw = [&]
    {
        if ( UI::beginToolDialog( "Tool", &open, 300 ) )
            ImGui::Dummy( { 10, 100 } );
        ImGui::End();
    };
    settle();
    const auto& window = *ImGui::FindWindowByName( "Tool" );
    EXPECT_EQ( window.Pos.x + window.Size.x, 1280 - 16 );
    EXPECT_EQ( window.Pos.y, 176 );
    ImGui::SetWindowPos( "Tool", { 1200, 790 } );
    settle();
    EXPECT_EQ( window.Pos.x + window.Size.x, 1280 );
    EXPECT_EQ( window.Pos.y + window.Size.y, 800 );
    ImGui::GetIO().DisplaySize = { 200, 150 };
    settle();
    EXPECT_EQ( window.Pos.x, 0 ) << "as much of it as there is room for";
    EXPECT_LE( window.Size.x, 200 );
    EXPECT_LE( window.Pos.y + window.Size.y, 150 );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( open );
}

TEST_F( Widgets, AToolsDialogAndATooltipAreLargerInALargerFrame )
{
    bool open = true;
    draw = [&]
    {
        (void)UI::beginToolDialog( "Tool", &open, 300 );
        ImGui::TextUnformatted( "here" );
        UI::setTooltipIfHovered( "What this does" );
        ImGui::End();
    };
    for ( const float scale : { 1.f, 2.f } )
    {
        UI::setScale( scale );
        settle();
        const auto* tool = ImGui::FindWindowByName( "Tool" );
        EXPECT_EQ( tool->Size.x, 300 * scale );
        moveMouse( { tool->DC.CursorStartPos.x + 5, tool->DC.CursorStartPos.y + 5 } );
        settle();
        const auto* tooltip = ImGui::FindWindowByName( "##Tooltip_00" );
        ASSERT_TRUE( tooltip && tooltip->Active );
        EXPECT_EQ( tooltip->WindowPadding.x, 10 * scale );
        EXPECT_EQ( tooltip->WindowPadding.y, 7 * scale );
    }
}

TEST_F( Widgets, EscapeInAFieldOfAToolsDialogLeavesTheFieldAlone )
{
    bool open = true, focus = true;
    char text[8] = "";
    draw = [&]
    {
        if ( UI::beginToolDialog( "Tool", &open, 300 ) )
        {
            if ( std::exchange( focus, false ) )
                ImGui::SetKeyboardFocusHere();
            ImGui::InputText( "##field", text, sizeof text );
        }
        ImGui::End();
    };
    settle();
    ASSERT_TRUE( ImGui::IsAnyItemActive() );
    press( GLFW_KEY_ESCAPE );
    EXPECT_TRUE( open );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( open );
}

TEST_F( Widgets, TheStyleIsThatOfTheThemeAndTheScale )
{
    ColorTheme::setupPreset( ColorTheme::Preset::Light );
    ColorTheme::applyToImGui( 2 );
    const auto& style = ImGui::GetStyle();
    EXPECT_EQ( style.WindowPadding.x, 32 );
    EXPECT_EQ( style.FramePadding.y, 14 );
    EXPECT_EQ( style.WindowRounding, 16 );
    const auto color = [&]( ImGuiCol slot ) { return ImGui::ColorConvertFloat4ToU32( style.Colors[slot] ); };
    EXPECT_EQ( color( ImGuiCol_Text ), themeU32( ColorTheme::Text ) );
    EXPECT_EQ( color( ImGuiCol_WindowBg ), themeU32( ColorTheme::DialogBackground ) );
    EXPECT_EQ( color( ImGuiCol_CheckMark ), themeU32( ColorTheme::Accent ) );
    EXPECT_EQ( color( ImGuiCol_ScrollbarBg ), 0u );
    ColorTheme::setupPreset( ColorTheme::Preset::Dark );
    ColorTheme::applyToImGui( 1 );
    EXPECT_EQ( style.WindowPadding.x, 16 ) << "scaled from the beginning, not from what was there";
    EXPECT_EQ( color( ImGuiCol_Text ), IM_COL32( 228, 231, 236, 255 ) );
}
