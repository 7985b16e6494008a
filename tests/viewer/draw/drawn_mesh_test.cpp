#include "support/TestMeshes.h"

#include <VXViewer/draw/DrawnMesh.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr Color cRed{ 255, 0, 0, 255 }, cGlass{ 0, 0, 255, 100 };

/// Two triangles over a square that share an edge.
Mesh square()
{
    Mesh mesh;
    mesh.points = { { 0, 0, 0 }, { 4, 0, 0 }, { 4, 3, 0 }, { 0, 3, 0 } };
    mesh.triangles = { { 0, 1, 2 }, { 0, 2, 3 } };
    mesh.faceColors = { cRed, cGlass };
    return mesh;
}

} // namespace

TEST( DrawnMesh, WithColorsByFaceHasCornersOfItsOwn )
{
    const auto apart = withSeparateCorners( square() );
    const std::vector<Vector3f> points{ { 0, 0, 0 }, { 4, 0, 0 }, { 4, 3, 0 }, { 0, 0, 0 }, { 4, 3, 0 }, { 0, 3, 0 } };
    EXPECT_EQ( apart.points, points );
    EXPECT_EQ( apart.vertexColors, ( std::vector<Color>{ cRed, cRed, cRed, cGlass, cGlass, cGlass } ) );
    EXPECT_TRUE( apart.normals.empty() );
    EXPECT_TRUE( apart.triangles.empty() && apart.edges.empty() && apart.faceColors.empty() );
}

TEST( DrawnMesh, TakesNormalsAlongWithTheirCorners )
{
    auto mesh = square();
    mesh.normals = { { 1, 0, 0 }, { 0, 1, 0 }, { 0, 0, 1 }, { -1, 0, 0 } };
    const auto apart = withSeparateCorners( mesh );
    const std::vector<Vector3f> normals{
        { 1, 0, 0 }, { 0, 1, 0 }, { 0, 0, 1 }, { 1, 0, 0 }, { 0, 0, 1 }, { -1, 0, 0 } };
    EXPECT_EQ( apart.normals, normals );
}

TEST( DrawnMesh, WithoutTrianglesHasNoCorners )
{
    auto mesh = square();
    mesh.triangles.clear();
    mesh.faceColors.clear();
    EXPECT_TRUE( withSeparateCorners( mesh ).points.empty() );
    EXPECT_EQ( averageEdgeLength( mesh ), 0 );
    EXPECT_EQ( averageEdgeLength( {} ), 0 );
}

TEST( DrawnMesh, CountsEachSideOfEachTriangle )
{
    EXPECT_FLOAT_EQ( averageEdgeLength( square() ), 4 ) << "of 3, 4 and 5 twice";
    auto mesh = square();
    mesh.triangles.pop_back();
    mesh.points[2] = { 4, 6, 0 };
    EXPECT_FLOAT_EQ( averageEdgeLength( mesh ), ( 4 + 6 + std::hypot( 4.f, 6.f ) ) / 3 );
}

TEST( DrawnMesh, OfManyTrianglesSomeTellTheLength )
{
    const auto few = Testing::wavySheet( 10 );
    const auto many = Testing::wavySheet( 120 );
    ASSERT_GT( many.triangles.size(), 20'000u );
    const float side = averageEdgeLength( many );
    double sum = 0;
    for ( const auto& t : many.triangles )
        for ( size_t k = 0; k < 3; ++k )
            sum += ( many.points[t[( k + 1 ) % 3]] - many.points[t[k]] ).length();
    const double exact = sum / double( many.triangles.size() * 3 );
    EXPECT_NEAR( side, exact, exact * 0.1 );
    EXPECT_GT( averageEdgeLength( few ), side * 3 );
}

TEST( DrawnMesh, AsksNoMoreThanSomeTrianglesOfAnyMesh )
{
    // The first of each three is asked, and the others are as small as a point.
    Mesh mesh;
    mesh.points = { { 0, 0, 0 }, { 4, 0, 0 }, { 4, 3, 0 } };
    for ( int i = 0; i < 5000; ++i )
        mesh.triangles.push_back( i % 3 == 0 ? Triangle{ 0, 1, 2 } : Triangle{ 0, 0, 0 } );
    EXPECT_FLOAT_EQ( averageEdgeLength( mesh ), 4 );
}
