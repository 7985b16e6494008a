#include "support/TestMeshes.h"

#include <VXMesh/scene/CoarseMesh.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace VX;

namespace
{

double area( const Mesh& mesh, const std::vector<Triangle>& triangles )
{
    double sum = 0;
    for ( const auto& [a, b, c] : triangles )
        sum += double( cross( mesh.points[b] - mesh.points[a], mesh.points[c] - mesh.points[a] ).length() ) / 2;
    return sum;
}

} // namespace

TEST( CoarseMesh, HasAnEighthOfTheTrianglesAndMuchTheSameShape )
{
    const Mesh mesh = Testing::wavySheet( 200 );
    const auto coarse = coarseTriangles( mesh );
    EXPECT_GT( coarse.size(), mesh.triangles.size() / 30 );
    EXPECT_LE( coarse.size(), mesh.triangles.size() / 8 );
    for ( const auto& triangle : coarse )
        for ( const auto point : triangle )
            ASSERT_LT( point, mesh.points.size() );
    const double whole = area( mesh, mesh.triangles );
    EXPECT_NEAR( area( mesh, coarse ), whole, whole * 0.1 );
}

TEST( CoarseMesh, SmallMeshesHaveNone )
{
    EXPECT_TRUE( coarseTriangles( Testing::cube() ).empty() );
    EXPECT_TRUE( coarseTriangles( Mesh{} ).empty() );
}

TEST( CoarseMesh, DegenerateMeshesDoNoHarm )
{
    Mesh mesh = Testing::wavySheet( 100 );
    for ( auto& point : mesh.points )
        point = { 1, 2, 3 };
    EXPECT_LE( coarseTriangles( mesh ).size(), mesh.triangles.size() );
    for ( auto& point : mesh.points )
        point = { std::nanf( "" ), INFINITY, -INFINITY };
    EXPECT_LE( coarseTriangles( mesh ).size(), mesh.triangles.size() );
}
