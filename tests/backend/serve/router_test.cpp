#include "log/JsonLog.h"
#include "log/LogContext.h"
#include "serve/Router.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <future>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr auto cPatience = std::chrono::minutes( 2 );

HttpResponse answerOf( const std::string& body, int status = 200 )
{
    HttpResponse out;
    out.status = status;
    out.body = body;
    return out;
}

/// Answers with the thread it was called on; at "/…/held" it stands still until it is let go.
class Service final : public HttpService
{
public:
    BodyPlan planBody( const HttpRequest& head ) override
    {
        wait_( head.path );
        BodyPlan plan;
        plan.maxSize = 7;
        planned = std::this_thread::get_id();
        return plan;
    }
    void handle( HttpRequest request, Respond respond ) override
    {
        wait_( request.path );
        if ( request.path.ends_with( "/throws" ) )
            throw std::runtime_error( "why" );
        handled = std::this_thread::get_id();
        if ( whenHandled )
            whenHandled();
        respond( answerOf( "body " + request.body ) );
    }
    HttpResponse refuse( const std::string&, int status ) override { return answerOf( "its own refusal", status ); }
    /// Waits until it stands still.
    void untilHeld() { ASSERT_EQ( held_.get_future().wait_for( cPatience ), std::future_status::ready ); }
    void letGo() { go_.set_value(); }

    std::thread::id planned, handled;
    std::function<void()> whenHandled;

private:
    void wait_( const std::string& path )
    {
        if ( !path.ends_with( "/held" ) )
            return;
        held_.set_value();
        go_.get_future().wait();
    }
    std::promise<void> held_, go_;
};

class Routers : public testing::Test
{
protected:
    using Answer = std::future<HttpResponse>;

    ~Routers() override { router_.stop(); }
    static Door door( const char* name, HttpService& service, int threads )
    {
        return { name, [begin = "/" + std::string( name )]( const std::string& path )
            { return path.starts_with( begin ); }, &service, threads, { "/" + std::string( name ) + "/x" } };
    }
    Answer ask( const std::string& path, const std::string& body = {} )
    {
        auto told = std::make_shared<std::promise<HttpResponse>>();
        router_.handle( { "GET", path, {}, {}, body, {}, {} },
            [told]( HttpResponse response ) { told->set_value( std::move( response ) ); } );
        return told->get_future();
    }
    std::future<BodyPlan> plan( const std::string& path )
    {
        auto told = std::make_shared<std::promise<BodyPlan>>();
        router_.plan(
            { "GET", path, {}, {}, {}, {}, {} }, [told]( BodyPlan plan ) { told->set_value( std::move( plan ) ); } );
        return told->get_future();
    }
    static HttpResponse heard( Answer answer )
    {
        if ( answer.wait_for( cPatience ) == std::future_status::ready )
            return answer.get();
        ADD_FAILURE() << "no answer has come";
        return {};
    }

    Service slow_, other_, prompt_;
    RequestMeasures counts_;
    Router router_{ { door( "slow", slow_, 1 ), door( "other", other_, 1 ), door( "prompt", prompt_, 0 ) }, counts_ };
};

} // namespace

TEST_F( Routers, AServiceThatStandsStillKeepsNobodyElseWaiting )
{
    auto held = ask( "/slow/held" );
    slow_.untilHeld();
    auto behind = ask( "/slow/x", "1" );
    EXPECT_EQ( heard( ask( "/other/x", "2" ) ).body, "body 2" );
    EXPECT_EQ( heard( ask( "/prompt/x", "3" ) ).body, "body 3" );
    EXPECT_EQ( behind.wait_for( std::chrono::seconds( 0 ) ), std::future_status::timeout );
    slow_.letGo();
    EXPECT_EQ( heard( std::move( held ) ).status, 200 );
    EXPECT_EQ( heard( std::move( behind ) ).body, "body 1" );
}

TEST_F( Routers, PlansAreMadeWhereAnswersAre )
{
    auto held = plan( "/slow/held" );
    slow_.untilHeld();
    EXPECT_EQ( plan( "/prompt/x" ).get().maxSize, 7u );
    EXPECT_EQ( prompt_.planned, std::this_thread::get_id() );
    slow_.letGo();
    EXPECT_EQ( held.get().maxSize, 7u );
    EXPECT_NE( slow_.planned, std::this_thread::get_id() );
}

TEST_F( Routers, SaysWhereNothingIsInTheFormOfTheClient )
{
    EXPECT_EQ( plan( "/nowhere" ).get().refusal->body, R"({"error":{"message":"There is nothing here"}})" );
    EXPECT_EQ( plan( "/auth/nowhere" ).get().refusal->body,
        R"({"__type":"ResourceNotFoundException","message":"There is nothing here"})" );
}

TEST_F( Routers, WhatAServiceThrowsIsItsRefusal )
{
    const Testing::LogCapture log;
    for ( const char* path : { "/slow/throws", "/prompt/throws" } )
    {
        const auto answer = heard( ask( path ) );
        EXPECT_EQ( answer.status, 500 ) << path;
        EXPECT_EQ( answer.body, "its own refusal" ) << path;
    }
    EXPECT_TRUE( log.contains( "A request could not be answered: why" ) );
    EXPECT_EQ( counts_.all().at( { "slow", 5 } ), 1u );
}

TEST_F( Routers, WhatIsTooMuchForAServiceIsRefused )
{
    auto held = ask( "/slow/held" );
    slow_.untilHeld();
    std::vector<Answer> waiting;
    HttpResponse refusal;
    while ( refusal.status == 200 && waiting.size() < 10'000 )
    {
        waiting.push_back( ask( "/slow/x" ) );
        if ( waiting.back().wait_for( std::chrono::seconds( 0 ) ) == std::future_status::ready )
            refusal = waiting.back().get();
    }
    EXPECT_EQ( refusal.status, 503 );
    EXPECT_EQ( refusal.body, "its own refusal" );
    EXPECT_EQ( plan( "/slow/x" ).get().refusal->status, 503 );
    slow_.letGo();
    EXPECT_EQ( heard( std::move( held ) ).status, 200 );
    EXPECT_EQ( heard( std::move( waiting.front() ) ).status, 200 );
}

TEST_F( Routers, NoServiceIsCalledOnceItHasStopped )
{
    auto held = ask( "/slow/held" );
    slow_.untilHeld();
    auto behind = ask( "/slow/x" );
    auto stopping = std::async( std::launch::async, [this] { router_.stop(); } );
    while ( heard( ask( "/prompt/x" ) ).status == 200 )
        std::this_thread::yield();
    slow_.letGo();
    stopping.get();
    EXPECT_EQ( heard( std::move( held ) ).status, 200 ) << "what was under way is answered";
    EXPECT_EQ( heard( std::move( behind ) ).status, 503 );
    EXPECT_EQ( heard( ask( "/other/x" ) ).status, 503 );
    EXPECT_EQ( other_.handled, std::thread::id() );
}

TEST_F( Routers, WhereThereIsNothingThatIsSaid )
{
    const auto refusal = plan( "/nowhere" ).get().refusal.value();
    EXPECT_EQ( refusal.status, 404 );
    EXPECT_EQ( refusal.body, R"({"error":{"message":"There is nothing here"}})" );
    const auto forSignIns = plan( "/auth/nowhere" ).get().refusal.value();
    EXPECT_EQ( forSignIns.status, 404 );
    EXPECT_EQ( forSignIns.body, R"({"__type":"ResourceNotFoundException","message":"There is nothing here"})" );
    EXPECT_EQ( counts_.all(), ( std::map<std::pair<std::string, int>, uint64_t>{ { { "none", 4 }, 2 } } ) );
    EXPECT_EQ( router_.refuse( "/slow/x", 431 ).body, "its own refusal" );
    EXPECT_EQ( router_.refuse( "/nowhere", 431 ).status, 431 );
    EXPECT_EQ( counts_.all().at( { "slow", 4 } ), 1u );
    EXPECT_EQ( counts_.all().at( { "none", 4 } ), 3u );
}

TEST_F( Routers, MethodsThatAreKnownAreLogged )
{
    int ends[2];
    ASSERT_EQ( ::pipe2( ends, O_CLOEXEC ), 0 );
    const std::vector<std::string> known = { "GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS", "PATCH" };
    {
        const JsonLog log( ends[1] );
        RequestEnd end;
        end.request.path = "/slow/x";
        for ( const auto& method : known )
        {
            end.request.method = method;
            router_.ended( end );
        }
    }
    ::close( ends[1] );
    std::string text( 65536, 0 );
    const auto size = ::read( ends[0], text.data(), text.size() );
    ::close( ends[0] );
    ASSERT_GT( size, 0 );
    for ( const auto& method : known )
        EXPECT_NE( text.find( "\"method\":\"" + method + "\"" ), std::string::npos ) << method;
}

TEST_F( Routers, ARequestIsTimedByItsServiceAndLoggedWithoutItsPath )
{
    int ends[2];
    ASSERT_EQ( ::pipe2( ends, O_CLOEXEC ), 0 );
    {
        const JsonLog log( ends[1] );
        RequestEnd end;
        end.request = { "GET", "/slow/x", "query", {}, {}, {}, {}, "the-id" };
        end.status = 404;
        end.duration = std::chrono::milliseconds( 30 );
        end.sent = 12;
        router_.ended( end );
        end.request.path = "/slow/ann@example.org";
        end.request.method = "BREW";
        router_.ended( end );
        end.request.path = "/nowhere";
        router_.ended( end );
    }
    ::close( ends[1] );
    char text[4096] = "";
    EXPECT_GT( ::read( ends[0], text, sizeof text - 1 ), 0 );
    ::close( ends[0] );
    std::istringstream lines( text );
    std::string first, second, third;
    std::getline( lines, first );
    std::getline( lines, second );
    std::getline( lines, third );
    const auto end = R"(,"status":404,"duration":0.030000,"received":0,"sent":12})";
    const auto begin = R"("level":"info","message":"request","id":"the-id","service":)";
    EXPECT_TRUE( first.ends_with( begin + std::string( R"("slow","route":"/slow/x","method":"GET")" ) + end ) )
        << first;
    EXPECT_TRUE( second.ends_with( begin + std::string( R"("slow","method":"other")" ) + end ) ) << second;
    EXPECT_TRUE( third.ends_with( begin + std::string( R"("none","method":"other")" ) + end ) ) << third;
    EXPECT_EQ( counts_.durations().size(), 3u );
    EXPECT_NEAR( counts_.durations().at( { "slow", "read", "4xx" } )->counts().seconds, .03, 1e-9 );
}

TEST_F( Routers, WhatAServiceLogsIsAboutTheRequest )
{
    std::string seen;
    slow_.whenHandled = [&] { seen = LogContext::request(); };
    HttpRequest request;
    request.path = "/slow/x";
    request.id = "its-id";
    std::promise<HttpResponse> told;
    router_.handle( request, [&]( HttpResponse response ) { told.set_value( std::move( response ) ); } );
    EXPECT_EQ( heard( told.get_future() ).status, 200 );
    EXPECT_EQ( seen, "its-id" );
}
