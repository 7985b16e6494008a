#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <VXMesh/formats/VxuFormat.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

LoadedObjects roundTrip( const std::vector<std::shared_ptr<Object>>& roots )
{
    const auto bytes = writeVxu( roots );
    if ( !bytes )
        throw std::runtime_error( bytes.error() );
    auto loaded = readVxu( *bytes );
    if ( !loaded )
        throw std::runtime_error( loaded.error() );
    return std::move( *loaded );
}

const ObjectMesh& meshAt( const Object& object )
{
    const auto* mesh = dynamic_cast<const ObjectMesh*>( &object );
    if ( !mesh )
        throw std::runtime_error( "not a mesh: " + object.name() );
    return *mesh;
}

} // namespace

TEST( Vxu, KeepsGeometry )
{
    const auto original = Testing::wavySheet( 30 );
    const auto loaded = roundTrip( { Testing::meshObject( "Sheet", original ) } );
    const auto& mesh = *meshAt( *loaded.objects.at( 0 ) ).mesh();
    EXPECT_EQ( mesh.points.size(), original.points.size() );
    EXPECT_EQ( mesh.triangles.size(), original.triangles.size() );
    EXPECT_NEAR( computeArea( mesh ), computeArea( original ), 1e-6 );
    EXPECT_EQ( mesh.box().max, original.box().max );
    const auto normals = computeVertexNormals( mesh );
    for ( size_t i = 0; i < normals.size(); ++i )
        EXPECT_GT( dot( normals[i], mesh.normals[i] ), 0.9999f );
}

TEST( Vxu, KeepsNamesTreePlacementColourAndFlags )
{
    const auto group = std::make_shared<Object>();
    group->setName( "Gruppe ü \"1\"" );
    const auto part = Testing::meshObject( "Teil", Testing::cube() );
    part->setXf( { rotation( { 0, 0, 1 }, 0.5f ), { 1, 2, 3 } } );
    part->setColor( { 200, 100, 3, 255 } );
    part->setVisible( false );
    part->select( true );
    group->addChild( part );
    const auto loaded = roundTrip( { group } );
    const auto& root = *loaded.objects.at( 0 );
    EXPECT_EQ( root.name(), "Gruppe ü \"1\"" );
    const auto& child = meshAt( *root.children().at( 0 ) );
    EXPECT_EQ( child.name(), "Teil" );
    EXPECT_EQ( child.color(), part->color() );
    EXPECT_FALSE( child.isVisible() );
    EXPECT_TRUE( child.isSelected() );
    EXPECT_EQ( child.xf(), part->xf() );
}

TEST( Vxu, KeepsColoursEdgesPointsAndLines )
{
    Mesh mesh = Testing::cube();
    for ( size_t i = 0; i < mesh.points.size(); ++i )
        mesh.vertexColors.push_back( { uint8_t( i * 30 ), 7, uint8_t( 255 - i ), 255 } );
    mesh.edges = { { 0, 1 }, { 6, 7 } };
    Mesh faces = Testing::cube();
    for ( size_t i = 0; i < faces.triangles.size(); ++i )
        faces.faceColors.push_back( { uint8_t( i ), 0, 0, 255 } );
    const auto cloud = std::make_shared<ObjectPoints>();
    cloud->setPoints( std::make_shared<PointCloud>( PointCloud{ { { 1, 2, 3 } }, { { 9, 8, 7, 255 } } } ) );
    const auto lines = std::make_shared<ObjectLines>();
    lines->setLines( std::make_shared<Lines>( Lines{ { { 0, 0, 0 }, { 1, 0, 0 } }, { { 0, 1 } } } ) );

    const auto loaded =
        roundTrip( { Testing::meshObject( "v", mesh ), Testing::meshObject( "f", faces ), cloud, lines } );
    const auto& v = *meshAt( *loaded.objects[0] ).mesh();
    ASSERT_EQ( v.vertexColors.size(), 8u );
    for ( size_t i = 0; i < 8; ++i )
    {
        const auto& p = v.points[i];
        const auto original = size_t( p.x ) + 2 * size_t( p.y ) + 4 * size_t( p.z );
        EXPECT_EQ( v.vertexColors[i], mesh.vertexColors[original] );
    }
    ASSERT_EQ( v.edges.size(), 2u );
    EXPECT_EQ( ( v.points[v.edges[1][1]] ), ( Vector3f{ 1, 1, 1 } ) );
    EXPECT_EQ( meshAt( *loaded.objects[1] ).mesh()->faceColors, faces.faceColors );
    EXPECT_EQ( dynamic_cast<const ObjectPoints&>( *loaded.objects[2] ).points()->colors[0], ( Color{ 9, 8, 7, 255 } ) );
    EXPECT_EQ( dynamic_cast<const ObjectLines&>( *loaded.objects[3] ).lines()->segments.size(), 1u );
}

TEST( Vxu, SharesTheGeometryOfInstances )
{
    const auto first = Testing::meshObject( "a", Testing::wavySheet( 50 ) );
    const auto second = std::make_shared<ObjectMesh>();
    second->setMesh( first->mesh() );
    const auto one = writeVxu( std::vector<std::shared_ptr<Object>>{ first } );
    const auto two = writeVxu( std::vector<std::shared_ptr<Object>>{ first, second } );
    EXPECT_LT( two->size(), one->size() + 500 );
    const auto loaded = readVxu( *two );
    EXPECT_EQ( meshAt( *loaded->objects[0] ).mesh(), meshAt( *loaded->objects[1] ).mesh() );
}

TEST( Vxu, StandsPlainGlbUpright )
{
    // A node without our frame mark is Y up: its Y becomes our Z.
    const std::string json =
        R"({"asset":{"version":"2.0"},"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0}],"meshes":[{"primitives":[)"
        R"({"attributes":{"POSITION":0}}]}],"accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3"}],)"
        R"("bufferViews":[{"buffer":0,"byteLength":36}],"buffers":[{"byteLength":36}]} )";
    const float points[9] = { 0, 0, 0, 1, 0, 0, 0, 5, 0 };
    const std::string text = json + std::string( ( 4 - json.size() % 4 ) % 4, ' ' );
    std::vector<uint32_t> words{
        0x46546C67, 2, uint32_t( 12 + 8 + text.size() + 8 + 36 ), uint32_t( text.size() ), 0x4E4F534A };
    std::string bytes( reinterpret_cast<const char*>( words.data() ), 20 );
    words = { 36, 0x004E4942 };
    bytes += text + std::string( reinterpret_cast<const char*>( words.data() ), 8 ) +
             std::string( reinterpret_cast<const char*>( points ), 36 );
    const auto loaded = readVxu( std::as_bytes( std::span( bytes ) ) );
    ASSERT_TRUE( loaded ) << loaded.error();
    EXPECT_NEAR( loaded->objects[0]->treeBox().max.z, 5, 1e-6 );
    EXPECT_NEAR( loaded->objects[0]->treeBox().max.y, 0, 1e-6 );
}

TEST( Vxu, SavesInOneStepAndStopsWhenAskedTo )
{
    const Testing::ScratchFolder folder;
    const std::vector<std::shared_ptr<Object>> roots{ Testing::meshObject( "a", Testing::cube() ) };
    const auto file = folder.path() / "a.vxu";
    ASSERT_TRUE( saveVxu( file, roots ) );
    const auto before = Testing::readFile( file );
    const auto stopped = saveVxu( file, roots, []( float ) { return false; } );
    ASSERT_FALSE( stopped );
    EXPECT_EQ( stopped.error(), cOperationCanceled );
    EXPECT_EQ( Testing::readFile( file ), before );
}

TEST( Vxu, WritesAnEmptyScene )
{
    const auto group = std::make_shared<Object>();
    group->setName( "nothing" );
    EXPECT_EQ( roundTrip( { group } ).objects.at( 0 )->name(), "nothing" );
}
