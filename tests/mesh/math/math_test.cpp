#include "support/TestMeshes.h"

#include <VXMesh/math/AffineXf3.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( AffineXf3, AppliesTheRightOneFirst )
{
    const AffineXf3f move{ {}, { 1, 0, 0 } };
    const AffineXf3f turn{ rotation( { 0, 0, 1 }, 3.14159265f / 2 ), {} };
    const auto p = ( turn * move )( Vector3f{} );
    EXPECT_NEAR( p.x, 0, 1e-6 );
    EXPECT_NEAR( p.y, 1, 1e-6 );
}

TEST( Matrix3, InverseUndoesIt )
{
    const Matrix3f m{ { 2, 1, 0 }, { 0, 3, 1 }, { 1, 0, 1 } };
    const auto p = ( m.inverse() * m ) * Vector3f{ 1, 2, 3 };
    EXPECT_NEAR( p.x, 1, 1e-5 );
    EXPECT_NEAR( p.y, 2, 1e-5 );
    EXPECT_NEAR( p.z, 3, 1e-5 );
}

TEST( Box3, IsEmptyUntilItGrows )
{
    Box3f box;
    EXPECT_FALSE( box.valid() );
    EXPECT_EQ( box.diagonal(), 0 );
    box.include( Vector3f{ 1, 2, 3 } );
    EXPECT_TRUE( box.valid() );
}

TEST( Mesh, MeasuresACube )
{
    const auto cube = Testing::cube( 2 );
    EXPECT_NEAR( computeVolume( cube ), 8, 1e-9 );
    EXPECT_NEAR( computeArea( cube ), 24, 1e-9 );
    EXPECT_TRUE( isConsistent( cube ) );
}

TEST( Mesh, IsInconsistentWithAnIndexOutOfRange )
{
    auto mesh = Testing::cube();
    mesh.edges.push_back( { 0, 8 } );
    EXPECT_FALSE( isConsistent( mesh ) );
}

TEST( Mesh, OfAnySizeHasNormalsOfLengthOne )
{
    for ( const float side : { 1e-15f, 1e-9f, 1.f, 1e9f } )
        for ( const auto& normal : computeVertexNormals( Testing::cube( side ) ) )
            EXPECT_NEAR( normal.length(), 1, 1e-5f ) << side;
}
