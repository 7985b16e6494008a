#include "http/RequestHead.h"

#include <gtest/gtest.h>

using namespace VX::Backend;

namespace
{

constexpr size_t cMost = 1000;

/// Nothing when it is refused or not whole.
std::optional<RequestHead> read( std::string bytes )
{
    RequestHeadReader reader( cMost );
    return reader.take( bytes ) == Reading::Done ? reader.head() : std::nullopt;
}

std::optional<RequestHead> readFields( const std::string& fields, const std::string& version = "1.1" )
{
    return read( "POST /x HTTP/" + version + "\r\n" + fields + "\r\n" );
}

} // namespace

TEST( RequestHead, SaysWhatIsWanted )
{
    const auto head = read( "PUT /a%20b?c=d?e HTTP/1.1\r\nHost: localhost:8443\r\nCONTENT-length: 12\r\nX-A: 1\r\n"
                            "x-a:  2 \r\nExpect: 100-Continue\r\n\r\nbody" );
    ASSERT_TRUE( head );
    EXPECT_EQ( head->request.method, "PUT" );
    EXPECT_EQ( head->request.path, "/a%20b" );
    EXPECT_EQ( head->request.query, "c=d?e" );
    EXPECT_EQ( head->request.header( "x-a" ), "1, 2" );
    EXPECT_EQ( head->length, 12u );
    EXPECT_TRUE( head->waitsForContinue );
    EXPECT_TRUE( head->keepAlive );
    EXPECT_FALSE( head->chunked );
}

TEST( RequestHead, ComesInAnyPiecesAndLeavesWhatFollows )
{
    const std::string text = "GET / HTTP/1.1\r\nHost: h\r\nAccept: */*\r\n\r\n";
    RequestHeadReader reader( cMost );
    std::string pending;
    for ( size_t i = 0; i + 1 < text.size(); ++i )
    {
        pending += text[i];
        EXPECT_EQ( reader.take( pending ), Reading::More ) << i;
    }
    pending += text.back() + std::string( "rest" );
    EXPECT_EQ( reader.take( pending ), Reading::Done );
    EXPECT_EQ( pending, "rest" );
    EXPECT_EQ( reader.head()->request.header( "accept" ), "*/*" );
}

TEST( RequestHead, IsAsLongInOneAsInPieces )
{
    for ( const size_t over : { 0, 1, 2, 3 } )
    {
        std::string text = "GET / HTTP/1.1\r\nHost: h\r\nX: ";
        text += std::string( cMost + over - text.size() - 4, 'a' ) + "\r\n\r\n";
        const auto expected = over == 0 ? Reading::Done : Reading::TooLarge;
        RequestHeadReader pieces( cMost );
        auto reading = Reading::More;
        std::string pending;
        for ( size_t i = 0; i < text.size() && reading == Reading::More; ++i )
        {
            pending += text[i];
            reading = pieces.take( pending );
        }
        EXPECT_EQ( reading, expected ) << over;
        RequestHeadReader whole( cMost );
        EXPECT_EQ( whole.take( text ), expected ) << over;
    }
}

TEST( RequestHead, IsNoLongerThanItsLimit )
{
    std::string endless = "GET / HTTP/1.1\r\nX: " + std::string( 2 * cMost, 'a' );
    RequestHeadReader reader( cMost );
    EXPECT_EQ( reader.take( endless ), Reading::TooLarge );
    EXPECT_EQ( reader.firstLine().path, "/" );
    std::string line( 2 * cMost, 'G' );
    RequestHeadReader second( cMost );
    EXPECT_EQ( second.take( line ), Reading::TooLarge );
}

TEST( RequestHead, TellsWhetherTheConnectionStays )
{
    EXPECT_FALSE( readFields( "Host: h\r\nConnection: close\r\n" )->keepAlive );
    EXPECT_FALSE( readFields( "Host: h\r\n", "1.0" )->keepAlive );
    EXPECT_TRUE( readFields( "Host: h\r\nConnection: keep-alive\r\n", "1.0" )->keepAlive );
}

TEST( RequestHead, NamesOneHost )
{
    EXPECT_TRUE( readFields( "Host: a.example:80\r\n" ) );
    EXPECT_TRUE( readFields( "Host: [::1]:80\r\n" ) );
    EXPECT_TRUE( readFields( "", "1.0" ) );
    EXPECT_FALSE( readFields( "" ) );
    EXPECT_FALSE( readFields( "Host: a\r\nHost: a\r\n" ) );
    EXPECT_FALSE( readFields( "Host: a\r\nHost: a\r\n", "1.0" ) );
    for ( const char* host : { "a b", "a,b", "a/b", "a@b", "a\"" } )
        EXPECT_FALSE( readFields( std::string( "Host: " ) + host + "\r\n" ) ) << host;
}

TEST( RequestHead, FoldedLinesAreRefused )
{
    EXPECT_FALSE( readFields( "Host: h\r\nX: a\r\n b\r\n" ) );
    EXPECT_FALSE( readFields( "Host: h\r\nX: a\r\n\tb\r\n" ) );
}

TEST( RequestHead, OddLengthsAreRefused )
{
    EXPECT_EQ( readFields( "Host: h\r\nContent-Length: 0012\r\n" )->length, 12u );
    for ( const char* fields : { "Content-Length: 5, 5\r\n", "Content-Length: 5\r\nContent-Length: 5\r\n",
              "Content-Length: 5\r\nContent-Length: 6\r\n", "Content-Length: -1\r\n", "Content-Length: +1\r\n",
              "Content-Length: 1x\r\n", "Content-Length: \r\n", "Content-Length: 99999999999999999999\r\n",
              "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n",
              "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n" } )
        EXPECT_FALSE( readFields( std::string( "Host: h\r\n" ) + fields ) ) << fields;
}

TEST( RequestHead, CodingsButChunkedAreRefused )
{
    EXPECT_TRUE( readFields( "Host: h\r\nTransfer-Encoding: Chunked\r\n" )->chunked );
    for ( const char* coding : { "xchunked", "chunked, identity", "identity", "gzip", "gzip, chunked",
              "chunked, chunked", "chunked;q=1", "" } )
        EXPECT_FALSE( readFields( std::string( "Host: h\r\nTransfer-Encoding: " ) + coding + "\r\n" ) ) << coding;
    EXPECT_FALSE( readFields( "Host: h\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n" ) );
    EXPECT_FALSE( readFields( "Host: h\r\nTransfer-Encoding: chunked\r\n", "1.0" ) );
}

TEST( RequestHead, OddBytesAreRefused )
{
    for ( const char* text : { "GET /\r\n\r\n", "GET / HTTP/2.0\r\nHost: h\r\n\r\n", "GET / HTTP/1.1\nHost: h\n\n",
              "GET / HTTP/1.1\r\nHost : h\r\n\r\n", "GET / HTTP/1.1\r\n Host: h\r\n\r\n",
              "GET / HTTP/1.1\r\nHost: h\r\nX: a\x01\r\n\r\n", "GET  / HTTP/1.1\r\nHost: h\r\n\r\n",
              "GET / HTTP/1.1\r\nHost: h\r\nX: a\rb\r\n\r\n", "\x16\x03\x01" } )
        EXPECT_FALSE( read( text ) ) << text;
}
