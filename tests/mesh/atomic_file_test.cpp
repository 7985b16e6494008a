#include "support/ScratchFolder.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/MappedFile.h>

#include <gtest/gtest.h>

using namespace VX;
using VX::Testing::ScratchFolder;

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
    ASSERT_FALSE( written );
    EXPECT_NE( written.error().find( "missing/a" ), std::string::npos );
}

TEST( AtomicFile, KeepsTheModeAskedFor )
{
    const ScratchFolder folder;
    ASSERT_TRUE( writeFileAtomically( folder.path() / "a", "secret", { .mode = 0600 } ) );
    EXPECT_EQ( std::filesystem::status( folder.path() / "a" ).permissions(), std::filesystem::perms( 0600 ) );
}

TEST( MappedFile, MapsAnEmptyFileAsNoBytes )
{
    const ScratchFolder folder;
    const auto mapped = MappedFile::open( folder.write( "empty", "" ) );
    ASSERT_TRUE( mapped );
    EXPECT_TRUE( mapped->bytes().empty() );
}

TEST( MappedFile, RefusesAFolder )
{
    const ScratchFolder folder;
    EXPECT_FALSE( MappedFile::open( folder.path() ) );
}
