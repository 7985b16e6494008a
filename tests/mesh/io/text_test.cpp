#include <VXMesh/io/Text.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( Text, LowersAsciiLettersAndNothingElse )
{
    EXPECT_EQ( toLower( "ABC xyz 12 [\\]" ), "abc xyz 12 [\\]" );
    EXPECT_EQ( toLower( "\xc3\x84" ), "\xc3\x84" );
    EXPECT_EQ( toLower( "" ), "" );
    EXPECT_EQ( toLower( "@AZ[`az{" ), "@az[`az{" );
}

TEST( Text, TrimsWhiteSpaceAtTheEnds )
{
    EXPECT_EQ( trimmed( " \t a b\r\n" ), "a b" );
    EXPECT_EQ( trimmed( "\v\fa\f\v" ), "a" );
    EXPECT_EQ( trimmed( "a" ), "a" );
    EXPECT_EQ( trimmed( " \n" ), "" );
    EXPECT_EQ( trimmed( "" ), "" );
}

TEST( Printable, KeepsAsciiUpToALength )
{
    EXPECT_EQ( printable( "\x1f ~\x7f\x80\n\xc3\xbc", 100 ), " ~" );
    EXPECT_EQ( printable( "abcdef", 3 ), "abc" );
    EXPECT_EQ( printable( "\x1b[31mred", 4 ), "[31m" ) << "what is taken out does not count";
    EXPECT_EQ( printable( "abc", 0 ), "" );
    EXPECT_EQ( printable( "abc", 3 ), "abc" );
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

TEST( VisibleText, KnowsWhereWhatSteersBeginsAndEnds )
{
    for ( const char* text :
        { "\u00a0", "\u061b", "\u061d", "\u200d", "\u2010", "\u2027", "\u202f", "\u2065", "\u206a", "\x20", "\x7e" } )
        EXPECT_EQ( visibleText( text ), text );
    EXPECT_EQ( visibleText( "\u0080\u009f" ), "<U+0080><U+009F>" );
    EXPECT_EQ( visibleText( "\u202a\u202b\u202d" ), "<U+202A><U+202B><U+202D>" );
    EXPECT_EQ( visibleText( "\u2067\u2068" ), "<U+2067><U+2068>" );
    EXPECT_EQ( visibleText( "\x01\x1f" ), "␁␟" );
}

TEST( VisibleText, KnowsTheEdgesOfUtf8 )
{
    for ( const char* text : { "\u07ff", "\u0800", "\ud7ff", "\ue000", "\uffff", "\U00010000", "\U0010ffff" } )
        EXPECT_EQ( visibleText( text ), text );
    EXPECT_EQ( visibleText( "\xc1\xbf" ), "<C1><BF>" ) << "longer than it needs to be";
    EXPECT_EQ( visibleText( "\xe0\x9f\xbf" ), "<E0><9F><BF>" );
    EXPECT_EQ( visibleText( "\xf0\x8f\xbf\xbf" ), "<F0><8F><BF><BF>" );
    EXPECT_EQ( visibleText( "\xed\xbf\xbf" ), "<ED><BF><BF>" ) << "half of a pair";
    EXPECT_EQ( visibleText( "\xf5\x80\x80\x80" ), "<F5><80><80><80>" );
    for ( const char* cut : { "\xc3", "\xe2\x82", "\xf0\x9f\x98" } )
        EXPECT_EQ( visibleText( cut ).find( '<' ), 0u );
    EXPECT_EQ( visibleText( "\xc3(\xe2(\xa1" ), "<C3>(<E2>(<A1>" ) << "the next character begins at once";
    EXPECT_EQ( visibleText( "\x80 end" ), "<80> end" );
}
