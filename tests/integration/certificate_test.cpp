#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/service/BackendProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

using namespace VX;

namespace
{

const std::string cPort = std::to_string( ORVANTA_TEST_PORT );

std::string curl( const std::string& arguments )
{
    return Testing::runCommand( "curl -s --max-time 30 -o /dev/null " + arguments ).text;
}

/// The certificate that a service shows to a new connection, as PEM.
std::string shown()
{
    const auto text = curl( "-k -w '%{certs}' https://localhost:" + cPort + "/livez" );
    const auto begin = text.find( "-----BEGIN" );
    return begin == std::string::npos ? std::string() : text.substr( begin );
}

/// Whether a client that trusts the authorities of a file is answered.
bool isTrusted(
    const std::filesystem::path& authority, const std::string& options = {}, const std::string& host = "localhost" )
{
    return curl( options + " -w '%{http_code}' --cacert '" + authority.string() + "' https://" + host + ":" + cPort +
                 "/livez" ) == "200";
}

void awaitAnother( const std::string& before )
{
    for ( const Testing::Patience patience; shown() == before; patience.check() )
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
}

} // namespace

TEST( OwnCertificate, IsRenewedByARunningServiceAndTrustedAsBefore )
{
    const Testing::BackendProcess backend( { "--chores-every", "1" } );
    const Testing::ScratchFolder client;
    const auto trusted = client.write( "ca.pem", Testing::readFile( backend.data() / "ca.pem" ) );
    const auto before = shown();
    ASSERT_EQ( before, Testing::readFile( backend.data() / "server.pem" ) );
    EXPECT_TRUE( isTrusted( trusted ) );
    // One that is gone is made again like one that ends.
    std::filesystem::remove( backend.data() / "server.pem" );
    awaitAnother( before );
    EXPECT_EQ( shown(), Testing::readFile( backend.data() / "server.pem" ) );
    EXPECT_TRUE( isTrusted( trusted ) );
}

TEST( OwnCertificate, NamesWhatClientsCallTheService )
{
    const Testing::BackendProcess backend(
        { "--listen", "127.0.0.2", "--public-url", "https://convert.example:" + cPort } );
    const auto authority = backend.data() / "ca.pem";
    const auto as = []( const std::string& host ) { return "--resolve " + host + ":" + cPort + ":127.0.0.2"; };
    EXPECT_TRUE( isTrusted( authority, as( "convert.example" ), "convert.example" ) );
    EXPECT_TRUE( isTrusted( authority, {}, "127.0.0.2" ) );
    EXPECT_TRUE( isTrusted( authority, as( "localhost" ) ) );
    EXPECT_FALSE( isTrusted( authority, as( "other.example" ), "other.example" ) );
}

TEST( OwnCertificate, OfAFolderOfAnOlderVersionGoesOnUntilTheNextIsTrustedToo )
{
    Testing::BackendProcess backend( std::vector<std::string>{} );
    const Testing::ScratchFolder client;
    const auto copy = client.write( "ca.pem", Testing::readFile( backend.data() / "ca.pem" ) );
    const auto before = shown();
    backend.signal( SIGTERM );
    ASSERT_EQ( backend.awaitEnd(), 0 );
    // Those kept no key of their authority.
    std::filesystem::remove( backend.data() / "ca-key.pem" );
    backend.restart();
    EXPECT_EQ( shown(), before );
    EXPECT_TRUE( isTrusted( copy ) );
    EXPECT_TRUE( isTrusted( backend.data() / "ca.pem" ) );
    const auto both = client.write( "both.pem", Testing::readFile( backend.data() / "ca.pem" ) );
    std::filesystem::remove( backend.data() / "server.pem" );
    backend.signal( SIGHUP );
    awaitAnother( before );
    EXPECT_FALSE( isTrusted( copy ) );
    EXPECT_TRUE( isTrusted( both ) );
}
