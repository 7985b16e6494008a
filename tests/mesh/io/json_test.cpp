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

TEST( Json, RefusesWhatIsNoDocument )
{
    using namespace std::string_literals;
    for ( const auto& text : { ""s, " \n"s, "<html>"s, "\0"s, "\xff\xfe"s, "{\"a\":"s, "[1,"s, "{\"a\" 1}"s, "nul"s,
              "]"s, "\"open"s, "{1: 2}"s, "/* a remark"s } )
    {
        const auto value = deserializeJsonValue( text );
        ASSERT_FALSE( value ) << text;
        EXPECT_NE( value.error(), "" ) << text;
    }
}

TEST( Json, TakesRemarksAsPeopleWriteThemIntoSettings )
{
    const auto value = deserializeJsonValue( std::string( "// mine\n{\"a\": /* one */ 1}" ) );
    ASSERT_TRUE( value ) << value.error();
    EXPECT_EQ( ( *value )["a"], 1 );
}

TEST( Json, OfAStrangerIsTakenToTheLetter )
{
    for ( const char* text :
        { "{}", "[]", R"({"a": [1, {"b": null}]})", " {\"a\": \"\u00e4\"}\n", R"({"a//": "/* \"/", "b\\": "/"})" } )
        EXPECT_TRUE( deserializeStrictJson( text ) ) << text;
    for ( const char* text : { "", "7", "\"a\"", "{} x", "{}{}", "[1,]", "{\"a\": 1,}", "{\"a\": 1, \"a\": 2}",
              "{'a': 1}", "{1: 2}", "[NaN]", "[,1]", "// a remark\n{}", "[1, /* a remark */ 2]",
              "{/* a remark */ \"a\": 1}", "\xef\xbb\xbf{}" } )
        EXPECT_FALSE( deserializeStrictJson( text ) ) << text;
    EXPECT_FALSE( deserializeStrictJson( std::string( 230, '[' ) + std::string( 230, ']' ) ) );
}

TEST( Json, RefusesBottomlessNesting )
{
    const auto nested = []( size_t depth )
    { return deserializeJsonValue( std::string( depth, '[' ) + std::string( depth, ']' ) ).has_value(); };
    EXPECT_TRUE( nested( 150 ) );
    EXPECT_FALSE( nested( 230 ) );
    EXPECT_FALSE( deserializeJsonValue( std::string( 100000, '[' ) ) );
    EXPECT_FALSE( deserializeJsonValue( std::string( 100000, '{' ) ) );
}

TEST( Json, ReadsNoFileThatCouldNotBeADocument )
{
    const Testing::ScratchFolder folder;
    constexpr uintmax_t cMost = uintmax_t( 64 ) << 20;
    const auto file = folder.write( "large.json", "{}" );
    std::filesystem::resize_file( file, cMost + 1 );
    const auto large = deserializeJsonValue( file );
    ASSERT_FALSE( large );
    EXPECT_EQ( large.error(), "\"" + file.string() + "\" is too large for a JSON document" );
    EXPECT_NE( deserializeJsonValue( folder.path() ).error().find( "Is a directory" ), std::string::npos );
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

TEST( Progress, NobodyWhoListensStopsNothing )
{
    EXPECT_TRUE( reportProgress( {}, 0.5f ) );
    float seen = 0;
    EXPECT_FALSE( reportProgress(
        [&]( float fraction )
        {
            seen = fraction;
            return false;
        },
        0.5f ) );
    EXPECT_EQ( seen, 0.5f );
}
