#include "support/ScratchFolder.h"

#include "backup/Backup.h"
#include "data/DataFolder.h"
#include "support/service/OpenDatabase.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/system/SystemInfo.h>

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <set>
#include <thread>

#include <sys/stat.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

class Backups : public testing::Test
{
protected:
    Backups()
    {
        std::filesystem::create_directory( data() );
        database_ = Testing::openDatabase( data() / "orvanta.db" );
        statistics_ = Database::open( data() / "statistics.db" ).value();
        EXPECT_TRUE( executeAll( *statistics_, { "CREATE TABLE s(n INTEGER)", "INSERT INTO s VALUES(7)" } ) );
        for ( const char* name :
            { "data/identity-keys.json", "data/store-keys.json", "data/ca.pem", "data/ca-key.pem", "data/lock" } )
            folder_.write( name, name );
    }
    [[nodiscard]] std::filesystem::path data() const { return folder_.path() / "data"; }
    [[nodiscard]] std::filesystem::path backup() const { return folder_.path() / "backup"; }
    [[nodiscard]] std::filesystem::path restored() const { return folder_.path() / "restored"; }
    [[nodiscard]] static std::string errorOf( const tl::expected<void, std::string>& done )
    {
        return done ? "" : done.error();
    }
    [[nodiscard]] static int64_t numberIn( const std::filesystem::path& file, const std::string& sql )
    {
        const auto database = Database::openExisting( file );
        const auto rows = database ? ( *database )->query( sql ) : std::vector<SqlRow>{};
        return rows && !rows->empty() ? integerOf( rows->front()[0] ) : -1;
    }
    [[nodiscard]] static std::set<std::string> namesIn( const std::filesystem::path& folder )
    {
        std::set<std::string> out;
        for ( const auto& entry : std::filesystem::directory_iterator( folder ) )
            out.insert( entry.path().filename() );
        return out;
    }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Database> database_, statistics_;
};

} // namespace

TEST_F( Backups, HoldsWhatAServiceKeepsButItsConversions )
{
    ConversionJobs jobs( *database_, [] { return std::chrono::sys_seconds(); } );
    ASSERT_TRUE( jobs.create( "step", "ann" ) );
    ASSERT_TRUE( database_->execute(
        "INSERT INTO accounts(id, email, password, confirmed, created) VALUES('i', 'a@b.c', 'h', 1, 0)" ) );
    EXPECT_EQ( errorOf( makeBackup( data(), backup() ) ), "" );
    EXPECT_EQ( namesIn( backup() ), ( std::set<std::string>{ "backup.json", "ca-key.pem", "ca.pem",
                                        "identity-keys.json", "orvanta.db", "statistics.db", "store-keys.json" } ) );
    for ( const auto& entry : std::filesystem::directory_iterator( backup() ) )
        EXPECT_EQ( entry.status().permissions(), std::filesystem::perms( 0600 ) ) << entry.path();
    EXPECT_EQ( std::filesystem::status( backup() ).permissions(), std::filesystem::perms( 0700 ) );
    const auto manifest = deserializeJsonValue( backup() / "backup.json" ).value();
    EXPECT_EQ( manifest["version"], 1 );
    EXPECT_EQ( manifest["program"], GetVXVersionString() );
    EXPECT_EQ( errorOf( restoreBackup( backup(), restored() ) ), "" );
    EXPECT_EQ( namesIn( restored() ), ( std::set<std::string>{ "ca-key.pem", "ca.pem", "identity-keys.json", "lock",
                                          "orvanta.db", "statistics.db", "store-keys.json" } ) );
    EXPECT_EQ( numberIn( restored() / "orvanta.db", "SELECT count(*) FROM accounts WHERE email = 'a@b.c'" ), 1 );
    EXPECT_EQ( numberIn( restored() / "orvanta.db", "SELECT count(*) FROM conversions" ), 0 );
    EXPECT_EQ( numberIn( restored() / "orvanta.db", "SELECT count(*) FROM conversion_owners" ), 0 );
    EXPECT_EQ( numberIn( restored() / "statistics.db", "SELECT n FROM s" ), 7 );
}

TEST_F( Backups, IsOfOneMomentWhileTheServiceWrites )
{
    ASSERT_TRUE( executeAll( *database_, { "CREATE TABLE pairs(n INTEGER)" } ) );
    std::atomic<bool> stopping = false;
    std::atomic<int> written = 0;
    std::thread writer(
        [&]
        {
            for ( int64_t n = 0; !stopping; ++n )
            {
                Database::Transaction transaction( *database_ );
                EXPECT_TRUE( database_->execute( "INSERT INTO pairs VALUES(?)", { n } ) );
                EXPECT_TRUE( database_->execute( "INSERT INTO pairs VALUES(?)", { -n } ) );
                EXPECT_TRUE( transaction.commit() );
                ++written;
            }
        } );
    while ( written < 10 )
        std::this_thread::yield();
    for ( int i = 0; i < 5; ++i )
    {
        const auto copy = folder_.path() / ( "copy" + std::to_string( i ) );
        const int before = written;
        EXPECT_EQ( errorOf( makeBackup( data(), copy ) ), "" );
        EXPECT_EQ( numberIn( copy / "orvanta.db", "SELECT sum(n) FROM pairs" ), 0 ) << "no half of a pair";
        EXPECT_GE( numberIn( copy / "orvanta.db", "SELECT count(*) FROM pairs" ), 2 * before )
            << "all that was kept before it";
    }
    stopping = true;
    writer.join();
}

TEST_F( Backups, WhatIsThereStaysAsItIs )
{
    EXPECT_EQ( errorOf( makeBackup( folder_.path() / "nothing", backup() ) ),
        "There is no database in \"" + ( folder_.path() / "nothing" ).string() + "\"" );
    std::filesystem::create_directory( backup() );
    EXPECT_EQ( errorOf( makeBackup( data(), backup() ) ),
        "\"" + backup().string() + "\" is there already; give a new folder" );
    EXPECT_TRUE( std::filesystem::is_empty( backup() ) );
    std::filesystem::remove( backup() );
    ASSERT_EQ( errorOf( makeBackup( data(), backup() ) ), "" );
    EXPECT_EQ( errorOf( restoreBackup( backup(), data() ) ),
        "There is a database in \"" + data().string() + "\" already; give a new folder" );
    std::filesystem::create_directory( restored() );
    const auto used = FolderLock::take( restored() ).value();
    EXPECT_NE( errorOf( restoreBackup( backup(), restored() ) ).find( "is in use by the service of process" ),
        std::string::npos );
    EXPECT_EQ( namesIn( restored() ), std::set<std::string>{ "lock" } );
}

TEST_F( Backups, OneThatIsNotWholeOrOfANewerVersionIsRefused )
{
    EXPECT_EQ(
        errorOf( restoreBackup( data(), restored() ) ), "There is no whole backup in \"" + data().string() + "\"" );
    ASSERT_EQ( errorOf( makeBackup( data(), backup() ) ), "" );
    folder_.write( "backup/backup.json", R"({"version": 2, "program": "9.1"})" );
    EXPECT_EQ( errorOf( restoreBackup( backup(), restored() ) ),
        "The backup in \"" + backup().string() + "\" is of a newer version, 9.1; restore it with that one" );
    folder_.write( "backup/backup.json", R"({"version": 1})" );
    const auto whole = folder_.path() / "whole";
    std::filesystem::copy_file( backup() / "statistics.db", whole );
    folder_.write( "backup/statistics.db", std::string( size_t( std::filesystem::file_size( whole ) ), 'x' ) );
    EXPECT_EQ( errorOf( restoreBackup( backup(), restored() ) ),
        "The database \"" + ( restored() / "arriving-statistics.db" ).string() + "\" is damaged" );
    for ( const char* name : { "orvanta.db", "statistics.db", "arriving-statistics.db" } )
        EXPECT_FALSE( std::filesystem::exists( restored() / name ) ) << name;
    std::filesystem::rename( whole, backup() / "statistics.db" );
    {
        std::filesystem::copy_file( backup() / "orvanta.db", whole );
        std::fstream damaged( backup() / "orvanta.db", std::ios::in | std::ios::out | std::ios::binary );
        damaged.seekp( 4096 );
        damaged << std::string( 8192, 'x' );
    }
    EXPECT_EQ( errorOf( restoreBackup( backup(), restored() ) ),
        "\"" + ( restored() / "arriving-orvanta.db" ).string() + "\" is damaged" );
    EXPECT_FALSE( std::filesystem::exists( restored() / "orvanta.db" ) );
    std::filesystem::rename( whole, backup() / "orvanta.db" );
    EXPECT_EQ( errorOf( restoreBackup( backup(), restored() ) ), "" ) << "the folder may be filled again";
}

TEST_F( Backups, WhatCannotBeWrittenLeavesNothing )
{
    std::filesystem::remove( data() / "ca.pem" );
    std::filesystem::create_directory( data() / "ca.pem" );
    const auto error = errorOf( makeBackup( data(), backup() ) );
    EXPECT_TRUE( error.starts_with(
        "\"" + ( data() / "ca.pem" ).string() + "\" cannot be copied to \"" + backup().string() + ".unfinished-" ) )
        << error;
    EXPECT_EQ( namesIn( folder_.path() ), ( std::set<std::string>{ "data" } ) );
}
