#include "support/ScratchFolder.h"

#include <VXMesh/io/Zip.h>

#include <gtest/gtest.h>
#include <zip.h>

#include <cstring>

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

TEST( Zip, SaysWhichFolderCannotBeRead )
{
    const ScratchFolder target;
    const auto packed = compressZip( target.path() / "a.zip", "/nowhere" );
    ASSERT_FALSE( packed );
    EXPECT_NE( packed.error().find( "/nowhere" ), std::string::npos );
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
    EXPECT_FALSE( extractSingleFile( folder.path() / "missing.zip", folder.path() / "out" ) );
}
