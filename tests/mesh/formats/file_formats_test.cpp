#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <VXMesh/formats/FileFormats.h>

#include <gtest/gtest.h>

using namespace VX;
using VX::Testing::ScratchFolder;

namespace
{

const Mesh& meshOf( const LoadedObjects& loaded )
{
    const auto* object = dynamic_cast<const ObjectMesh*>( loaded.objects.at( 0 ).get() );
    if ( !object )
        throw std::runtime_error( "the first object is not a mesh" );
    return *object->mesh();
}

std::string errorOf( const std::filesystem::path& file )
{
    const auto loaded = loadObjectFromFile( file );
    return loaded ? "" : loaded.error();
}

} // namespace

TEST( FileFormats, SaysThatAFileDoesNotExist )
{
    EXPECT_EQ( errorOf( "/nowhere/part.stl" ), "\"part.stl\" does not exist" );
}

TEST( FileFormats, SaysThatAFolderIsOne )
{
    const ScratchFolder folder;
    std::filesystem::create_directory( folder.path() / "part.stl" );
    EXPECT_EQ( errorOf( folder.path() / "part.stl" ), "\"part.stl\" is a folder; open a file in it instead" );
}

TEST( FileFormats, SaysThatAFileIsEmpty )
{
    const ScratchFolder folder;
    EXPECT_EQ( errorOf( folder.write( "part.stl", "" ) ), "\"part.stl\" is empty" );
}

TEST( FileFormats, NamesTheTypeThatNobodyReads )
{
    const ScratchFolder folder;
    EXPECT_EQ( errorOf( folder.write( "notes.doc", "x" ) ), "Files of type \".doc\" cannot be opened (notes.doc)" );
}

TEST( FileFormats, FindsAFormatInAnyCaseOfTheExtension )
{
    EXPECT_NE( FileFormats::find( "A.VXU" ), nullptr );
    EXPECT_EQ( FileFormats::find( "A" ), nullptr );
}

TEST( FileFormats, WeldsABinaryStl )
{
    const ScratchFolder folder;
    const auto loaded =
        loadObjectFromFile( folder.write( "cube ü \"quoted\".stl", Testing::binaryStl( Testing::cube( 2 ) ) ) );
    ASSERT_TRUE( loaded ) << loaded.error();
    EXPECT_EQ( meshOf( *loaded ).points.size(), 8u );
    EXPECT_NEAR( computeVolume( meshOf( *loaded ) ), 8, 1e-6 );
    EXPECT_EQ( loaded->objects[0]->name(), "cube ü \"quoted\"" );
}

TEST( FileFormats, RefusesAnStlWithALyingCount )
{
    const ScratchFolder folder;
    auto bytes = Testing::binaryStl( Testing::cube() );
    bytes[83] = '\x7f';
    EXPECT_FALSE( loadObjectFromFile( folder.write( "part.stl", bytes ) ) );
}

TEST( FileFormats, ReadsObj )
{
    const ScratchFolder folder;
    const auto loaded = loadObjectFromFile( folder.write( "a.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n" ) );
    ASSERT_TRUE( loaded ) << loaded.error();
    EXPECT_EQ( meshOf( *loaded ).triangles.size(), 1u );
}

TEST( FileFormats, ReadsColouredPointsAsText )
{
    const ScratchFolder folder;
    const auto loaded = loadObjectFromFile( folder.write( "a.xyz", "0 0 0 255 0 0\n1,2,3 0 255 0\n" ) );
    ASSERT_TRUE( loaded ) << loaded.error();
    const auto* cloud = dynamic_cast<const ObjectPoints*>( loaded->objects[0].get() );
    ASSERT_NE( cloud, nullptr );
    EXPECT_EQ( cloud->points()->points[1], ( Vector3f{ 1, 2, 3 } ) );
    EXPECT_EQ( cloud->points()->colors[0], ( Color{ 255, 0, 0, 255 } ) );
}

TEST( FileFormats, StopsWhenAskedTo )
{
    const ScratchFolder folder;
    const auto loaded = loadObjectFromFile( folder.write( "a.xyz", "0 0 0\n" ), []( float ) { return false; } );
    ASSERT_FALSE( loaded );
    EXPECT_EQ( loaded.error(), cOperationCanceled );
}

TEST( FileFormats, SurvivesRandomBytesInEveryFormat )
{
    const ScratchFolder folder;
    unsigned seed = 7;
    for ( const auto& format : FileFormats::all() )
        for ( const auto& extension : format.extensions )
            for ( const size_t size : { 1u, 100u, 5000u } )
            {
                std::string bytes( size, '\0' );
                for ( auto& c : bytes )
                    c = char( ( seed = seed * 1103515245 + 12345 ) >> 16 );
                const auto loaded = loadObjectFromFile( folder.write( "noise" + extension, bytes ) );
                EXPECT_TRUE( loaded || !loaded.error().empty() ) << extension;
            }
}
