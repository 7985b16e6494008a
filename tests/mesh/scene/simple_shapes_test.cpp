#include <VXMesh/scene/RayCast.h>
#include <VXMesh/scene/SimpleShapes.h>

#include <gtest/gtest.h>

#include <map>
#include <numbers>

using namespace VX;
using namespace VX::SimpleShapes;

namespace
{

constexpr double cPi = std::numbers::pi;

/// Sides of triangles that no triangle runs along the other way, with coinciding points taken for one.
size_t openSides( const Mesh& mesh )
{
    const auto key = [&]( uint32_t v )
    {
        const auto& p = mesh.points[v];
        const auto round = []( float x ) { return std::lround( double( x ) * 1e5 ); };
        return std::array{ round( p.x ), round( p.y ), round( p.z ) };
    };
    std::map<std::pair<std::array<long, 3>, std::array<long, 3>>, int> count;
    for ( const auto& t : mesh.triangles )
        for ( size_t k = 0; k < 3; ++k )
        {
            ++count[{ key( t[k] ), key( t[( k + 1 ) % 3] ) }];
            --count[{ key( t[( k + 1 ) % 3] ), key( t[k] ) }];
        }
    size_t out = 0;
    for ( const auto& [side, n] : count )
        out += n != 0;
    return out;
}

void expectSolid( const Mesh& mesh, double volume, double tolerance )
{
    EXPECT_TRUE( isConsistent( mesh ) );
    EXPECT_EQ( openSides( mesh ), 0u );
    EXPECT_NEAR( computeVolume( mesh ), volume, volume * tolerance );
    ASSERT_EQ( mesh.normals.size(), mesh.points.size() );
    for ( const auto& t : mesh.triangles )
    {
        const auto& a = mesh.points[t[0]];
        const auto facet = cross( mesh.points[t[1]] - a, mesh.points[t[2]] - a );
        EXPECT_GT( dot( facet, mesh.normals[t[0]] ), 0 );
    }
}

} // namespace

TEST( SimpleShapes, AreClosedWithTheirVolumeAndNormalsOutwards )
{
    expectSolid( makeCuboid( { 1, 2, 3 } ), 6, 1e-6 );
    expectSolid( makeCylinder( 2, 5, 128 ), cPi * 4 * 5, 2e-3 );
    expectSolid( makeSphere( 2, 128 ), cPi * 8 * 4 / 3, 3e-3 );
    expectSolid( makePrism( 6, 1, 2 ), 1.5 * std::sqrt( 3. ) * 2, 1e-5 );
    expectSolid( makeTorus( 3, 1, 128 ), 2 * cPi * cPi * 3, 5e-3 );
    expectSolid( makeArrow( 4, 0.2f, 0.4f, 128 ), cPi * ( 0.04 * 3 + 0.16 * 1 / 3 ), 3e-3 );
}

TEST( SimpleShapes, HaveTheEdgesThatOneWouldDraw )
{
    EXPECT_EQ( makeCuboid( { 1, 1, 1 } ).edges.size(), 12u );
    EXPECT_EQ( makePrism( 6, 1, 1 ).edges.size(), 18u );
    EXPECT_EQ( makeCylinder( 1, 1, 32 ).edges.size(), 64u );
    EXPECT_TRUE( makeSphere( 1, 32 ).edges.empty() );
    EXPECT_TRUE( makeTorus( 2, 0.5f, 32 ).edges.empty() );
}

TEST( SimpleShapes, TakeTooFewSegmentsForThree )
{
    expectSolid( makeCylinder( 1, 1, 0 ), 3 * std::sqrt( 3. ) / 4, 1e-5 );
    EXPECT_FALSE( makeSphere( 1, -5 ).triangles.empty() );
    EXPECT_FALSE( makePrism( 1, 1, 1 ).triangles.empty() );
}

TEST( RayCast, FindsTheNearestTriangle )
{
    const auto cube = makeCuboid( { 2, 2, 2 } );
    const auto hit = intersect( cube, { { 0.2f, 0.3f, 10 }, { 0, 0, -2 } } );
    ASSERT_TRUE( hit );
    EXPECT_FLOAT_EQ( hit->distance, 4.5f );
    EXPECT_FLOAT_EQ( hit->point.z, 1 );
    EXPECT_TRUE( intersect( cube, { { 0, 0, 0 }, { 1, 0.1f, 0.1f } } ) ) << "from inside";
    EXPECT_FALSE( intersect( cube, { { 0, 0, 10 }, { 0, 0, 1 } } ) ) << "behind";
    EXPECT_FALSE( intersect( cube, { { 3, 0, 10 }, { 0, 0, -1 } } ) );
    EXPECT_FALSE( intersect( cube, { { 0, 0, 10 }, { 0, 0, 0 } } ) );
    EXPECT_FALSE( intersect( {}, { { 0, 0, 10 }, { 0, 0, -1 } } ) );
}

TEST( RayCast, ASmoothRegionEndsAtCreases )
{
    const auto cube = makeCuboid( { 1, 1, 1 } );
    EXPECT_EQ( findSmoothRegion( cube, 0 ).size(), 2u );
    const auto cylinder = makeCylinder( 1, 1, 64 );
    EXPECT_EQ( findSmoothRegion( cylinder, 0 ).size(), 64u ) << "the lower cap";
    EXPECT_EQ( findSmoothRegion( cylinder, 64 ).size(), 128u ) << "the side";
    const auto sphere = makeSphere( 1, 64 );
    EXPECT_EQ( findSmoothRegion( sphere, 5 ).size(), sphere.triangles.size() );
    EXPECT_TRUE( findSmoothRegion( cube, 12 ).empty() );
}
