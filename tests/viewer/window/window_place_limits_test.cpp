#include <VXViewer/window/WindowPlace.h>

#include <gtest/gtest.h>

#include <limits>

using namespace VX;

namespace
{

constexpr FrameSize cFrame{ 4, 30, 6, 8 };

} // namespace

TEST( WindowPlaceLimits, WithoutScreensStaysWhereItWas )
{
    EXPECT_EQ( placeWindow( WindowPlace{ -500, 9000, 300, 200 }, 1280, 800, {}, cFrame, 2 ),
        ( ScreenRect{ -500, 9000, 600, 400 } ) );
    EXPECT_EQ( placeWindow( {}, 1280, 800, {}, cFrame, 1.5f ), ( ScreenRect{ 0, 0, 1920, 1200 } ) );
}

TEST( WindowPlaceLimits, OverTwoScreensStandsOnTheOneThatShowsMoreOfIt )
{
    const std::vector<ScreenRect> screens{ { 0, 0, 1000, 1000 }, { 1000, 0, 1000, 1000 } };
    EXPECT_EQ( placeWindow( WindowPlace{ 700, 100, 500, 400 }, 1, 1, screens, {}, 1 ).x, 500 );
    EXPECT_EQ( placeWindow( WindowPlace{ 800, 100, 500, 400 }, 1, 1, screens, {}, 1 ).x, 1000 );
}

TEST( WindowPlaceLimits, AScreenSmallerThanTheFrameStillShowsSomething )
{
    const auto rect = placeWindow( WindowPlace{ 0, 0, 500, 400 }, 1, 1, { { 0, 0, 8, 20 } }, cFrame, 1 );
    EXPECT_EQ( rect, ( ScreenRect{ 4, 30, 1, 1 } ) );
}

TEST( WindowPlaceLimits, OnAScreenBesideZeroCountsFromThere )
{
    const std::vector<ScreenRect> screens{ { -1920, 200, 1920, 1000 } };
    EXPECT_EQ( placeWindow( {}, 1000, 500, screens, {}, 1 ), ( ScreenRect{ -1460, 450, 1000, 500 } ) );
    EXPECT_EQ( placeWindow( WindowPlace{ -2000, 100, 1000, 500 }, 1, 1, screens, cFrame, 1 ),
        ( ScreenRect{ -1916, 230, 1000, 500 } ) );
}

TEST( WindowPlaceLimits, TouchingAScreenIsNotOnIt )
{
    const std::vector<ScreenRect> screens{ { 0, 0, 1000, 1000 } };
    const auto rect = placeWindow( WindowPlace{ 1000, 0, 500, 400 }, 1, 1, screens, {}, 1 );
    EXPECT_EQ( rect, ( ScreenRect{ 250, 300, 500, 400 } ) ) << "in the middle, not at the edge";
    EXPECT_EQ( placeWindow( WindowPlace{ 999, 0, 500, 400 }, 1, 1, screens, {}, 1 ).x, 500 );
}

TEST( WindowPlaceLimits, ASmallScaleLeavesAWindow )
{
    const auto rect = placeWindow( WindowPlace{ 0, 0, 64, 64 }, 1, 1, {}, {}, 0.001f );
    EXPECT_EQ( rect, ( ScreenRect{ 0, 0, 1, 1 } ) );
}

TEST( WindowPlaceLimits, SettingsHoldTheSizesThatMakeSense )
{
    auto value = toJson( { -5, 6, 64, 16384, false } );
    EXPECT_TRUE( windowPlaceFromJson( value ) );
    for ( const int wrong : { 63, 16385, -1, std::numeric_limits<int>::max() } )
        for ( const char* key : { "width", "height" } )
        {
            auto other = value;
            other[key] = wrong;
            EXPECT_FALSE( windowPlaceFromJson( other ) ) << key << " " << wrong;
        }
    for ( const char* key : { "x", "y" } )
    {
        auto other = value;
        other[key] = 1 << 20;
        EXPECT_TRUE( windowPlaceFromJson( other ) ) << key;
        other[key] = ( 1 << 20 ) + 1;
        EXPECT_FALSE( windowPlaceFromJson( other ) ) << key;
        other[key] = -( 1 << 20 ) - 1;
        EXPECT_FALSE( windowPlaceFromJson( other ) ) << key;
        other.removeMember( key );
        EXPECT_FALSE( windowPlaceFromJson( other ) ) << key;
    }
}

TEST( WindowPlaceLimits, WhatIsNoSwitchIsNotMaximised )
{
    auto value = toJson( { 1, 2, 700, 800, true } );
    EXPECT_TRUE( windowPlaceFromJson( value )->maximized );
    for ( const Json::Value& other : { Json::Value( 1 ), Json::Value( "true" ), Json::Value(), Json::Value( false ) } )
    {
        value["maximized"] = other;
        ASSERT_TRUE( windowPlaceFromJson( value ) );
        EXPECT_FALSE( windowPlaceFromJson( value )->maximized ) << other;
    }
}
