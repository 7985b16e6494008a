#include "support/TestMeshes.h"
#include "support/service/RawTlsServer.h"
#include "support/service/SmallDisk.h"

#include <VXOrvanta/converter/ConverterService.h>
#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <future>

#include <unistd.h>

using namespace VX;
using Testing::RawReply;
using Testing::RawTlsServer;

namespace
{

using Result = tl::expected<LoadedObjects, std::string>;

/// Both forms of the import against a service of scripted words; the parameter says which form.
class Faults : public testing::TestWithParam<bool>
{
protected:
    void SetUp() override
    {
        static int sCounter = 0;
        name_ = "orvanta-fault-" + std::to_string( ::getpid() ) + "-" + std::to_string( sCounter++ );
        file_ = folder_.write( name_ + ".step", "ISO-10303-21; not much of a part" );
    }
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
        std::error_code ec;
        for ( const char* end : { ".vxu", ".input.zip" } )
            std::filesystem::remove( cFolder / ( name_ + end ), ec );
        std::filesystem::remove_all( cFolder / ( "id-" + name_ ), ec );
    }

    [[nodiscard]] Result import() const
    {
        if ( !GetParam() )
            return ConverterService::fromStep( file_ );
        std::promise<Result> promise;
        ConverterService::fromStep( file_, [&]( Result result ) { promise.set_value( std::move( result ) ); }, {} );
        return promise.get_future().get();
    }
    [[nodiscard]] std::string errorOf() const
    {
        const auto result = import();
        return result ? "" : result.error();
    }

    static std::string callOf( const std::string& request )
    {
        const auto target = request.substr( 0, request.find_first_of( "?\r" ) );
        const auto path = target.substr( 0, target.find( " HTTP" ) );
        return path.substr( std::min( path.rfind( '/' ), path.size() ) );
    }
    [[nodiscard]] RawReply good( const std::string& request ) const
    {
        const auto call = callOf( request );
        if ( call == "/request" )
            return RawTlsServer::answer( R"({"result":{"request_id":"id-)" + name_ + R"(","url":")" +
                                         RawTlsServer::url( "/up?sig=1" ) + "\"}}" );
        if ( call == "/convert" )
            return RawTlsServer::answer( R"({"result":{}})" );
        if ( call == "/status" )
            return RawTlsServer::answer(
                R"({"result":{"state":"finished","url":")" + RawTlsServer::url( "/down?sig=2" ) + "\"}}" );
        return RawTlsServer::answer( call == "/down" ? Testing::cubeFile() : "" );
    }
    /// A server that is good until a call, to which it gives another reply.
    [[nodiscard]] auto except( const std::string& call, const RawReply& reply ) const
    {
        return [this, call, reply]( const std::string& request )
        { return callOf( request ) == call ? reply : good( request ); };
    }

    static const std::filesystem::path cFolder;
    Testing::ScratchFolder folder_;
    std::string name_;
    std::filesystem::path file_;
};

const std::filesystem::path Faults::cFolder = "/.service_output_files";

const std::vector<std::string> cCalls = { "/request", "/up", "/convert", "/status", "/down" };

} // namespace

TEST_P( Faults, SpeaksTheProtocolToTheByte )
{
    RawTlsServer server( [this]( const std::string& request ) { return good( request ); } );
    ASSERT_EQ( errorOf(), "" );
    const auto host = "Host: localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "\r\nAccept: */*\r\n";
    const auto post = [&]( const std::string& call, const std::string& body )
    {
        return "POST /converter/v2" + call + " HTTP/1.1\r\n" + host +
               "Content-Type: application/json\r\nContent-Length: " + std::to_string( body.size() ) + "\r\n\r\n" + body;
    };
    const auto sent = server.requests();
    ASSERT_EQ( sent.size(), 5u );
    EXPECT_EQ( sent[0], post( "/request", "{\"compress_input\":\"zip\",\"input_format\":\"step\"}\n" ) );
    EXPECT_TRUE( sent[1].starts_with( "PUT /up?sig=1 HTTP/1.1\r\n" + host + "Content-Length: " ) );
    EXPECT_EQ( sent[1].substr( sent[1].find( "\r\n\r\n" ) + 4, 4 ), "PK\3\4" );
    EXPECT_EQ( sent[2],
        post( "/convert",
            "{\"compress_input\":\"zip\",\"input_format\":\"step\",\"output_format\":\"vxu\",\"request_id\":\"id-" +
                name_ + "\"}\n" ) );
    EXPECT_EQ( sent[3], "GET /converter/v2/status?request_id=id-" + name_ + " HTTP/1.1\r\n" + host + "\r\n" );
    EXPECT_EQ( sent[4], "GET /down?sig=2 HTTP/1.1\r\n" + host + "\r\n" );
}

TEST_P( Faults, ServiceThatIsDown )
{
    EXPECT_EQ( errorOf(), "Connection error" );
}

TEST_P( Faults, ConnectionCutInEveryCall )
{
    for ( const auto& call : cCalls )
    {
        TearDown();
        SetUp();
        RawTlsServer server( except( call, { "HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n{\"resu", true, false } ) );
        EXPECT_EQ( errorOf(), "Connection error" ) << call;
        EXPECT_FALSE( std::filesystem::exists( cFolder / ( name_ + ".vxu" ) ) );
    }
}

TEST_P( Faults, GarbageHalfJsonAndWrongTypes )
{
    const std::vector<std::pair<std::string, std::string>> bodies = { { "[]", "Invalid response format" },
        { "5", "Invalid response format" }, { R"({"result":null})", "Invalid response format" },
        { R"({"result":5})", "Invalid response format" },
        { R"({"error":{"message":"The disk is full"}})", "The disk is full" } };
    for ( const auto& call : { "/request", "/status" } )
        for ( const auto& [body, text] : bodies )
        {
            TearDown();
            SetUp();
            RawTlsServer server( except( call, RawTlsServer::answer( body, "500 Internal Server Error" ) ) );
            EXPECT_EQ( errorOf(), text ) << call << body;
        }
    for ( const char* body : { "<html>", "{\"result\":", "", "\xff\xfe" } )
    {
        TearDown();
        SetUp();
        RawTlsServer server( except( "/convert", RawTlsServer::answer( body ) ) );
        EXPECT_NE( errorOf(), "" ) << body;
    }
}

TEST_P( Faults, RefusedTransfers )
{
    for ( const auto& call : { "/up", "/down" } )
    {
        TearDown();
        SetUp();
        RawTlsServer server(
            except( call, RawTlsServer::answer( "<Error><Code>AccessDenied</Code></Error>", "403 Forbidden" ) ) );
        EXPECT_EQ( errorOf(), "The server answered with status 403" );
        EXPECT_FALSE( std::filesystem::exists( cFolder / ( name_ + ".vxu" ) ) );
    }
}

TEST_P( Faults, AnswerThatIsNoScene )
{
    RawTlsServer server( except( "/down", RawTlsServer::answer( "<html>proxy</html>" ) ) );
    EXPECT_EQ( errorOf(), "Cannot read \"" + name_ + ".vxu\": This is not a scene file" );
}

TEST_P( Faults, ResultThatDoesNotFitOnTheDisk )
{
    RawTlsServer server( except( "/down", RawTlsServer::answer( std::string( 1 << 20, 'x' ) ) ) );
    const auto result = Testing::onSmallDisk( cFolder, 256 << 10,
        [this]
        {
            const auto error = errorOf();
            const bool resultIsThere = std::filesystem::exists( cFolder / ( name_ + ".vxu" ) );
            return error + ( resultIsThere ? ", and it is there" : ", and nothing is there" );
        } );
    if ( !result )
        GTEST_SKIP() << "mounting is not allowed here";
    EXPECT_EQ( *result, "Cannot write \"" + ( cFolder / ( name_ + ".vxu" ) ).string() +
                            "\": less than 256 MB would stay free on the disk, and nothing is there" );
}

INSTANTIATE_TEST_SUITE_P(
    Forms, Faults, testing::Bool(), []( const auto& info ) { return info.param ? "Asynchronous" : "Blocking"; } );
