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
