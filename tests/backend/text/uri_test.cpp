#include "text/Uri.h"

#include <gtest/gtest.h>

using namespace VX::Backend;

TEST( Uri, EncodesAllButUnreservedCharacters )
{
    EXPECT_EQ( percentEncode( "aZ09-._~" ), "aZ09-._~" );
    EXPECT_EQ( percentEncode( "a b/ü+" ), "a%20b%2F%C3%BC%2B" );
    EXPECT_EQ( percentEncode( "a/b c", true ), "a/b%20c" );
}

TEST( Uri, DecodesAndRefusesBrokenEscapes )
{
    EXPECT_EQ( percentDecode( "a%20b%2fc+" ), "a b/c+" );
    for ( const char* bad : { "%", "%1", "%zz", "a%2" } )
        EXPECT_FALSE( percentDecode( bad ) ) << bad;
}

TEST( Uri, ParsesAQueryAndRefusesANameGivenTwice )
{
    const auto query = parseQuery( "a=1&b=%26&c&" );
    ASSERT_TRUE( query );
    EXPECT_EQ( query->at( "a" ), "1" );
    EXPECT_EQ( query->at( "b" ), "&" );
    EXPECT_EQ( query->at( "c" ), "" );
    EXPECT_FALSE( parseQuery( "a=1&a=2" ) );
    EXPECT_TRUE( parseQuery( "" )->empty() );
}

TEST( Uri, TellsTheHostOfAnAddress )
{
    EXPECT_EQ( hostNameOf( "https://convert.example.org" ), "convert.example.org" );
    EXPECT_EQ( hostNameOf( "https://convert.example.org:8443" ), "convert.example.org" );
    EXPECT_EQ( hostNameOf( "https://[fd00::7]:8443" ), "fd00::7" );
    EXPECT_EQ( hostNameOf( "https://[::1]" ), "::1" );
    EXPECT_EQ( hostNameOf( "" ), "" );
    EXPECT_EQ( hostNameOf( "convert.example.org:8443" ), "" );
}
