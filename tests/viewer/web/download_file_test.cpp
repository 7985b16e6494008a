#include "support/ScratchFolder.h"

#include <VXViewer/web/DownloadFile.h>

#include <gtest/gtest.h>

#include <csignal>

#include <sys/resource.h>

using namespace VX;
using VX::Testing::ScratchFolder;

namespace
{

constexpr uint64_t cMegabyte = uint64_t( 1 ) << 20;

std::span<const std::byte> bytesOf( const std::string& text )
{
    return std::as_bytes( std::span( text ) );
}

std::string errorOf( const tl::expected<void, std::string>& result )
{
    return result ? "" : result.error();
}

} // namespace

TEST( DownloadFile, PutsTheWholeFileIntoItsPlace )
{
    const ScratchFolder folder;
    const auto target = folder.write( "out", "former" );
    auto file = DownloadFile::create( target, { .maxSize = 10 } );
    ASSERT_TRUE( file );
    EXPECT_EQ( errorOf( file->write( bytesOf( "12345" ) ) ), "" );
    EXPECT_EQ( errorOf( file->write( bytesOf( "67890" ) ) ), "" );
    EXPECT_EQ( Testing::readFile( target ), "former" );
    EXPECT_EQ( errorOf( file->finish() ), "" );
    EXPECT_EQ( Testing::readFile( target ), "1234567890" );
}

TEST( DownloadFile, TakesNoMoreThanItsLimitWhateverWasAnnounced )
{
    const ScratchFolder folder;
    const auto target = folder.path() / "out";
    auto file = DownloadFile::create( target, { .maxSize = cMegabyte } );
    ASSERT_TRUE( file );
    const auto error = "Cannot write \"" + target.string() + "\": the answer is larger than 1 MB";
    EXPECT_EQ( errorOf( file->expectSize( cMegabyte ) ), "" );
    EXPECT_EQ( errorOf( file->expectSize( cMegabyte + 1 ) ), error );
    EXPECT_EQ( errorOf( file->write( bytesOf( std::string( cMegabyte, 'x' ) ) ) ), "" );
    EXPECT_EQ( errorOf( file->write( bytesOf( "x" ) ) ), error );
}

TEST( DownloadFile, LeavesTheDiskItsReserve )
{
    const ScratchFolder folder;
    const auto target = folder.path() / "out";
    const auto free = std::filesystem::space( folder.path() ).available;
    // Others write to this disk, too.
    constexpr uint64_t cSlack = 64 * cMegabyte;
    ASSERT_GT( free, 2 * cSlack );
    const auto reserve = free - cSlack;
    auto file = DownloadFile::create( target, { .maxSize = ~uint64_t( 0 ), .reserve = reserve } );
    ASSERT_TRUE( file );
    EXPECT_EQ( errorOf( file->expectSize( 1 ) ), "" );
    const auto error = "Cannot write \"" + target.string() + "\": less than " + std::to_string( reserve / cMegabyte ) +
                       " MB would stay free on the disk";
    EXPECT_EQ( errorOf( file->expectSize( 2 * cSlack ) ), error );
    auto full = DownloadFile::create( target, { .maxSize = ~uint64_t( 0 ), .reserve = free + cSlack } );
    ASSERT_TRUE( full );
    EXPECT_NE( errorOf( full->write( bytesOf( "x" ) ) ), "" );
}

TEST( DownloadFile, LooksAtTheDiskAgainOnItsWay )
{
    const ScratchFolder folder;
    const auto free = std::filesystem::space( folder.path() ).available;
    auto file =
        DownloadFile::create( folder.path() / "out", { .maxSize = ~uint64_t( 0 ), .reserve = free - 32 * cMegabyte } );
    ASSERT_TRUE( file );
    const std::string piece( cMegabyte, 'x' );
    std::string error;
    int written = 0;
    for ( ; error.empty() && written < 1000; ++written )
        error = errorOf( file->write( bytesOf( piece ) ) );
    EXPECT_NE( error.find( "would stay free on the disk" ), std::string::npos ) << written;
}

TEST( DownloadFile, LeavesTheFormerFileAndNoPartWhenItIsDropped )
{
    const ScratchFolder folder;
    const auto target = folder.write( "out", "former" );
    {
        auto file = DownloadFile::create( target, { .maxSize = 10 } );
        ASSERT_TRUE( file );
        EXPECT_EQ( errorOf( file->write( bytesOf( "12345" ) ) ), "" );
    }
    EXPECT_EQ( Testing::readFile( target ), "former" );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( folder.path() ), {} ), 1 );
}

TEST( DownloadFile, SaysWhyItCannotBeBegunWrittenOrMoved )
{
    const auto begun = DownloadFile::create( "/nowhere/ü", { .maxSize = 10 } );
    ASSERT_FALSE( begun );
    EXPECT_EQ( begun.error(), "Cannot write \"/nowhere/ü\": No such file or directory" );

    const ScratchFolder folder;
    const auto target = folder.path() / "out";
    auto file = DownloadFile::create( target, { .maxSize = cMegabyte } );
    ASSERT_TRUE( file );
    std::filesystem::create_directory( target );
    EXPECT_EQ( errorOf( file->finish() ), "Cannot write \"" + target.string() + "\": Is a directory" );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( folder.path() ), {} ), 1 ) << "no part is left";
}

TEST( DownloadFile, SaysWhatTheSystemSaysWhenItCannotGoOn )
{
    const ScratchFolder folder;
    const auto target = folder.path() / "out";
    auto file = DownloadFile::create( target, { .maxSize = cMegabyte } );
    ASSERT_TRUE( file );
    const auto handler = std::signal( SIGXFSZ, SIG_IGN );
    rlimit former{};
    ASSERT_EQ( ::getrlimit( RLIMIT_FSIZE, &former ), 0 );
    const rlimit little{ 1000, former.rlim_max };
    ASSERT_EQ( ::setrlimit( RLIMIT_FSIZE, &little ), 0 );
    EXPECT_EQ( errorOf( file->write( bytesOf( std::string( 900, 'x' ) ) ) ), "" );
    const auto error = errorOf( file->write( bytesOf( std::string( 900, 'x' ) ) ) );
    ::setrlimit( RLIMIT_FSIZE, &former );
    std::signal( SIGXFSZ, handler );
    EXPECT_EQ( error, "Cannot write \"" + target.string() + "\": File too large" );
}
