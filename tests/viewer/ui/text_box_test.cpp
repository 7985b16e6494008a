#include "support/ui/BareInterface.h"
#include "support/ui/ShownText.h"

#include <VXViewer/ui/TextBox.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

/// A box so many letters wide and so many lines high.
class TextBoxes : public Testing::BareInterface
{
protected:
    TextBoxes()
    {
        draw = [this]
        {
            ImGui::SetNextWindowPos( { 0, 0 } );
            ImGui::SetNextWindowSize( { 1200, 780 } );
            ImGui::Begin( "Box", nullptr, ImGuiWindowFlags_NoTitleBar );
            box_.draw( "##box", { 1, 1, 1, 1 }, width_, 13 * float( lines_ ) );
            below_ = ImGui::GetCursorPosY() - ImGui::GetCursorStartPos().y;
            ImGui::End();
        };
    }
    void show( const std::string& text )
    {
        box_ = TextBox( text );
        settle();
    }
    [[nodiscard]] static bool scrolls() { return isShown( "Box/##box" ); }
    /// The width of a box with room for so many letters in a line and, where it scrolls, for the bar beside them.
    [[nodiscard]] static float roomFor( int letters, bool bar )
    {
        const auto& style = ImGui::GetStyle();
        return 7 * float( letters ) + 2 + ( bar ? style.ScrollbarSize + style.ItemSpacing.x : 0 );
    }
    [[nodiscard]] std::string lines() const { return said( "Box" ); }

    TextBox box_;
    float width_ = roomFor( 20, false );
    int lines_ = 3;
    float below_ = 0;
};

} // namespace

TEST_F( TextBoxes, AShortTextTakesItsOwnHeight )
{
    show( "two\nlines" );
    EXPECT_EQ( lines(), "two\nlines\n" );
    EXPECT_FALSE( scrolls() );
    EXPECT_LT( below_, 2 * 13 + 10 );
}

TEST_F( TextBoxes, BreaksLinesAtBlanks )
{
    show( "these are words that do not fit" );
    EXPECT_EQ( lines(), "these are words that\ndo not fit\n" );
}

TEST_F( TextBoxes, OneThatIsTooHighScrollsInItsHeight )
{
    show( "1\n2\n3" );
    EXPECT_FALSE( scrolls() ) << "it just fits";
    show( "1\n2\n3\n4\n5\n6" );
    EXPECT_TRUE( scrolls() );
    EXPECT_LT( below_, 3 * 13 + 10 );
    EXPECT_EQ( lines().find( '6' ), std::string::npos ) << "what is out of sight is not drawn";
    auto* window = ImGui::GetCurrentContext()->Windows.back();
    EXPECT_TRUE( std::string( window->Name ).starts_with( "Box/##box" ) );
    ImGui::SetScrollY( window, 1000 );
    settle();
    EXPECT_NE( lines().find( '6' ), std::string::npos );
    EXPECT_EQ( lines().find( '1' ), std::string::npos );
}

TEST_F( TextBoxes, OneThatScrollsBreaksItsLinesBesideTheBar )
{
    width_ = roomFor( 20, true );
    lines_ = 4;
    show( "these are words that do not fit\n\nafter an empty line\nand another" );
    EXPECT_TRUE( scrolls() );
    EXPECT_EQ( lines(), "these are words that\ndo not fit\nafter an empty line\n" ) << "the last is out of sight";
}

TEST_F( TextBoxes, AWordWithoutBlanksIsBrokenWhereItHasTo )
{
    width_ = roomFor( 10, true );
    lines_ = 2;
    show( "abcdefghijklmnopqrstuvwxyz abc\n\n" );
    EXPECT_TRUE( scrolls() );
    EXPECT_EQ( lines().substr( 0, 22 ), "abcdefghij\nklmnopqrst\n" );
}

TEST_F( TextBoxes, ABoxWithoutRoomForALetterHasOneInEachLine )
{
    width_ = roomFor( 0, true );
    lines_ = 3;
    show( "größte Teile" );
    EXPECT_TRUE( scrolls() );
    EXPECT_EQ( lines(), "g\nr\nö\n" );
    show( "" );
    EXPECT_EQ( lines(), "" );
    EXPECT_FALSE( scrolls() );
}

TEST_F( TextBoxes, AnotherWidthBreaksItAnew )
{
    lines_ = 1;
    width_ = roomFor( 40, true );
    show( "these are words that do not fit\nx\ny" );
    const auto wide = lines();
    width_ = roomFor( 12, true );
    settle();
    EXPECT_NE( lines(), wide );
    EXPECT_EQ( lines().substr( 0, 10 ), "these are\n" ) << "the blank at the end of the line begins no other";
}
