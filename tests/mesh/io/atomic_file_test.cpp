#include "support/Descriptors.h"
#include "support/ScratchFolder.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/MappedFile.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <latch>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace VX;
using VX::Testing::ScratchFolder;

namespace
{

size_t countIn( const ScratchFolder& folder )
{
    return size_t( std::distance( std::filesystem::directory_iterator( folder.path() ), {} ) );
}

std::string errorOf( const tl::expected<void, std::string>& written )
{
    return written ? "" : written.error();
}

std::string errorOf( const tl::expected<MappedFile, std::string>& mapped )
{
    return mapped ? "" : mapped.error();
}

std::string textOf( const MappedFile& file )
{
    return { reinterpret_cast<const char*>( file.bytes().data() ), file.bytes().size() };
}

} // namespace

TEST( AtomicFile, ReplacesTheContentAndLeavesNoTemporary )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a", "old" );
    ASSERT_TRUE( writeFileAtomically( file, "new" ) );
    EXPECT_EQ( Testing::readFile( file ), "new" );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( folder.path() ), {} ), 1 );
}

TEST( AtomicFile, NamesTheFileThatCannotBeWritten )
{
    const ScratchFolder folder;
    const auto written = writeFileAtomically( folder.path() / "missing" / "a", "new" );
    EXPECT_EQ( errorOf( written ),
        "Cannot write \"" + ( folder.path() / "missing/a" ).string() + "\": No such file or directory" );
}

TEST( AtomicFile, WritesItsPartsOneAfterTheOther )
{
    const ScratchFolder folder;
    const std::string large( 3'000'000, 'x' ), end = "end";
    const std::span<const std::byte> parts[] = {
        std::as_bytes( std::span( large ) ), {}, std::as_bytes( std::span( end ) ) };
    ASSERT_TRUE( writeFileAtomically( folder.path() / "a", parts ) );
    EXPECT_EQ( Testing::readFile( folder.path() / "a" ), large + end );
}

TEST( AtomicFile, LeavesTheFormerFileAndNoTemporaryWhenItFails )
{
    const ScratchFolder folder;
    std::filesystem::create_directory( folder.path() / "taken" );
    EXPECT_EQ( errorOf( writeFileAtomically( folder.path() / "taken", "new" ) ),
        "Cannot write \"" + ( folder.path() / "taken" ).string() + "\": Is a directory" );
    EXPECT_EQ( countIn( folder ), 1u );

    const auto file = folder.write( "a", "old" );
    const auto handler = std::signal( SIGXFSZ, SIG_IGN );
    rlimit former{};
    ASSERT_EQ( ::getrlimit( RLIMIT_FSIZE, &former ), 0 );
    const rlimit little{ 1000, former.rlim_max };
    ASSERT_EQ( ::setrlimit( RLIMIT_FSIZE, &little ), 0 );
    const auto error = errorOf( writeFileAtomically( file, std::string( 2000, 'x' ) ) );
    ::setrlimit( RLIMIT_FSIZE, &former );
    std::signal( SIGXFSZ, handler );
    EXPECT_EQ( error, "Cannot write \"" + file.string() + "\": File too large" );
    EXPECT_EQ( Testing::readFile( file ), "old" );
    EXPECT_EQ( countIn( folder ), 2u );
}

TEST( AtomicFile, ALinkIsReplacedAndNotFollowed )
{
    const ScratchFolder folder;
    const auto diary = folder.write( "diary", "precious" );
    std::filesystem::create_symlink( diary, folder.path() / "a" );
    ASSERT_TRUE( writeFileAtomically( folder.path() / "a", "new" ) );
    EXPECT_EQ( Testing::readFile( diary ), "precious" );
    EXPECT_FALSE( std::filesystem::is_symlink( folder.path() / "a" ) );
}

TEST( AtomicFile, WhatAnEarlierRunOrANeighbourHasLeftNeitherStopsAWriteNorIsWrittenThrough )
{
    const ScratchFolder folder;
    const auto diary = folder.write( "diary", "precious" );
    const auto file = folder.write( "a", "old" );
    // Names that follow from the process and the number of its files are met again by a process of the same number.
    for ( int i = 0; i < 2000; ++i )
        for ( const char* ending : { ".tmp", ".part" } )
            std::filesystem::create_symlink(
                diary, file.string() + "." + std::to_string( ::getpid() ) + "-" + std::to_string( i ) + ending );
    EXPECT_EQ( errorOf( writeFileAtomically( file, "new" ) ), "" );
    EXPECT_EQ( Testing::readFile( diary ), "precious" );
    EXPECT_EQ( Testing::readFile( file ), "new" );
}

TEST( AtomicFile, WritesUnderEveryNameThatTheSystemAllows )
{
    const ScratchFolder folder;
    std::string letters;
    for ( int i = 0; i < 80; ++i )
        letters += "\u5f62";
    for ( const auto& name : { letters + ".vxu", std::string( 255, 'x' ) } )
    {
        EXPECT_EQ( errorOf( writeFileAtomically( folder.path() / name, "scene" ) ), "" );
        EXPECT_EQ( Testing::readFile( folder.path() / name ), "scene" );
    }
    const auto tooLong = folder.path() / std::string( 256, 'x' );
    EXPECT_EQ( errorOf( writeFileAtomically( tooLong, "scene" ) ),
        "Cannot write \"" + tooLong.string() + "\": File name too long" );
    EXPECT_EQ( countIn( folder ), 2u );
}

TEST( AtomicFile, WritersOfOneFileNeverMix )
{
    const ScratchFolder folder;
    const auto file = folder.path() / "a";
    std::latch start( 3 );
    std::vector<std::thread> threads;
    for ( const char letter : { 'a', 'b', 'c' } )
        threads.emplace_back(
            [&, letter]
            {
                start.arrive_and_wait();
                for ( int i = 0; i < 200; ++i )
                    EXPECT_TRUE( writeFileAtomically( file, std::string( 100'000, letter ), { .flush = false } ) );
            } );
    for ( auto& thread : threads )
        thread.join();
    const auto text = Testing::readFile( file );
    EXPECT_EQ( text, std::string( 100'000, text.at( 0 ) ) );
    EXPECT_EQ( countIn( folder ), 1u );
}

TEST( AtomicFile, KeepsTheModeAskedFor )
{
    const ScratchFolder folder;
    ASSERT_TRUE( writeFileAtomically( folder.path() / "a", "secret", { .mode = 0600 } ) );
    EXPECT_EQ( std::filesystem::status( folder.path() / "a" ).permissions(), std::filesystem::perms( 0600 ) );
    const auto mask = ::umask( 0027 );
    ASSERT_TRUE( writeFileAtomically( folder.path() / "b", "for the group" ) );
    ::umask( mask );
    EXPECT_EQ( std::filesystem::status( folder.path() / "b" ).permissions(), std::filesystem::perms( 0640 ) );
}

TEST( AtomicFile, TakesNoFailureOfOthersForItsOwn )
{
    const ScratchFolder folder;
    errno = EDOM;
    EXPECT_EQ( errorOf( writeFileAtomically( folder.path() / "a", "new" ) ), "" );
}

TEST( AtomicFile, LeavesNothingOpenAlsoWhereTheProgramHasNoInput )
{
    const ScratchFolder folder;
    std::filesystem::create_directory( folder.path() / "taken" );
    const auto write = [&]
    {
        EXPECT_EQ( errorOf( writeFileAtomically( folder.path() / "a", "new" ) ), "" );
        EXPECT_NE( errorOf( writeFileAtomically( folder.path() / "taken", "new" ) ), "" );
        EXPECT_EQ( countIn( folder ), 2u );
    };
    const int next = Testing::nextDescriptor();
    write();
    EXPECT_EQ( Testing::nextDescriptor(), next );
    const Testing::WithoutInput none;
    write();
    EXPECT_EQ( Testing::nextDescriptor(), 0 );
}

TEST( MappedFile, MapsAnEmptyFileAsNoBytesAndOneByteAsOne )
{
    const ScratchFolder folder;
    const auto mapped = MappedFile::open( folder.write( "empty", "" ) );
    ASSERT_TRUE( mapped );
    EXPECT_TRUE( mapped->bytes().empty() );
    const auto byte = MappedFile::open( folder.write( "byte", "x" ) );
    ASSERT_TRUE( byte );
    EXPECT_EQ( textOf( *byte ), "x" );
}

TEST( MappedFile, HoldsTheBytesAlsoWhenItIsMovedOrTheFileHasGone )
{
    const ScratchFolder folder;
    auto first = MappedFile::open( folder.write( "a", "first" ) );
    auto second = MappedFile::open( folder.write( "b", "second" ) );
    ASSERT_TRUE( first && second );
    std::filesystem::remove( folder.path() / "a" );
    MappedFile moved = std::move( *first );
    EXPECT_EQ( textOf( moved ), "first" );
    EXPECT_TRUE( first->bytes().empty() );
    moved = std::move( *second );
    EXPECT_EQ( textOf( moved ), "second" );
}

TEST( MappedFile, LeavesNothingOpenAlsoWhereTheProgramHasNoInput )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a", "text" );
    const auto read = [&]
    {
        errno = EDOM; // of somebody else
        const auto mapped = MappedFile::open( file );
        ASSERT_TRUE( mapped ) << mapped.error();
        EXPECT_EQ( textOf( *mapped ), "text" );
        EXPECT_FALSE( MappedFile::open( folder.path() ) );
    };
    const int next = Testing::nextDescriptor();
    read();
    EXPECT_EQ( Testing::nextDescriptor(), next );
    const Testing::WithoutInput none;
    read();
    EXPECT_EQ( Testing::nextDescriptor(), 0 );
}

TEST( MappedFile, GivesItsMemoryBack )
{
    const ScratchFolder folder;
    const auto file = folder.write( "a", "text" ), other = folder.write( "b", "text" );
    const auto isMapped = []( const std::filesystem::path& path )
    { return Testing::readFile( "/proc/self/maps" ).find( path.string() ) != std::string::npos; };
    {
        auto mapped = MappedFile::open( file );
        ASSERT_TRUE( mapped );
        EXPECT_TRUE( isMapped( file ) );
        *mapped = *MappedFile::open( other );
        EXPECT_FALSE( isMapped( file ) ) << "another has taken its place";
        EXPECT_TRUE( isMapped( other ) );
    }
    EXPECT_FALSE( isMapped( other ) );
}

TEST( MappedFile, SaysWhatItCannotRead )
{
    const ScratchFolder folder;
    const auto fifo = folder.path() / "ü";
    ASSERT_EQ( ::mkfifo( fifo.c_str(), 0600 ), 0 );
    const auto text = []( const std::filesystem::path& file, const char* why )
    { return "Cannot read \"" + file.string() + "\": " + why; };
    EXPECT_EQ( errorOf( MappedFile::open( folder.path() ) ), text( folder.path(), "Is a directory" ) );
    EXPECT_EQ( errorOf( MappedFile::open( folder.path() / "none" ) ),
        text( folder.path() / "none", "No such file or directory" ) );
    EXPECT_EQ( errorOf( MappedFile::open( "/dev/null" ) ), text( "/dev/null", "Invalid argument" ) );
    EXPECT_EQ( errorOf( MappedFile::open( fifo ) ), text( fifo, "Invalid argument" ) ) << "nor does it wait for it";
    // Regular and not empty, it says of itself, but nothing that could be mapped.
    const std::filesystem::path number = "/sys/devices/system/cpu/online";
    EXPECT_EQ( errorOf( MappedFile::open( number ) ), text( number, "No such device" ) );
}
