#include "support/ScratchFolder.h"

#include <VXMesh/io/Zip.h>

#include <gtest/gtest.h>
#include <zip.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <thread>

#include <sys/stat.h>

using namespace VX;
using VX::Testing::ScratchFolder;

namespace
{

std::vector<std::string> entryNames( const std::filesystem::path& file )
{
    zip_t* archive = zip_open( file.c_str(), ZIP_RDONLY, nullptr );
    std::vector<std::string> out;
    for ( zip_int64_t i = 0; archive && i < zip_get_num_entries( archive, 0 ); ++i )
        out.emplace_back( zip_get_name( archive, zip_uint64_t( i ), 0 ) );
    zip_discard( archive );
    return out;
}

/// What an archive says of its first file.
uint64_t entrySize( const std::filesystem::path& file )
{
    zip_t* archive = zip_open( file.c_str(), ZIP_RDONLY, nullptr );
    zip_stat_t entry;
    zip_stat_init( &entry );
    zip_stat_index( archive, 0, 0, &entry );
    zip_discard( archive );
    return entry.size;
}

std::filesystem::path makeZip(
    const ScratchFolder& folder, const std::vector<std::pair<std::string, std::string>>& entries )
{
    const auto file = folder.path() / "made.zip";
    zip_t* archive = zip_open( file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr );
    for ( const auto& [name, content] : entries )
        zip_file_add(
            archive, name.c_str(), zip_source_buffer( archive, content.data(), content.size(), 0 ), ZIP_FL_ENC_UTF_8 );
    zip_close( archive );
    return file;
}

std::string errorOf( const tl::expected<void, std::string>& result )
{
    return result ? "" : result.error();
}

size_t countIn( const ScratchFolder& folder )
{
    return size_t( std::distance( std::filesystem::directory_iterator( folder.path() ), {} ) );
}

} // namespace

TEST( Zip, PacksAFolderAndUnpacksItsOnlyFile )
{
    const ScratchFolder source, target;
    std::string text;
    for ( int i = 0; i < 20000; ++i )
        text += "#" + std::to_string( i ) + "=CARTESIAN_POINT('',(0.,1.,2.));\n";
    source.write( "input", text );
    ASSERT_TRUE( compressZip( target.path() / "a.zip", source.path() ) );
    EXPECT_EQ( entryNames( target.path() / "a.zip" ), ( std::vector<std::string>{ "input" } ) );
    EXPECT_LT( std::filesystem::file_size( target.path() / "a.zip" ), text.size() / 5 );
    EXPECT_EQ( entrySize( target.path() / "a.zip" ), text.size() ) << "as others read before they unpack it";
    ASSERT_TRUE( extractSingleFile( target.path() / "a.zip", target.path() / "out" ) );
    EXPECT_EQ( Testing::readFile( target.path() / "out" ), text );
}

TEST( Zip, PacksEmptyFilesAndSubfoldersAndLeavesExcludedOut )
{
    const ScratchFolder source, target;
    source.write( "empty", "" );
    source.write( "left-out", "x" );
    std::filesystem::create_directory( source.path() / "sub" );
    source.write( "sub/ü", "y" );
    ASSERT_TRUE( compressZip( target.path() / "a.zip", source.path(), { source.path() / "left-out" } ) );
    EXPECT_EQ( entryNames( target.path() / "a.zip" ), ( std::vector<std::string>{ "empty", "sub/ü" } ) );
}

TEST( Zip, EncryptsWithAPassword )
{
    const ScratchFolder source, target;
    source.write( "secret", std::string( 1000, 'a' ) );
    ASSERT_TRUE( compressZip( target.path() / "a.zip", source.path(), {}, "pass" ) );
    EXPECT_FALSE( extractSingleFile( target.path() / "a.zip", target.path() / "out" ) );
    zip_t* archive = zip_open( ( target.path() / "a.zip" ).c_str(), ZIP_RDONLY, nullptr );
    zip_file_t* file = zip_fopen_index_encrypted( archive, 0, 0, "pass" );
    ASSERT_NE( file, nullptr );
    char content[1001] = {};
    EXPECT_EQ( zip_fread( file, content, 1000 ), 1000 );
    EXPECT_EQ( std::string( content ), std::string( 1000, 'a' ) );
    zip_fclose( file );
    zip_discard( archive );
}

TEST( Zip, AnEmptyPasswordIsNone )
{
    const ScratchFolder source, target;
    source.write( "open", "text" );
    ASSERT_TRUE( compressZip( target.path() / "a.zip", source.path(), {}, "" ) );
    ASSERT_TRUE( extractSingleFile( target.path() / "a.zip", target.path() / "out" ) );
    EXPECT_EQ( Testing::readFile( target.path() / "out" ), "text" );
}

TEST( Zip, SaysWhatCannotBePackedOrWritten )
{
    const ScratchFolder source, target;
    const auto file = target.path() / "a.zip";
    EXPECT_EQ(
        errorOf( compressZip( file, "/nowhere" ) ), "Cannot read the folder \"/nowhere\": No such file or directory" );
    const auto nothing = "There is nothing to compress in \"" + source.path().string() + "\"";
    EXPECT_EQ( errorOf( compressZip( file, source.path() ) ), nothing );
    (void)source.write( "input", "x" );
    EXPECT_EQ( errorOf( compressZip( file, source.path(), { source.path() / "." / "input" } ) ), nothing )
        << "another way to write the same path";
    EXPECT_TRUE( std::filesystem::is_empty( target.path() ) );
    EXPECT_EQ( errorOf( compressZip( "/nowhere/a.zip", source.path() ) ),
        "Cannot write \"/nowhere/a.zip\": No such file or directory" );
    std::filesystem::create_directory( file );
    EXPECT_EQ(
        errorOf( compressZip( file, source.path() ) ), "Cannot write \"" + file.string() + "\": Is a directory" );
    EXPECT_EQ( countIn( target ), 1u ) << "no part is left";
}

TEST( Zip, SaysWhichNameNoArchiveCanHold )
{
    const ScratchFolder source, target;
    const auto file = source.write( "\xff", "x" );
    EXPECT_EQ( errorOf( compressZip( target.path() / "a.zip", source.path() ) ),
        "Cannot compress \"" + file.string() + "\": Invalid argument" );
    EXPECT_TRUE( std::filesystem::is_empty( target.path() ) );
}

TEST( Zip, AFileThatVanishesMeanwhileIsAFailureAndNotAnEmptyEntry )
{
    const ScratchFolder source, target;
    source.write( "a", std::string( 100'000, 'x' ) );
    source.write( "b", "x" );
    const auto packed = compressZip( target.path() / "a.zip", source.path(), {}, nullptr,
        [&]( float )
        {
            std::filesystem::remove( source.path() / "b" );
            return true;
        } );
    EXPECT_EQ( errorOf( packed ),
        "Cannot write \"" + ( target.path() / "a.zip" ).string() + "\": Read error: No such file or directory" );
    EXPECT_TRUE( std::filesystem::is_empty( target.path() ) );
}

TEST( Zip, FollowsNoLinksAndTakesNothingButFiles )
{
    const ScratchFolder source, target, elsewhere;
    elsewhere.write( "secret", "x" );
    source.write( "b", "y" );
    source.write( "a", "y" );
    std::filesystem::create_symlink( elsewhere.path() / "secret", source.path() / "link" );
    std::filesystem::create_directory_symlink( elsewhere.path(), source.path() / "folder" );
    ASSERT_EQ( ::mkfifo( ( source.path() / "fifo" ).c_str(), 0600 ), 0 );
    ASSERT_TRUE( compressZip( target.path() / "a.zip", source.path() ) );
    EXPECT_EQ( entryNames( target.path() / "a.zip" ), ( std::vector<std::string>{ "a", "b" } ) );
}

TEST( Zip, TellsHowFarItIsOnTheCallersThread )
{
    const ScratchFolder source, target;
    for ( int i = 0; i < 5; ++i )
        source.write( std::to_string( i ), std::string( 100'000, 'x' ) );
    std::vector<float> seen;
    const auto here = std::this_thread::get_id();
    const auto packed = compressZip( target.path() / "a.zip", source.path(), {}, nullptr,
        [&]( float fraction )
        {
            EXPECT_EQ( std::this_thread::get_id(), here );
            seen.push_back( fraction );
            return true;
        } );
    ASSERT_TRUE( packed );
    ASSERT_FALSE( seen.empty() );
    EXPECT_TRUE( std::is_sorted( seen.begin(), seen.end() ) );
    EXPECT_GE( seen.front(), 0 );
    EXPECT_EQ( seen.back(), 1 );
}

TEST( Zip, OneNoIsEnoughToStopIt )
{
    const ScratchFolder source, target;
    source.write( "input", "x" );
    int reports = 0;
    const auto stopped =
        compressZip( target.path() / "a.zip", source.path(), {}, nullptr, [&]( float ) { return ++reports != 1; } );
    EXPECT_EQ( errorOf( stopped ), "Operation was canceled" );
    EXPECT_TRUE( std::filesystem::is_empty( target.path() ) );
}

TEST( Zip, LeavesTheFormerArchiveWhenStopped )
{
    const ScratchFolder source, target;
    source.write( "input", std::string( 100000, 'x' ) );
    const auto file = target.path() / "a.zip";
    ASSERT_TRUE( compressZip( file, source.path() ) );
    const auto before = Testing::readFile( file );
    source.write( "input", std::string( 200000, 'y' ) );
    const auto stopped = compressZip( file, source.path(), {}, nullptr, []( float ) { return false; } );
    ASSERT_FALSE( stopped );
    EXPECT_EQ( stopped.error(), cOperationCanceled );
    EXPECT_EQ( Testing::readFile( file ), before );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( target.path() ), {} ), 1 );
}

TEST( Zip, IsForItsOwnerAloneAndNeverWrittenThroughALink )
{
    using std::filesystem::perms;
    const ScratchFolder source, target;
    source.write( "input", "private" );
    const auto diary = target.write( "diary", "precious" );
    const auto file = target.path() / "a.zip";
    std::filesystem::create_symlink( diary, file );
    const auto packed = compressZip( file, source.path() );
    ASSERT_TRUE( packed ) << packed.error();
    EXPECT_EQ( Testing::readFile( diary ), "precious" );
    EXPECT_FALSE( std::filesystem::is_symlink( file ) );
    EXPECT_EQ( std::filesystem::status( file ).permissions(), perms::owner_read | perms::owner_write );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( target.path() ), {} ), 2 );
}

TEST( Unzip, RefusesAnArchiveOfSeveralFiles )
{
    const ScratchFolder folder;
    const auto out = extractSingleFile( makeZip( folder, { { "a", "1" }, { "b", "2" } } ), folder.path() / "out" );
    ASSERT_FALSE( out );
    EXPECT_EQ( out.error(), "The archive must hold exactly one file, but it holds 2" );
    const auto folders =
        extractSingleFile( makeZip( folder, { { "a/", "" }, { "a/b/", "" } } ), folder.path() / "out" );
    EXPECT_EQ( errorOf( folders ), "The archive must hold exactly one file, but it holds 0" );
    EXPECT_FALSE( std::filesystem::exists( folder.path() / "out" ) );
    const auto one = extractSingleFile( makeZip( folder, { { "a/", "" }, { "a/b", "1" } } ), folder.path() / "out" );
    EXPECT_EQ( errorOf( one ), "" ) << "folders do not count";
}

TEST( Unzip, CountsTheEntriesBeforeItLooksAtThem )
{
    const ScratchFolder folder;
    const auto file = makeZip( folder, { { "a/", "" }, { "b/", "" }, { "c", "1" } } );
    const auto out = folder.path() / "out";
    EXPECT_EQ( errorOf( extractSingleFile( file, out, { .maxEntries = 2 } ) ), "The archive holds too many entries" );
    EXPECT_EQ( errorOf( extractSingleFile( file, out, { .maxEntries = 3 } ) ), "" );
    EXPECT_EQ( UnzipLimits{}.maxEntries, 1000u );
    EXPECT_EQ( UnzipLimits{}.maxEntrySize, uint64_t( 1 ) << 30 );
}

TEST( Unzip, TakesAFileOfJustTheLimit )
{
    const ScratchFolder folder;
    const auto file = makeZip( folder, { { "a", std::string( 1 << 20, 'x' ) } } );
    const auto out = folder.path() / "out";
    EXPECT_EQ( errorOf( extractSingleFile( file, out, { .maxEntrySize = 1 << 20 } ) ), "" );
    EXPECT_EQ( std::filesystem::file_size( out ), uintmax_t( 1 ) << 20 );
    EXPECT_EQ( errorOf( extractSingleFile( file, out, { .maxEntrySize = ( 1 << 20 ) - 1 } ) ),
        "The archive unpacks to more than 0 MB" );
    EXPECT_FALSE( std::filesystem::exists( out ) );
}

TEST( Unzip, SaysWhatIsDamagedAndLeavesNothing )
{
    const ScratchFolder source, folder;
    std::string noise;
    for ( uint32_t i = 1; noise.size() < 5000; i = i * 1664525 + 1013904223 )
        noise += char( i >> 24 );
    source.write( "input", noise );
    const auto file = folder.path() / "a.zip", out = folder.path() / "out";
    ASSERT_TRUE( compressZip( file, source.path() ) );
    std::fstream( file, std::ios::in | std::ios::out | std::ios::binary ).seekp( 2000 ).put( 'x' ).put( 'x' );
    const auto error = errorOf( extractSingleFile( file, out ) );
    EXPECT_TRUE( error.starts_with( "The archive is damaged: " ) ) << error;
    EXPECT_FALSE( std::filesystem::exists( out ) );
    ASSERT_TRUE( compressZip( file, source.path(), {}, "pass" ) );
    EXPECT_EQ( errorOf( extractSingleFile( file, out ) ), "The archive is damaged: No password provided" );
}

TEST( Unzip, SaysWhereItCannotWrite )
{
    const ScratchFolder folder;
    const auto file = makeZip( folder, { { "a", "1" } } );
    EXPECT_EQ( errorOf( extractSingleFile( file, "/nowhere/out" ) ), "Cannot write \"/nowhere/out\"" );
    const auto out = folder.write( "out", std::string( 100, 'x' ) );
    EXPECT_EQ( errorOf( extractSingleFile( file, out ) ), "" );
    EXPECT_EQ( Testing::readFile( out ), "1" ) << "nothing of the former content";
}

TEST( Unzip, IgnoresWhereAnEntryWantsToGo )
{
    const ScratchFolder folder;
    ASSERT_TRUE( extractSingleFile( makeZip( folder, { { "../../escape", "1" } } ), folder.path() / "out" ) );
    EXPECT_EQ( Testing::readFile( folder.path() / "out" ), "1" );
    EXPECT_FALSE( std::filesystem::exists( folder.path().parent_path() / "escape" ) );
}

TEST( Unzip, StopsAtTheLimitAndLeavesNothing )
{
    const ScratchFolder folder;
    const auto bomb = makeZip( folder, { { "a", std::string( 50 << 20, '\0' ) } } );
    UnzipLimits limits;
    limits.maxEntrySize = 10 << 20;
    const auto out = extractSingleFile( bomb, folder.path() / "out", limits );
    ASSERT_FALSE( out );
    EXPECT_EQ( out.error(), "The archive unpacks to more than 10 MB" );
    EXPECT_FALSE( std::filesystem::exists( folder.path() / "out" ) );
}

TEST( Unzip, RefusesWhatIsNoArchive )
{
    const ScratchFolder folder;
    const auto refused = extractSingleFile( folder.write( "a.zip", "PK\3\4 not really" ), folder.path() / "out" );
    ASSERT_FALSE( refused );
    EXPECT_EQ( refused.error(), "The archive cannot be opened: Not a zip archive" );
    EXPECT_EQ( errorOf( extractSingleFile( folder.path() / "missing.zip", folder.path() / "out" ) ),
        "The archive cannot be opened: No such file" );
    EXPECT_FALSE( std::filesystem::exists( folder.path() / "out" ) );
}
