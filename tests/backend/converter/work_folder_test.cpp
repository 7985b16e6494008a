#include "support/ScratchFolder.h"

#include "converter/WorkFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace VX;
using namespace VX::Backend;

namespace
{

std::unique_ptr<WorkFolder> made( const std::filesystem::path& root, const std::string& instance )
{
    auto out = WorkFolder::make( root, instance );
    EXPECT_TRUE( out ) << out.error();
    return std::move( *out );
}

} // namespace

TEST( WorkFolder, SweepsWhatTheDeadHaveLeftAndNothingOfTheLiving )
{
    const Testing::ScratchFolder folder;
    const auto root = folder.path() / "work";
    const auto living = made( root, "living" );
    std::filesystem::create_directories( living->path() / "worker-1-0" );
    std::filesystem::create_directories( made( root, "dead" )->path() / "worker-2-0" );
    // As a version before left them.
    std::filesystem::create_directories( root / "worker-3-0" );

    const auto fresh = made( root, "fresh" );
    auto dead = fresh->dead();
    std::sort( dead.begin(), dead.end() );
    EXPECT_EQ( dead, ( std::vector<std::string>{ "dead", "worker-3-0" } ) );
    EXPECT_TRUE( std::filesystem::exists( root / "dead" ) ) << "until somebody has seen to it";
    fresh->sweep();
    EXPECT_FALSE( std::filesystem::exists( root / "dead" ) );
    EXPECT_FALSE( std::filesystem::exists( root / "worker-3-0" ) );
    EXPECT_TRUE( std::filesystem::exists( living->path() / "worker-1-0" ) );
    EXPECT_TRUE( std::filesystem::is_directory( fresh->path() ) );
    EXPECT_TRUE( made( root, "next" )->dead().empty() );
}

TEST( WorkFolder, SaysWhenItCannotBeMade )
{
    const Testing::ScratchFolder folder;
    EXPECT_FALSE( WorkFolder::make( folder.write( "file", "x" ), "one" ) );
}
