#include "text/JsonText.h"

#include <gtest/gtest.h>

using namespace VX::Backend;

TEST( RequestJson, IsReadAsItStands )
{
    const auto read =
        readRequestJson( " { \"text\" : \"\\u00e4\\n\", \"list\": [1, 2.5, true, null], \"in\": {} }\n " );
    ASSERT_TRUE( read ) << read.error();
    EXPECT_EQ( compactJson( *read ), R"({"in":{},"list":[1,2.5,true,null],"text":"\u00e4\n"})" );
}

TEST( RequestJson, OnlyAnObjectIsARequest )
{
    for ( const char* text : { "", " ", "[]", "[{}]", "1", "\"text\"", "null", "garbage" } )
        EXPECT_FALSE( readRequestJson( text ) ) << text;
    EXPECT_EQ( readRequestJson( "[]" ).error(), "It is not an object" );
}

TEST( RequestJson, WhatOthersWouldReadInAnotherWayIsRefused )
{
    for ( const char* text : { "{} {}", "{}x", "{\"a\":1}//", "/* a */{}", "{\"a\":1,}", "{\"a\":1,\"a\":2}", "{'a':1}",
              "\xef\xbb\xbf{}", "{\"a\":NaN}", "{1:2}", "{\"a\":}" } )
        EXPECT_FALSE( readRequestJson( text ) ) << text;
}

TEST( RequestJson, TooDeepIsAnErrorAndNoException )
{
    const auto nested = []( size_t depth )
    { return "{\"a\":" + std::string( depth, '[' ) + std::string( depth, ']' ) + "}"; };
    EXPECT_TRUE( readRequestJson( nested( 190 ) ) );
    EXPECT_FALSE( readRequestJson( nested( 100'000 ) ) );
}
