#include "support/voxels/TestVolumes.h"

#include <VXMesh/scene/ObjectVolume.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

std::shared_ptr<const Volume> volumeOf( const VoxelIndex& size )
{
    return std::make_shared<Volume>( Testing::numberedVolume( VoxelType::UInt8, size ) );
}

} // namespace

TEST( ObjectVolumeTest, CursorBeginsInTheMiddleAndStaysInTheGrid )
{
    ObjectVolume object;
    object.setCursor( { 1, 1, 1 } );
    EXPECT_EQ( object.cursor(), ( VoxelIndex{ 0, 0, 0 } ) ) << "there is nothing to point at";
    object.setVolume( volumeOf( { 10, 20, 30 } ) );
    EXPECT_EQ( object.cursor(), ( VoxelIndex{ 5, 10, 15 } ) );
    object.setCursor( { -1, 7, 100 } );
    EXPECT_EQ( object.cursor(), ( VoxelIndex{ 0, 7, 29 } ) );
    object.setVolume( volumeOf( { 10, 20, 30 } ) );
    EXPECT_EQ( object.cursor(), ( VoxelIndex{ 0, 7, 29 } ) ) << "an edit moves nothing";
    object.setVolume( volumeOf( { 10, 20, 8 } ) );
    EXPECT_EQ( object.cursor(), ( VoxelIndex{ 5, 10, 4 } ) );
    object.setVolume( nullptr );
    EXPECT_FALSE( object.localBox().valid() );
}

TEST( ObjectVolumeTest, IsDrawnAnewOnlyForWhatIsNew )
{
    ObjectVolume object;
    object.setVolume( volumeOf( { 4, 4, 4 } ) );
    object.setWindow( { 10, 20 } );
    auto before = object.revision();
    object.setCursor( object.cursor() );
    object.setWindow( { 10, 20 } );
    object.setWindow( { 10, 0 } );
    EXPECT_EQ( object.revision(), before );
    object.setCursor( { 0, 0, 0 } );
    EXPECT_GT( object.revision(), before );
    before = object.revision();
    object.setWindow( { 10, 30 } );
    EXPECT_GT( object.revision(), before );
}

TEST( ObjectVolumeTest, AnotherWindowSharesTheVoxels )
{
    ObjectVolume object;
    const auto volume = volumeOf( { 4, 4, 4 } );
    object.setVolume( volume );
    object.setWindow( { 10, 30 } );
    EXPECT_EQ( object.volume()->meaning().window, ( VolumeWindow{ 10, 30 } ) );
    EXPECT_EQ( object.volume()->bricks(), volume->bricks() );
}

TEST( ObjectVolumeTest, ACopyHasItsCursor )
{
    ObjectVolume object;
    object.setVolume( volumeOf( { 4, 4, 4 } ) );
    object.setCursor( { 3, 0, 1 } );
    const auto copy = std::dynamic_pointer_cast<ObjectVolume>( cloneTree( object ) );
    ASSERT_TRUE( copy );
    EXPECT_EQ( copy->cursor(), object.cursor() );
    EXPECT_EQ( copy->volume(), object.volume() );
}

TEST( ObjectVolumeTest, WhatIsMadeForTheSceneHasAWindow )
{
    const auto own = makeObjectVolume( Volume( *volumeOf( { 4, 4, 4 } ) ).with( VoxelMeaning{ .window = { 5, 6 } } ) );
    EXPECT_EQ( own->volume()->meaning().window, ( VolumeWindow{ 5, 6 } ) );
    EXPECT_GT( makeObjectVolume( *volumeOf( { 4, 4, 4 } ) )->volume()->meaning().window.width, 50 );
}
