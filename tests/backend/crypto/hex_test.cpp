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

TEST( Hex, RandomIdsHaveTheFormOfTheirVersion )
{
    std::set<char> variants;
    for ( int i = 0; i < 1000; ++i )
    {
        const auto id = randomUuid();
        ASSERT_EQ( id.size(), 36u );
        for ( size_t at = 0; at < id.size(); ++at )
            if ( at == 8 || at == 13 || at == 18 || at == 23 )
                EXPECT_EQ( id[at], '-' ) << id;
            else
                EXPECT_NE( std::string( "0123456789abcdef" ).find( id[at] ), std::string::npos ) << id;
        EXPECT_EQ( id[14], '4' ) << id;
        variants.insert( id[19] );
    }
    EXPECT_EQ( variants, ( std::set<char>{ '8', '9', 'a', 'b' } ) );
}

TEST( Hex, SignaturesAreThoseOfTheStandard )
{
    // RFC 4231, test case 2
    EXPECT_EQ( hex( hmacSha256( "Jefe", "what do ya want for nothing?" ) ),
        "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843" );
}
