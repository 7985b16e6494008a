#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/service/TransportFixture.h"

#include <VXViewer/web/WebRequest.h>
#include <VXViewer/web/WebTransport.h>

#include <atomic>
#include <condition_variable>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

using namespace VX;
using Testing::RawReply;
using Testing::RawTlsServer;

namespace
{

/// What one request says and what becomes of its answer, to the byte.
class Transfer : public Testing::TransportFixture
{
protected:
    /// The bytes of a request by its parts, as a server sees them.
    static std::string bytes( const std::string& method, const std::string& headers, const std::string& body )
    {
        return method + " / HTTP/1.1\r\nHost: " + here() + "\r\nAccept: */*\r\n" + headers + "\r\n" + body;
    }
    static RawReply redirect( int status, const std::string& to )
    {
        return { "HTTP/1.1 " + std::to_string( status ) + " Over there\r\nLocation: " + to +
                     "\r\nContent-Length: 2\r\n\r\nno",
            false, false };
    }
    WebRequest upload( const std::string& content ) const
    {
        WebRequest request( RawTlsServer::url( "/" ) );
        request.setMethod( WebRequest::Method::Put );
        request.setInputPath( folder_.write( "in", content ).string() );
        return request;
    }
    WebRequest download() const
    {
        WebRequest request( RawTlsServer::url( "/" ) );
        request.setOutputPath( out().string() );
        return request;
    }
    std::filesystem::path out() const { return folder_.path() / "out"; }
    size_t files() const
    {
        return size_t( std::distance( std::filesystem::directory_iterator( folder_.path() ), {} ) );
    }
};

RawReply answerOk( const std::string& )
{
    return RawTlsServer::answer( "{}" );
}

/// Keeps the fractions that it is told and goes on.
ProgressCallback noteIn( std::vector<float>& fractions )
{
    return [&fractions]( float fraction )
    {
        fractions.push_back( fraction );
        return true;
    };
}

} // namespace

TEST_F( Transfer, EveryMethodWithItsBody )
{
    RawTlsServer server( answerOk );
    using Method = WebRequest::Method;
    for ( const auto& [method, name] : { std::pair( Method::Post, "POST" ), std::pair( Method::Put, "PUT" ),
              std::pair( Method::Patch, "PATCH" ), std::pair( Method::Delete, "DELETE" ) } )
    {
        WebRequest request( RawTlsServer::url( "/" ) );
        request.setMethod( method );
        request.setBody( std::string( "a\0b", 3 ) );
        EXPECT_EQ( codeOf( send( request ) ), 200 ) << name;
        EXPECT_EQ( server.requests().back(),
            bytes( name, "Content-Type: application/json\r\nContent-Length: 3\r\n", std::string( "a\0b", 3 ) ) );
    }
    EXPECT_EQ( codeOf( get( "/" ) ), 200 );
    EXPECT_EQ( server.requests().back(), bytes( "GET", "", "" ) );
    WebRequest without( RawTlsServer::url( "/" ) );
    without.setMethod( Method::Post );
    EXPECT_EQ( codeOf( send( without ) ), 200 );
    EXPECT_EQ( server.requests().back(), bytes( "POST", "Content-Length: 0\r\n", "" ) ) << "nothing has no type";
}

TEST_F( Transfer, AFileIsSentAsItIs )
{
    RawTlsServer server( answerOk );
    EXPECT_EQ( codeOf( send( upload( "scene" ) ) ), 200 );
    EXPECT_EQ( server.requests().back(), bytes( "PUT", "Content-Length: 5\r\n", "scene" ) );
    EXPECT_EQ( codeOf( send( upload( "" ) ) ), 200 );
    EXPECT_EQ( server.requests().back(), bytes( "PUT", "Content-Length: 0\r\n", "" ) );
}

TEST_F( Transfer, TheOwnTypeOfABodyIsTheOnlyOne )
{
    RawTlsServer server( answerOk );
    WebRequest request( RawTlsServer::url( "/" ) );
    request.setMethod( WebRequest::Method::Post );
    request.setHeaders( { { "content-TYPE", "text/x" } } );
    request.setBody( "x" );
    EXPECT_EQ( codeOf( send( request ) ), 200 );
    EXPECT_EQ( server.requests().back(), bytes( "POST", "content-TYPE: text/x\r\nContent-Length: 1\r\n", "x" ) );
}

TEST_F( Transfer, NoLargeBodyWaitsForAPermission )
{
    RawTlsServer server( answerOk );
    const std::string large( 3'000'000, 'x' );
    EXPECT_EQ( codeOf( send( upload( large ) ) ), 200 );
    EXPECT_EQ( server.requests().back(), bytes( "PUT", "Content-Length: 3000000\r\n", large ) );
    WebRequest request( RawTlsServer::url( "/" ) );
    request.setMethod( WebRequest::Method::Post );
    request.setBody( large );
    EXPECT_EQ( codeOf( send( request ) ), 200 );
    EXPECT_EQ( server.requests().back().find( "Expect" ), std::string::npos );
}

TEST_F( Transfer, ParametersFollowTheAddressOrItsQuery )
{
    RawTlsServer server( answerOk );
    WebRequest request( RawTlsServer::url( "/a" ) );
    request.setParameters( { { "b", "1/2?&=" }, { "a", "" } } );
    EXPECT_EQ( codeOf( send( request ) ), 200 );
    EXPECT_TRUE( server.requests().back().starts_with( "GET /a?a=&b=1%2F2%3F%26%3D HTTP/1.1\r\n" ) );
}

TEST_F( Transfer, EveryKindOfRedirectOfWhatIsNotSentElsewhereIsAnError )
{
    int status = 0;
    RawTlsServer server( [&]( const std::string& ) { return redirect( status, "/elsewhere" ); } );
    WebRequest post( RawTlsServer::url( "/" ) );
    post.setMethod( WebRequest::Method::Post );
    post.setLogName( "login" );
    for ( const int each : { 301, 302, 303, 307, 308 } )
    {
        status = each;
        const Testing::LogCapture log;
        const auto response = send( post );
        const auto text = "The server sends this request to another address (status " + std::to_string( each ) +
                          "), where it is not sent: it may hold what is for this server alone";
        EXPECT_EQ( codeOf( response ), each );
        EXPECT_EQ( response["error"], text );
        EXPECT_FALSE( response.isMember( "text" ) );
        EXPECT_EQ( log.text(), "warning: login: " + text + "\n" );
    }
    for ( const int each : { 300, 304, 305 } )
    {
        status = each;
        EXPECT_EQ( codeOf( send( post ) ), each );
        EXPECT_EQ( send( post )["error"], "" ) << "it is the answer itself";
    }
    for ( const auto& request : server.requests() )
        EXPECT_TRUE( request.starts_with( "POST / HTTP" ) );
}

TEST_F( Transfer, OnlyGetsAndFilesAreSentElsewhere )
{
    RawTlsServer server(
        []( const std::string& request )
        {
            return request.find( " /elsewhere" ) == std::string::npos ? redirect( 308, "/elsewhere" )
                                                                      : RawTlsServer::answer( "there" );
        } );
    using Method = WebRequest::Method;
    for ( const auto method : { Method::Post, Method::Put, Method::Patch, Method::Delete } )
    {
        WebRequest request( RawTlsServer::url( "/" ) );
        request.setMethod( method );
        EXPECT_EQ( codeOf( send( request ) ), 308 );
    }
    WebRequest asking( RawTlsServer::url( "/" ) );
    asking.setBody( "secret" );
    EXPECT_EQ( codeOf( send( asking ) ), 308 );
    auto posted = upload( "file" );
    posted.setMethod( Method::Post );
    EXPECT_EQ( codeOf( send( posted ) ), 308 );
    posted.setMethod( Method::Get );
    EXPECT_EQ( codeOf( send( posted ) ), 308 );
    auto signedPut = upload( "file" );
    signedPut.setHeaders( { { "X-Token", "secret" } } );
    EXPECT_EQ( codeOf( send( signedPut ) ), 308 );
    auto kept = download();
    kept.setHeaders( { { "X-Token", "secret" } } );
    kept.setMaxOutputSize( 1 );
    EXPECT_EQ( codeOf( send( kept ) ), 308 ) << "what a redirect says is not what was asked for";
    EXPECT_FALSE( std::filesystem::exists( out() ) );
    EXPECT_EQ( codeOf( send( upload( "file" ) ) ), 200 );
    EXPECT_EQ( codeOf( send( download() ) ), 200 );
    EXPECT_EQ( Testing::readFile( out() ), "there" ) << "and nothing of the redirect's own body";
}

TEST_F( Transfer, FiveRedirectsAreFollowed )
{
    RawTlsServer server(
        []( const std::string& request )
        {
            const char step = request[5];
            return step < '5' ? redirect( 302, std::string( "/" ) + char( step + 1 ) ) : RawTlsServer::answer( "end" );
        } );
    EXPECT_EQ( get( "/0" )["text"], "end" );
}

TEST_F( Transfer, ProgressGoesFromNothingToOneAboutTenTimesASecond )
{
    const std::string content( 40'000'000, 'z' );
    RawTlsServer server( [&]( const std::string& ) { return RawTlsServer::answer( content ); } );
    std::vector<float> up, down;
    auto request = download();
    request.setUploadProgressCallback( noteIn( up ) );
    request.setDownloadProgressCallback( noteIn( down ) );
    request.setTimeout( 100'000 );
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ( codeOf( send( request ) ), 200 );
    const auto tenths = ( std::chrono::steady_clock::now() - begin ) / std::chrono::milliseconds( 100 );
    EXPECT_EQ( std::filesystem::file_size( out() ), content.size() );
    EXPECT_TRUE( up.empty() ) << "nothing is sent up";
    ASSERT_FALSE( down.empty() );
    EXPECT_TRUE( std::is_sorted( down.begin(), down.end() ) );
    EXPECT_GE( down.front(), 0 );
    EXPECT_EQ( down.back(), 1 );
    EXPECT_LE( down.size(), size_t( tenths ) + 2 );
}

TEST_F( Transfer, WhatHasNoKnownLengthReportsOnlyItsEnd )
{
    RawTlsServer server( []( const std::string& )
        { return RawReply{ "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nscene\r\n0\r\n\r\n" }; } );
    std::vector<float> up, down;
    auto request = download();
    request.setUploadProgressCallback( noteIn( up ) );
    request.setDownloadProgressCallback( noteIn( down ) );
    EXPECT_EQ( codeOf( send( request ) ), 200 );
    EXPECT_EQ( Testing::readFile( out() ), "scene" );
    EXPECT_EQ( down, std::vector<float>{ 1 } );
    auto empty = upload( "" );
    empty.setUploadProgressCallback( noteIn( up ) );
    EXPECT_EQ( codeOf( send( empty ) ), 200 );
    EXPECT_TRUE( up.empty() ) << "there is no fraction of nothing";
}

TEST_F( Transfer, AnAnswerThatEndsTooEarlyIsNoneHoweverItEnds )
{
    RawReply reply{ "", true };
    RawTlsServer server( [&]( const std::string& ) { return reply; } );
    for ( const char* part : { "", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf",
              "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nhalf" } )
        for ( const bool goodbye : { false, true } )
        {
            reply.bytes = part;
            reply.goodbye = goodbye;
            const auto response = send( download() );
            EXPECT_EQ( codeOf( response ), 0 ) << part;
            EXPECT_EQ( response["error"], here() + " did not answer: the connection broke off" ) << part << goodbye;
            EXPECT_EQ( files(), 0u );
        }
}

TEST_F( Transfer, WhatIsNoHttpIsNoAnswer )
{
    RawReply reply{ "", true, false, true };
    RawTlsServer server( [&]( const std::string& ) { return reply; } );
    const std::string manyHeaders( 400'000, 'x' );
    for ( const auto& bytes : { std::string( "220 ready\r\n" ), std::string( "HTTP/1.1 \xff\r\n\r\n" ),
              std::string( "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nx" ),
              std::string( "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" ),
              "HTTP/1.1 200 OK\r\nX: " + manyHeaders + "\r\nContent-Length: 0\r\n\r\n" } )
    {
        reply.bytes = bytes;
        const auto response = get( "/" );
        EXPECT_EQ( codeOf( response ), 0 ) << bytes.substr( 0, 60 );
        EXPECT_NE( response["error"], "" );
        EXPECT_EQ( response["text"], "" );
    }
}

TEST_F( Transfer, StoppedByItsLastReportItLeavesNoFile )
{
    RawTlsServer server( []( const std::string& ) { return RawTlsServer::answer( "scene" ); } );
    auto request = download();
    request.setDownloadProgressCallback( []( float fraction ) { return fraction < 1; } );
    const auto response = send( request );
    EXPECT_EQ( codeOf( response ), 0 );
    EXPECT_EQ( response["error"], "Operation was canceled" );
    EXPECT_EQ( files(), 0u );
    auto sending = upload( "scene" );
    sending.setUploadProgressCallback( []( float fraction ) { return fraction < 1; } );
    EXPECT_EQ( send( sending )["error"], "Operation was canceled" );
}

TEST_F( Transfer, IsStoppedAlsoWhileNothingMoves )
{
    RawTlsServer server( []( const std::string& )
        { return RawReply{ "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf", false, true }; } );
    std::atomic<bool> goOn{ true };
    std::promise<void> half;
    auto request = download();
    request.setTimeout( 60'000 );
    request.setDownloadProgressCallback(
        [&, told = false]( float fraction ) mutable
        {
            if ( fraction > 0 && !std::exchange( told, true ) )
                half.set_value();
            return goOn.load();
        } );
    std::promise<Json::Value> answer;
    request.send( [&]( const Json::Value& response ) { answer.set_value( response ); } );
    half.get_future().wait();
    goOn = false;
    auto future = answer.get_future();
    ASSERT_EQ( future.wait_for( std::chrono::seconds( 5 ) ), std::future_status::ready ) << "long before its timeout";
    EXPECT_EQ( future.get()["error"], "Operation was canceled" );
    EXPECT_EQ( files(), 0u );
}

TEST_F( Transfer, AFileThatCannotBePutIntoItsPlaceIsTold )
{
    RawTlsServer server( []( const std::string& ) { return RawTlsServer::answer( "scene" ); } );
    std::filesystem::create_directory( out() );
    const auto response = send( download() );
    EXPECT_EQ( codeOf( response ), 507 );
    EXPECT_EQ( response["error"], "Cannot write \"" + out().string() + "\": Is a directory" );
    EXPECT_FALSE( response.isMember( "text" ) );
    EXPECT_EQ( files(), 1u ) << "no part is left";
}

TEST_F( Transfer, AnEmptyAnswerIsAnEmptyFile )
{
    RawTlsServer server( []( const std::string& ) { return RawTlsServer::answer( "" ); } );
    const auto response = send( download() );
    EXPECT_EQ( codeOf( response ), 200 );
    EXPECT_EQ( response["error"], "" );
    EXPECT_EQ( response["text"], "" );
    EXPECT_TRUE( std::filesystem::is_empty( out() ) );
}

TEST_F( Transfer, StatusesFrom400UpAreNoFiles )
{
    int status = 0;
    RawTlsServer server(
        [&]( const std::string& ) { return RawTlsServer::answer( "said", std::to_string( status ) + " Something" ); } );
    status = 399;
    EXPECT_EQ( send( download() )["text"], "" );
    EXPECT_EQ( Testing::readFile( out() ), "said" );
    for ( const int each : { 400, 503 } )
    {
        status = each;
        const auto response = send( download() );
        EXPECT_EQ( response["text"], "said" );
        EXPECT_EQ( response["error"], "The server answered with status " + std::to_string( each ) );
        EXPECT_FALSE( std::filesystem::is_empty( out() ) ) << "the former file stays";
    }
}

TEST_F( Transfer, LogsNameTheRequestAndNothingOfItsAddress )
{
    RawTlsServer server(
        []( const std::string& request )
        {
            return request.find( "cut" ) == std::string::npos ? RawTlsServer::answer( "x" )
                                                              : RawReply{ "", true, false };
        } );
    const Testing::LogCapture log;
    WebRequest request( RawTlsServer::url( "/good?Signature=secret" ) );
    request.setLogName( "storage" );
    EXPECT_EQ( codeOf( send( request ) ), 200 );
    WebRequest cut( RawTlsServer::url( "/cut?Signature=secret" ) );
    cut.setLogName( "storage" );
    EXPECT_EQ( codeOf( send( cut ) ), 0 );
    EXPECT_EQ( log.text(),
        "debug: storage: status 200\ndebug: storage: " + here() + " did not answer: the connection broke off\n" );
}

TEST_F( Transfer, RequestsInFlightAreAnsweredWhileThereIsPatience )
{
    std::promise<void> arrived, release;
    auto released = release.get_future().share();
    RawTlsServer server(
        [&]( const std::string& request )
        {
            if ( request.starts_with( "GET /other" ) )
                return RawTlsServer::answer( "" );
            arrived.set_value();
            released.wait();
            return RawTlsServer::answer( "late" );
        } );
    std::promise<Json::Value> answer;
    WebRequest( RawTlsServer::url( "/" ) ).send( [&]( const Json::Value& response ) { answer.set_value( response ); } );
    arrived.get_future().wait();
    std::thread closing( [] { EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 60 ) ) ); } );
    // Once it refuses others it has begun to end.
    const Testing::Patience patience;
    while ( get( "/other" )["error"] != "The program is closing" )
        patience.check();
    release.set_value();
    closing.join();
    EXPECT_EQ( answer.get_future().get()["text"], "late" );
}

TEST_F( Transfer, EachOfManyIsAnsweredOnceWhenTheEndComesAtOnce )
{
    RawTlsServer server( []( const std::string& ) { return RawReply{ "", false, true }; } );
    constexpr int cCount = 50;
    std::mutex mutex;
    std::vector<int> answers( cCount, 0 );
    for ( int i = 0; i < cCount; ++i )
        WebRequest( RawTlsServer::url( "/" ) )
            .send(
                [&, i]( const Json::Value& response )
                {
                    const std::lock_guard lock( mutex );
                    EXPECT_EQ( response["error"], "The program is closing" );
                    ++answers[size_t( i )];
                } );
    EXPECT_TRUE( finishWebRequests( std::chrono::milliseconds( 0 ) ) );
    EXPECT_EQ( answers, std::vector<int>( cCount, 1 ) );
}

TEST_F( Transfer, ARenewedTransportAnswersWhatTheFormerOneCarried )
{
    RawTlsServer server(
        []( const std::string& request )
        {
            return request.find( "hang" ) == std::string::npos ? RawTlsServer::answer( "x" )
                                                               : RawReply{ "", false, true };
        } );
    std::promise<Json::Value> answer;
    WebRequest( RawTlsServer::url( "/hang" ) )
        .send( [&]( const Json::Value& response ) { answer.set_value( response ); } );
    renewWebTransport();
    EXPECT_EQ( answer.get_future().get()["error"], "The program is closing" );
    EXPECT_EQ( get( "/" )["text"], "x" );
}

TEST_F( Transfer, AnAnswerMayEndTheTransportOnItsOwnThread )
{
    RawTlsServer server( answerOk );
    std::promise<void> ended;
    WebRequestData request;
    request.url = RawTlsServer::url( "/" );
    webTransport()->send( request,
        [&]( const Json::Value& )
        {
            webTransport()->shutdown( std::chrono::seconds( 5 ) );
            ended.set_value();
        } );
    ASSERT_EQ( ended.get_future().wait_for( std::chrono::seconds( 20 ) ), std::future_status::ready );
}

TEST_F( Transfer, WhatIsSentWhileTheEndComesIsAnsweredToo )
{
    RawTlsServer server( []( const std::string& asked )
        { return asked.starts_with( "GET /silent" ) ? RawReply{ {}, false, true } : answerOk( asked ); } );
    WebRequestData request;
    request.url = RawTlsServer::url( "/" );
    std::promise<void> inside, release;
    const auto transport = webTransport();
    transport->send( request,
        [&]( const Json::Value& )
        {
            inside.set_value();
            release.get_future().wait();
        } );
    inside.get_future().wait();
    // Nobody answers it before the end does.
    request.url = RawTlsServer::url( "/silent" );
    std::promise<Json::Value> answer;
    transport->send( request, [&]( Json::Value response ) { answer.set_value( std::move( response ) ); } );
    std::thread closing( [&] { transport->shutdown( std::chrono::milliseconds( 0 ) ); } );
    // Once it refuses others at once it has begun to end.
    std::atomic<bool> refuses{ false };
    const Testing::Patience patience;
    while ( !refuses )
    {
        patience.check();
        transport->send( request, [&]( const Json::Value& ) { refuses = true; } );
    }
    release.set_value();
    closing.join();
    auto future = answer.get_future();
    ASSERT_EQ( future.wait_for( std::chrono::seconds( 0 ) ), std::future_status::ready );
    EXPECT_EQ( future.get()["error"], "The program is closing" );
}
