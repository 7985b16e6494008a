#include <VXViewer/core/SpaceMouseMotion.h>

#include <gtest/gtest.h>

#include <limits>

using namespace VX;

TEST( SpaceMouseMotion, OfACapAtItsStopIsOne )
{
    EXPECT_EQ( motionOf( { .x = 350 } ), ( SpaceMouseMotion{ { 1, 0, 0 }, {} } ) );
    EXPECT_EQ( motionOf( { .y = -350 } ), ( SpaceMouseMotion{ { 0, -1, 0 }, {} } ) );
    EXPECT_EQ( motionOf( { .rx = 175 } ), ( SpaceMouseMotion{ {}, { 0.5f, 0, 0 } } ) );
    EXPECT_EQ( motionOf( { .ry = 70 } ), ( SpaceMouseMotion{ {}, { 0, 0.2f, 0 } } ) );
}

TEST( SpaceMouseMotion, PointsTowardsTheUserWhereTheDaemonsPointsAway )
{
    EXPECT_EQ( motionOf( { .z = 350 } ).shift, ( Vector3f{ 0, 0, -1 } ) );
    EXPECT_EQ( motionOf( { .rz = -175 } ).turn, ( Vector3f{ 0, 0, 0.5f } ) );
}

TEST( SpaceMouseMotion, OfALivelierSettingOfTheDaemonIsNoMoreThanOne )
{
    constexpr int cMost = std::numeric_limits<int>::max(), cLeast = std::numeric_limits<int>::min();
    EXPECT_EQ(
        motionOf( { 1000, -1000, 351, cMost, cLeast, cLeast } ), ( SpaceMouseMotion{ { 1, -1, -1 }, { 1, -1, 1 } } ) );
}

TEST( SpaceMouseMotion, OfACapAtRestIsNone )
{
    EXPECT_EQ( motionOf( {} ), SpaceMouseMotion{} );
}
