#include <VXViewer/draw/Matrix4.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// The first three of a matrix times a point.
Vector3f apply( const Matrix4f& m, const Vector3f& p )
{
    const auto row = [&]( size_t i )
    { return m.at( i, 0 ) * p.x + m.at( i, 1 ) * p.y + m.at( i, 2 ) * p.z + m.at( i, 3 ); };
    return { row( 0 ), row( 1 ), row( 2 ) };
}

} // namespace

TEST( Matrix4, MovesPointsAsThePlacementItIsMadeFrom )
{
    const AffineXf3f xf{ { { 1, 2, 3 }, { 4, 5, 6 }, { 7, 8, 10 } }, { 11, 12, 13 } };
    const auto m = Matrix4f::from( xf );
    for ( const Vector3f& p : { Vector3f{}, Vector3f{ 1, 0, 0 }, Vector3f{ 2, -3, 5 } } )
        EXPECT_EQ( apply( m, p ), xf( p ) );
    EXPECT_EQ( m.at( 3, 0 ), 0 );
    EXPECT_EQ( m.at( 3, 3 ), 1 );
}

TEST( Matrix4, IsKeptByColumns )
{
    const auto m = Matrix4f::from( { {}, { 11, 12, 13 } } );
    EXPECT_EQ( m.m, ( std::array<float, 16>{ 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 11, 12, 13, 1 } ) );
}

TEST( Matrix4, AProductDoesTheSecondFirst )
{
    const AffineXf3f turn{ { { 0, -1, 0 }, { 1, 0, 0 }, { 0, 0, 1 } }, {} }, shift{ {}, { 5, 0, 0 } };
    const auto turned = Matrix4f::from( turn ), shifted = Matrix4f::from( shift );
    const Vector3f p{ 1, 2, 3 };
    EXPECT_EQ( apply( turned * shifted, p ), turn( shift( p ) ) );
    EXPECT_EQ( apply( shifted * turned, p ), shift( turn( p ) ) );
    EXPECT_EQ( ( turned * Matrix4f{} ).m, turned.m );
}
