#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/service/TlsClient.h"

#include "http/HttpService.h"
#include "tls/Certificates.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <future>

#include <sys/stat.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;
using Client = Testing::TlsClient;

namespace
{

constexpr size_t cMostConnections = 100;

class Greeter final : public HttpService
{
public:
    BodyPlan planBody( const HttpRequest& head ) override
    {
        BodyPlan plan;
        if ( head.method == "PUT" )
            plan.file = file;
        return plan;
    }
    void handle( HttpRequest request, Respond respond ) override
    {
        if ( request.path == "/large" )
        {
            HttpResponse response;
            response.file = sent;
            response.fileLength = std::filesystem::file_size( sent );
            return respond( std::move( response ) );
        }
        if ( holds )
            return held_.set_value( std::move( respond ) );
        answer_( respond );
    }
    /// Waits for the one request that is held.
    void untilHeld() { waiting_ = held_.get_future().get(); }
    void release() const { answer_( waiting_ ); }

    std::atomic<bool> holds = false;
    std::filesystem::path file, sent;

private:
    static void answer_( const Respond& respond )
    {
        HttpResponse response;
        response.body = "hello";
        respond( std::move( response ) );
    }

    std::promise<Respond> held_;
    Respond waiting_;
};

/// What this process, with the server in it, has in memory.
size_t residentBytes()
{
    std::ifstream in( "/proc/self/statm" );
    size_t size = 0, resident = 0;
    in >> size >> resident;
    return resident * size_t( ::sysconf( _SC_PAGESIZE ) );
}

class RudeClients : public testing::Test
{
protected:
    RudeClients()
    {
        std::signal( SIGPIPE, SIG_IGN ); // the server ends connections while they are written to
        handler_.file = folder_.path() / "upload";
        serve( std::chrono::milliseconds( 1200 ) );
    }
    /// Starts anew; a connection may rest for so long.
    void serve( std::chrono::milliseconds keepAlive, int threads = 2 )
    {
        server_ = nullptr;
        const auto certificate = ensureCertificate( folder_.path() ).value();
        HttpServerOptions options;
        options.port = 0;
        options.certificateFile = certificate.chain;
        options.keyFile = certificate.key;
        options.patience = options.headerPatience = std::chrono::milliseconds( 1000 );
        options.keepAlive = keepAlive;
        options.maxConnections = cMostConnections;
        options.threads = threads;
        server_ = std::move( HttpServer::start( options, handler_ ).value() );
    }
    [[nodiscard]] uint16_t port() const { return server_->port(); }
    /// Whether others are served.
    void expectAlive() const
    {
        Client client( port() );
        client.send( "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" );
        EXPECT_TRUE( client.readAll().ends_with( "hello" ) );
    }

    Testing::ScratchFolder folder_;
    Greeter handler_;
    std::unique_ptr<HttpServer> server_;
};

} // namespace

TEST_F( RudeClients, SilenceAfterTheHandshakeIsCutOff )
{
    Client client( port() );
    EXPECT_EQ( client.readAll(), "" );
    expectAlive();
}

TEST_F( RudeClients, SilenceInTheHeadIsCutOff )
{
    Client client( port() );
    client.send( "GET / HTTP/1.1\r\nHost: loc" );
    EXPECT_EQ( client.readAll(), "" );
    expectAlive();
}

TEST_F( RudeClients, AHeadByteByByteIsCutOff )
{
    Client client( port() );
    client.send( "GET / HTTP/1.1\r\n" );
    EXPECT_LT( client.trickle( "X-Slow: 1\r\n" ), 20 );
    expectAlive();
}

TEST_F( RudeClients, SilenceInTheBodyIsCutOff )
{
    Client client( port() );
    client.send( "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 100\r\n\r\nten bytes." );
    EXPECT_EQ( client.readAll(), "" );
    expectAlive();
}

TEST_F( RudeClients, ABodyByteByByteIsCutOff )
{
    Client client( port() );
    client.send( "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000000\r\n\r\n" );
    EXPECT_LT( client.trickle( "slow" ), 20 );
    expectAlive();
}

TEST_F( RudeClients, AnUploadByteByByteIsCutOffAndLeavesNothing )
{
    Client client( port() );
    client.send( "PUT / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000000\r\n\r\n" );
    EXPECT_LT( client.trickle( "slow" ), 20 );
    expectAlive();
    EXPECT_FALSE( std::filesystem::exists( handler_.file ) );
}

TEST_F( RudeClients, WhoNeverReadsHoldsNobodyUpAndIsCutOff )
{
    constexpr size_t cLarge = size_t( 64 ) << 20;
    handler_.sent = folder_.write( "large", "" );
    std::filesystem::resize_file( handler_.sent, cLarge );
    const auto before = residentBytes();
    std::vector<std::unique_ptr<Client>> clients;
    for ( int i = 0; i < 50; ++i )
    {
        clients.push_back( std::make_unique<Client>( port() ) );
        clients.back()->send( "GET /large HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" );
        expectAlive();
    }
    // As many as are told here would take 3 GiB.
    EXPECT_LT( residentBytes(), before + 8 * cLarge );
    for ( const Testing::Patience patience; server_->connections() > 0; patience.check( "they are not cut off" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 10 ) );
    for ( const auto& client : clients )
    {
        const auto got = client->readAll();
        EXPECT_TRUE( got.starts_with( "HTTP/1.1 200 OK" ) ) << got.substr( 0, 100 );
        EXPECT_LT( got.size(), cLarge );
    }
    expectAlive();
}

TEST_F( RudeClients, NoTrailerEndsTheServer )
{
    for ( const size_t size : { 65'533, 65'534, 1'000'000 } )
    {
        Client client( port() );
        client.send( "POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nX: " +
                     std::string( size, 'a' ) + "\r\n\r\n" );
        EXPECT_TRUE( client.readAll().starts_with( "HTTP/1.1 400 Bad Request\r\n" ) ) << size;
        expectAlive();
    }
}

TEST_F( RudeClients, WhatFramesABodyFillsNoMemory )
{
    constexpr size_t cMost = size_t( 64 ) << 20;
    for ( const char* begin : { "5;", "0\r\n" } )
    {
        Client client( port() );
        client.send( "POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n" );
        client.send( begin );
        const std::string field = *begin == '5' ? std::string( 16'000, 'a' ) : "X-Short: trailer\r\n";
        EXPECT_LT( client.flood( field, cMost ), cMost ) << begin;
        expectAlive();
    }
}

TEST_F( RudeClients, ThousandsOfThemShutNobodyOut )
{
    serve( std::chrono::milliseconds( 60'000 ) );
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<Client>> clients;
    for ( size_t i = 0; i < cMostConnections; ++i )
        clients.push_back( std::make_unique<Client>( port() ) );
    auto& last = *clients.back();
    expectAlive();
    EXPECT_EQ( clients.front()->readAll(), "" ) << "who was silent for the longest has gone";
    EXPECT_LT( std::chrono::steady_clock::now() - begin, std::chrono::seconds( 40 ) ) << "and not because of its time";
    last.send( "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" );
    EXPECT_TRUE( last.readAll().ends_with( "hello" ) ) << "and nobody else";
}

TEST_F( RudeClients, WhoHasSpokenLaterStaysForLonger )
{
    serve( std::chrono::milliseconds( 60'000 ) );
    Client first( port() );
    auto second = std::make_unique<Client>( port() );
    const std::string asks = "GET / HTTP/1.1\r\nHost: localhost\r\n";
    first.send( asks + "\r\n" );
    EXPECT_TRUE( first.readOnce().ends_with( "hello" ) );
    std::vector<std::unique_ptr<Client>> clients;
    for ( size_t i = 0; i < cMostConnections - 1; ++i )
        clients.push_back( std::make_unique<Client>( port() ) );
    EXPECT_EQ( second->readAll(), "" ) << "the first one came before, and has spoken since";
    first.send( asks + "Connection: close\r\n\r\n" );
    EXPECT_TRUE( first.readAll().ends_with( "hello" ) );
}

TEST_F( RudeClients, WhoWaitsForAnAnswerStaysWhateverTheCrowd )
{
    Client waiting( port() );
    handler_.holds = true;
    waiting.send( "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" );
    handler_.untilHeld();
    handler_.holds = false;
    std::vector<std::unique_ptr<Client>> clients;
    for ( size_t i = 0; i < 2 * cMostConnections; ++i )
        clients.push_back( std::make_unique<Client>( port() ) );
    handler_.release();
    EXPECT_TRUE( waiting.readAll().ends_with( "hello" ) );
}

TEST_F( RudeClients, ADiskThatStandsStillKeepsNobodyElseWaiting )
{
    serve( std::chrono::milliseconds( 60'000 ), 1 );
    // Who opens it waits for somebody at the other end.
    ASSERT_EQ( ::mkfifo( handler_.file.c_str(), 0600 ), 0 );
    Client uploading( port() );
    uploading.send( "PUT / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 4\r\nConnection: close\r\n\r\ndata" );
    expectAlive();
    std::string written;
    std::ifstream( handler_.file ) >> written;
    EXPECT_EQ( written, "data" );
    EXPECT_TRUE( uploading.readAll().ends_with( "hello" ) );
}

TEST_F( RudeClients, WhoHasGoneTakesNobodysPlace )
{
    serve( std::chrono::milliseconds( 60'000 ) );
    Client resting( port() );
    for ( size_t i = 0; i < 2 * cMostConnections; ++i )
        expectAlive();
    resting.send( "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" );
    EXPECT_TRUE( resting.readAll().ends_with( "hello" ) );
}
