#include "support/ScratchFolder.h"

#include <VXViewer/dialogs/FileDialogSignals.h>
#include <VXViewer/dialogs/FolderListing.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

using Texts = std::vector<std::string>;

Texts names( const FolderListing& listing )
{
    Texts out;
    for ( const auto& entry : listing.entries )
        out.push_back( entry.isFolder ? entry.name + "/" : entry.name );
    return out;
}

} // namespace

TEST( FolderListing, HasFoldersFirstAndEachByNameInAnyCase )
{
    const Testing::ScratchFolder folder;
    for ( const char* name : { "Beta.stl", "alpha.stl", "gamma.STL" } )
        folder.write( name, "x" );
    for ( const char* name : { "Zeta", "eta" } )
        std::filesystem::create_directory( folder.path() / name );
    const auto listing = FolderListing::read( folder.path(), false );
    EXPECT_EQ( names( listing ), ( Texts{ "eta/", "Zeta/", "alpha.stl", "Beta.stl", "gamma.STL" } ) );
    EXPECT_EQ( listing.error, "" );
    EXPECT_EQ( listing.entries[2].path, folder.path() / "alpha.stl" );
}

TEST( FolderListing, LeavesOutWhatNobodyReadsUnlessAllIsWanted )
{
    const Testing::ScratchFolder folder;
    for ( const char* name : { "part.stl", "letter.doc", "README", ".hidden.stl" } )
        folder.write( name, "x" );
    std::filesystem::create_directory( folder.path() / ".cache" );
    EXPECT_EQ( names( FolderListing::read( folder.path(), false ) ), Texts{ "part.stl" } );
    EXPECT_EQ( names( FolderListing::read( folder.path(), true ) ), ( Texts{ "letter.doc", "part.stl", "README" } ) )
        << "hidden ones never";
}

TEST( FolderListing, TellsTheSizeOfFilesAlone )
{
    const Testing::ScratchFolder folder;
    folder.write( "part.stl", std::string( 1234, 'x' ) );
    std::filesystem::create_directory( folder.path() / "sub" );
    const auto listing = FolderListing::read( folder.path(), false );
    ASSERT_EQ( listing.entries.size(), 2u );
    EXPECT_EQ( listing.entries[0].size, "" );
    EXPECT_EQ( listing.entries[1].size, "1.2 kB" );
}

TEST( FolderListing, ALinkThatLeadsNowhereIsListedWithoutASize )
{
    const Testing::ScratchFolder folder;
    std::filesystem::create_symlink( folder.path() / "gone.stl", folder.path() / "link.stl" );
    const auto listing = FolderListing::read( folder.path(), false );
    ASSERT_EQ( names( listing ), Texts{ "link.stl" } );
    EXPECT_EQ( listing.entries[0].size, "" );
    EXPECT_EQ( listing.error, "" );
}

TEST( FolderListing, SaysWhyAFolderCannotBeRead )
{
    const Testing::ScratchFolder folder;
    const auto missing = FolderListing::read( folder.path() / "gone", false );
    EXPECT_EQ( missing.error, "No such file or directory" );
    EXPECT_TRUE( missing.entries.empty() );
    EXPECT_EQ( FolderListing::read( folder.write( "part.stl", "x" ), false ).error, "Not a directory" );
}

TEST( FileSizes, HaveTwoDigitsOrMoreAndTheUnitThatFits )
{
    const std::pair<uintmax_t, const char*> cSizes[] = { { 0, "0 B" }, { 999, "999 B" }, { 1000, "1.0 kB" },
        { 9'949, "9.9 kB" }, { 9'950, "10 kB" }, { 999'499, "999 kB" }, { 999'500, "1.0 MB" }, { 1'440'000, "1.4 MB" },
        { 25'000'000, "25 MB" }, { 4'294'967'296, "4.3 GB" }, { 999'600'000'000, "1 TB" },
        { 5'000'000'000'000'000, "5000 TB" } };
    for ( const auto& [bytes, text] : cSizes )
        EXPECT_EQ( formatFileSize( bytes ), text ) << bytes;
}

TEST( FilesName, IsOfTheirKindWhereTheyHaveOneInCommon )
{
    EXPECT_EQ( commonFilesName( {} ), "no files" );
    EXPECT_EQ( commonFilesName( { "/a/part.stl" } ), "STL file" );
    EXPECT_EQ( commonFilesName( { "part.stl", "b.STL", "c.Stl" } ), "3 STL files" );
    EXPECT_EQ( commonFilesName( { "part.stl", "b.obj" } ), "2 files" );
    EXPECT_EQ( commonFilesName( { "README" } ), "file" );
    EXPECT_EQ( commonFilesName( { "README", "LICENSE" } ), "2 files" );
    EXPECT_EQ( commonFilesName( { "teil.größe" } ), "GRößE file" ) << "letters beyond ASCII stay whole";
}
