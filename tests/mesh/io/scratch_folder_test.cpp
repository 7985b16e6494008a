#include "support/ScratchFolder.h"

#include <VXMesh/io/ScratchFolder.h>

#include <gtest/gtest.h>

#include <cstdlib>

using namespace VX;

TEST( ScratchFolder, IsForThisUserAloneAndGoesWithAllThatIsInIt )
{
    std::filesystem::path path;
    {
        const ScratchFolder folder( "orvanta-scratch-" ), other( "orvanta-scratch-" );
        path = folder.path();
        ASSERT_FALSE( path.empty() );
        EXPECT_NE( path, other.path() );
        EXPECT_EQ( path.parent_path(), std::filesystem::temp_directory_path() );
        EXPECT_TRUE( path.filename().string().starts_with( "orvanta-scratch-" ) );
        EXPECT_EQ( std::filesystem::status( path ).permissions(), std::filesystem::perms::owner_all );
        std::filesystem::create_directories( path / "a/b" );
    }
    EXPECT_FALSE( std::filesystem::exists( path ) );
}

TEST( ScratchFolder, HasNoPathWhereNoneCanBeMade )
{
    const Testing::ScratchFolder folder;
    const char* variable = std::getenv( "TMPDIR" );
    const std::string former = variable ? variable : "";
    ::setenv( "TMPDIR", ( folder.path() / "none" ).c_str(), 1 );
    EXPECT_TRUE( ScratchFolder( "x" ).path().empty() );
    if ( variable )
        ::setenv( "TMPDIR", former.c_str(), 1 );
    else
        ::unsetenv( "TMPDIR" );
}
