#include "support/ScratchFolder.h"

#include <VXMesh/io/TemporaryFile.h>
#include <VXMesh/io/WriteAll.h>

#include <gtest/gtest.h>

using namespace VX;
using VX::Testing::ScratchFolder;

namespace
{

size_t countIn( const std::filesystem::path& folder )
{
    return size_t( std::distance( std::filesystem::directory_iterator( folder ), {} ) );
}

} // namespace

TEST( TemporaryFile, IsForItsOwnerAloneAndHasANameOfItsOwn )
{
    using std::filesystem::perms;
    const ScratchFolder folder;
    const auto target = folder.path() / "out";
    const auto first = TemporaryFile::createFor( target ), second = TemporaryFile::createFor( target );
    ASSERT_TRUE( first && second );
    EXPECT_NE( first->path(), second->path() );
    EXPECT_EQ( first->path().parent_path(), folder.path() );
    EXPECT_TRUE( first->path().filename().string().starts_with( "out." ) ) << "so that who tidies finds it";
    EXPECT_EQ( std::filesystem::status( first->path() ).permissions(), perms::owner_read | perms::owner_write );
}

TEST( TemporaryFile, ReplacesALinkInsteadOfWhatItShows )
{
    const ScratchFolder folder;
    const auto diary = folder.write( "diary", "precious" );
    std::filesystem::create_symlink( diary, folder.path() / "out" );
    auto file = TemporaryFile::createFor( folder.path() / "out" );
    ASSERT_TRUE( file );
    const std::string text = "new";
    ASSERT_EQ( writeAll( file->descriptor(), std::as_bytes( std::span( text ) ) ), 0 );
    EXPECT_FALSE( file->moveTo( folder.path() / "out" ) );
    EXPECT_EQ( Testing::readFile( folder.path() / "out" ), "new" );
    EXPECT_EQ( Testing::readFile( diary ), "precious" );
    EXPECT_EQ( countIn( folder.path() ), 2u );
}

TEST( TemporaryFile, LeavesNothingWhenItIsDroppedOrCannotBeMoved )
{
    const ScratchFolder folder;
    std::filesystem::create_directory( folder.path() / "taken" );
    {
        auto dropped = TemporaryFile::createFor( folder.path() / "out" );
        ASSERT_TRUE( dropped );
        const auto moved = std::move( *dropped );
        EXPECT_EQ( countIn( folder.path() ), 2u );
    }
    auto file = TemporaryFile::createFor( folder.path() / "taken" );
    ASSERT_TRUE( file );
    EXPECT_EQ( file->moveTo( folder.path() / "taken" ), std::errc::is_a_directory );
    EXPECT_EQ( countIn( folder.path() ), 1u );
}

TEST( TemporaryFile, SaysWhyThereIsNone )
{
    const auto file = TemporaryFile::createFor( "/nowhere/out" );
    ASSERT_FALSE( file );
    EXPECT_EQ( file.error(), std::errc::no_such_file_or_directory );
}

TEST( TemporaryFile, TakesTargetsWithTheLongestNames )
{
    const ScratchFolder folder;
    auto file = TemporaryFile::createFor( folder.path() / std::string( 255, 'x' ) );
    ASSERT_TRUE( file );
    EXPECT_FALSE( file->moveTo( folder.path() / std::string( 255, 'x' ) ) );
}
