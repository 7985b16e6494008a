#include "support/Patience.h"
#include "support/service/BackendProcess.h"
#include "support/service/TlsClient.h"

#include "database/Database.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

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

/// The answers with a status of 200 in what was heard.
size_t answersIn( const std::string& heard )
{
    const std::string good = "HTTP/1.1 200 OK";
    size_t out = 0;
    for ( auto at = heard.find( good ); at != std::string::npos; at = heard.find( good, at + 1 ) )
        ++out;
    return out;
}

/// A new conversion's upload, all of whose bytes but the last have been sent.
std::unique_ptr<Client> halfAnUpload()
{
    Client asking( ORVANTA_TEST_PORT );
    asking.send( post( "/converter/v2/request", R"({"input_format": "step", "compress_input": "zip"})" ) );
    const auto said = asking.readAll();
    const auto begin = said.find( "/", said.find( "https://" ) + 8 );
    const auto url = said.substr( begin, said.find( '"', begin ) - begin );
    auto out = std::make_unique<Client>( ORVANTA_TEST_PORT );
    out->send( "PUT " + url + " HTTP/1.1\r\nHost: localhost:" + std::to_string( ORVANTA_TEST_PORT ) +
               "\r\nContent-Length: 100\r\n\r\n" + std::string( 99, 'x' ) );
    return out;
}

size_t incomingIn( const std::filesystem::path& objects )
{
    size_t out = 0;
    for ( const auto& entry : std::filesystem::directory_iterator( objects ) )
        out += size_t( entry.path().filename().string().starts_with( "incoming-" ) );
    return out;
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
        EXPECT_EQ( answersIn( heard ), 22u ) << heard;
    }
    for ( const auto& client : writing )
        EXPECT_TRUE( client->readAll().starts_with( "HTTP/1.1 200 OK" ) );
}

TEST( Waiting, UploadsThatAreCutOffKeepNobodyWaitingWhileOthersHoldTheDatabase )
{
    const Testing::BackendProcess backend;
    const auto objects = backend.data() / "objects";
    constexpr size_t cUploads = 6; // more than there are threads for connections
    std::vector<std::unique_ptr<Client>> uploading;
    for ( size_t i = 0; i < cUploads; ++i )
        uploading.push_back( halfAnUpload() );
    for ( const Testing::Patience patience; incomingIn( objects ) < cUploads; patience.check( "no upload comes" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
    Client calm( ORVANTA_TEST_PORT );
    calm.send( get( "/livez" ) );
    EXPECT_EQ( answersIn( calm.readOnce() ), 1u );
    const auto database = Backend::Database::open( backend.data() / "orvanta.db" ).value();
    const auto bytes = [&]
    {
        return Backend::integerOf(
            database->query( "SELECT coalesce(sum(bytes), 0) FROM conversion_owners" ).value()[0][0] );
    };
    EXPECT_EQ( bytes(), int64_t( 100 * cUploads ) );
    {
        const Backend::Database::Transaction held( *database );
        uploading.clear();
        for ( const Testing::Patience patience; incomingIn( objects ) > 0; patience.check( "an upload stays" ) )
            std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
        std::string asked;
        for ( int i = 0; i < 20; ++i )
            asked += get( "/livez" );
        calm.send( asked + get( "/livez", true ) );
        EXPECT_EQ( answersIn( calm.readAll() ), 21u );
    }
    // Whoever had waited for the database on a thread of the connections would have given up before the answers came.
    for ( const Testing::Patience patience; bytes() > 0; patience.check( "what was cut off still counts" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
}

TEST( Waiting, TheServiceEndsInTimeWhateverWaitsForADatabaseThatOthersHold )
{
    // That of the system unit, of which conversions have a part.
    constexpr auto cPatienceOfASupervisor = std::chrono::seconds( 45 );
    Testing::BackendProcess backend( { "--allow-anonymous", "--drain-seconds", "0" } );
    const auto database = Backend::Database::open( backend.data() / "orvanta.db" ).value();
    const Backend::Database::Transaction held( *database );
    std::vector<std::unique_ptr<Client>> waiting;
    // A wrong password is counted, two at a time: one after the other they would wait for minutes.
    const std::string body = R"({"AuthFlow": "USER_PASSWORD_AUTH", "AuthParameters": )"
                             R"({"USERNAME": "ann@example.org", "PASSWORD": "Wrong-password-1"}})";
    for ( int i = 0; i < 60; ++i )
    {
        waiting.push_back( std::make_unique<Client>( ORVANTA_TEST_PORT ) );
        waiting.back()->send( "POST /auth HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
                              "X-Amz-Target: AWSCognitoIdentityProviderService.InitiateAuth\r\nContent-Length: " +
                              std::to_string( body.size() ) + "\r\n\r\n" + body );
    }
    Client calm( ORVANTA_TEST_PORT );
    calm.send( get( "/livez", true ) );
    EXPECT_EQ( answersIn( calm.readAll() ), 1u );
    const auto begin = std::chrono::steady_clock::now();
    backend.signal( SIGTERM );
    EXPECT_EQ( backend.awaitEnd(), 0 );
    EXPECT_LT( std::chrono::steady_clock::now() - begin, cPatienceOfASupervisor );
}
