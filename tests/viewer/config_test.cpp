#include "support/ScratchFolder.h"

#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

#include <gtest/gtest.h>

#include <cstdlib>

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
