#include "support/TestMeshes.h"

#include <VXMesh/scene/FeatureEdges.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace VX;

namespace
{

/// Rings of four-sided cells of two triangles each, also where a cell ends in a pole.
Mesh sphereWithPoles( float radius, float gap )
{
    constexpr uint32_t cRings = 16, cSectors = 32;
    constexpr double cPi = 3.14159265358979323846;
    Mesh out;
    for ( uint32_t ring = 0; ring <= cRings; ++ring )
        for ( uint32_t sector = 0; sector <= cSectors; ++sector )
        {
            const double polar = cPi * ring / cRings, around = 2 * cPi * ( sector % cSectors ) / cSectors;
            const bool pole = ring == 0 || ring == cRings;
            const double width = pole ? gap : std::sin( polar );
            out.points.push_back( Vector3f{ float( width * std::cos( around ) ), float( width * std::sin( around ) ),
                                      float( std::cos( polar ) ) } *
                                  radius );
        }
    for ( uint32_t ring = 0; ring < cRings; ++ring )
        for ( uint32_t sector = 0; sector < cSectors; ++sector )
        {
            const uint32_t a = ring * ( cSectors + 1 ) + sector, b = a + cSectors + 1;
            out.triangles.push_back( { a, b, b + 1 } );
            out.triangles.push_back( { a, b + 1, a + 1 } );
        }
    return out;
}

} // namespace

TEST( FeatureEdges, FindsTheTwelveEdgesOfACube )
{
    EXPECT_EQ( findFeatureEdges( Testing::cube() ).size(), 12u );
}

TEST( FeatureEdges, FindsTheBorderOfASheet )
{
    EXPECT_EQ( findFeatureEdges( Testing::wavySheet( 40 ), 1.5f ).size(), 160u );
}

TEST( FeatureEdges, TakesCoincidentPointsForOne )
{
    Mesh split;
    const Mesh cube = Testing::cube();
    for ( const auto& t : cube.triangles )
    {
        const auto first = uint32_t( split.points.size() );
        for ( const auto v : t )
            split.points.push_back( cube.points[v] );
        split.triangles.push_back( { first, first + 1, first + 2 } );
    }
    EXPECT_EQ( findFeatureEdges( split ).size(), 12u );
}

TEST( FeatureEdges, TakesBothZerosForOne )
{
    Mesh sheet;
    sheet.points = { { 0, 0, 0 }, { 0, 1, 0 }, { -1, 0, 0 }, { -0.f, -0.f, 0 }, { -0.f, 1, -0.f }, { 1, 1, 0 } };
    sheet.triangles = { { 0, 1, 2 }, { 4, 3, 5 } };
    EXPECT_EQ( findFeatureEdges( sheet ).size(), 4u ) << "the border, without the side that both have";
}

TEST( FeatureEdges, HasNoneAtThePolesOfASphere )
{
    // Poles that are one place, and such as rounding takes apart.
    for ( const float gap : { 0.f, 1e-7f } )
        for ( const float radius : { 1.f, 1e-9f, 1e9f } )
            EXPECT_TRUE( findFeatureEdges( sphereWithPoles( radius, gap ) ).empty() ) << gap << " " << radius;
}

TEST( FeatureEdges, HasNoneAlongATriangleWithoutAreaInAFlatSheet )
{
    Mesh sheet;
    sheet.points = { { 0, 0, 0 }, { 1, 0, 0 }, { 2, 0, 0 }, { 1, 1, 0 }, { 1, -1, 0 } };
    sheet.triangles = { { 0, 1, 3 }, { 1, 2, 3 }, { 0, 2, 1 }, { 0, 4, 2 } };
    EXPECT_EQ( findFeatureEdges( sheet ).size(), 4u ) << "its border";
}

TEST( FeatureEdges, FindsThoseOfAVerySmallCube )
{
    EXPECT_EQ( findFeatureEdges( Testing::cube( 1e-15f ) ).size(), 12u );
}

TEST( FeatureEdges, GivesUpOnPointsThatAreNoNumbers )
{
    Mesh mesh = Testing::cube();
    mesh.points[3].x = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE( findFeatureEdges( mesh ).empty() );
}
