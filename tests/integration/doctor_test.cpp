#include "TestPlaces.h"
#include "support/Command.h"
#include "support/FolderPicture.h"
#include "support/service/BackendProcess.h"

#include <gtest/gtest.h>

#include <csignal>

using namespace VX;

namespace
{

Testing::CommandOutput examine( const std::filesystem::path& data )
{
    return Testing::runCommand( std::string( ORVANTA_BACKEND ) + " doctor --max-stored 1 --data '" + data.string() +
                                "' --port " + std::to_string( ORVANTA_TEST_PORT ) + " 2>&1" );
}

/// All that is in a folder but what workers, which may outlive their service for a moment, do in theirs, and one thing
/// more.
std::map<std::string, std::string> pictureWithout( const std::string& name, const std::filesystem::path& data )
{
    auto out = Testing::pictureOf( data );
    std::erase_if( out, [&]( const auto& one )
        { return one.first.find( name ) != name.npos || one.first.find( "/worker" ) != name.npos; } );
    return out;
}

void expectSaid( const Testing::CommandOutput& said, int status, const std::string& text )
{
    EXPECT_EQ( said.status, status ) << said.text;
    EXPECT_NE( said.text.find( text ), std::string::npos ) << said.text;
}

} // namespace

TEST( DoctorCommand, LooksAtAServiceAndChangesNothing )
{
    Testing::BackendProcess backend;
    const auto& data = backend.data();
    // A running service writes its databases itself.
    const auto quiet = pictureWithout( ".db", data );
    const auto said = examine( data );
    EXPECT_EQ( pictureWithout( ".db", data ), quiet );
    for ( const char* text : { "and a service is using it\n", "ok   orvanta.db: ", "ok   statistics.db: ",
              "ok   certificate: ", "ok   worker: ", "ok   service: It answers at port " } )
        expectSaid( said, 0, text );

    // Without an orderly end what was written last stands in the log beside the database.
    backend.kill();
    ASSERT_TRUE( std::filesystem::exists( data / "orvanta.db-wal" ) );
    auto before = pictureWithout( "\n", data );
    expectSaid( examine( data ), 0, "ok   service: None is running" );
    EXPECT_EQ( pictureWithout( "\n", data ), before );
    backend.restart();
    backend.signal( SIGTERM );
    ASSERT_EQ( backend.awaitEnd(), 0 );
    before = Testing::pictureOf( data );
    expectSaid( examine( data ), 0, "ok   orvanta.db: " );
    EXPECT_EQ( Testing::pictureOf( data ), before );
}

TEST( DoctorCommand, TellsOfAServiceThatStandsStill )
{
    const Testing::BackendProcess backend;
    backend.signal( SIGSTOP );
    expectSaid( examine( backend.data() ), 1, "fail service: A service has the folder, but it does not answer" );
    backend.signal( SIGCONT );
    expectSaid( examine( backend.data() ), 0, "ok   service: It answers at port " );
}

TEST( DoctorCommand, TakesTheOptionsOfTheServiceFromItsFile )
{
    const Testing::BackendProcess backend;
    const Testing::ScratchFolder folder;
    const auto asked = [&]( const std::string& file, const std::string& options )
    {
        return Testing::runCommand( std::string( ORVANTA_BACKEND ) + " doctor --config '" +
                                    folder.write( "options", file ).string() + "' " + options + " 2>&1" );
    };
    const auto data = "[serve]\ndata=\"" + backend.data().string() + "\"\n";
    const auto port = "port=" + std::to_string( ORVANTA_TEST_PORT ) + "\n";
    const auto rest = "slots=1\nmax-stored=1000000000\npublic-url=https://other.example.org\n";
    const auto said = asked( data + port + rest, "" );
    for ( const char* text :
        { "ok   service: It answers at port ", "warn disk: ", "warn names: The certificate does not name other." } )
        expectSaid( said, 0, text );
    // What is given beside it comes first.
    expectSaid( asked( data + port + rest, "--max-stored 1" ), 0, "ok   disk: " );
    expectSaid( asked( data + "port=1\n", "--max-stored 1 --port " + std::to_string( ORVANTA_TEST_PORT ) ), 0,
        "ok   service: It answers at port " );
    expectSaid( asked( "[serve]\n" + port, "" ), 106, "--data is required" );
    EXPECT_NE( asked( data + "no-option=1\n", "" ).status, 0 );
}

TEST( DoctorCommand, AnEmptyFolderStaysEmpty )
{
    const Testing::ScratchFolder folder;
    expectSaid( examine( folder.path() ), 1, "fail folder: \"" + folder.path().string() + "\" is no service's" );
    EXPECT_TRUE( std::filesystem::is_empty( folder.path() ) );
}

TEST( DoctorCommand, TellsWhereDescriptorsAreTooFew )
{
    const Testing::ScratchFolder folder;
    const auto with = [&]( const std::string& limit )
    {
        return Testing::runCommand(
            "ulimit -n " + limit + " && " + ORVANTA_BACKEND + " doctor --data '" + folder.path().string() + "' 2>&1" );
    };
    expectSaid( with( "8447" ), 1,
        "\nwarn descriptors: A service that is started here may have 8447 and so 4095 connections; raise the limit "
        "(ulimit -Hn, LimitNOFILE) to 8448\n" );
    expectSaid( with( "8448" ), 1, "\nok   descriptors: There may be 8448\n" );
}
