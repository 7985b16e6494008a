#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <set>
#include <thread>

#include <unistd.h>

using namespace VX;

namespace
{

class WebRequestTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CommandLoop::open();
        CommandLoop::processCommands();
        setWebTransport( transport_ );
    }
    void TearDown() override { setWebTransport( nullptr ); }

    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
};

std::string errorOf( const tl::expected<Json::Value, std::string>& parsed )
{
    return parsed ? "" : parsed.error();
}

} // namespace

TEST_F( WebRequestTest, CarriesEverythingThatWasSet )
{
    WebRequest request( "https://example.org/a" );
    request.setMethod( WebRequest::Method::Put );
    request.setHeaders( { { "X-A", "1" } } );
    request.setParameters( { { "q", "a b" } } );
    request.setBody( "body" );
    request.setInputPath( "/in ü" );
    request.setOutputPath( "/out ü" );
    request.setMaxOutputSize( 7 );
    request.setTimeout( 5 );
    request.setLogName( "log" );
    request.setUploadProgressCallback( []( float fraction ) { return fraction < 0.3f; } );
    request.setDownloadProgressCallback( []( float fraction ) { return fraction < 0.6f; } );
    request.send( []( const Json::Value& ) {} );
    const auto sent = transport_->sent().at( 0 );
    EXPECT_EQ( sent.method, WebMethod::Put );
    EXPECT_EQ( sent.url, "https://example.org/a" );
    EXPECT_EQ( sent.headers.at( "X-A" ), "1" );
    EXPECT_EQ( sent.parameters.at( "q" ), "a b" );
    EXPECT_EQ( sent.body, "body" );
    EXPECT_EQ( sent.inputPath, "/in ü" );
    EXPECT_EQ( sent.outputPath, "/out ü" );
    EXPECT_EQ( sent.maxOutputSize, 7u );
    EXPECT_FALSE( sent.uploadProgress( 0.5f ) );
    EXPECT_TRUE( sent.downloadProgress( 0.5f ) );
    EXPECT_EQ( sent.timeout, std::chrono::milliseconds( 5 ) );
    EXPECT_EQ( sent.logName, "log" );
    transport_->shutdown( {} );
}

TEST_F( WebRequestTest, GetsASceneAtMostWithinTenSecondsUnlessTold )
{
    const WebRequest request( "https://x" );
    const auto& data = request.data();
    EXPECT_EQ( data.method, WebMethod::Get );
    EXPECT_EQ( data.timeout, std::chrono::milliseconds( 10000 ) );
    EXPECT_EQ( data.maxOutputSize, uint64_t( 4 ) << 30 );
}

TEST_F( WebRequestTest, WhatIsSetAfterSendingChangesNothingOfWhatWasSent )
{
    WebRequest request( "https://x" );
    request.setBody( "first" );
    request.send( []( const Json::Value& ) {} );
    request.setBody( "second" );
    EXPECT_EQ( transport_->sent().at( 0 ).body, "first" );
    EXPECT_EQ( request.data().body, "second" );
    transport_->shutdown( {} );
}

TEST_F( WebRequestTest, DeliversOnAWorkerThreadThatMayBlock )
{
    std::promise<void> bothInside, secondDone;
    std::atomic<int> inside{ 0 };
    auto released = secondDone.get_future().share();
    const auto blocking = [&]( const Json::Value& )
    {
        if ( ++inside == 2 )
            bothInside.set_value();
        released.wait();
    };
    WebRequest( "https://x" ).send( blocking );
    WebRequest( "https://x" ).send( blocking );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    bothInside.get_future().wait();
    std::promise<std::thread::id> third;
    WebRequest( "https://x" ).send( [&]( const Json::Value& ) { third.set_value( std::this_thread::get_id() ); } );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    EXPECT_NE( third.get_future().get(), std::this_thread::get_id() );
    secondDone.set_value();
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
}

TEST_F( WebRequestTest, DeliversThroughTheCommandLoopWhenAsync )
{
    std::thread::id thread;
    WebRequest request;
    request.send( "https://x/y", "log", [&]( const Json::Value& ) { thread = std::this_thread::get_id(); }, true );
    EXPECT_EQ( transport_->sent().at( 0 ).url, "https://x/y" );
    std::thread( [&] { transport_->deliver( ScriptedTransport::response( 200, "" ) ); } ).join();
    EXPECT_EQ( thread, std::thread::id() );
    CommandLoop::processCommands();
    EXPECT_EQ( thread, std::this_thread::get_id() );
}

TEST_F( WebRequestTest, BlocksWhenNotAsync )
{
    const auto answering = std::make_shared<ScriptedTransport>(
        []( const WebRequestData& ) { return ScriptedTransport::response( 201, "now" ); } );
    setWebTransport( answering );
    int code = 0;
    WebRequest request;
    request.send( "https://x", "log", [&]( const Json::Value& r ) { code = r["code"].asInt(); }, false );
    EXPECT_EQ( code, 201 );
    EXPECT_EQ( answering->sent().at( 0 ).url, "https://x" );
    EXPECT_EQ( answering->sent().at( 0 ).logName, "log" );
}

TEST_F( WebRequestTest, ScriptedProgressIsToldOnAnotherThreadThanTheSenders )
{
    setWebTransport( std::make_shared<ScriptedTransport>(
        []( const WebRequestData& )
        {
            auto response = ScriptedTransport::response( 200, "there" );
            for ( const float fraction : { 0.25f, 0.5f, 1.f } )
                response["progress"].append( fraction );
            return response;
        } ) );
    std::vector<float> seen;
    std::thread::id thread;
    WebRequest request( "https://x" );
    request.setUploadProgressCallback(
        [&]( float fraction )
        {
            seen.push_back( fraction );
            thread = std::this_thread::get_id();
            return true;
        } );
    std::promise<std::string> text;
    request.send( [&]( const Json::Value& r ) { text.set_value( r["text"].asString() ); } );
    EXPECT_EQ( text.get_future().get(), "there" );
    EXPECT_EQ( seen, ( std::vector<float>{ 0.25f, 0.5f, 1.f } ) );
    EXPECT_NE( thread, std::this_thread::get_id() );
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
}

TEST_F( WebRequestTest, AScriptedTransferThatIsToStopIsAnsweredAsCanceledAndWritesNoFile )
{
    const Testing::ScratchFolder folder;
    WebRequest request( "https://x" );
    request.setOutputPath( ( folder.path() / "out" ).string() );
    std::thread::id thread;
    request.setDownloadProgressCallback(
        [&]( float fraction )
        {
            thread = std::this_thread::get_id();
            return fraction < 0.5f;
        } );
    EXPECT_FALSE( transport_->reportProgress( 0 ) );
    std::promise<Json::Value> answer;
    request.send( [&]( const Json::Value& r ) { answer.set_value( r ); } );
    EXPECT_EQ( transport_->reportProgress( 0.25f ), true );
    EXPECT_NE( thread, std::this_thread::get_id() );
    EXPECT_EQ( transport_->reportProgress( 0.5f ), false );
    const auto response = answer.get_future().get();
    EXPECT_EQ( response["code"], 0 );
    EXPECT_EQ( response["error"], "Operation was canceled" );
    EXPECT_TRUE( std::filesystem::is_empty( folder.path() ) );
    EXPECT_FALSE( transport_->deliver( ScriptedTransport::response( 200, "" ) ) ) << "nothing waits any more";
}

TEST_F( WebRequestTest, AnswersWhatIsInFlightAtShutdownAndEverythingAfterIt )
{
    std::promise<int> first, second;
    WebRequest( "https://x" ).send( [&]( const Json::Value& r ) { first.set_value( r["code"].asInt() ); } );
    EXPECT_TRUE( finishWebRequests( std::chrono::milliseconds( 2000 ) ) );
    EXPECT_EQ( first.get_future().get(), 0 );
    WebRequest( "https://x" ).send( [&]( const Json::Value& r ) { second.set_value( r["code"].asInt() ); } );
    EXPECT_EQ( second.get_future().get(), 0 );
}

TEST_F( WebRequestTest, AThreadOfACallbackIsUsedAgainAndGoesWhenNothingIsLeftToDo )
{
    const auto answered = [this]
    {
        auto thread = std::make_shared<std::promise<pid_t>>();
        WebRequest( "https://x" ).send( [thread]( const Json::Value& ) { thread->set_value( ::gettid() ); } );
        transport_->deliver( ScriptedTransport::response( 200, "" ) );
        auto answer = thread->get_future();
        // One that is not woken sees its job when it would have gone.
        EXPECT_EQ( answer.wait_for( std::chrono::seconds( 3 ) ), std::future_status::ready );
        const auto out = answer.get();
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        transport_ = std::make_shared<ScriptedTransport>();
        setWebTransport( transport_ );
        return out;
    };
    std::set<pid_t> threads;
    for ( int i = 0; i < 30; ++i )
    {
        threads.insert( answered() );
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) ); // nothing to do, but not for seconds
    }
    EXPECT_LE( threads.size(), 5u ) << "one, and those that wait since the tests before";
    const Testing::Patience patience;
    for ( const auto thread : threads )
        while ( std::filesystem::exists( "/proc/self/task/" + std::to_string( thread ) ) )
        {
            patience.check();
            std::this_thread::yield();
        }
}

TEST_F( WebRequestTest, AFailingCallbackIsLoggedAndEndsNothingElse )
{
    const Testing::LogCapture log;
    WebRequest( "https://x" ).send( []( const Json::Value& ) { throw std::runtime_error( "it broke" ); } );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    std::promise<int> next;
    WebRequest( "https://x" ).send( [&]( const Json::Value& r ) { next.set_value( r["code"].asInt() ); } );
    transport_->deliver( ScriptedTransport::response( 204, "" ) );
    EXPECT_EQ( next.get_future().get(), 204 );
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) ) << "neither is counted as running";
    EXPECT_EQ( log.text(), "error: A web callback failed: it broke\n" );
}

TEST_F( WebRequestTest, ACallbackThatThrowsWhatIsNoExceptionIsLoggedToo )
{
    const Testing::LogCapture log;
    WebRequest( "https://x" ).send( []( const Json::Value& ) { throw 7; } );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) ) << "it is not counted as running";
    EXPECT_EQ( log.text(), "error: A web callback failed: unknown error\n" );
}

TEST_F( WebRequestTest, FinishingTellsWhetherACallbackStillRuns )
{
    std::promise<void> release;
    WebRequest( "https://x" ).send( [&]( const Json::Value& ) { release.get_future().wait(); } );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    EXPECT_FALSE( finishWebRequests( std::chrono::milliseconds( 0 ) ) );
    release.set_value();
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
}

TEST_F( WebRequestTest, FinishingWaitsNoLongerThanTheCallbacksTake )
{
    using Clock = std::chrono::steady_clock;
    std::promise<void> inside;
    WebRequest( "https://x" )
        .send(
            [&]( const Json::Value& )
            {
                inside.set_value();
                const auto called = Clock::now();
                while ( Clock::now() - called < std::chrono::milliseconds( 50 ) )
                    std::this_thread::yield();
            } );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
    inside.get_future().wait();
    const auto begin = Clock::now();
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 40 ) ) );
    EXPECT_LT( Clock::now() - begin, std::chrono::seconds( 30 ) );
}

TEST_F( WebRequestTest, ATransportThatWasSetStaysWhenRequestsAreSentAgain )
{
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
    const auto next = std::make_shared<ScriptedTransport>();
    setWebTransport( next );
    resumeWebRequests();
    EXPECT_EQ( webTransport(), next );
    renewWebTransport();
    EXPECT_EQ( webTransport(), next );
    setWebTransport( nullptr );
    const auto real = webTransport();
    ASSERT_TRUE( real );
    EXPECT_EQ( webTransport(), real );
    resumeWebRequests();
    EXPECT_EQ( webTransport(), real ) << "nothing is wrong with it";
    renewWebTransport();
    EXPECT_NE( webTransport(), real );
    setWebTransport( next );
    renewWebTransport();
    EXPECT_EQ( webTransport(), next );
}

TEST( ParseResponse, WhatIsNoResponseIsNoAnswer )
{
    Json::Value strange;
    EXPECT_EQ( errorOf( parseResponse( strange ) ), "Bad internet connection." );
    strange["text"] = "{}";
    EXPECT_EQ( errorOf( parseResponse( strange ) ), "Bad internet connection." );
    for ( const auto& code : { Json::Value( "200" ), Json::Value( Json::Int64( 1 ) << 40 ), Json::Value( 200.5 ),
              Json::Value( Json::arrayValue ) } )
    {
        strange["code"] = code;
        EXPECT_EQ( errorOf( parseResponse( strange ) ), "Bad internet connection." ) << code;
    }
    strange["code"] = 200;
    EXPECT_TRUE( parseResponse( strange ) );
    for ( const auto& text : { Json::Value( 5 ), Json::Value( Json::objectValue ), Json::Value() } )
    {
        strange["text"] = text;
        EXPECT_EQ(
            errorOf( parseResponse( strange ) ), errorOf( parseResponse( ScriptedTransport::response( 200, "" ) ) ) );
    }
    strange.removeMember( "text" );
    strange["code"] = 507;
    EXPECT_EQ( errorOf( parseResponse( strange ) ), "Bad internet connection." );
}

TEST( ParseResponse, TellsAMissingAnswerFromAnAnswer )
{
    EXPECT_EQ( errorOf( parseResponse( ScriptedTransport::response( 0, "{}" ) ) ), "Bad internet connection." );
    EXPECT_EQ( errorOf( parseResponse( ScriptedTransport::response( 400, R"({"message": "No."})" ) ) ), "No." );
    EXPECT_EQ( ( *parseResponse( ScriptedTransport::response( 200, R"({"message": "Yes."})" ) ) )["message"], "Yes." );
    EXPECT_NE( errorOf( parseResponse( ScriptedTransport::response( 200, "<html>" ) ) ), "" );
    EXPECT_NE( errorOf( parseResponse( ScriptedTransport::response( 200, "" ) ) ), "" );
}

TEST( ParseResponse, NoErrorStatusIsASuccess )
{
    const auto error = []( int code, const char* text )
    { return errorOf( parseResponse( ScriptedTransport::response( code, text ) ) ); };
    for ( const char* text :
        { "{}", "[]", "7", "null", R"({"message": 1})", R"({"error":{"message":"x"}})", "", "<html>" } )
        for ( const int code : { 500, 502, 503, 599 } )
            EXPECT_EQ( error( code, text ), "Bad internet connection." ) << code << " " << text;
    EXPECT_EQ( error( 500, R"({"message": "Try later."})" ), "Try later." );
    EXPECT_EQ( error( 404, "{}" ), "The server answered with status 404" );
    EXPECT_EQ( error( 413, R"({"error":{"message":"Payload Too Large"}})" ), "The server answered with status 413" );
    EXPECT_EQ( error( 400, "[1]" ), "The server answered with status 400" );
    EXPECT_EQ( error( 404, "<html>" ), error( 200, "<html>" ) ) << "what the parser says";
    EXPECT_EQ( ( *parseResponse( ScriptedTransport::response( 399, R"({"a": 1})" ) ) )["a"], 1 );
}
