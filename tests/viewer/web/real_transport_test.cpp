#include "support/Patience.h"
#include "support/ScratchFolder.h"

#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/web/WebTransport.h>

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include <dlfcn.h>

using namespace VX;

namespace
{

std::atomic<bool> sTakesNothing{ false };

/// The transport that a program has unless a test sets another; nothing here opens a connection.
class RealTransport : public testing::Test
{
protected:
    RealTransport() { setWebTransport( nullptr ); }
    ~RealTransport() override { setWebTransport( nullptr ); }

    static Json::Value answerTo( WebRequestData request )
    {
        const auto promise = std::make_shared<std::promise<Json::Value>>();
        auto answer = promise->get_future();
        webTransport()->send(
            std::move( request ), [promise]( Json::Value response ) { promise->set_value( std::move( response ) ); } );
        const bool came =
            answer.wait_for( std::chrono::seconds( Testing::Patience::cSeconds ) ) == std::future_status::ready;
        EXPECT_TRUE( came );
        return answer.get();
    }
    static Json::Value answerFrom( const std::string& url )
    {
        WebRequestData request;
        request.url = url;
        return answerTo( std::move( request ) );
    }
};

} // namespace

/// Stands before libcurl's own, which refuses a transfer where it has no memory.
extern "C" __attribute__( ( visibility( "default" ) ) ) CURLMcode curl_multi_add_handle( CURLM* multi, CURL* handle )
{
    using Function = CURLMcode ( * )( CURLM*, CURL* );
    static const auto sOwn = reinterpret_cast<Function>( ::dlsym( RTLD_NEXT, "curl_multi_add_handle" ) );
    return sTakesNothing ? CURLM_OUT_OF_MEMORY : sOwn( multi, handle );
}

TEST_F( RealTransport, SpeaksHttpsAndNothingElse )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "secret", "of this machine" );
    for ( const auto& url : { "file://" + file.string(), std::string( "http://127.0.0.1:18443/" ),
              std::string( "ftp://127.0.0.1/" ), std::string( "gopher://127.0.0.1/" ), std::string( "nonsense://x" ) } )
    {
        const auto answer = answerFrom( url );
        EXPECT_EQ( answer["code"], 0 ) << url;
        EXPECT_EQ( answer["text"], "" ) << url;
        EXPECT_NE( answer["error"].asString().find( "rotocol" ), std::string::npos ) << answer["error"];
    }
}

TEST_F( RealTransport, AnAddressOfNoSenseIsAnAnswerToo )
{
    for ( const char* url : { "", "https://", "https://exa mple.org/", "https://example.org:99999999/" } )
    {
        const auto answer = answerFrom( url );
        EXPECT_EQ( answer["code"], 0 ) << url;
        EXPECT_NE( answer["error"], "" ) << url;
    }
}

TEST_F( RealTransport, ARequestThatCannotBeginIsAnswered )
{
    WebRequestData request;
    request.url = "https://example.org/";
    request.method = WebMethod::Put;
    request.inputPath = "/nowhere/in";
    EXPECT_EQ( answerTo( request )["error"], "Cannot read \"/nowhere/in\": No such file or directory" );
    request.inputPath.clear();
    request.outputPath = "/nowhere/out";
    EXPECT_EQ( answerTo( request )["error"], "Cannot write \"/nowhere/out\": No such file or directory" );
}

TEST_F( RealTransport, ARequestThatLibcurlDoesNotTakeIsAnsweredToo )
{
    sTakesNothing = true;
    const auto answer = answerFrom( "https://example.org/" );
    sTakesNothing = false;
    EXPECT_EQ( answer["code"], 0 );
    EXPECT_EQ( answer["error"], "The request cannot be started" );
    EXPECT_NE( answerFrom( "nonsense://x" )["error"], answer["error"] );
}

TEST_F( RealTransport, OnceItIsClosedEverythingIsAnsweredAtOnce )
{
    EXPECT_EQ( answerFrom( "nonsense://x" )["code"], 0 );
    webTransport()->shutdown( std::chrono::milliseconds( 0 ) );
    webTransport()->shutdown( std::chrono::seconds( 100 ) );
    int answers = 0;
    WebRequestData request;
    request.url = "https://example.org/";
    webTransport()->send( request,
        [&]( const Json::Value& response )
        {
            ++answers;
            EXPECT_EQ( response["code"], 0 );
            EXPECT_EQ( response["error"], "The program is closing" );
        } );
    EXPECT_EQ( answers, 1 );
}

TEST_F( RealTransport, ANewOneTakesThePlaceOfTheRealOneAlone )
{
    const auto real = webTransport();
    EXPECT_EQ( webTransport(), real );
    renewWebTransport();
    EXPECT_NE( webTransport(), real );
    const auto scripted = std::make_shared<ScriptedTransport>();
    setWebTransport( scripted );
    EXPECT_EQ( webTransport(), scripted );
    renewWebTransport();
    EXPECT_EQ( webTransport(), scripted );
    setWebTransport( nullptr );
    EXPECT_NE( webTransport(), nullptr );
    EXPECT_NE( webTransport(), scripted );
}

TEST_F( RealTransport, WhatNeverWasSentIsOverWhenItGoes )
{
    const auto real = webTransport();
    const std::weak_ptr<WebTransport> watch = real;
    setWebTransport( std::make_shared<ScriptedTransport>() );
    EXPECT_EQ( watch.use_count(), 1 );
}
