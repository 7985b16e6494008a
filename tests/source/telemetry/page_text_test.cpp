#include <VXOrvanta/telemetry/PageText.h>

#include <gtest/gtest.h>

#include <sstream>

using namespace VX;
using Kind = PageLine::Kind;

namespace VX
{
void PrintTo( const PageLine& line, std::ostream* out )
{
    *out << int( line.kind ) << ' ' << line.text;
}
} // namespace VX

namespace
{

using Lines = std::vector<PageLine>;

Lines linesOf( const std::string& text )
{
    std::istringstream in( text );
    return pageLines( in );
}

} // namespace

TEST( PageText, TellsHeadingsTextBulletsAndGapsApart )
{
    EXPECT_EQ( linesOf( "# What is sent\n\nThis.\n- one\n- two\n" ),
        ( Lines{ { Kind::Heading, "What is sent" }, { Kind::Gap, "" }, { Kind::Text, "This." }, { Kind::Bullet, "one" },
            { Kind::Bullet, "two" } } ) );
    EXPECT_EQ( linesOf( "" ), Lines{} );
}

TEST( PageText, HeadingsOfAnyLevelLookTheSame )
{
    EXPECT_EQ( linesOf( "### Why # 1\n#Now" ), ( Lines{ { Kind::Heading, "Why # 1" }, { Kind::Heading, "Now" } } ) );
}

TEST( PageText, JoinsWhatWasWrapped )
{
    EXPECT_EQ( linesOf( "one\ntwo\n   three" ), ( Lines{ { Kind::Text, "one two three" } } ) );
    EXPECT_EQ(
        linesOf( "- one\n  two\n- three" ), ( Lines{ { Kind::Bullet, "one two" }, { Kind::Bullet, "three" } } ) );
}

TEST( PageText, NothingIsJoinedToAHeadingOrOverAGap )
{
    EXPECT_EQ( linesOf( "# one\ntwo" ), ( Lines{ { Kind::Heading, "one" }, { Kind::Text, "two" } } ) );
    EXPECT_EQ( linesOf( "one\n\ntwo" ), ( Lines{ { Kind::Text, "one" }, { Kind::Gap, "" }, { Kind::Text, "two" } } ) );
}

TEST( PageText, LeavesTheMarksOfCodeAndEmphasisOut )
{
    EXPECT_EQ( linesOf( "the **name** of `an action`" ), ( Lines{ { Kind::Text, "the name of an action" } } ) );
}

TEST( PageText, SignsWithoutWordsDoNoHarm )
{
    EXPECT_EQ( linesOf( "##" ), ( Lines{ { Kind::Heading, "" } } ) );
    EXPECT_EQ( linesOf( "one\n  " ), ( Lines{ { Kind::Text, "one " } } ) );
}
