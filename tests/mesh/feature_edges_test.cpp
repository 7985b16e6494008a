#include "support/TestMeshes.h"

#include <VXMesh/scene/FeatureEdges.h>

#include <gtest/gtest.h>

#include <limits>

using namespace VX;

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

TEST( FeatureEdges, GivesUpOnPointsThatAreNoNumbers )
{
    Mesh mesh = Testing::cube();
    mesh.points[3].x = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE( findFeatureEdges( mesh ).empty() );
}
