#include <VXMesh/io/Text.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( Text, LowersAsciiLettersAndNothingElse )
{
    EXPECT_EQ( toLower( "ABC xyz 12 [\\]" ), "abc xyz 12 [\\]" );
    EXPECT_EQ( toLower( "\xc3\x84" ), "\xc3\x84" );
    EXPECT_EQ( toLower( "" ), "" );
}

TEST( Text, TrimsWhiteSpaceAtTheEnds )
{
    EXPECT_EQ( trimmed( " \t a b\r\n" ), "a b" );
    EXPECT_EQ( trimmed( " \n" ), "" );
    EXPECT_EQ( trimmed( "" ), "" );
}

TEST( VisibleText, KeepsLettersOfAllScripts )
{
    for ( const char* text : { "", "plain ~ text", "Schraube für Übermaß", "деталь", "部品 ボルト", "جزء", "חלק",
              "😀 é", "نمی\u200cخواهم" } )
        EXPECT_EQ( visibleText( text ), text );
}

TEST( VisibleText, ShowsWhatSteersATerminal )
{
    EXPECT_EQ( visibleText( "\x1b]0;pwned\a\x1b[2J\r\t\x7f" ), "␛]0;pwned␇␛[2J␍␉␡" );
    EXPECT_EQ( visibleText( std::string_view( "a\0b", 3 ) ), "a␀b" );
    EXPECT_EQ( visibleText( "\u009b2J \u0085" ), "<U+009B>2J <U+0085>" );
    EXPECT_EQ( visibleText( "\x9b"
                            "2J" ),
        "<9B>2J" );
}

TEST( VisibleText, ShowsWhatTurnsTheDirectionOfTheWriting )
{
    EXPECT_EQ( visibleText( "exe.\u202efdp\u202c" ), "exe.<U+202E>fdp<U+202C>" );
    EXPECT_EQ( visibleText( "\u200e\u200f\u061c\u2066\u2069" ), "<U+200E><U+200F><U+061C><U+2066><U+2069>" );
    EXPECT_EQ( visibleText( "a\u2028b\u2029" ), "a<U+2028>b<U+2029>" );
}

TEST( VisibleText, IndentsWhatFollowsALineFeed )
{
    EXPECT_EQ( visibleText( "quota\n[error] forged\n\nx" ), "quota\n    [error] forged\n    \n    x" );
}

TEST( VisibleText, ShowsBytesThatAreNotUtf8 )
{
    EXPECT_EQ( visibleText( "a\xff\xc0\xaf\xe2\x82" ), "a<FF><C0><AF><E2><82>" );
    EXPECT_EQ( visibleText( "\xed\xa0\x80\xf4\x90\x80\x80\xe0\x80\x80" ), "<ED><A0><80><F4><90><80><80><E0><80><80>" );
}
