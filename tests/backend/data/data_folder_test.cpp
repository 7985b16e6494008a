#include "support/ScratchFolder.h"

#include "data/DataFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

class DataFolders : public testing::Test
{
protected:
    [[nodiscard]] static mode_t modeOf( const std::filesystem::path& path )
    {
        struct stat info{};
        EXPECT_EQ( ::stat( path.c_str(), &info ), 0 );
        return info.st_mode & 07777;
    }
    [[nodiscard]] std::string quoted( const std::string& name ) const
    {
        return "\"" + ( folder_.path() / name ).string() + "\"";
    }
    [[nodiscard]] std::string refusalOf( const std::string& name ) const
    {
        const auto prepared = prepareDataFolder( folder_.path() / name );
        return prepared ? "" : prepared.error();
    }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( DataFolders, AreMadeAndClosedToOthers )
{
    EXPECT_EQ( refusalOf( "new/inner" ), "" );
    EXPECT_EQ( modeOf( folder_.path() / "new/inner" ), 0700u );
    ASSERT_EQ( ::chmod( ( folder_.path() / "new" ).c_str(), 0755 ), 0 );
    EXPECT_EQ( refusalOf( "new" ), "" );
    EXPECT_EQ( modeOf( folder_.path() / "new" ), 0700u );
}

TEST_F( DataFolders, ThatCannotBeOnesAreRefusedInWords )
{
    folder_.write( "file", "" );
    EXPECT_EQ( refusalOf( "file" ), quoted( "file" ) + " is no folder" );
    EXPECT_EQ( refusalOf( "file/inner" ), "The folder " + quoted( "file/inner" ) + " cannot be made: Not a directory" );
    std::filesystem::create_directory( folder_.path() / "open" );
    ASSERT_EQ( ::chmod( ( folder_.path() / "open" ).c_str(), 01777 ), 0 );
    EXPECT_EQ( refusalOf( "open" ),
        "The folder " + quoted( "open" ) + " is open to everybody; give one that is for the service alone" );
    EXPECT_EQ( modeOf( folder_.path() / "open" ), 01777u );
}

TEST_F( DataFolders, BelongToOneProcessThatIsNamed )
{
    EXPECT_FALSE( FolderLock::isTaken( folder_.path() ) );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "lock" ) ) << "a look makes no file";
    {
        const auto lock = FolderLock::take( folder_.path() ).value();
        EXPECT_TRUE( FolderLock::isTaken( folder_.path() ) );
        EXPECT_EQ( modeOf( folder_.path() / "lock" ), 0600u );
        EXPECT_EQ( FolderLock::take( folder_.path() ).error(),
            "The folder \"" + folder_.path().string() + "\" is in use by the service of process " +
                std::to_string( ::getpid() ) + "; stop it first, or give another folder" );
    }
    EXPECT_FALSE( FolderLock::isTaken( folder_.path() ) );
    EXPECT_TRUE( FolderLock::await( folder_.path() ) );
}

TEST_F( DataFolders, WithoutALockAreToldApart )
{
    EXPECT_EQ( FolderLock::take( folder_.path() / "missing" ).error(),
        quoted( "missing/lock" ) + " cannot be opened: No such file or directory" );
    std::filesystem::create_symlink( folder_.path() / "elsewhere", folder_.path() / "lock" );
    EXPECT_EQ( FolderLock::take( folder_.path() ).error(),
        quoted( "lock" ) + " cannot be opened: Too many levels of symbolic links" );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "elsewhere" ) );
}

TEST_F( DataFolders, WhatRootMakesInThemBecomesTheirOwners )
{
    constexpr uid_t cService = 65534;
    const auto made = folder_.write( "made", "" );
    const auto outside = Testing::ScratchFolder();
    const auto twice = outside.write( "twice", "" );
    std::filesystem::create_hard_link( twice, folder_.path() / "twice" );
    if ( ::chown( folder_.path().c_str(), cService, cService ) != 0 )
        GTEST_SKIP() << "only root can give files away";
    giveToOwner( folder_.path() );
    const auto ownerOf = []( const std::filesystem::path& file )
    {
        struct stat info{};
        EXPECT_EQ( ::stat( file.c_str(), &info ), 0 );
        return info.st_uid;
    };
    EXPECT_EQ( ownerOf( made ), cService );
    EXPECT_EQ( ownerOf( twice ), ::getuid() ) << "one of another folder has two names";
}
