#include <VXViewer/slices/SliceLayout.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// 100 by 50 voxels that are twice as high as wide, so square in space, in 300 by 200 pixels.
class SliceLayouts : public testing::Test
{
protected:
    SliceLayouts() { layout_.set( 100, 50, { 100, 100 }, { 300, 200 } ); }

    SliceLayout layout_;
};

void expectNear( Vector2f a, Vector2f b )
{
    EXPECT_NEAR( a.x, b.x, 1e-3 );
    EXPECT_NEAR( a.y, b.y, 1e-3 );
}

} // namespace

TEST_F( SliceLayouts, ASliceStandsWholeInTheMiddleInItsProportions )
{
    expectNear( layout_.low(), { 50, 0 } );
    expectNear( layout_.high(), { 250, 200 } );
    expectNear( layout_.toScreen( { 50, 25 } ), { 150, 100 } );
    EXPECT_TRUE( layout_.contains( { 51, 1 } ) );
    EXPECT_FALSE( layout_.contains( { 49, 100 } ) );
    EXPECT_FALSE( layout_.contains( { 251, 100 } ) );
}

TEST_F( SliceLayouts, PlacesComeBack )
{
    layout_.zoom( 3, { 80, 40 } );
    layout_.move( { 5, -9 } );
    const auto pixel = layout_.toSlice( { 123, 77 } );
    expectNear( layout_.toScreen( pixel ), { 123, 77 } );
}

TEST_F( SliceLayouts, WhatIsZoomedAtStays )
{
    // Where the slice is larger than the rectangle both ways.
    layout_.zoom( 6, { 150, 100 } );
    const Vector2f anchor{ 170, 90 };
    const auto before = layout_.toSlice( anchor );
    layout_.zoom( 2, anchor );
    const auto after = layout_.toSlice( anchor );
    EXPECT_NEAR( before[0], after[0], 1e-3 );
    EXPECT_NEAR( before[1], after[1], 1e-3 );
    EXPECT_FALSE( layout_.isWhole() );
}

TEST_F( SliceLayouts, ZoomingEndsAtTheWholeAndAtAFewVoxels )
{
    layout_.zoom( -5, { 10, 10 } );
    EXPECT_TRUE( layout_.isWhole() );
    expectNear( layout_.low(), { 50, 0 } );
    layout_.zoom( 1000, { 150, 100 } );
    EXPECT_NEAR( layout_.high().x - layout_.low().x, 200 * 100 / 8, 1 );
}

TEST_F( SliceLayouts, NoSideComesFurtherInThanNeeded )
{
    layout_.move( { 1000, 1000 } );
    expectNear( layout_.low(), { 50, 0 } );
    layout_.zoom( 6, { 150, 100 } );
    layout_.move( { 1000, 1000 } );
    expectNear( layout_.low(), { 0, 0 } );
    layout_.move( { -10000, -10000 } );
    expectNear( layout_.high(), { 300, 200 } );
}

TEST_F( SliceLayouts, AnotherSliceIsShownWholeAndTheSameOneAsItWas )
{
    layout_.zoom( 3, { 80, 40 } );
    layout_.set( 100, 50, { 100, 100 }, { 320, 200 } );
    EXPECT_FALSE( layout_.isWhole() );
    layout_.set( 90, 50, { 100, 100 }, { 320, 200 } );
    EXPECT_TRUE( layout_.isWhole() );
    layout_.zoom( 3, { 80, 40 } );
    layout_.reset();
    expectNear( layout_.low(), { 60, 0 } );
}
