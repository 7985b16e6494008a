#include <VXOrvanta/account/form/FormLayout.h>

#include <gtest/gtest.h>

using namespace VX;

namespace VX
{
void PrintTo( const RowPlaces& places, std::ostream* out )
{
    *out << "gap " << places.gap << ", offset " << places.offset;
}
} // namespace VX

TEST( FormLayout, GapsAreAsWideAsFits )
{
    EXPECT_EQ( placeRows( 300, 250, 6, 1 ), ( RowPlaces{ 10, 0 } ) );
    EXPECT_EQ( placeRows( 300, 225, 6, 1 ), ( RowPlaces{ 15, 0 } ) );
}

TEST( FormLayout, AShortFormStandsInTheMiddle )
{
    EXPECT_EQ( placeRows( 300, 100, 6, 1 ), ( RowPlaces{ 16, 60 } ) );
    EXPECT_EQ( placeRows( 300, 100, 2, 1 ), ( RowPlaces{ 16, 92 } ) );
}

TEST( FormLayout, AFormThatIsTooLongBeginsAtTheTopWithTheSmallestGaps )
{
    EXPECT_EQ( placeRows( 300, 295, 6, 1 ), ( RowPlaces{ 4, 0 } ) );
    EXPECT_EQ( placeRows( 300, 900, 6, 1 ), ( RowPlaces{ 4, 0 } ) );
}

TEST( FormLayout, GapsGrowWithTheScale )
{
    EXPECT_EQ( placeRows( 600, 200, 6, 2 ), ( RowPlaces{ 32, 120 } ) );
    EXPECT_EQ( placeRows( 600, 590, 6, 2 ), ( RowPlaces{ 8, 0 } ) );
    EXPECT_EQ( allowedGap( 0, 2 ), 8 );
    EXPECT_EQ( allowedGap( 100, 2 ), 32 );
}

TEST( FormLayout, EverythingStandsOnWholePixels )
{
    // Of 52 pixels 5 gaps take 10 each, and the half of what is left is one pixel.
    EXPECT_EQ( placeRows( 302, 250, 6, 1 ), ( RowPlaces{ 10, 1 } ) );
    EXPECT_EQ( allowedGap( 9.9f, 1 ), 9 );
    EXPECT_EQ( allowedGap( 0, 1.3f ), 5 );
    EXPECT_EQ( placeRows( 301, 100, 2, 1 ), ( RowPlaces{ 16, 93 } ) );
}

TEST( FormLayout, ATextIsCutBehindSoManyBytes )
{
    EXPECT_EQ( beginningOf( "", 3 ), "" );
    EXPECT_EQ( beginningOf( "abc", 3 ), "abc" );
    EXPECT_EQ( beginningOf( "abcd", 3 ), "abc..." );
}

TEST( FormLayout, ATextIsCutBetweenTwoCharacters )
{
    EXPECT_EQ( beginningOf( "a\u00e9\u00e9", 2 ), "a..." );
    EXPECT_EQ( beginningOf( "a\u00e9\u00e9", 3 ), "a\u00e9..." );
    EXPECT_EQ( beginningOf( "a\U0001f600z", 4 ), "a..." );
    EXPECT_EQ( beginningOf( "a\U0001f600z", 5 ), "a\U0001f600..." );
    EXPECT_EQ( beginningOf( "\x80\x80\x80", 2 ), "..." );
}
