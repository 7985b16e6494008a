#include "support/service/BackendProcess.h"
#include "support/service/TlsClient.h"

#include "database/Database.h"

#include <gtest/gtest.h>

using namespace VX;
using Client = Testing::TlsClient;

namespace
{

/// A request on a connection that stays open, unless it is the last one.
std::string get( const std::string& path, bool last = false )
{
    return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n" + ( last ? "Connection: close\r\n" : "" ) + "\r\n";
}

std::string post( const std::string& path, const std::string& body )
{
    return "POST " + path +
           " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nContent-Length: " + std::to_string( body.size() ) +
           "\r\n\r\n" + body;
}

} // namespace

TEST( Waiting, ADatabaseThatOthersHoldKeepsOnlyThoseWaitingWhoWrite )
{
    const Testing::BackendProcess backend;
    std::vector<std::unique_ptr<Client>> writing;
    {
        const auto database = Backend::Database::open( backend.data() / "orvanta.db" ).value();
        const Backend::Database::Transaction held( *database );
        // More than the service has threads of any kind.
        for ( int i = 0; i < 24; ++i )
        {
            writing.push_back( std::make_unique<Client>( ORVANTA_TEST_PORT ) );
            writing.back()->send(
                post( "/converter/v2/request", R"({"input_format": "step", "compress_input": "zip"})" ) );
        }
        Client calm( ORVANTA_TEST_PORT );
        std::string asked;
        for ( int i = 0; i < 20; ++i )
            asked += get( "/livez" );
        calm.send( asked + get( "/version/latesttag" ) + get( "/download", true ) );
        const auto heard = calm.readAll();
        size_t answers = 0;
        for ( auto at = heard.find( "HTTP/1.1 200 OK" ); at != std::string::npos;
            at = heard.find( "HTTP/1.1 200 OK", at + 1 ) )
            ++answers;
        EXPECT_EQ( answers, 22u ) << heard;
    }
    for ( const auto& client : writing )
        EXPECT_TRUE( client->readAll().starts_with( "HTTP/1.1 200 OK" ) );
}
