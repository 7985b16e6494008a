#include <VXViewer/window/WindowPlace.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr FrameSize cFrame{ 2, 30, 2, 2 };
const std::vector<ScreenRect> cTwoScreens{ { 0, 0, 1920, 1050 }, { 1920, 0, 3840, 2160 } };

ScreenRect placed( std::optional<WindowPlace> remembered, float scale = 1 )
{
    return placeWindow( remembered, 1280, 800, cTwoScreens, cFrame, scale );
}

} // namespace

TEST( WindowPlace, TheFirstTimeIsInTheMiddleOfTheMainScreen )
{
    EXPECT_EQ( placed( {} ), ( ScreenRect{ 320, 139, 1280, 800 } ) );
}

TEST( WindowPlace, IsWhereItWas )
{
    EXPECT_EQ( placed( WindowPlace{ 2000, 100, 1000, 700 } ), ( ScreenRect{ 2000, 100, 1000, 700 } ) );
}

TEST( WindowPlace, KeepsItsSizeForTheEyeWhenTheScaleChanges )
{
    EXPECT_EQ( placed( WindowPlace{ 2000, 100, 1000, 700 }, 2 ), ( ScreenRect{ 2000, 100, 2000, 1400 } ) );
    const auto first = placeWindow( {}, 1280, 800, { { 0, 0, 3840, 2160 } }, {}, 2 );
    EXPECT_EQ( first, ( ScreenRect{ 640, 280, 2560, 1600 } ) );
}

TEST( WindowPlace, IsNeverLargerThanItsScreen )
{
    EXPECT_EQ( placed( {}, 2 ), ( ScreenRect{ 2, 30, 1916, 1018 } ) );
}

TEST( WindowPlace, ComesBackFromOverAnEdgeWithItsFrame )
{
    EXPECT_EQ( placed( WindowPlace{ -300, -500, 1000, 700 } ), ( ScreenRect{ 2, 30, 1000, 700 } ) );
    EXPECT_EQ( placed( WindowPlace{ 5500, 2000, 1000, 700 } ), ( ScreenRect{ 4758, 1458, 1000, 700 } ) );
}

TEST( WindowPlace, OnAScreenThatIsGoneStandsInTheMiddleOfTheMainOne )
{
    EXPECT_EQ( placed( WindowPlace{ 9000, 100, 1000, 700 } ), ( ScreenRect{ 460, 189, 1000, 700 } ) );
}

TEST( WindowPlace, GoesThroughTheSettings )
{
    const WindowPlace place{ -5, 6, 700, 800, true };
    EXPECT_EQ( windowPlaceFromJson( toJson( place ) ), place );
}

TEST( WindowPlace, OfDamagedSettingsIsNone )
{
    EXPECT_FALSE( windowPlaceFromJson( {} ) );
    EXPECT_FALSE( windowPlaceFromJson( "window" ) );
    auto value = toJson( { 1, 2, 700, 800, false } );
    for ( const Json::Value& wrong : { Json::Value( 0 ), Json::Value( 1e9 ), Json::Value( "800" ), Json::Value() } )
    {
        value["width"] = wrong;
        EXPECT_FALSE( windowPlaceFromJson( value ) ) << wrong;
    }
}
