#include "support/ScratchFolder.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Progress.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( Json, ParsesText )
{
    const auto value = deserializeJsonValue( std::string( R"({"a": [1, 2]})" ) );
    ASSERT_TRUE( value );
    EXPECT_EQ( ( *value )["a"][1].asInt(), 2 );
}

TEST( Json, ReportsLineAndColumnOfAMistake )
{
    const auto value = deserializeJsonValue( std::string( "{\n  \"a\": ,\n}" ) );
    ASSERT_FALSE( value );
    EXPECT_NE( value.error().find( "Line 2" ), std::string::npos );
}

TEST( Json, RefusesTextAfterTheDocument )
{
    EXPECT_FALSE( deserializeJsonValue( std::string( "" ) ) );
    EXPECT_FALSE( deserializeJsonValue( std::string( "<html>" ) ) );
}

TEST( Json, RefusesBottomlessNesting )
{
    EXPECT_FALSE( deserializeJsonValue( std::string( 100000, '[' ) ) );
}

TEST( Json, ReadsAFileAndNamesAMissingOne )
{
    const Testing::ScratchFolder folder;
    EXPECT_TRUE( deserializeJsonValue( folder.write( "a.json", "{}" ) ) );
    const auto missing = deserializeJsonValue( folder.path() / "b.json" );
    ASSERT_FALSE( missing );
    EXPECT_NE( missing.error().find( "b.json" ), std::string::npos );
}

TEST( Progress, MapsAStageOntoItsParent )
{
    std::vector<float> seen;
    const auto stage = subprogress(
        [&]( float f )
        {
            seen.push_back( f );
            return f < 0.6f;
        },
        0.5f, 0.75f );
    EXPECT_TRUE( stage( 0 ) );
    EXPECT_FALSE( stage( 1 ) );
    EXPECT_EQ( seen, ( std::vector<float>{ 0.5f, 0.75f } ) );
    EXPECT_FALSE( bool( subprogress( {}, 0, 1 ) ) );
}
