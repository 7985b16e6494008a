#include "support/TestMeshes.h"

#include <VXMesh/scene/Origin.h>
#include <VXMesh/scene/SimpleShapes.h>
#include <VXViewer/tools/MeshPicking.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr Vector3d cFar{ 500'000, 5'500'000, 120 };

} // namespace

TEST( MeshPicking, HitsABallFarFromZero )
{
    const auto ball = Testing::meshObject( "ball", SimpleShapes::makeSphere( 1, 64 ) );
    ball->setXf( translation( cFar ) );
    const auto hit = intersectObject( *ball, { cFar + Vector3d{ 0.1, -5, 0.2 }, { 0, 2, 0 } } );
    ASSERT_TRUE( hit );
    const Vector3d place = ball->worldXf()( hit->point );
    EXPECT_NEAR( ( place - cFar ).length(), 1, 0.005 );
    EXPECT_NEAR( place.x, cFar.x + 0.1, 1e-6 );
    EXPECT_NEAR( place.z, cFar.z + 0.2, 1e-6 );
    EXPECT_NEAR( hit->distance, 2.01, 0.01 );
}

TEST( MeshPicking, HitsWhatIsFarFromTheViewer )
{
    const auto cube = Testing::meshObject( "cube", Testing::cube() );
    cube->setXf( { Matrix3d( rotation( { 0, 0, 1 }, 0.7f ) ), cFar } );
    const Vector3d aim = cube->worldXf()( Vector3d{ 0.5, 0.25, 1 } ), direction{ 0.6, 0.7, -0.38 };
    const auto hit = intersectObject( *cube, { aim - direction * 1e6, direction } );
    ASSERT_TRUE( hit );
    EXPECT_NEAR( hit->point.x, 0.5, 1e-4 );
    EXPECT_NEAR( hit->point.y, 0.25, 1e-4 );
    EXPECT_NEAR( hit->point.z, 1, 1e-4 );
    EXPECT_NEAR( hit->distance, 1e6, 1 );
    EXPECT_FALSE( intersectObject( *cube, { aim - direction * 1e6, -direction } ) ) << "behind the viewer";
}
