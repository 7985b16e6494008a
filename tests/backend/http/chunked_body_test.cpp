#include "http/ChunkedBody.h"

#include <gtest/gtest.h>

using namespace VX::Backend;

namespace
{

struct Taken
{
    Reading reading = Reading::More;
    std::string body;
    std::string rest;
};

Taken take( const std::string& bytes, uint64_t mostBody = 1000, uint64_t mostInAll = 2000 )
{
    ChunkedBody chunks( mostBody, mostInAll );
    Taken out;
    out.rest = bytes;
    out.reading = chunks.take( out.rest, out.body );
    return out;
}

} // namespace

TEST( ChunkedBody, IsPutTogetherAndWhatFollowsStays )
{
    const auto taken = take( "3\r\nabc\r\n0002;name=\"x y\"\r\nde\r\nA \r\n0123456789\r\n0\r\n\r\nGET /" );
    EXPECT_EQ( taken.reading, Reading::Done );
    EXPECT_EQ( taken.body, "abcde0123456789" );
    EXPECT_EQ( taken.rest, "GET /" );
}

TEST( ChunkedBody, ComesInAnyPieces )
{
    const std::string bytes = "3\r\nabc\r\n2;x\r\nde\r\n0\r\n\r\n";
    ChunkedBody chunks( 10, 100 );
    std::string body;
    for ( size_t i = 0; i < bytes.size(); ++i )
    {
        std::string piece( 1, bytes[i] );
        EXPECT_EQ( chunks.take( piece, body ), i + 1 < bytes.size() ? Reading::More : Reading::Done ) << i;
    }
    EXPECT_EQ( body, "abcde" );
}

TEST( ChunkedBody, OddFramesAreRefused )
{
    for ( const char* bytes :
        { "\r\n", ";x\r\n", "x\r\n", "-1\r\n", "0x1\r\na\r\n", "1\na\r\n", "1\r\nab", "1\r\na\n", "1\r\na\rb",
            "1;x\ny\r\n", "1;\x01\r\n", "1\rx", "+1\r\na", "1000000000000000\r\n", "0\r\n\n", "0\r\n\rx" } )
        EXPECT_EQ( take( bytes ).reading, Reading::Wrong ) << bytes;
}

TEST( ChunkedBody, FieldsBehindTheLastChunkAreRefused )
{
    EXPECT_EQ( take( "0\r\nX: a\r\n\r\n" ).reading, Reading::Wrong );
}

TEST( ChunkedBody, HasALimitOnItsBytes )
{
    EXPECT_EQ( take( "3\r\nabc\r\n0\r\n\r\n", 3 ).reading, Reading::Done );
    EXPECT_EQ( take( "3\r\nabc\r\n0\r\n\r\n", 2 ).reading, Reading::TooLarge );
    EXPECT_EQ( take( "2\r\nab\r\n2\r\nab\r\n", 3 ).reading, Reading::TooLarge );
    EXPECT_EQ( take( "fffffffffffffff\r\n" ).reading, Reading::TooLarge ) << "before any of it has come";
}

TEST( ChunkedBody, HasALimitOnWhatFramesIt )
{
    EXPECT_EQ( take( "5;" + std::string( 5000, 'a' ) ).reading, Reading::TooLarge );
    std::string many;
    for ( int i = 0; i < 900; ++i )
        many += "1\r\na\r\n";
    EXPECT_EQ( take( many ).reading, Reading::TooLarge );
    EXPECT_EQ( take( many, 1000, 20000 ).reading, Reading::More );
}
