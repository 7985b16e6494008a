#include <VXViewer/draw/DrawnColors.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr Color cOrange{ 255, 158, 54, 200 };

} // namespace

TEST( DrawnColors, WhatIsSelectedIsTintedWithTheHighlight )
{
    EXPECT_EQ( tintFor( { 172, 182, 194, 255 }, cOrange ), cOrange );
    EXPECT_EQ( tintFor( { 0, 0, 0, 255 }, cOrange ), cOrange );
}

TEST( DrawnColors, WhatHasTheColorOfTheHighlightIsTintedWithItsOpposite )
{
    const Color opposite{ 0, 97, 201, 200 };
    EXPECT_EQ( tintFor( cOrange, cOrange ), opposite );
    EXPECT_EQ( tintFor( { 240, 130, 90, 255 }, cOrange ), opposite );
}

TEST( DrawnColors, OneChannelThatDiffersIsEnoughToTellThemApart )
{
    EXPECT_EQ( tintFor( { 255, 158, 150, 255 }, cOrange ), cOrange );
    EXPECT_EQ( tintFor( { 255, 60, 54, 255 }, cOrange ), cOrange );
    EXPECT_EQ( tintFor( { 160, 158, 54, 255 }, cOrange ), cOrange );
    EXPECT_NE( tintFor( { 255, 158, 54, 0 }, cOrange ), cOrange ) << "but for how transparent they are";
}

TEST( DrawnColors, EdgesAreDarkerAndAsOpaque )
{
    EXPECT_EQ( darker( { 200, 100, 50, 77 }, 0.5f ), ( Color{ 100, 50, 25, 77 } ) );
    EXPECT_EQ( darker( { 255, 255, 255, 255 }, 1 ), ( Color{ 255, 255, 255, 255 } ) );
    EXPECT_EQ( darker( { 255, 255, 255, 255 }, 0 ), ( Color{ 0, 0, 0, 255 } ) );
}

TEST( LineLook, ApartIsWholeAndShowsWhatIsBehind )
{
    EXPECT_EQ( lineLook( 7 ), ( LineLook{ false, false, 1 } ) );
    EXPECT_EQ( lineLook( 1000 ), ( LineLook{ false, false, 1 } ) );
}

TEST( LineLook, CloserIsFainterAndHidesWhatIsBehind )
{
    EXPECT_EQ( lineLook( 3.5f ), ( LineLook{ true, false, 0.5f } ) );
    EXPECT_EQ( lineLook( 3 ), ( LineLook{ true, false, 3.f / 7 } ) );
    EXPECT_LT( lineLook( 4 ).opacity, lineLook( 6 ).opacity );
    EXPECT_TRUE( lineLook( 6.9f ).hidesBehind );
}

TEST( LineLook, WithoutRoomBetweenIsASurface )
{
    EXPECT_EQ( lineLook( 2.9f ), ( LineLook{ true, true, 0.7f } ) );
    EXPECT_EQ( lineLook( 0 ), ( LineLook{ true, true, 0.7f } ) );
}
