#include "support/FolderPicture.h"
#include "support/TestMeshes.h"
#include "support/service/OpenDatabase.h"

#include "crypto/Base64.h"
#include "doctor/Doctor.h"
#include "identity/keys/IdentityKeys.h"
#include "statistics/StatsStore.h"
#include "tls/Certificates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;
using std::chrono::days;

namespace
{

/// A folder that a service has left in good order.
class Doctor : public testing::Test
{
protected:
    Doctor()
    {
        patient_.data = folder_.path();
        patient_.maxStored = 1;
        patient_.port = 0;
        // One that is given a cube gives one back.
        patient_.worker = { "/usr/bin/sh", "-c",
            "cd \"$0\" && head -c 1 > go && echo " + base64( Testing::cubeFile() ) +
                " | base64 -d > result.vxu && echo '{\"done\":true}'" };
        std::filesystem::permissions( data(), std::filesystem::perms( 0700 ) );
        {
            const auto database = Testing::openDatabase( data() / "orvanta.db" );
            const auto statistics = Database::open( data() / "statistics.db" ).value();
            const StatsStore makesTables( *statistics, &systemTime );
        }
        EXPECT_TRUE( ensureIdentityKeys( data() ) );
        EXPECT_TRUE( ensureCertificate( data() ) );
        for ( const char* name : { "orvanta.db", "statistics.db" } )
            std::filesystem::permissions( data() / name, std::filesystem::perms( 0600 ) );
    }
    [[nodiscard]] const std::filesystem::path& data() const { return folder_.path(); }

    /// What is found of a thing. Whatever that is, nothing in the folder changes.
    [[nodiscard]] Finding finding( const std::string& about ) const
    {
        const auto before = Testing::pictureOf( data() );
        const auto all = examine( patient_ );
        EXPECT_EQ( Testing::pictureOf( data() ), before );
        for ( const auto& one : all )
            if ( one.about == about )
                return one;
        return { Verdict::Fail, about, "nobody looked" };
    }
    void expect( const std::string& about, Verdict verdict, const std::string& text ) const
    {
        const auto found = finding( about );
        EXPECT_EQ( int( found.verdict ), int( verdict ) ) << found.text;
        EXPECT_NE( found.text.find( text ), std::string::npos ) << found.text;
    }
    /// Changes the database as a service would, which then ends in order.
    void change( const std::string& sql ) const
    {
        const auto database = Database::openExisting( data() / "orvanta.db" ).value();
        EXPECT_TRUE( database->execute( sql ) );
    }

    Testing::ScratchFolder folder_;
    Patient patient_;
};

int64_t secondsAgo( int64_t seconds )
{
    return systemTime().time_since_epoch().count() - seconds;
}

} // namespace

TEST_F( Doctor, FindsNothingWhereAllIsWell )
{
    for ( const char* about : { "folder", "secrets", "sign-in keys", "certificate", "names", "orvanta.db",
              "statistics.db", "disk", "mails", "queue", "worker", "service" } )
        expect( about, Verdict::Ok, "" );
}

TEST_F( Doctor, AWorkerThatConvertsNoCubeIsTold )
{
    patient_.worker = { "/usr/bin/false" };
    expect( "worker", Verdict::Fail, "a worker was tried with a cube and failed" );
}

TEST_F( Doctor, TriesBubblewrapOnceAndTheWorkerByWhatItFound )
{
    const Testing::ScratchFolder place;
    const auto tried = place.path() / "tried";
    const auto program = place.write( "bwrap", "#!/bin/sh\necho tried >> '" + tried.string() + "'\nexit 1\n" );
    std::filesystem::permissions( program, std::filesystem::perms( 0755 ) );
    const std::string path = std::getenv( "PATH" );
    ::setenv( "PATH", ( place.path().string() + ":" + path ).c_str(), 1 );
    const auto all = examine( patient_ );
    ::setenv( "PATH", path.c_str(), 1 );
    EXPECT_EQ( Testing::readFile( tried ), "tried\n" );
    const auto isOf = []( const char* about ) { return [=]( const Finding& one ) { return one.about == about; }; };
    EXPECT_EQ( int( std::ranges::find_if( all, isOf( "sandbox" ) )->verdict ), int( Verdict::Warn ) );
    EXPECT_EQ( int( std::ranges::find_if( all, isOf( "worker" ) )->verdict ), int( Verdict::Ok ) );
}

TEST_F( Doctor, AFolderThatIsNoServicesIsToldAndStaysAsItIs )
{
    const Testing::ScratchFolder other;
    patient_.data = other.path();
    expect( "folder", Verdict::Fail, "is no service's: it has no database" );
    EXPECT_TRUE( std::filesystem::is_empty( other.path() ) );
    patient_.data = other.path() / "missing";
    expect( "folder", Verdict::Fail, "There is no folder" );
    EXPECT_FALSE( std::filesystem::exists( patient_.data ) );
    patient_.data = other.write( "file", "" );
    expect( "folder", Verdict::Fail, "is no folder" );
    for ( const auto& one : examine( patient_ ) )
        EXPECT_NE( one.about, "orvanta.db" ) << "there is none to look at";
}

TEST_F( Doctor, TellsWhoElseMayEnterOrRead )
{
    std::filesystem::permissions( data() / "server-key.pem", std::filesystem::perms( 0640 ) );
    expect( "secrets", Verdict::Fail, "chmod 600 \"" + ( data() / "server-key.pem" ).string() );
    std::filesystem::permissions( data(), std::filesystem::perms( 0750 ) );
    expect( "folder", Verdict::Fail, "(mode 0750); run: chmod 700" );
    std::filesystem::permissions( data(), std::filesystem::perms( 0700 ) );
    if ( ::chown( ( data() / "store-keys.json" ).c_str(), 1, 1 ) != 0 &&
         ::chown( ( data() / "ca.pem" ).c_str(), 1, 1 ) != 0 )
        GTEST_SKIP() << "only root can give files away";
    expect( "folder", Verdict::Fail, "run: chown -R root" );
}

TEST_F( Doctor, TellsOfTheKeysOfSignIns )
{
    std::filesystem::remove( data() / "identity-keys.json" );
    expect( "sign-in keys", Verdict::Fail, "There is no" );
    ASSERT_TRUE( ensureIdentityKeys( data(), systemTime() - days( 92 ) ) );
    expect( "sign-in keys", Verdict::Warn, "is 92 days old" );
    ASSERT_TRUE( rotateSigningKey( data(), systemTime() ) );
    expect( "sign-in keys", Verdict::Ok, "2 in all" );
    folder_.write( "identity-keys.json", "{" );
    expect( "sign-in keys", Verdict::Fail, "is damaged" );
}

TEST_F( Doctor, TellsOfTheCertificatesEndAndNames )
{
    const auto made = [&]( days ago )
    {
        std::filesystem::remove( data() / "server.pem" );
        EXPECT_TRUE( ensureCertificate( data(), { { "convert.example.org" }, systemTime() - ago } ) );
    };
    made( days( 91 ) );
    expect( "certificate", Verdict::Fail, "ended on " );
    made( days( 70 ) );
    expect( "certificate", Verdict::Warn, "ends in " );
    made( days( 0 ) );
    expect( "certificate", Verdict::Ok, "is good until " );
    patient_.publicUrl = "https://convert.example.org:8443";
    expect( "names", Verdict::Ok, "convert.example.org" );
    patient_.publicUrl = "https://other.example.org";
    expect( "names", Verdict::Warn, "does not name other.example.org" );
    patient_.publicUrl = "https://[::1]:8443";
    expect( "names", Verdict::Ok, "::1" );
    patient_.tlsCertificate = data() / "server.pem";
    patient_.tlsKey = data() / "ca-key.pem";
    expect( "certificate", Verdict::Fail, "does not fit its key" );
    patient_.tlsCertificate = "/nowhere";
    expect( "certificate", Verdict::Fail, "holds no certificate" );
}

TEST_F( Doctor, TellsWhatIsWrongWithADatabase )
{
    change( "DROP TABLE mails" );
    expect( "orvanta.db", Verdict::Warn, "is of another version, without \"mails." );
    change( "ALTER TABLE accounts DROP COLUMN blocked" );
    expect( "orvanta.db", Verdict::Warn, "is of another version, without \"accounts.blocked\"" );
    {
        const auto database = Database::openExisting( data() / "orvanta.db" ).value();
        ASSERT_TRUE( MailQueue::prepare( *database ) && Accounts::prepare( *database ) );
        ASSERT_TRUE( database->query( "PRAGMA journal_mode = DELETE" ) );
    }
    expect( "orvanta.db", Verdict::Warn, "is not in WAL mode" );
    std::filesystem::remove( data() / "statistics.db" );
    expect( "statistics.db", Verdict::Warn, "is missing" );
    std::fstream file( data() / "orvanta.db", std::ios::in | std::ios::out | std::ios::binary );
    file.seekp( 4096 );
    file << std::string( 8192, 'x' );
    file.close();
    expect( "orvanta.db", Verdict::Fail, "It is damaged" );
    folder_.write( "orvanta.db", "garbage" );
    expect( "orvanta.db", Verdict::Fail, "It is damaged" );
}

TEST_F( Doctor, SeesWhatWasWrittenLastBeforeACrash )
{
    const Testing::ScratchFolder other;
    const auto running = Database::openExisting( data() / "orvanta.db" ).value();
    ASSERT_TRUE(
        running->execute( "INSERT INTO conversions(id, input_format, state, created, queued, owner) VALUES('i', "
                          "'step', 1, 0, ?, 'o')",
            { secondsAgo( 5 ) } ) );
    for ( const char* name : { "orvanta.db", "orvanta.db-wal" } )
        std::filesystem::copy_file( data() / name, other.path() / name );
    patient_.data = other.path();
    const auto before = Testing::pictureOf( other.path() );
    expect( "queue", Verdict::Ok, "1 conversion waits, the oldest for " );
    expect( "orvanta.db", Verdict::Ok, "" );
    EXPECT_EQ( Testing::pictureOf( other.path() ), before );
}

TEST_F( Doctor, TellsOfMailsThatWereNotDelivered )
{
    const auto mail = [&]( int64_t expires, int attempts, const char* sent )
    {
        change( "INSERT INTO mails(recipient, subject, text, due, expires, attempts, sent, error) VALUES('a', 'b', "
                "'c', 0, " +
                std::to_string( expires ) + ", " + std::to_string( attempts ) + ", " + sent + ", 'no route')" );
    };
    mail( secondsAgo( -60 ), 0, "NULL" );
    mail( secondsAgo( 60 ), 2, "5" );
    expect( "mails", Verdict::Ok, "" );
    mail( secondsAgo( -60 ), 3, "NULL" );
    mail( secondsAgo( 60 ), 9, "NULL" );
    mail( secondsAgo( 60 ), 9, "NULL" );
    expect( "mails", Verdict::Warn, "2 given up and 1 tried again, the last for: no route" );
}

TEST_F( Doctor, TellsOfAQueueThatStands )
{
    const auto job = [&]( const char* id, int64_t ago )
    {
        change( std::string( "INSERT INTO conversions(id, input_format, state, created, queued, owner) VALUES('" ) +
                id + "', 'step', 1, 0, " + std::to_string( secondsAgo( ago ) ) + ", 'o')" );
    };
    job( "a", 500 );
    expect( "queue", Verdict::Ok, "1 conversion waits" );
    job( "b", 700 );
    expect( "queue", Verdict::Warn, "2 conversions wait, the oldest for 70" );
}

TEST_F( Doctor, TellsWhatTheDiskCannotHold )
{
    patient_.maxStored = uint64_t( 1 ) << 60;
    expect( "disk", Verdict::Warn, "--max-stored promises 1073741824.0 GiB more" );
}

TEST_F( Doctor, TellsWhetherOneCouldListen )
{
    const int fd = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
    socklen_t size = sizeof address;
    ASSERT_EQ( ::bind( fd, reinterpret_cast<sockaddr*>( &address ), size ), 0 );
    ASSERT_EQ( ::listen( fd, 1 ), 0 );
    ASSERT_EQ( ::getsockname( fd, reinterpret_cast<sockaddr*>( &address ), &size ), 0 );
    patient_.port = ntohs( address.sin_port );
    expect( "service", Verdict::Fail, "Address already in use" );
    ::close( fd );
    expect( "service", Verdict::Ok, "None is running" );
    patient_.address = "::1";
    expect( "service", Verdict::Ok, "None is running" );
    patient_.address = "nowhere";
    expect( "service", Verdict::Fail, "Invalid argument" );
}

TEST_F( Doctor, PrintsALineForEachThingAndEndsWithOneWhereAnyFails )
{
    const auto said = [&]( int status )
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ( runDoctor( patient_ ), status );
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_NE( said( 0 ).find( "ok   sign-in keys: The key that signs is of " ), std::string::npos );
    std::filesystem::remove( data() / "statistics.db" );
    EXPECT_NE( said( 0 ).find( "\nwarn statistics.db: It is missing" ), std::string::npos );
    patient_.data = "/nowhere\n";
    const auto text = said( 1 );
    EXPECT_TRUE( text.starts_with( "fail folder: There is no folder \"/nowhere" ) ) << text;
}
