#include "support/ScratchFolder.h"

#include <VXMesh/io/NumberedFiles.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( NumberedFiles, ComeByTheirNumbers )
{
    EXPECT_TRUE( comesBefore( "a2", "a10" ) );
    EXPECT_FALSE( comesBefore( "a10", "a2" ) );
    EXPECT_TRUE( comesBefore( "a9b3", "a10b1" ) );
    EXPECT_TRUE( comesBefore( "a", "a1" ) );
    EXPECT_TRUE( comesBefore( "a1", "b0" ) );
    EXPECT_TRUE( comesBefore( "99999999999999999999998", "99999999999999999999999" ) );
    // The same number twice still has one order.
    EXPECT_NE( comesBefore( "a01", "a1" ), comesBefore( "a1", "a01" ) );
    EXPECT_FALSE( comesBefore( "a1", "a1" ) );
}

TEST( NumberedFiles, AreThoseThatAreWanted )
{
    const Testing::ScratchFolder folder;
    for ( const auto* name : { "s10.raw", "s9.raw", "s9.txt", ".s1.raw" } )
        (void)folder.write( name, "x" );
    std::filesystem::create_directory( folder.path() / "s8.raw" );
    const auto files =
        filesByNumber( folder.path(), []( const std::filesystem::path& file ) { return file.extension() == ".raw"; } );
    ASSERT_EQ( files.size(), 2u );
    EXPECT_EQ( files[0].filename(), "s9.raw" );
    EXPECT_EQ( files[1].filename(), "s10.raw" );
    EXPECT_TRUE( filesByNumber( folder.path() / "none", []( const auto& ) { return true; } ).empty() );
}
