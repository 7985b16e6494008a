#include "support/Descriptors.h"
#include "support/ScratchFolder.h"

#include <VXMesh/io/TemporaryFile.h>
#include <VXMesh/io/WriteAll.h>

#include <gtest/gtest.h>

#include <thread>

#include <fcntl.h>

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

TEST( TemporaryFile, ALaterOneTakesTheFormersPlace )
{
    const ScratchFolder folder;
    auto first = TemporaryFile::createFor( folder.path() / "a" ),
         second = TemporaryFile::createFor( folder.path() / "b" );
    ASSERT_TRUE( first && second );
    const auto path = second->path();
    *first = std::move( *second );
    EXPECT_EQ( first->path(), path );
    EXPECT_EQ( second->descriptor(), -1 );
    EXPECT_EQ( countIn( folder.path() ), 1u ) << "the former one has gone";
    auto& same = *first;
    *first = std::move( same );
    EXPECT_TRUE( std::filesystem::exists( path ) );
    EXPECT_FALSE( first->moveTo( folder.path() / "a" ) );
    EXPECT_EQ( first->descriptor(), -1 );
    EXPECT_EQ( countIn( folder.path() ), 1u );
}

TEST( TemporaryFile, IsNotGivenToOtherPrograms )
{
    const ScratchFolder folder;
    const auto file = TemporaryFile::createFor( folder.path() / "a" );
    ASSERT_TRUE( file );
    EXPECT_TRUE( ::fcntl( file->descriptor(), F_GETFD ) & FD_CLOEXEC );
}

TEST( TemporaryFile, LeavesNothingOpenAlsoWhereTheProgramHasNoInput )
{
    const ScratchFolder folder;
    const auto write = [&]( int next )
    {
        {
            const auto dropped = TemporaryFile::createFor( folder.path() / "a" );
            ASSERT_TRUE( dropped ) << dropped.error().message();
            EXPECT_EQ( dropped->descriptor(), next );
        }
        EXPECT_EQ( Testing::nextDescriptor(), next );
        EXPECT_EQ( countIn( folder.path() ), 0u );
        auto moved = TemporaryFile::createFor( folder.path() / "a" );
        ASSERT_TRUE( moved );
        EXPECT_FALSE( moved->moveTo( folder.path() / "a" ) );
        EXPECT_EQ( Testing::nextDescriptor(), next );
        EXPECT_TRUE( std::filesystem::remove( folder.path() / "a" ) );
    };
    write( Testing::nextDescriptor() );
    const Testing::WithoutInput none;
    write( 0 );
}

TEST( WriteAll, GoesOnUntilAPipeHasTakenEverything )
{
    int pipes[2];
    ASSERT_EQ( ::pipe( pipes ), 0 );
    std::string got;
    std::thread reader(
        [&]
        {
            char buffer[5000];
            for ( ssize_t n = 0; ( n = ::read( pipes[0], buffer, sizeof buffer ) ) > 0; )
                got.append( buffer, size_t( n ) );
        } );
    std::string text( 1'000'000, 'a' );
    text.back() = 'z';
    EXPECT_EQ( writeAll( pipes[1], std::as_bytes( std::span( text ) ) ), 0 );
    ::close( pipes[1] );
    reader.join();
    EXPECT_EQ( got, text );
    ::close( pipes[0] );
    EXPECT_EQ( writeAll( pipes[1], std::as_bytes( std::span( text ) ) ), EBADF );
    EXPECT_EQ( writeAll( pipes[1], {} ), 0 );
}

TEST( TemporaryFile, TakesTargetsWithTheLongestNames )
{
    const ScratchFolder folder;
    auto file = TemporaryFile::createFor( folder.path() / std::string( 255, 'x' ) );
    ASSERT_TRUE( file );
    EXPECT_LE( file->path().filename().string().size(), 255u - 7 )
        << "a library that writes it puts seven more behind it";
    EXPECT_TRUE( file->path().filename().string().ends_with( ".part" ) );
    EXPECT_FALSE( file->moveTo( folder.path() / std::string( 255, 'x' ) ) );
}

TEST( TemporaryFile, CutsALongNameBetweenTwoLetters )
{
    const ScratchFolder folder;
    std::string letters;
    while ( letters.size() < 240 )
        letters += "形";
    const auto file = TemporaryFile::createFor( folder.path() / ( letters + ".vxu" ) );
    ASSERT_TRUE( file );
    const auto name = file->path().filename().string();
    EXPECT_EQ( name.find( '.' ) % 3, 0u ) << name;
}
