#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/service/MemoryConnection.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

using namespace VX;
using namespace VX::Backend;
using Testing::converse;

namespace
{

/// Says back what it was asked; "/refused" is refused by its head, "/throws…" throws.
class Echo final : public HttpService
{
public:
    BodyPlan planBody( const HttpRequest& head ) override
    {
        if ( head.path == "/throws-early" )
            throw std::runtime_error( "early" );
        if ( head.path == "/throws-anything" )
            throw 7;
        BodyPlan plan;
        plan.maxSize = head.method == "GET" ? 0 : head.path == "/large" ? 1'000'000 : 100;
        if ( head.method == "PUT" )
            plan.file = file;
        if ( head.path == "/refused" )
        {
            plan.refusal = HttpResponse{};
            plan.refusal->status = 403;
            plan.refusal->body = "no";
        }
        return plan;
    }
    void handle( HttpRequest request, Respond respond ) override
    {
        if ( request.path == "/throws" )
            throw std::runtime_error( "late" );
        HttpResponse response;
        response.body = "<" + request.method + request.path + " " + request.body + ">";
        from.push_back( request.remoteAddress );
        ids.push_back( request.id );
        if ( request.path == "/file" )
        {
            response.file = file;
            response.fileOffset = 1;
            response.fileLength = 3;
        }
        respond( std::move( response ) );
        if ( request.path == "/throws-after" )
            throw std::runtime_error( "after" );
        if ( request.path == "/twice" )
            respond( HttpResponse{} );
    }
    void ended( const RequestEnd& end ) override { ends.push_back( end ); }
    std::filesystem::path file;
    std::vector<std::string> from, ids;
    std::vector<RequestEnd> ends;
};

int count( const std::string& text, const std::string& what )
{
    int out = 0;
    for ( auto at = text.find( what ); at != std::string::npos; at = text.find( what, at + 1 ) )
        ++out;
    return out;
}

/// Status codes of all answers; none of the bodies here begins like one.
std::string statuses( const std::string& heard )
{
    std::string out;
    for ( auto at = heard.find( "HTTP/1.1 " ); at != std::string::npos; at = heard.find( "HTTP/1.1 ", at + 1 ) )
        out += heard.substr( at + 9, 3 ) + " ";
    return out;
}

class HttpSessions : public testing::Test
{
protected:
    [[nodiscard]] std::string hear( const std::string& says, size_t piece = SIZE_MAX )
    {
        return converse( says, echo_, options_, piece );
    }

    HttpServerOptions options_;
    Echo echo_;
};

const std::string cHost = " HTTP/1.1\r\nHost: h\r\n";
const std::string cNext = "GET /next" + cHost + "\r\n";

} // namespace

TEST_F( HttpSessions, RequestsOfOneConnectionAreAnsweredInTurn )
{
    const auto says = "GET /a" + cHost + "\r\n" + "POST /b" + cHost + "Content-Length: 3\r\n\r\nabc" + "POST /c" +
                      cHost + "Transfer-Encoding: chunked\r\n\r\n2\r\nde\r\n1;x\r\nf\r\n0\r\n\r\n" + cNext;
    const auto heard = hear( says );
    EXPECT_EQ( statuses( heard ), "200 200 200 200 " );
    for ( const char* body : { "<GET/a >", "<POST/b abc>", "<POST/c def>", "<GET/next >" } )
        EXPECT_EQ( count( heard, body ), 1 ) << body;
    for ( const size_t piece : { 1, 2, 3, 7, 50 } )
        EXPECT_EQ( hear( says, piece ), heard ) << piece;
}

TEST_F( HttpSessions, ATrailerOfAnySizeIsRefused )
{
    for ( const size_t size : { 1, 60'000, 65'534, 1'000'000 } )
    {
        const auto heard =
            hear( "POST /" + cHost + "Transfer-Encoding: chunked\r\n\r\n0\r\nX: " + std::string( size, 'a' ) +
                  "\r\n\r\n" + cNext );
        EXPECT_EQ( statuses( heard ), "400 " ) << size;
    }
}

TEST_F( HttpSessions, FramesWithoutEndAreRefused )
{
    const auto heard = hear(
        "POST /" + cHost + "Transfer-Encoding: chunked\r\n\r\n5;" + std::string( 30'000, 'a' ) + "\r\nabcde\r\n" );
    EXPECT_EQ( statuses( heard ), "413 " );
    EXPECT_EQ( statuses( hear( "POST /" + cHost + "Transfer-Encoding: chunked\r\n\r\nffff\r\n" ) ), "413 " );
}

TEST_F( HttpSessions, ABodyThatIsNotWantedIsNoRequest )
{
    const auto hidden = "GET /hidden" + cHost + "\r\n";
    for ( const std::string head : { "PUT /refused", "GET /x", "POST /refused" } )
    {
        const auto chunked = hear( head + cHost + "Transfer-Encoding: chunked\r\n\r\n" + hidden );
        EXPECT_EQ( count( chunked, "200 OK" ), 0 ) << chunked;
        EXPECT_NE( chunked.find( "Connection: close" ), std::string::npos );
    }
    const auto length = std::to_string( hidden.size() );
    const auto swallowed = hear( "PUT /refused" + cHost + "Content-Length: " + length + "\r\n\r\n" + hidden + cNext );
    EXPECT_EQ( statuses( swallowed ), "403 200 " );
    EXPECT_EQ( count( swallowed, "/hidden" ), 0 );
    const auto unread = hear( "PUT /refused" + cHost + "Content-Length: 20000\r\n\r\n" + hidden, 90 );
    EXPECT_EQ( statuses( unread ), "403 " );
}

TEST_F( HttpSessions, AnUnknownCodingEndsTheConnection )
{
    for ( const char* coding : { "xchunked", "identity", "gzip", "chunked, identity" } )
        EXPECT_EQ( statuses( hear( "POST /" + cHost + "Transfer-Encoding: " + coding + "\r\n\r\n" + cNext ) ), "400 " )
            << coding;
}

TEST_F( HttpSessions, AnswersToHeadHaveNoBody )
{
    for ( const char* path : { "/x", "/refused", "/throws" } )
    {
        const auto heard = hear( "HEAD " + std::string( path ) + cHost + "\r\n" );
        EXPECT_TRUE( heard.ends_with( "\r\n\r\n" ) ) << heard;
        EXPECT_EQ( count( heard, "\r\n\r\n" ), 1 );
    }
    EXPECT_TRUE( hear( "HEAD /x HTTP/1.1\r\n\r\n" ).ends_with( "\r\n\r\n" ) );
    EXPECT_TRUE( hear( "HEAD /x" + cHost + "Content-Length: 200\r\n\r\n" ).ends_with( "\r\n\r\n" ) );
}

TEST_F( HttpSessions, ARefusedClientThatWantsToGoIsLetGo )
{
    const auto close = hear( "GET /refused" + cHost + "Connection: close\r\n\r\n" + cNext );
    EXPECT_EQ( statuses( close ), "403 " );
    EXPECT_NE( close.find( "Connection: close" ), std::string::npos );
    EXPECT_EQ( statuses( hear( "GET /refused HTTP/1.0\r\n\r\n" + cNext ) ), "403 " );
    EXPECT_EQ( statuses( hear( "GET /refused" + cHost + "\r\n" + cNext ) ), "403 200 " );
}

TEST_F( HttpSessions, WhatAHandlerThrowsIsAnAnswer )
{
    const Testing::LogCapture log;
    for ( const char* path : { "/throws", "/throws-early", "/throws-anything" } )
    {
        const auto heard = hear( "GET " + std::string( path ) + cHost + "\r\n" + cNext );
        EXPECT_EQ( statuses( heard ), "500 " ) << path;
        EXPECT_EQ( count( heard, "Connection: close\r\n" ), 1 ) << heard;
        EXPECT_TRUE( heard.ends_with( R"({"error":{"message":"Internal Server Error"}})" ) ) << heard;
    }
    EXPECT_TRUE( log.contains( "A request could not be answered: early" ) );
    EXPECT_EQ( statuses( hear( "GET /throws-after" + cHost + "\r\n" + cNext ) ), "200 200 " );
    EXPECT_EQ( statuses( hear( "GET /twice" + cHost + "\r\n" + cNext ) ), "200 200 " );
}

TEST_F( HttpSessions, AFileIsSentAndTheConnectionGoesOn )
{
    const Testing::ScratchFolder folder;
    echo_.file = folder.write( "answer", "abcdef" );
    const auto heard = hear( "GET /file" + cHost + "\r\n" + "HEAD /file" + cHost + "\r\n" + cNext );
    EXPECT_EQ( statuses( heard ), "200 200 200 " );
    EXPECT_EQ( count( heard, "Content-Length: 3\r\n" ), 2 );
    EXPECT_EQ( count( heard, "\r\n\r\nbcdHTTP/1.1 200" ), 1 ) << heard;
    EXPECT_TRUE( heard.ends_with( "<GET/next >" ) );
    std::filesystem::resize_file( echo_.file, 2 );
    EXPECT_EQ( statuses( hear( "GET /file" + cHost + "\r\n" + cNext ) ), "200 " )
        << "what is cut off is not passed off as whole";
}

TEST_F( HttpSessions, UploadsGoIntoTheirFileAndWhatIsCutOffIsRemoved )
{
    const Testing::ScratchFolder folder;
    echo_.file = folder.path() / "upload";
    EXPECT_EQ( statuses( hear( "PUT /x" + cHost + "Content-Length: 5\r\n\r\nabcde" + cNext, 3 ) ), "200 200 " );
    EXPECT_EQ( std::filesystem::file_size( echo_.file ), 5u );
    EXPECT_EQ( statuses( hear( "PUT /x" + cHost + "Content-Length: 5\r\n\r\nabcd" ) ), "" );
    EXPECT_FALSE( std::filesystem::exists( echo_.file ) );
    EXPECT_EQ( statuses( hear( "PUT /x" + cHost + "Content-Length: 500\r\n\r\n" ) ), "413 " );
    EXPECT_EQ( statuses( hear( "PUT /x" + cHost + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n" ) ), "411 " );
    EXPECT_TRUE( hear( "PUT /x" + cHost + "Expect: 100-continue\r\nContent-Length: 1\r\n\r\na" )
            .starts_with( "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200" ) );
}

TEST_F( HttpSessions, WhatIsCutOffIsRemovedWhereADiskMayTakeItsTime )
{
    const Testing::ScratchFolder folder;
    echo_.file = folder.path() / "upload";
    boost::asio::io_context io;
    boost::asio::thread_pool files( 1 );
    Testing::MemoryConnection client( "PUT /x" + cHost + "Content-Length: 5\r\n\r\nabcd", SIZE_MAX );
    BodyRoom bodies( options_.mostBodies );
    HttpSession session( client, options_, echo_, "127.0.0.1", files.get_executor(), bodies );
    std::promise<void> diskWorks;
    bool gone = false, ended = false;
    client.whenDone = [&]
    {
        gone = true;
        boost::asio::post( files, [&] { diskWorks.get_future().wait(); } );
    };
    auto awake = boost::asio::make_work_guard( io );
    boost::asio::co_spawn( io, session.run(),
        [&]( const std::exception_ptr& )
        {
            ended = true;
            awake.reset();
        } );
    while ( !gone )
        io.run_one();
    io.poll();
    EXPECT_TRUE( std::filesystem::exists( echo_.file ) ) << "the thread of the connections waits for no disk";
    EXPECT_FALSE( ended );
    diskWorks.set_value();
    io.run();
    EXPECT_TRUE( ended );
    EXPECT_FALSE( std::filesystem::exists( echo_.file ) );
}

TEST_F( HttpSessions, LargeBodiesInMemoryShareTheirRoom )
{
    const auto plain = [&]( size_t size )
    {
        return "POST /large" + cHost + "Content-Length: " + std::to_string( size ) + "\r\n\r\n" +
               std::string( size, 'x' );
    };
    const auto chunked = []( size_t size )
    {
        return "POST /large" + cHost + "Transfer-Encoding: chunked\r\n\r\n" + fmt::format( "{:x}", size ) + "\r\n" +
               std::string( size, 'x' ) + "\r\n0\r\n\r\n";
    };
    options_.mostBodies = 100'000;
    EXPECT_EQ(
        statuses( hear( plain( 150'000 ) + chunked( 150'000 ) + plain( 150'000 ) + cNext ) ), "200 200 200 200 " );
    for ( const auto& large : { plain( 200'000 ), chunked( 200'000 ) } )
        EXPECT_EQ( statuses( hear( large + cNext ) ), "503 " );
    options_.mostBodies = 0;
    EXPECT_EQ( statuses( hear( plain( 64 * 1024 ) + chunked( 64 * 1024 ) + cNext ) ), "200 200 200 " )
        << "for small ones there is always room";
}

TEST_F( HttpSessions, AConnectionThatRestsHoldsNoRoomOfBodies )
{
    boost::asio::io_context io;
    BodyRoom bodies( 100'000 );
    Testing::MemoryConnection client(
        "POST /large" + cHost + "Content-Length: 150000\r\n\r\n" + std::string( 150'000, 'x' ), SIZE_MAX );
    bool rested = false;
    client.whenDone = [&]
    {
        BodyRoom::Share other( bodies );
        rested = other.hold( BodyRoom::cFree + 100'000 );
    };
    HttpSession session( client, options_, echo_, "127.0.0.1", io.get_executor(), bodies );
    boost::asio::co_spawn( io, session.run(), boost::asio::detached );
    io.run();
    EXPECT_EQ( statuses( client.heard() ), "200 " );
    EXPECT_TRUE( rested );
}

TEST( BodyRoom, IsSharedByAllAndGivenBack )
{
    BodyRoom room( 100 );
    BodyRoom::Share first( room );
    {
        BodyRoom::Share second( room );
        EXPECT_TRUE( first.hold( BodyRoom::cFree + 60 ) );
        EXPECT_FALSE( second.hold( BodyRoom::cFree + 41 ) );
        EXPECT_TRUE( second.hold( BodyRoom::cFree + 40 ) );
        EXPECT_FALSE( first.hold( BodyRoom::cFree + 61 ) );
        EXPECT_TRUE( first.hold( BodyRoom::cFree + 50 ) );
        EXPECT_TRUE( second.hold( BodyRoom::cFree + 50 ) );
    }
    EXPECT_TRUE( first.hold( BodyRoom::cFree + 100 ) );
}

TEST_F( HttpSessions, AFileThatCannotBeWrittenIsNoFullDisk )
{
    const Testing::ScratchFolder folder;
    echo_.file = folder.path() / "nowhere" / "upload";
    EXPECT_EQ( statuses( hear( "PUT /x" + cHost + "Content-Length: 1\r\n\r\na" ) ), "503 " );
    echo_.file = folder.path() / "upload";
    std::filesystem::create_symlink( "/dev/full", echo_.file );
    EXPECT_EQ( statuses( hear( "PUT /x" + cHost + "Content-Length: 1\r\n\r\na" ) ), "507 " );
}

TEST_F( HttpSessions, ABodyThatTakesTooLongIsCutOff )
{
    const Testing::ScratchFolder folder;
    echo_.file = folder.path() / "upload";
    options_.longestBody = std::chrono::milliseconds( 0 );
    const std::string length = "Content-Length: 50\r\n\r\n" + std::string( 50, 'x' );
    EXPECT_EQ( hear( "PUT /" + cHost + length + cNext, 7 ), "" );
    EXPECT_EQ( hear( "POST /" + cHost + length + cNext, 7 ), "" );
    EXPECT_EQ( hear( "POST /" + cHost + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n" + cNext, 7 ), "" );
    EXPECT_EQ( statuses( hear( cNext, 7 ) ), "200 " );
}

TEST_F( HttpSessions, TheClientIsWhomTheProxyNames )
{
    const auto request = "GET /" + cHost + "X-Forwarded-For: 6.6.6.6\r\nX-Forwarded-For: 9.9.9.9\r\n\r\n";
    EXPECT_EQ( statuses( hear( request ) ), "200 " );
    options_.proxies = TrustedProxies::parse( { "127.0.0.0/8" } ).value();
    EXPECT_EQ( statuses( hear( request ) ), "200 " );
    EXPECT_EQ( echo_.from, ( std::vector<std::string>{ "", "9.9.9.9" } ) );
}

TEST_F( HttpSessions, EachRequestHasANameThatIsSentBackAndToldToItsService )
{
    options_.nameRequest = [n = 0]() mutable { return "made-" + std::to_string( ++n ); };
    const auto ask = [&]( const std::string& fields ) { return hear( "GET /" + cHost + fields + "\r\n" ); };
    EXPECT_NE( ask( "X-Request-Id: mine\r\n" ).find( "\r\nX-Request-Id: made-1\r\n" ), std::string::npos )
        << "nobody's word is taken";
    EXPECT_NE( hear( "GET /refused" + cHost + "\r\n" ).find( "\r\nX-Request-Id: made-2\r\n" ), std::string::npos );
    EXPECT_NE( hear( "no request\r\n\r\n" ).find( "\r\nX-Request-Id: made-3\r\n" ), std::string::npos );
    options_.proxies = TrustedProxies::parse( { "127.0.0.0/8" } ).value();
    EXPECT_NE( ask( "X-Request-Id: a.Z_-9\r\n" ).find( "\r\nX-Request-Id: a.Z_-9\r\n" ), std::string::npos );
    for ( const std::string odd : { "", "a b", "a\"b", "ann@example.org" } )
        EXPECT_NE( ask( "X-Request-Id: " + odd + "\r\n" ).find( "\r\nX-Request-Id: made-" ), std::string::npos ) << odd;
    EXPECT_NE( ask( "X-Request-Id: " + std::string( 65, 'a' ) + "\r\n" ).find( "Id: made-8\r\n" ), std::string::npos );
    EXPECT_EQ( echo_.ids,
        ( std::vector<std::string>{ "made-1", "a.Z_-9", "made-4", "made-5", "made-6", "made-7", "made-8" } ) );
}

TEST_F( HttpSessions, WithoutNamesNoneIsSent )
{
    EXPECT_EQ( hear( "GET /" + cHost + "\r\n" ).find( "X-Request-Id" ), std::string::npos );
}

TEST_F( HttpSessions, SixteenMebibytesOfARefusedBodyAreWaitedForAndNoMore )
{
    constexpr uint64_t cPatientFor = uint64_t( 16 ) << 20;
    const auto readOf = [&]( uint64_t length )
    {
        const auto head = "PUT /refused" + cHost + "Content-Length: " + std::to_string( length ) + "\r\n\r\n";
        EXPECT_EQ( statuses( hear( head + std::string( length, 'x' ) ) ), "403 " );
        return echo_.ends.back().received - head.size();
    };
    EXPECT_EQ( readOf( 3'000'000 ), 3'000'000u );
    const auto read = readOf( cPatientFor + 1'000'000 );
    EXPECT_GE( read, cPatientFor );
    EXPECT_LE( read, cPatientFor + 100'000 );
}

TEST_F( HttpSessions, TheEndOfEachRequestIsTold )
{
    const auto ended = [&]( const std::string& says )
    {
        echo_.ends.clear();
        const auto heard = hear( says );
        EXPECT_EQ( echo_.ends.size(), 1u );
        auto out = echo_.ends.empty() ? RequestEnd() : echo_.ends.front();
        EXPECT_EQ( out.sent, heard.size() );
        EXPECT_EQ( out.received, says.size() );
        EXPECT_GT( out.duration.count(), 0 );
        return out;
    };
    const auto answered = ended( "POST /x?secret" + cHost + "Content-Length: 3\r\n\r\nabc" );
    EXPECT_EQ( answered.status, 200 );
    EXPECT_EQ( answered.request.method + answered.request.path, "POST/x" );
    EXPECT_EQ( answered.request.query + answered.request.body, "" );
    EXPECT_EQ( ended( "GET /refused" + cHost + "\r\n" ).status, 403 );
    EXPECT_EQ( ended( "POST /" + cHost + "Content-Length: 101\r\n\r\n" ).status, 413 );
    EXPECT_EQ( ended( "GET / HTTP/1.1\r\n\r\n" ).status, 400 );
    const auto gone = ended( "POST /x" + cHost + "Content-Length: 3\r\n\r\na" );
    EXPECT_EQ( gone.status, 0 );
    EXPECT_EQ( gone.request.path, "/x" );
    echo_.ends.clear();
    EXPECT_EQ( statuses( hear( cNext + cNext ) ), "200 200 " );
    EXPECT_EQ( echo_.ends.size(), 2u );
}
