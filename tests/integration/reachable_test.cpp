#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/service/BackendProcess.h"
#include "support/service/SandboxOption.h"

#include "database/Database.h"
#include "tls/Certificates.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace VX;

namespace
{

const std::string cPort = std::to_string( ORVANTA_TEST_PORT );

std::string textOf( const std::string& command )
{
    return Testing::runCommand( "curl -s --max-time 30 " + command ).text;
}

std::string statusOf( const std::string& arguments )
{
    return textOf( "-o /dev/null -w '%{http_code}' " + arguments );
}

/// Puts a pipe in a file's place, tells the back end to read the file, and writes into the pipe once that reads it.
void offer( const Testing::BackendProcess& backend, const std::filesystem::path& file, const std::string& text )
{
    std::filesystem::remove( file );
    ASSERT_EQ( ::mkfifo( file.c_str(), 0600 ), 0 );
    backend.signal( SIGHUP );
    int pipe = -1;
    for ( const Testing::Patience patience; pipe < 0; patience.check() )
    {
        pipe = ::open( file.c_str(), O_WRONLY | O_NONBLOCK );
        std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    }
    EXPECT_EQ( ::write( pipe, text.data(), text.size() ), ssize_t( text.size() ) );
    ::close( pipe );
}

/// How a start with these options ends.
Testing::CommandOutput startWith( const std::string& options )
{
    const Testing::ScratchFolder folder;
    return Testing::runCommand(
        std::string( ORVANTA_BACKEND ) + " serve --data " + folder.path().string() + " --port 0 " + options + " 2>&1" );
}

} // namespace

TEST( Reachable, ListensWhereItIsTold )
{
    const Testing::BackendProcess backend( { "--listen", "127.0.0.2" } );
    EXPECT_EQ( statusOf( "-k https://127.0.0.2:" + cPort + "/version/latesttag" ), "200" );
    EXPECT_EQ( statusOf( "-k https://127.0.0.1:" + cPort + "/version/latesttag" ), "000" );
}

TEST( Reachable, PresignedUrlsNameThePublicAddress )
{
    const auto root = "https://convert.example:" + cPort;
    const Testing::BackendProcess backend( { "--allow-anonymous", "--public-url", root + "/" } );
    const auto curl = "-k --resolve convert.example:" + cPort + ":127.0.0.1 ";
    const auto answer =
        textOf( curl + root + R"(/converter/v2/request -d '{"input_format":"step","compress_input":"zip"}')" );
    const auto url = deserializeJsonValue( answer ).value()["result"]["url"].asString();
    EXPECT_TRUE( url.starts_with( root + "/orvanta/" ) ) << answer;
    const Testing::ScratchFolder folder;
    EXPECT_EQ( statusOf( curl + "-T " + folder.write( "f", "data" ).string() + " '" + url + "'" ), "200" );
}

TEST( Reachable, WhatIsKeptAndItsUrlsGoAfterTheMinutesThatAreGiven )
{
    Testing::BackendProcess backend( { "--allow-anonymous", "--keep-minutes", "20", "--chores-every", "1" } );
    const auto root = "https://localhost:" + cPort + "/converter/v2/";
    const auto request = [&]
    {
        const auto answer = textOf( "-k " + root + R"(request -d '{"input_format":"step","compress_input":"zip"}')" );
        return deserializeJsonValue( answer ).value_or( Json::Value() )["result"];
    };
    const auto isKnown = [&]( const std::string& id )
    { return statusOf( "-k '" + root + "status?request_id=" + id + "'" ) != "404"; };
    const auto old = request(), young = request();
    EXPECT_NE( old["url"].asString().find( "X-Amz-Expires=1200&" ), std::string::npos );
    backend.kill();
    ASSERT_TRUE( Backend::Database::openExisting( backend.data() / "orvanta.db" )
            .value()
            ->execute(
                "UPDATE conversions SET created = created - 1201 WHERE id = ?", { old["request_id"].asString() } ) );
    backend.restart();
    const Testing::Patience patience;
    while ( isKnown( old["request_id"].asString() ) )
        patience.check();
    EXPECT_TRUE( isKnown( young["request_id"].asString() ) );
}

TEST( Reachable, AsManyReportsWaitAsTheOptionSays )
{
    const Testing::BackendProcess backend( { "--statistics-waiting", "1" } );
    const auto statistics = Backend::Database::openExisting( backend.data() / "statistics.db" ).value();
    const Testing::ScratchFolder folder;
    const auto report =
        folder.write( "report", R"({"type":"createSession","email":"a@b.c"})" + std::string( 700'000, ' ' ) );
    const auto send = [&]
    { return textOf( "-k https://localhost:" + cPort + "/stats/log --data-binary @" + report.string() ); };
    auto transaction = std::make_unique<Backend::Database::Transaction>( *statistics );
    ASSERT_TRUE( statistics->execute( "DELETE FROM stats_actions" ) );
    auto first = std::async( std::launch::async, send ), second = std::async( std::launch::async, send );
    // One of them waits for the database, and the other is too much then.
    const auto isReady = []( auto& answer )
    { return answer.wait_for( std::chrono::milliseconds( 1 ) ) == std::future_status::ready; };
    for ( const Testing::Patience patience; !isReady( first ) && !isReady( second ); )
        patience.check();
    transaction = nullptr;
    const auto answers = first.get() + second.get();
    EXPECT_NE( answers.find( "Too many reports at once" ), std::string::npos ) << answers;
    EXPECT_NE( answers.find( "sessionId" ), std::string::npos ) << answers;
}

TEST( Reachable, OptionsThatSayNothingEndTheStart )
{
    for ( const auto& [options, text] : std::vector<std::pair<std::string, std::string>>{
              { "--listen nowhere", "\"nowhere\" is no address to listen on" },
              { "--trusted-proxy 10.0.0.0/8 --trusted-proxy 10.0.0.0/99", "\"10.0.0.0/99\" is no network" },
              { "--public-url http://a", "\"http://a\" is no address" },
              { "--public-url https://a/b", "\"https://a/b\" is no address" },
              { "--public-url 'https://a?b'", "\"https://a?b\" is no address" },
              { "--public-url 'https://a#b'", "\"https://a#b\" is no address" },
              { "--public-url https://a@b", "\"https://a@b\" is no address" },
              { "--public-url 'https://a b'", "\"https://a b\" is no address" },
              { "--public-url https://", "\"https://\" is no address" },
              { "--tls-certificate /nowhere --tls-key /nowhere", "\"/nowhere\" cannot be used for TLS" } } )
    {
        const auto ended = startWith( options );
        EXPECT_EQ( ended.status, 1 ) << options;
        EXPECT_NE( ended.text.find( text ), std::string::npos ) << ended.text;
    }
    EXPECT_NE( startWith( "--tls-certificate /nowhere" ).status, 0 );
}

TEST( Reachable, OptionsOfAFileAreTakenAndCheckedWithoutAStart )
{
    const Testing::ScratchFolder folder;
    const auto checked = [&]( const std::string& text, const std::string& options = {} )
    {
        const auto file =
            folder.write( "options", "[serve]\ndata=\"" + ( folder.path() / "data" ).string() + "\"\n" + text );
        return Testing::runCommand( std::string( ORVANTA_BACKEND ) + " serve --config " + file.string() + " --check " +
                                    Testing::sandboxOption() + " " + options + " 2>&1" );
    };
    EXPECT_EQ( checked( "trusted-proxy=[\"10.0.0.0/8\",\"fd00::/8\"]\n" ).status, 0 );
    const auto wrong = checked( "listen=\"nowhere\"\n" );
    EXPECT_EQ( wrong.status, 1 );
    EXPECT_NE( wrong.text.find( "\"nowhere\" is no address to listen on" ), std::string::npos ) << wrong.text;
    EXPECT_EQ( checked( "listen=\"nowhere\"\n", "--listen 127.0.0.1" ).status, 0 ) << "the command line comes first";
    EXPECT_EQ( checked( "trusted-proxy=[\"10.0.0.0/8\",\"fd00::/200\"]\n" ).status, 1 );
    EXPECT_NE( checked( "no-such-option=1\n" ).status, 0 );
    EXPECT_EQ( checked( "keep-minutes=10\nstatistics-waiting=1\n" ).status, 0 );
    EXPECT_NE( checked( "keep-minutes=9\n" ).status, 0 );
    EXPECT_NE( checked( "statistics-waiting=0\n" ).status, 0 );
    EXPECT_NE( checked( "tls-certificate=\"a\"\n" ).status, 0 ) << "without its key";
    EXPECT_NE( checked( "", "--config /nowhere" ).status, 0 );
    EXPECT_FALSE( std::filesystem::exists( folder.path() / "data" ) ) << "nothing is made";
}

TEST( Reachable, AnOperatorsCertificateIsReadAgainWhenTold )
{
    const Testing::ScratchFolder first, second, used;
    const auto one = Backend::ensureCertificate( first.path() ).value();
    const auto two = Backend::ensureCertificate( second.path() ).value();
    const auto chain = used.path() / "chain.pem", key = used.path() / "key.pem";
    const auto use = [&]( const Backend::ServerCertificate& files )
    {
        constexpr auto cOver = std::filesystem::copy_options::overwrite_existing;
        std::filesystem::copy_file( files.chain, chain, cOver );
        std::filesystem::copy_file( files.key, key, cOver );
    };
    const auto answersTo = [&]( const Backend::ServerCertificate& files )
    {
        return statusOf( "--cacert " + files.authority.string() + " https://localhost:" + cPort +
                         "/version/latesttag" ) == "200";
    };
    use( one );
    const Testing::BackendProcess backend( { "--tls-certificate", chain.string(), "--tls-key", key.string() } );
    EXPECT_TRUE( answersTo( one ) );
    EXPECT_FALSE( std::filesystem::exists( backend.data() / "ca.pem" ) );

    offer( backend, key, "damaged" );
    std::filesystem::copy_file( two.chain, chain, std::filesystem::copy_options::overwrite_existing );
    offer( backend, key, Testing::readFile( one.key ) );
    offer( backend, key, "damaged" ); // once this is read, the others have been looked at
    EXPECT_TRUE( answersTo( one ) ) << "what cannot be used is not";

    std::filesystem::remove( key );
    use( two );
    backend.signal( SIGHUP );
    for ( const Testing::Patience patience; !answersTo( two ); patience.check() )
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    EXPECT_FALSE( answersTo( one ) );
}
