#include "support/EnvironmentVariable.h"
#include "support/FolderPicture.h"
#include "support/TestMeshes.h"
#include "support/service/OpenDatabase.h"

#include "crypto/Base64.h"
#include "doctor/Doctor.h"
#include "identity/keys/IdentityKeys.h"
#include "serve/StoreKeys.h"
#include "statistics/StatsStore.h"
#include "tls/Certificates.h"
#include "tls/Issuing.h"

#include <fmt/chrono.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include <netinet/in.h>
#include <pwd.h>
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
        EXPECT_EQ( int( found.verdict ), int( verdict ) );
        EXPECT_EQ( found.text, text );
    }
    /// Where what stands between is somebody else's word, or a figure of this machine.
    void expect( const std::string& about, Verdict verdict, const std::string& begin, const std::string& end ) const
    {
        const auto found = finding( about );
        EXPECT_EQ( int( found.verdict ), int( verdict ) );
        EXPECT_TRUE( found.text.starts_with( begin ) && found.text.ends_with( end ) ) << found.text;
    }
    [[nodiscard]] std::string quoted( const std::filesystem::path& name = {} ) const
    {
        return "\"" + ( name.empty() ? data() : data() / name ).string() + "\"";
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

/// Whose the files are that this process makes.
std::string ownName()
{
    const auto* entry = ::getpwuid( ::geteuid() );
    return entry ? entry->pw_name : std::to_string( ::geteuid() );
}

/// "2026-01-31", in UTC.
std::string dateOf( std::chrono::sys_seconds time )
{
    return fmt::format( "{:%Y-%m-%d}", time );
}

constexpr const char* cOtherService = "; give that of \"serve --data\"";
constexpr const char* cWhole = "It is whole and of this version";
constexpr const char* cGoBack = "); stop the service and go back to a backup: orvanta-backend restore";

int64_t secondsAgo( int64_t seconds )
{
    return systemTime().time_since_epoch().count() - seconds;
}

} // namespace

TEST_F( Doctor, FindsNothingWhereAllIsWell )
{
    const auto keys = readIdentityKeys( data() ).value().signing;
    const auto end = endOf( certificatesIn( data() / "server.pem" ).at( 0 ).get() );
    expect( "folder", Verdict::Ok, quoted() + " is " + ownName() + "'s alone, and no service is using it" );
    expect( "secrets", Verdict::Ok, "Keys and databases are their owner's alone" );
    expect( "sign-in keys", Verdict::Ok, "The key that signs is of " + dateOf( keys.back().since ) + "; 1 in all" );
    expect( "certificate", Verdict::Ok, quoted( "server.pem" ) + " is good until " + dateOf( end ) );
    expect( "names", Verdict::Ok, "The certificate names localhost" );
    expect( "orvanta.db", Verdict::Ok, cWhole );
    expect( "statistics.db", Verdict::Ok, cWhole );
    expect( "disk", Verdict::Ok, "", " GiB are free" );
    expect( "mails", Verdict::Ok, "None could not be delivered" );
    expect( "queue", Verdict::Ok, "No conversion waits" );
    expect( "worker", Verdict::Ok, "A worker has converted a cube" );
    expect( "service", Verdict::Ok, "None is running, and one could listen at port 0 of 127.0.0.1" );
}

TEST_F( Doctor, AWorkerThatConvertsNoCubeIsTold )
{
    patient_.worker = { "/usr/bin/false" };
    expect( "worker", Verdict::Fail, "No file can be converted here: a worker was tried with a cube and failed, \"",
        "\"; what it said of that itself stands above" );
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
    const auto name = [&] { return "\"" + patient_.data.string() + "\""; };
    patient_.data = other.path();
    expect( "folder", Verdict::Fail, name() + " is no service's: it has no database" + cOtherService );
    EXPECT_TRUE( std::filesystem::is_empty( other.path() ) );
    patient_.data = other.path() / "missing";
    expect( "folder", Verdict::Fail, "There is no folder " + name() + cOtherService );
    EXPECT_FALSE( std::filesystem::exists( patient_.data ) );
    patient_.data = other.write( "file", "" );
    expect( "folder", Verdict::Fail, name() + " is no folder" + cOtherService );
    for ( const auto& one : examine( patient_ ) )
        EXPECT_NE( one.about, "orvanta.db" ) << "there is none to look at";
}

TEST_F( Doctor, TellsWhoElseMayEnterOrRead )
{
    ASSERT_TRUE( ensureStoreKeys( data() ) );
    for ( const char* secret :
        { "identity-keys.json", "store-keys.json", "server-key.pem", "ca-key.pem", "orvanta.db", "statistics.db" } )
    {
        std::filesystem::permissions( data() / secret, std::filesystem::perms( 0640 ) );
        expect( "secrets", Verdict::Fail,
            "Others may open " + quoted( secret ) + " (mode 0640); run: chmod 600 " + quoted( secret ) );
        std::filesystem::permissions( data() / secret, std::filesystem::perms( 0600 ) );
    }
    std::filesystem::permissions( data(), std::filesystem::perms( 0750 ) );
    expect( "folder", Verdict::Fail, "Others may enter " + quoted() + " (mode 0750); run: chmod 700 " + quoted() );
    std::filesystem::permissions( data(), std::filesystem::perms( 0700 ) );
    if ( ::chown( ( data() / "ca.pem" ).c_str(), 1, 1 ) != 0 )
        GTEST_SKIP() << "only root can give files away";
    expect( "folder", Verdict::Fail,
        "\"ca.pem\" in " + quoted() + " is not " + ownName() + "'s, whose folder it is; run: chown -R " + ownName() +
            " " + quoted() );
}

TEST_F( Doctor, TellsOfTheKeysOfSignIns )
{
    const auto remove = [&] { std::filesystem::remove( data() / "identity-keys.json" ); };
    const auto told = [&]( const std::string& number )
    {
        const auto since = readIdentityKeys( data() ).value().signing.back().since;
        return "The key that signs is of " + dateOf( since ) + "; " + number + " in all";
    };
    remove();
    expect( "sign-in keys", Verdict::Fail, "There is no", "" );
    ASSERT_TRUE( ensureIdentityKeys( data(), systemTime() - days( 91 ) ) );
    expect( "sign-in keys", Verdict::Ok, told( "1" ) );
    remove();
    ASSERT_TRUE( ensureIdentityKeys( data(), systemTime() - days( 92 ) ) );
    expect( "sign-in keys", Verdict::Warn,
        "The key that signs is 92 days old; start the service, or run: orvanta-backend keys rotate --data " +
            quoted() );
    ASSERT_TRUE( rotateSigningKey( data(), systemTime() ) );
    expect( "sign-in keys", Verdict::Ok, told( "2" ) );
    folder_.write( "identity-keys.json", "{" );
    expect( "sign-in keys", Verdict::Fail, quoted( "identity-keys.json" ) + " is damaged", "" );
}

TEST_F( Doctor, TellsOfTheCertificatesEnd )
{
    const auto file = quoted( "server.pem" );
    // Half a day more, so that it is the same number of days as long as this runs.
    const auto made = [&]( int daysLeft )
    {
        std::filesystem::remove( data() / "server.pem" );
        EXPECT_TRUE( ensureCertificate(
            data(), { {}, systemTime() - days( 90 ) + days( daysLeft ) + std::chrono::hours( 12 ) } ) );
        return dateOf( endOf( certificatesIn( data() / "server.pem" ).at( 0 ).get() ) );
    };
    std::string renewal = "; start the service, or send it SIGHUP: it makes another";
    expect( "certificate", Verdict::Fail, file + " ended on " + made( -1 ) + renewal );
    made( 0 );
    expect( "certificate", Verdict::Warn, file + " ends in 0 days" + renewal );
    made( 27 );
    expect( "certificate", Verdict::Warn, file + " ends in 27 days" + renewal );
    expect( "certificate", Verdict::Ok, file + " is good until " + made( 28 ) );
    patient_.tlsCertificate = data() / "server.pem";
    patient_.tlsKey = data() / "server-key.pem";
    renewal = "; get another, and send SIGHUP";
    expect( "certificate", Verdict::Ok, file + " is good until " + made( 14 ) );
    made( 13 );
    expect( "certificate", Verdict::Warn, file + " ends in 13 days" + renewal );
    patient_.tlsKey = data() / "ca-key.pem";
    expect( "certificate", Verdict::Fail, file + " does not fit its key, " + quoted( "ca-key.pem" ) + renewal );
    patient_.tlsCertificate = "/nowhere";
    expect( "certificate", Verdict::Fail, "\"/nowhere\" holds no certificate that can be read" + renewal );
}

TEST_F( Doctor, TellsWhetherTheCertificateNamesTheService )
{
    ASSERT_TRUE( ensureCertificate( data(), { { "convert.example.org" } } ) );
    for ( const auto& [url, host] : { std::pair( "https://convert.example.org:8443", "convert.example.org" ),
              std::pair( "https://[::1]:8443", "::1" ), std::pair( "", "localhost" ) } )
    {
        patient_.publicUrl = url;
        expect( "names", Verdict::Ok, std::string( "The certificate names " ) + host );
    }
    const auto expectNone = [&]( const std::string& host )
    {
        patient_.publicUrl = "https://" + host;
        expect( "names", Verdict::Warn,
            "The certificate does not name " + host +
                ", as clients call the service: start it with --public-url, or give it another certificate, unless a "
                "proxy has one" );
    };
    expectNone( "other.example.org" );
    // Clients do not look at the name of the owner where there are names of servers.
    const auto key = makeTlsKey();
    const auto made = makeCertificate( { "owner.example.org", { "DNS:server.example.org" }, systemTime(), days( 9 ) },
        key.get(), certificatesIn( data() / "ca.pem" ).at( 0 ).get(), keyIn( data() / "ca-key.pem" ).get() );
    folder_.write( "server.pem", pemOf( made.get() ) );
    expectNone( "owner.example.org" );
    std::filesystem::remove( data() / "server.pem" );
    expectNone( "localhost" );
}

TEST_F( Doctor, TellsWhatIsWrongWithADatabase )
{
    const auto without = []( const std::string& column )
    { return "It is of another version, without \"" + column + "\"; the next start of the service adds that"; };
    change( "DROP TABLE mails" );
    expect( "orvanta.db", Verdict::Warn, without( "mails.attempts" ) );
    expect( "mails", Verdict::Warn, "It cannot be told: Database: no such table: mails" );
    change( "ALTER TABLE accounts DROP COLUMN blocked" );
    expect( "orvanta.db", Verdict::Warn, without( "accounts.blocked" ) );
    {
        const auto database = Database::openExisting( data() / "orvanta.db" ).value();
        ASSERT_TRUE( MailQueue::prepare( *database ) && Accounts::prepare( *database ) );
        ASSERT_TRUE( database->query( "PRAGMA journal_mode = DELETE" ) );
    }
    expect( "orvanta.db", Verdict::Warn,
        "It is not in WAL mode, as one of a backup; the next start of the service changes that" );
    change( "DROP TABLE conversions" );
    expect( "queue", Verdict::Warn, "It cannot be told: Database: no such table: conversions" );
    std::filesystem::remove( data() / "statistics.db" );
    expect( "statistics.db", Verdict::Warn, "It is missing; the next start of the service makes it" );
}

TEST_F( Doctor, TellsOfADatabaseThatCannotBeRead )
{
    std::fstream file( data() / "orvanta.db", std::ios::in | std::ios::out | std::ios::binary );
    file.seekp( 4096 );
    file << std::string( 8192, 'x' );
    file.close();
    expect( "orvanta.db", Verdict::Fail, "It is damaged (", cGoBack );
    folder_.write( "orvanta.db", "garbage" );
    expect( "orvanta.db", Verdict::Fail, std::string( "It is damaged (Database: file is not a database" ) + cGoBack );
    std::filesystem::remove( data() / "statistics.db" );
    std::filesystem::create_directory( data() / "statistics.db" );
    expect( "statistics.db", Verdict::Fail, "It cannot be opened: ", "" );
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
    expect( "queue", Verdict::Ok, "1 conversion waits, the oldest for ", " s" );
    expect( "orvanta.db", Verdict::Ok, cWhole );
    EXPECT_EQ( Testing::pictureOf( other.path() ), before );
    const Testing::EnvironmentVariable temporary( "TMPDIR", other.path() / "none" );
    expect( "orvanta.db", Verdict::Fail,
        "It cannot be opened: it cannot be copied into TMPDIR to be looked at: no folder can be made there" );
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
    expect( "mails", Verdict::Ok, "None could not be delivered" );
    mail( secondsAgo( -60 ), 3, "NULL" );
    mail( secondsAgo( 60 ), 9, "NULL" );
    mail( secondsAgo( 60 ), 9, "NULL" );
    expect( "mails", Verdict::Warn,
        "2 given up and 1 tried again, the last for: no route; see \"mails list\" and --smtp-url" );
}

TEST_F( Doctor, TellsOfAQueueThatStands )
{
    const auto job = [&]( const char* id, int64_t ago )
    {
        change( std::string( "INSERT INTO conversions(id, input_format, state, created, queued, owner) VALUES('" ) +
                id + "', 'step', 1, 0, " + std::to_string( secondsAgo( ago ) ) + ", 'o')" );
    };
    job( "a", 500 );
    expect( "queue", Verdict::Ok, "1 conversion waits, the oldest for 5", " s" );
    job( "b", 700 );
    expect( "queue", Verdict::Warn, "2 conversions wait, the oldest for 70", " s; start the service" );
    // A running service may be given more.
    patient_.isRunning = true;
    const auto all = checkWork( patient_ );
    ASSERT_EQ( all.size(), 3u );
    EXPECT_EQ( all[2].about, "queue" );
    EXPECT_TRUE( all[2].text.ends_with( " s; give the service more --slots" ) ) << all[2].text;
    EXPECT_EQ( checkFolder( patient_ ).text, quoted() + " is " + ownName() + "'s alone, and a service is using it" );
}

TEST_F( Doctor, TellsWhatTheDiskCannotHold )
{
    patient_.maxStored = uint64_t( 1 ) << 60;
    expect( "disk", Verdict::Warn, "",
        " GiB are free, but --max-stored promises 1073741824.0 GiB more; make room, or promise less" );
    change( "INSERT INTO conversions(id, input_format, state, created, owner, bytes) VALUES('i', 'step', 3, 0, 'o', " +
            std::to_string( int64_t( 1 ) << 59 ) + ")" );
    expect( "disk", Verdict::Warn, "",
        " GiB are free, but --max-stored promises 536870912.0 GiB more; make room, or promise less" );
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
    const auto place = [&] { return "port " + std::to_string( patient_.port ) + " of " + patient_.address; };
    const auto none = [&]( const std::string& why )
    { return "No service could listen at " + place() + ": " + why + "; end who does, or give another --port"; };
    const auto free = [&] { return "None is running, and one could listen at " + place(); };
    expect( "service", Verdict::Fail, none( "Address already in use" ) );
    ::close( fd );
    expect( "service", Verdict::Ok, free() );
    patient_.address = "::1";
    expect( "service", Verdict::Ok, free() );
    patient_.address = "nowhere";
    expect( "service", Verdict::Fail, none( "Invalid argument" ) );
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
