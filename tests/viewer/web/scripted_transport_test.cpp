#include "support/ScratchFolder.h"

#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

#include <future>

using namespace VX;

namespace
{

WebRequestData requestOf( const std::string& url )
{
    WebRequestData out;
    out.url = url;
    return out;
}

/// Keeps the answers in the order in which they come.
struct Answers
{
    WebTransport::Done done()
    {
        return [this]( Json::Value response ) { all.push_back( std::move( response ) ); };
    }
    std::vector<Json::Value> all;
};

} // namespace

TEST( ScriptedTransport, AnswersFromItsScriptAndKeepsWhatWasSent )
{
    ScriptedTransport transport( []( const WebRequestData& request )
        { return ScriptedTransport::response( 404, "no " + request.url, "why" ); } );
    Answers answers;
    transport.send( requestOf( "https://a" ), answers.done() );
    transport.send( requestOf( "https://b" ), answers.done() );
    ASSERT_EQ( answers.all.size(), 2u );
    EXPECT_EQ( answers.all[1]["code"], 404 );
    EXPECT_EQ( answers.all[1]["text"], "no https://b" );
    EXPECT_EQ( answers.all[1]["error"], "why" );
    ASSERT_EQ( transport.sent().size(), 2u );
    EXPECT_EQ( transport.sent()[0].url, "https://a" );
    EXPECT_FALSE( transport.deliver( {} ) ) << "nothing waits";
}

TEST( ScriptedTransport, RequestsWithoutAnAnswerWaitInTheirOrder )
{
    ScriptedTransport transport;
    Answers first, second;
    transport.send( requestOf( "https://a" ), first.done() );
    transport.send( requestOf( "https://b" ), second.done() );
    EXPECT_TRUE( transport.deliver( ScriptedTransport::response( 200, "1" ) ) );
    EXPECT_EQ( first.all.size(), 1u );
    EXPECT_TRUE( second.all.empty() );
    EXPECT_TRUE( transport.deliver( ScriptedTransport::response( 200, "2" ) ) );
    ASSERT_EQ( second.all.size(), 1u );
    EXPECT_EQ( second.all[0]["text"], "2" );
}

TEST( ScriptedTransport, WritesTheFileOfAnAnswerWhereItWasAskedFor )
{
    const Testing::ScratchFolder folder;
    ScriptedTransport transport(
        []( const WebRequestData& )
        {
            auto response = ScriptedTransport::response( 200, "" );
            response["file"] = "scene";
            return response;
        } );
    Answers answers;
    auto download = requestOf( "https://a" );
    download.outputPath = folder.path() / "out";
    transport.send( download, answers.done() );
    transport.send( requestOf( "https://b" ), answers.done() );
    EXPECT_EQ( Testing::readFile( folder.path() / "out" ), "scene" );
    ASSERT_EQ( answers.all.size(), 2u );
    for ( const auto& answer : answers.all )
        EXPECT_FALSE( answer.isMember( "file" ) ) << "it is no part of a response";
}

TEST( ScriptedTransport, TellsBothKindsOfProgressUntilOneWantsToStop )
{
    std::promise<Json::Value> answer;
    std::vector<float> up, down;
    {
        ScriptedTransport transport;
        auto request = requestOf( "https://a" );
        request.uploadProgress = [&]( float fraction )
        {
            up.push_back( fraction );
            return true;
        };
        request.downloadProgress = [&]( float fraction )
        {
            down.push_back( fraction );
            return fraction < 0.5f;
        };
        transport.send( request, [&]( Json::Value response ) { answer.set_value( std::move( response ) ); } );
        auto response = ScriptedTransport::response( 200, "there" );
        for ( const float fraction : { 0.25f, 0.5f, 1.f } )
            response["progress"].append( fraction );
        EXPECT_TRUE( transport.deliver( response ) );
        // Its end waits for the answer's thread.
    }
    EXPECT_EQ( up, ( std::vector<float>{ 0.25f, 0.5f } ) );
    EXPECT_EQ( down, up );
    EXPECT_EQ( answer.get_future().get()["error"], cOperationCanceled );
}

TEST( ScriptedTransport, OnceItIsClosedEverythingIsAnsweredAtOnce )
{
    int asked = 0;
    ScriptedTransport transport(
        [&]( const WebRequestData& ) -> std::optional<Json::Value>
        {
            ++asked;
            return {};
        } );
    Answers answers;
    transport.send( requestOf( "https://a" ), answers.done() );
    transport.send( requestOf( "https://b" ), answers.done() );
    EXPECT_TRUE( answers.all.empty() );
    transport.shutdown( {} );
    transport.send( requestOf( "https://c" ), answers.done() );
    ASSERT_EQ( answers.all.size(), 3u );
    for ( const auto& answer : answers.all )
    {
        EXPECT_EQ( answer["code"], 0 );
        EXPECT_EQ( answer["error"], "The program is closing" );
        EXPECT_EQ( answer["text"], "" );
    }
    EXPECT_EQ( asked, 2 );
    EXPECT_EQ( transport.sent().size(), 3u );
}
