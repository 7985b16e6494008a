#include "crypto/Hex.h"

#include <gtest/gtest.h>

#include <set>

using namespace VX::Backend;

TEST( Hex, WritesTwoDigitsAByte )
{
    EXPECT_EQ( hex( "" ), "" );
    EXPECT_EQ( hex( std::string( "\0\x0f\xa0\xff", 4 ) ), "000fa0ff" );
}

TEST( Hex, DigestIsThatOfTheStandard )
{
    // FIPS 180-2, B.1
    EXPECT_EQ( hex( sha256( "abc" ) ), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" );
}

TEST( Hex, RandomTextsDiffer )
{
    std::set<std::string> seen;
    for ( int i = 0; i < 1000; ++i )
        seen.insert( randomHex( 16 ) );
    EXPECT_EQ( seen.size(), 1000u );
    EXPECT_EQ( seen.begin()->size(), 32u );
}
