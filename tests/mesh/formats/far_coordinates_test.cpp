#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/FeatureEdges.h>
#include <VXMesh/scene/Origin.h>
#include <VXMesh/scene/SimpleShapes.h>

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <set>

using namespace VX;

namespace
{

/// Where a surveyor's grid has its metres.
constexpr Vector3d cFar{ 500'000, 5'500'000, 120 };
constexpr double cTenthOfMillimetre = 1e-4;

Mesh ball()
{
    return SimpleShapes::makeSphere( 1, 32 );
}

/// Places in tenths of millimetres, each once.
using Places = std::set<std::array<long, 3>>;

std::array<long, 3> placeOf( const Vector3d& p )
{
    const auto rounded = []( double v ) { return std::lround( v / cTenthOfMillimetre ); };
    return { rounded( p.x ), rounded( p.y ), rounded( p.z ) };
}

template <typename Point>
Places placesOf( const std::vector<Point>& points )
{
    Places out;
    for ( const auto& p : points )
        out.insert( placeOf( p ) );
    return out;
}

const std::vector<Vector3f>& pointsOf( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ) )
        return mesh->mesh()->points;
    return dynamic_cast<const ObjectPoints&>( object ).points()->points;
}

class FarCoordinates : public testing::Test
{
protected:
    /// The one object of a file with these bytes.
    std::shared_ptr<Object> read( const std::string& name, const std::string& bytes )
    {
        auto loaded = loadObjectFromFile( folder_.write( name, bytes ) );
        if ( !loaded )
            throw std::runtime_error( loaded.error() );
        return loaded->objects.at( 0 );
    }

    static void expectBall( const Object& object )
    {
        EXPECT_EQ( object.xf(), translation( cFar ) );
        EXPECT_EQ( placesOf( pointsOf( object ) ), placesOf( ball().points ) );
        for ( const auto& p : pointsOf( object ) )
            ASSERT_NEAR( p.length(), 1, 2 * cTenthOfMillimetre );
        const auto box = object.treeBox();
        EXPECT_NEAR( box.size().z, 2, 1e-6 );
        EXPECT_NEAR( box.center().y, cFar.y, cTenthOfMillimetre );
    }

    Testing::ScratchFolder folder_;
};

template <typename T>
void append( std::string& out, T value, bool bigEndian = false )
{
    auto bytes = std::bit_cast<std::array<char, sizeof( T )>>( value );
    if ( bigEndian )
        std::reverse( bytes.begin(), bytes.end() );
    out.append( bytes.data(), bytes.size() );
}

/// The ball with places in doubles and faces of that many corners, each triangle with its last corner twice.
std::string plyOfDoubles( uint8_t corners, bool bigEndian )
{
    const Mesh mesh = ball();
    std::string out = std::string( "ply\nformat binary_" ) + ( bigEndian ? "big" : "little" ) + "_endian 1.0\n";
    out += "element vertex " + std::to_string( mesh.points.size() );
    out += "\nproperty uchar mark\nproperty double x\nproperty double y\nproperty double z\nelement face " +
           std::to_string( mesh.triangles.size() );
    out += "\nproperty list uchar int vertex_indices\nend_header\n";
    for ( const auto& p : mesh.points )
    {
        out += 'm';
        for ( const double v : { cFar.x + p.x, cFar.y + p.y, cFar.z + p.z } )
            append( out, v, bigEndian );
    }
    for ( const auto& t : mesh.triangles )
    {
        out += char( corners );
        for ( size_t i = 0; i < corners; ++i )
            append( out, t[std::min<size_t>( i, 2 )], bigEndian );
    }
    return out;
}

std::string textPly()
{
    const Mesh mesh = ball();
    std::string out = "ply\nformat ascii 1.0\nelement vertex " + std::to_string( mesh.points.size() );
    out += "\nproperty double x\nproperty double y\nproperty double z\nproperty uchar red\nproperty uchar green\n"
           "property uchar blue\nelement face " +
           std::to_string( mesh.triangles.size() ) + "\nproperty list uchar int vertex_indices\nend_header\n";
    for ( const auto& p : mesh.points )
        out += Testing::pointText( p, cFar ) + " 255 0 0\n";
    for ( const auto& t : mesh.triangles )
        out += "3 " + std::to_string( t[0] ) + " " + std::to_string( t[1] ) + " " + std::to_string( t[2] ) + "\n";
    return out;
}

std::string textStl()
{
    const Mesh mesh = ball();
    std::string out = "solid ball\n";
    for ( const auto& t : mesh.triangles )
    {
        out += "  facet normal 0 0 1\n    outer loop\n";
        for ( const auto v : t )
            out += "      vertex " + Testing::pointText( mesh.points[v], cFar ) + "\n";
        out += "    endloop\n  endfacet\n";
    }
    return out + "endsolid ball\n";
}

std::string off()
{
    const Mesh mesh = ball();
    std::string out = "OFF\n# a ball\n" + std::to_string( mesh.points.size() ) + " " +
                      std::to_string( mesh.triangles.size() ) + " 0\n";
    for ( const auto& p : mesh.points )
        out += Testing::pointText( p, cFar ) + "\n";
    for ( const auto& t : mesh.triangles )
        out += "3 " + std::to_string( t[0] ) + " " + std::to_string( t[1] ) + " " + std::to_string( t[2] ) + "\n";
    return out;
}

/// A scene of three points in floats, in the form of a file or with its bytes beside it in base64.
std::string gltf( const std::string& nodes, const std::string& buffer )
{
    return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":)" + nodes +
           R"(,"meshes":[{"primitives":[{"attributes":{"POSITION":0}}]}],"accessors":[{"bufferView":0,)"
           R"("componentType":5126,"count":3,"type":"VEC3","min":[0,0,0],"max":[1,5,0]}],)"
           R"("bufferViews":[{"buffer":0,"byteLength":36}],"buffers":[{)" +
           buffer + R"("byteLength":36}]} )";
}

std::string glb( const std::string& nodes, const std::array<Vector3f, 3>& points )
{
    std::string json = gltf( nodes, "" );
    json.resize( ( json.size() + 3 ) / 4 * 4, ' ' );
    std::string out;
    for ( const uint32_t word :
        { 0x46546C67u, 2u, uint32_t( 12 + 8 + json.size() + 8 + 36 ), uint32_t( json.size() ), 0x4E4F534Au } )
        append( out, word );
    out += json;
    append( out, uint32_t( 36 ) );
    append( out, uint32_t( 0x004E4942 ) );
    for ( const auto& p : points )
        append( out, p );
    return out;
}

} // namespace

TEST_F( FarCoordinates, OriginIsZeroWhereFloatsAreGoodEnough )
{
    EXPECT_EQ( originFor( {} ), Vector3d{} );
    EXPECT_EQ( originFor( { { 0, 0, 0 }, { 1, 1, 1 } } ), Vector3d{} );
    EXPECT_EQ( originFor( { { 10, 0, 0 }, { 11, 1, 1 } } ), Vector3d{} );
    EXPECT_EQ( originFor( { { 1.5, 2, 3 }, { 1.5, 2, 3 } } ), Vector3d{} ) << "a lone point";
}

TEST_F( FarCoordinates, OriginIsAWholeNumberNearTheMiddle )
{
    EXPECT_EQ( originFor( { { 499'999.2, 5'499'999, 119.3 }, { 500'001.2, 5'500'001, 121.3 } } ), cFar );
    EXPECT_EQ( originFor( { { 500'000.25, 0, 0 }, { 500'000.25, 0, 0 } } ), ( Vector3d{ 500'000, 0, 0 } ) );
    const auto tiny = originFor( { { 1.2, 0, 0 }, { 1.201, 0.001, 0.001 } } );
    EXPECT_NEAR( tiny.x, 1.2005, 0.001 );
    EXPECT_EQ( double( float( tiny.x ) ), tiny.x );
}

TEST_F( FarCoordinates, ObjKeepsThem )
{
    const auto object = read( "ball.obj", Testing::objText( ball(), cFar ) );
    expectBall( *object );
    const auto near = read( "ball.obj", Testing::objText( ball(), {} ) );
    EXPECT_EQ( near->xf(), AffineXf3d{} );
    const auto &mesh = *dynamic_cast<const ObjectMesh&>( *object ).mesh(),
               &nearMesh = *dynamic_cast<const ObjectMesh&>( *near ).mesh();
    EXPECT_EQ( mesh.triangles.size(), nearMesh.triangles.size() );
    EXPECT_EQ( mesh.edges.size(), nearMesh.edges.size() ) << "creases are those of the ball";
    EXPECT_NEAR( computeVolume( mesh ), computeVolume( nearMesh ), 1e-4 );
}

TEST_F( FarCoordinates, ObjKeepsWhatFollowsThePoints )
{
    const auto object = read( "a.obj", "v 500000.0001 5500000 1 1.0 0.5 0 # red\nv 500001 5500000 1 1 0 0\r\n"
                                       "v +500000 5500001.0002 1 1 0 0\nvn 0 0 1\nvt 7000000 1\nf 1 2 3\n" );
    const auto& mesh = *dynamic_cast<const ObjectMesh&>( *object ).mesh();
    ASSERT_EQ( mesh.vertexColors.size(), 3u );
    EXPECT_EQ( mesh.vertexColors[0].r, 255 );
    EXPECT_EQ( placeOf( object->xf()( mesh.points[0] ) ), placeOf( { 500'000.0001, 5'500'000, 1 } ) );
}

TEST_F( FarCoordinates, ObjThatIsNotUnderstoodIsReadAsItStands )
{
    // The fourth number divides the others.
    const std::string triangle = "v 500001 5500000 1\nv 500000 5500001 1\nf 1 2 3\n";
    const auto weighted = read( "a.obj", "v 1000000 11000000 2 2\n" + triangle );
    EXPECT_NEAR( weighted->treeBox().center().x, 500'000.5, 1 );
    const auto continued = read( "b.obj", "v 500000 \\\n5500000 1\n" + triangle );
    EXPECT_NEAR( continued->treeBox().center().x, 500'000.5, 1 );
}

TEST_F( FarCoordinates, PointsAsTextKeepThem )
{
    std::string text;
    for ( const auto& p : ball().points )
        text += Testing::pointText( p, cFar ) + " 1 2 3\n";
    const auto object = read( "ball.xyz", text );
    expectBall( *object );
    EXPECT_EQ( dynamic_cast<const ObjectPoints&>( *object ).points()->colors.size(), ball().points.size() );
}

TEST_F( FarCoordinates, PointsThatNoFloatHoldsAreLeftOut )
{
    const auto object = read( "a.xyz", "1 2 3\n1e300 0 0\n4 5 6\n1e999 0 0\nnan 1 1\n" );
    EXPECT_EQ( pointsOf( *object ), ( std::vector<Vector3f>{ { 1, 2, 3 }, { 4, 5, 6 } } ) );
}

TEST_F( FarCoordinates, PlyOfDoublesKeepsThem )
{
    expectBall( *read( "triangles.ply", plyOfDoubles( 3, false ) ) );
    expectBall( *read( "polygons.ply", plyOfDoubles( 4, false ) ) );
    expectBall( *read( "big.ply", plyOfDoubles( 3, true ) ) );
    auto infinite = plyOfDoubles( 3, false );
    const double tooLarge = 1e300;
    std::memcpy( infinite.data() + infinite.find( "end_header\n" ) + 12, &tooLarge, sizeof tooLarge );
    const auto loaded = loadObjectFromFile( folder_.write( "infinite.ply", infinite ) );
    ASSERT_FALSE( loaded );
    EXPECT_EQ( loaded.error(), "Cannot read \"infinite.ply\": a point's place is not a number" );
}

TEST_F( FarCoordinates, OtherTextsKeepThem )
{
    expectBall( *read( "ball.ply", textPly() ) );
    expectBall( *read( "ball.stl", textStl() ) );
    expectBall( *read( "ball.off", off() ) );
}

TEST_F( FarCoordinates, BinaryStlKeepsWhatItsFloatsStillKnow )
{
    Mesh sheet = Testing::wavySheet( 20 );
    for ( auto& p : sheet.points )
        p = Vector3f( p * 100.f + Vector3f{ 40'000, 50'000, 0 } );
    const auto object = read( "sheet.stl", Testing::binaryStl( sheet ) );
    EXPECT_EQ( object->xf().b, ( Vector3d{ 40'050, 50'050, 0 } ) );
    std::set<std::array<double, 3>> there, expected;
    for ( const auto& p : pointsOf( *object ) )
    {
        const auto place = object->xf()( p );
        there.insert( { place.x, place.y, place.z } );
    }
    for ( const auto& p : sheet.points )
        expected.insert( { p.x, p.y, p.z } );
    EXPECT_EQ( there, expected );
}

TEST_F( FarCoordinates, VxuKeepsEveryDigit )
{
    const auto group = std::make_shared<Object>();
    const auto part = Testing::meshObject( "part", ball() ), turned = Testing::meshObject( "turned", ball() );
    group->setXf( translation( { 500'000.123456789012, -5'500'000.98765432101, 1. / 3 } ) );
    turned->setXf( { rotation( { 0, 0, 1 }, 0.3f ), { 0.1, 1e-17, 7'000'000.0000000009 } } );
    group->addChild( part );
    group->addChild( turned );
    const auto bytes = writeVxu( std::vector<std::shared_ptr<Object>>{ group } ).value();
    const auto loaded = readVxu( bytes ).value();
    EXPECT_EQ( loaded.objects.at( 0 )->xf(), group->xf() );
    EXPECT_EQ( loaded.objects[0]->children().at( 0 )->xf(), AffineXf3d{} );
    EXPECT_EQ( loaded.objects[0]->children().at( 1 )->xf(), turned->xf() );
    EXPECT_EQ( placesOf( pointsOf( *loaded.objects[0]->children()[0] ) ), placesOf( ball().points ) );
}

TEST_F( FarCoordinates, ABallIsReadSavedAndReadAgain )
{
    const auto object = read( "ball.obj", Testing::objText( ball(), cFar ) );
    const auto file = folder_.path() / "ball.vxu";
    ASSERT_TRUE( saveVxu( file, std::vector<std::shared_ptr<Object>>{ object } ) );
    const auto again = loadObjectFromFile( file ).value().objects.at( 0 );
    expectBall( *again );
    EXPECT_EQ( placesOf( pointsOf( *again ) ), placesOf( pointsOf( *object ) ) );
}

TEST_F( FarCoordinates, GlbPlacesItsNodesInDoubles )
{
    // Its Y is our Z.
    const auto object = read( "a.glb", glb( R"([{"mesh":0,"translation":[500000.123456789,120,-5500000.987654321]}])",
                                           { Vector3f{ 0, 0, 0 }, { 1, 0, 0 }, { 0, 5, 0 } } ) );
    EXPECT_EQ( object->xf().b, ( Vector3d{ 500'000.123456789, 5'500'000.987654321, 120 } ) );
}

TEST_F( FarCoordinates, GlbGeometryGetsAnOriginNearIt )
{
    const std::array<Vector3f, 3> points = { Vector3f{ 500'000, 0, 0 }, { 500'002, 0, 0 }, { 500'000, 2, 0 } };
    const auto lone = read( "lone.glb", glb( R"([{"mesh":0,"scale":[2,2,2]}])", points ) );
    EXPECT_EQ( dynamic_cast<const ObjectMesh&>( *lone ).mesh()->box().max.x, 1.f );
    EXPECT_EQ( lone->treeBox().max, ( Vector3d{ 1'000'004, 0, 4 } ) );

    const auto parent = read( "parent.glb", glb( R"([{"mesh":0,"children":[1]},{"mesh":0}])", points ) );
    ASSERT_EQ( parent->children().size(), 2u );
    EXPECT_EQ( parent->children()[0]->treeBox(), parent->children()[1]->treeBox() );
    EXPECT_EQ( parent->treeBox().max, ( Vector3d{ 500'002, 0, 2 } ) );
}

TEST_F( FarCoordinates, GltfPlacesItsNodesInDoubles )
{
    // Three points: 0 0 0, 1 0 0, 0 5 0.
    const std::string buffer =
        R"("uri":"data:application/octet-stream;base64,AAAAAAAAAAAAAAAAAACAPwAAAAAAAAAAAAAAAAAAoEAAAAAA",)";
    const auto object = read( "a.gltf",
        gltf(
            R"([{"children":[1,2]},{"mesh":0,"translation":[500000.123456789,0,0]},{"mesh":0,"translation":[1,0,0]}])",
            buffer ) );
    ASSERT_EQ( object->children().size(), 2u );
    EXPECT_EQ( object->children()[0]->treeBox().min.x, 500'000.123456789 );
    EXPECT_EQ( object->treeBox().max.z, 5 );
}
