#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

using namespace VX;

namespace
{

class ConfigTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setUserConfigName( "OrvantaTest" );
        Config::instance().reload();
    }
    [[nodiscard]] std::filesystem::path file() const { return folder_.path() / "OrvantaTest" / "config.json"; }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( ConfigTest, FolderIsPrivate )
{
    const auto dir = getUserConfigDir();
    EXPECT_EQ( dir, folder_.path() / "OrvantaTest" );
    EXPECT_EQ( std::filesystem::status( dir ).permissions(), std::filesystem::perms( 0700 ) );
}

TEST_F( ConfigTest, WritesEveryChangeAtOnce )
{
    Config::instance().setBool( "a", true );
    EXPECT_NE( Testing::readFile( file() ).find( "\"a\" : true" ), std::string::npos );
    Config::instance().reload();
    EXPECT_TRUE( Config::instance().getBool( "a" ) );
}

TEST_F( ConfigTest, WrongTypesAndMissingKeysGiveTheFallback )
{
    Config::instance().setJsonValue( "a", 1 );
    EXPECT_TRUE( Config::instance().getBool( "a", true ) );
    EXPECT_FALSE( Config::instance().getBool( "a", false ) );
    EXPECT_TRUE( Config::instance().getBool( "b", true ) );
    EXPECT_TRUE( Config::instance().getJsonValue( "b" ).isNull() );
    EXPECT_FALSE( Config::instance().hasKey( "b" ) );
}

TEST_F( ConfigTest, KeepsWhatAnotherInstanceHasWritten )
{
    Config::instance().setBool( "mine", true );
    std::filesystem::create_directories( file().parent_path() );
    folder_.write( "OrvantaTest/config.json", R"({"mine": true, "theirs": 7})" );
    Config::instance().setBool( "mine", false );
    Config::instance().reload();
    EXPECT_EQ( Config::instance().getJsonValue( "theirs" ).asInt(), 7 );
    EXPECT_FALSE( Config::instance().getBool( "mine", true ) );
}

TEST_F( ConfigTest, TakesAFileThatIsNotJsonForEmpty )
{
    folder_.write( "OrvantaTest/config.json", "\x01garbage" );
    Config::instance().reload();
    EXPECT_FALSE( Config::instance().hasKey( "a" ) );
    Config::instance().setBool( "a", true );
    Config::instance().reload();
    EXPECT_TRUE( Config::instance().getBool( "a" ) );
}

TEST_F( ConfigTest, AFileThatWasDamagedOrRemovedMeanwhileIsMadeAgainFromWhatIsKnown )
{
    using std::filesystem::perms;
    for ( const char* damage : { "\x01garbage", "[1]", "7", "", "{\"cut\": " } )
    {
        Config::instance().setBool( "kept", true );
        folder_.write( "OrvantaTest/config.json", damage );
        Config::instance().setBool( "a", true );
        Config::instance().reload();
        EXPECT_TRUE( Config::instance().getBool( "kept" ) ) << damage;
        EXPECT_TRUE( Config::instance().getBool( "a" ) ) << damage;
        std::filesystem::remove( file() );
    }
    Config::instance().setBool( "b", true );
    EXPECT_EQ( std::filesystem::status( file() ).permissions(), perms::owner_read | perms::owner_write );
    Config::instance().reload();
    EXPECT_TRUE( Config::instance().getBool( "kept" ) ) << "also when the file has gone";
}

TEST_F( ConfigTest, WhatANewerVersionHasWrittenStaysAsItIs )
{
    std::filesystem::create_directories( file().parent_path() );
    folder_.write( "OrvantaTest/config.json", R"({"a": {"since": 2}, "layout": [1, {"deep": "ü"}], "huge": 1e300})" );
    Config::instance().reload();
    EXPECT_TRUE( Config::instance().getBool( "a", true ) ) << "no switch any more";
    EXPECT_EQ( Config::instance().getJsonValue( "layout" )[1]["deep"], "ü" );
    Config::instance().setBool( "b", true );
    Config::instance().reload();
    EXPECT_EQ( Config::instance().getJsonValue( "a" )["since"], 2 );
    EXPECT_EQ( Config::instance().getJsonValue( "layout" )[1]["deep"], "ü" );
    EXPECT_EQ( Config::instance().getJsonValue( "huge" ), 1e300 );
    EXPECT_TRUE( Config::instance().hasKey( "b" ) );
}

TEST_F( ConfigTest, WhatCannotBeWrittenIsLoggedAndHoldsUntilTheEnd )
{
    // A folder in the place of the file is what nobody, root included, can write to.
    std::filesystem::create_directories( file() );
    const Testing::LogCapture log;
    Config::instance().setBool( "a", true );
    EXPECT_EQ(
        log.text(), "error: The settings cannot be kept: Cannot write \"" + file().string() + "\": Is a directory\n" );
    EXPECT_TRUE( Config::instance().getBool( "a" ) );
    std::filesystem::remove( file() );
    Config::instance().setBool( "b", true );
    Config::instance().reload();
    EXPECT_TRUE( Config::instance().getBool( "a" ) ) << "kept with the next one that can be";
}

TEST_F( ConfigTest, ThreadsLoseNothingOfEachOther )
{
    std::vector<std::thread> threads;
    for ( int t = 0; t < 4; ++t )
        threads.emplace_back(
            [t]
            {
                for ( int i = 0; i < 5; ++i )
                    Config::instance().setBool( std::to_string( t ) + "-" + std::to_string( i ), true );
            } );
    for ( auto& thread : threads )
        thread.join();
    Config::instance().reload();
    for ( int t = 0; t < 4; ++t )
        for ( int i = 0; i < 5; ++i )
            EXPECT_TRUE( Config::instance().getBool( std::to_string( t ) + "-" + std::to_string( i ) ) );
}

TEST_F( ConfigTest, ValuesAreReplacedAndRemovedByReading )
{
    Config::instance().setJsonValue( "a", "text" );
    Config::instance().setJsonValue( "a", Json::Value() );
    EXPECT_TRUE( Config::instance().hasKey( "a" ) );
    EXPECT_TRUE( Config::instance().getJsonValue( "a" ).isNull() );
    folder_.write( "OrvantaTest/config.json", "{}" );
    Config::instance().reload();
    EXPECT_FALSE( Config::instance().hasKey( "a" ) );
    Config::instance().setBool( "b", false );
    EXPECT_FALSE( Config::instance().getBool( "b", true ) );
}
