#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <VXMesh/formats/FileFormats.h>

#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>

using namespace VX;

namespace
{

class BinaryFormats : public testing::Test
{
protected:
    /// The mesh of a file with these bytes.
    Mesh meshFrom( const std::string& name, const std::string& bytes )
    {
        loaded_ = loadObjectFromFile( folder_.write( name, bytes ) );
        const auto* object = loaded_ ? dynamic_cast<const ObjectMesh*>( loaded_->objects.at( 0 ).get() ) : nullptr;
        EXPECT_NE( object, nullptr ) << ( loaded_ ? "no mesh" : loaded_.error() );
        return object ? *object->mesh() : Mesh{};
    }
    std::string errorFrom( const std::string& name, const std::string& bytes, const ProgressCallback& progress = {} )
    {
        const auto loaded = loadObjectFromFile( folder_.write( name, bytes ), progress );
        return loaded ? "" : loaded.error();
    }

    Testing::ScratchFolder folder_;
    tl::expected<LoadedObjects, std::string> loaded_;
};

std::string replaced( std::string text, const std::string& from, const std::string& to )
{
    const auto at = text.find( from );
    EXPECT_NE( at, std::string::npos ) << from;
    return text.replace( at, from.size(), to );
}

template <typename T>
std::string with( std::string bytes, size_t at, T value )
{
    std::memcpy( bytes.data() + at, &value, sizeof value );
    return bytes;
}

/// Points that a hash of two multiplications by numbers that everybody knows takes for one.
std::vector<Vector3f> pointsOfOneHash( size_t count )
{
    constexpr uint64_t cFirst = 0x9e3779b97f4a7c15u, cSecond = 0xc2b2ae3d27d4eb4fu;
    uint64_t inverse = cFirst;
    for ( int i = 0; i < 6; ++i )
        inverse *= 2 - cFirst * inverse;
    std::vector<Vector3f> out;
    for ( uint32_t z = 0x3f800000; out.size() < count; ++z )
    {
        const uint64_t mixed = 0x123456789abcdefu ^ z * cSecond;
        const uint64_t places = ( mixed ^ mixed >> 32 ) * inverse;
        const Vector3f point{ std::bit_cast<float>( uint32_t( places ) ),
            std::bit_cast<float>( uint32_t( places >> 32 ) ), std::bit_cast<float>( z ) };
        if ( point.isFinite() && std::abs( point.x ) < 1e15f && std::abs( point.y ) < 1e15f )
            out.push_back( point );
    }
    return out;
}

constexpr float cNaN = std::numeric_limits<float>::quiet_NaN();

} // namespace

TEST_F( BinaryFormats, StlOfManyTrianglesIsJoinedAcrossItsPieces )
{
    const auto sheet = Testing::wavySheet( 400 );
    const auto mesh = meshFrom( "sheet.stl", Testing::binaryStl( sheet ) );
    EXPECT_EQ( mesh.points.size(), sheet.points.size() );
    ASSERT_EQ( mesh.triangles.size(), sheet.triangles.size() );
    for ( size_t i = 0; i < mesh.triangles.size(); i += 997 )
        for ( size_t k = 0; k < 3; ++k )
            EXPECT_EQ( mesh.points[mesh.triangles[i][k]], sheet.points[sheet.triangles[i][k]] );
    EXPECT_TRUE( isConsistent( mesh ) );
}

TEST_F( BinaryFormats, StlWithoutACommonPointGrowsItsTable )
{
    Mesh soup;
    for ( uint32_t i = 0; i < 60'000; ++i )
        soup.points.push_back( { float( i ), float( i % 7 ), 0 } );
    for ( uint32_t i = 0; i < 60'000; i += 3 )
        soup.triangles.push_back( { i, i + 1, i + 2 } );
    EXPECT_EQ( meshFrom( "soup.stl", Testing::binaryStl( soup ) ).points.size(), 60'000u );
}

TEST_F( BinaryFormats, StlTakesBothZerosForOnePlace )
{
    Mesh mesh;
    mesh.points = { { 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 }, { -0.f, 0, -0.f }, { 0, 0, 1 } };
    mesh.triangles = { { 0, 1, 2 }, { 3, 2, 4 } };
    EXPECT_EQ( meshFrom( "zeros.stl", Testing::binaryStl( mesh ) ).points.size(), 4u );
}

TEST_F( BinaryFormats, BinaryStlMayBeginWithTheWordOfTextFiles )
{
    auto bytes = Testing::binaryStl( Testing::cube() );
    std::memcpy( bytes.data(), "solid part", 10 );
    EXPECT_EQ( meshFrom( "part.stl", bytes ).points.size(), 8u );
}

TEST_F( BinaryFormats, TextStlIsRead )
{
    EXPECT_EQ(
        meshFrom( "text.stl", "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
                              "endloop\nendfacet\nendsolid a\n" )
            .triangles.size(),
        1u );
}

TEST_F( BinaryFormats, StlColoursAreKept )
{
    // Fifteen bits of colour, and one that says so.
    const auto bytes = with( Testing::binaryStl( Testing::cube() ), 84 + 48, uint16_t( 0x8000 | 31 << 10 ) );
    EXPECT_FALSE( meshFrom( "red.stl", bytes ).vertexColors.empty() );
}

TEST_F( BinaryFormats, StlLeavesOutTrianglesThatAreNotNumbers )
{
    const auto mesh = meshFrom( "nan.stl", with( Testing::binaryStl( Testing::cube() ), 84 + 12, cNaN ) );
    EXPECT_EQ( mesh.triangles.size(), 11u );
    EXPECT_TRUE( isConsistent( mesh ) );
    EXPECT_EQ( loaded_->warnings, "A triangle whose corners are not numbers was left out" );
}

TEST_F( BinaryFormats, StlOfNothingButBadNumbersIsRefused )
{
    Mesh mesh;
    mesh.points = { { cNaN, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 } };
    mesh.triangles = { { 0, 1, 2 } };
    EXPECT_EQ( errorFrom( "nan.stl", Testing::binaryStl( mesh ) ),
        "Cannot read \"nan.stl\": no corner of its triangles is a number" );
}

TEST_F( BinaryFormats, StlThatIsCutOffIsRefused )
{
    auto bytes = Testing::binaryStl( Testing::cube() );
    bytes.resize( bytes.size() - 1 );
    EXPECT_EQ( errorFrom( "cut.stl", bytes ),
        "Cannot read \"cut.stl\": it is cut off: it should hold 12 triangles and holds 11" );
    EXPECT_EQ( errorFrom( "lie.stl", with( bytes, 80, uint32_t( 0xffffffff ) ) ),
        "Cannot read \"lie.stl\": it is cut off: it should hold 4294967295 triangles and holds 11" );
}

TEST_F( BinaryFormats, StlOfNoTrianglesIsRefused )
{
    EXPECT_EQ( errorFrom( "none.stl", std::string( 84, '\0' ) ), "Cannot read \"none.stl\": it holds no triangles" );
}

TEST_F( BinaryFormats, StopWhenAskedTo )
{
    const auto stop = []( float ) { return false; };
    EXPECT_EQ( errorFrom( "a.stl", Testing::binaryStl( Testing::wavySheet( 300 ) ), stop ), cOperationCanceled );
    EXPECT_EQ( errorFrom( "a.ply", Testing::binaryPly( Testing::wavySheet( 300 ) ), stop ), cOperationCanceled );
}

TEST_F( BinaryFormats, StopInEveryStage )
{
    const auto sheet = Testing::wavySheet( 340 ); // for several threads
    for ( const auto& [name, bytes] :
        { std::pair( "a.stl", Testing::binaryStl( sheet ) ), std::pair( "a.ply", Testing::binaryPly( sheet ) ) } )
    {
        int calls = 0;
        const auto count = [&]( float ) { return ++calls > 0; };
        EXPECT_EQ( errorFrom( name, bytes, count ), "" );
        EXPECT_GT( calls, 30 ) << name;
        for ( const float last : { 0.3f, 0.6f, 0.82f, 0.95f } )
            EXPECT_EQ( errorFrom( name, bytes, [&]( float f ) { return f < last; } ), cOperationCanceled )
                << name << " at " << last;
    }
}

TEST_F( BinaryFormats, StlOfPointsChosenToMeetInOneHashIsReadInTime )
{
    const auto start = std::chrono::steady_clock::now();
    Mesh mesh;
    mesh.points = pointsOfOneHash( 60'000 );
    for ( uint32_t i = 0; i + 2 < mesh.points.size(); i += 3 )
        mesh.triangles.push_back( { i, i + 1, i + 2 } );
    EXPECT_EQ( meshFrom( "chosen.stl", Testing::binaryStl( mesh ) ).triangles.size(), mesh.triangles.size() );
    EXPECT_LT( std::chrono::steady_clock::now() - start, std::chrono::seconds( 15 ) );
}

TEST_F( BinaryFormats, PlyKeepsPointsNormalsColoursAndTriangles )
{
    auto sheet = Testing::wavySheet( 400 );
    for ( size_t i = 0; i < sheet.points.size(); ++i )
        sheet.vertexColors.push_back( { uint8_t( i ), uint8_t( i >> 8 ), 7, uint8_t( 255 - i % 3 ) } );
    const auto mesh = meshFrom( "sheet.ply", Testing::binaryPly( sheet ) );
    EXPECT_EQ( mesh.points, sheet.points );
    EXPECT_EQ( mesh.normals, sheet.normals );
    EXPECT_EQ( mesh.vertexColors, sheet.vertexColors );
    EXPECT_EQ( mesh.triangles, sheet.triangles );
}

TEST_F( BinaryFormats, PlySkipsWhatNobodyNeeds )
{
    auto bytes = Testing::binaryPly( Testing::cube() );
    bytes = replaced( bytes, "ply\nformat", "ply\r\nformat" );
    bytes = replaced( bytes, "vertex_indices\n", "vertex_index\nelement camera 1\nproperty float fov\n" );
    EXPECT_EQ( meshFrom( "a.ply", bytes ).points, Testing::cube().points );

    std::string scan =
        "ply\nformat binary_little_endian 1.0\nelement vertex 2\nproperty double time\nproperty float x\n"
        "property float y\nproperty float z\nproperty ushort ring\nend_header\n";
    for ( const float x : { 1.f, 2.f } )
    {
        const std::array<float, 3> point = { x, 5, 6 };
        scan += std::string( 8, '\x11' ) + std::string( reinterpret_cast<const char*>( &point ), 12 ) + "\1\1";
    }
    loaded_ = loadObjectFromFile( folder_.write( "scan.ply", scan ) );
    ASSERT_TRUE( loaded_ ) << loaded_.error();
    const auto* points = dynamic_cast<const ObjectPoints*>( loaded_->objects.at( 0 ).get() );
    ASSERT_NE( points, nullptr );
    EXPECT_EQ( points->points()->points, ( std::vector<Vector3f>{ { 1, 5, 6 }, { 2, 5, 6 } } ) );
}

TEST_F( BinaryFormats, PlyOfPolygonsOrTextIsRead )
{
    const std::string quad = "element vertex 4\nproperty float x\nproperty float y\nproperty float z\n"
                             "element face 1\nproperty list uchar int vertex_indices\nend_header\n";
    EXPECT_EQ( meshFrom( "text.ply", "ply\nformat ascii 1.0\n" + quad + "0 0 0\n1 0 0\n1 1 0\n0 1 0\n4 0 1 2 3\n" )
                   .triangles.size(),
        2u );
    std::string binary = "ply\nformat binary_little_endian 1.0\n" + quad;
    for ( const float v : { 0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 1.f, 1.f, 0.f, 0.f, 1.f, 0.f } )
        binary.append( reinterpret_cast<const char*>( &v ), 4 );
    binary += '\4';
    for ( const uint32_t i : { 0u, 1u, 2u, 3u } )
        binary.append( reinterpret_cast<const char*>( &i ), 4 );
    EXPECT_EQ( meshFrom( "quad.ply", binary ).triangles.size(), 2u );
}

TEST_F( BinaryFormats, PlyWithoutTheEndOfItsHeaderIsRefused )
{
    EXPECT_EQ( errorFrom( "a.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_\n0 0 0\n" ),
        "Cannot read \"a.ply\": its header is damaged or missing" );
    EXPECT_EQ( errorFrom( "b.ply", "no ply at all" ), "Cannot read \"b.ply\": its header is damaged or missing" );
}

TEST_F( BinaryFormats, FacesWithoutCornersAreRefused )
{
    EXPECT_EQ( errorFrom( "empty.ply", "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                                       "property float z\nelement face 1\nproperty list uchar int vertex_indices\n"
                                       "end_header\n0 0 0\n1 0 0\n0 1 0\n0\n" ),
        "Cannot read \"empty.ply\": a face has no corners" );
}

TEST_F( BinaryFormats, PlyThatIsCutOffIsRefused )
{
    auto bytes = Testing::binaryPly( Testing::cube() );
    EXPECT_EQ( errorFrom( "cut.ply", bytes.substr( 0, bytes.size() - 1 ) ),
        "Cannot read \"cut.ply\": it is cut off: it should hold 12 triangles and holds 11" );
    EXPECT_EQ( errorFrom( "lie.ply", replaced( bytes, "vertex 8", "vertex 4294967295" ) ),
        "Cannot read \"lie.ply\": it is cut off: it should hold 4294967295 points and holds 21" );
}

TEST_F( BinaryFormats, PlyWithBadIndicesOrNumbersIsRefused )
{
    const auto bytes = Testing::binaryPly( Testing::cube() );
    EXPECT_EQ( errorFrom( "bad.ply", with( bytes, bytes.size() - 4, int32_t( -1 ) ) ),
        "Cannot read \"bad.ply\": a triangle refers to a point that does not exist" );
    EXPECT_EQ( errorFrom( "nan.ply", with( bytes, bytes.find( "end_header\n" ) + 11, cNaN ) ),
        "Cannot read \"nan.ply\": a point's place is not a number" );
}
