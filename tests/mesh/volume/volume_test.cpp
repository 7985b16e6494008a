#include "support/voxels/TestVolumes.h"

#include <VXMesh/scene/ObjectVolume.h>
#include <VXMesh/volume/VolumeEdit.h>

#include <gtest/gtest.h>

#include <climits>
#include <limits>

using namespace VX;
using namespace VX::Testing;

namespace
{

constexpr double cNaN = std::numeric_limits<double>::quiet_NaN();

VolumeGrid gridOf( const VoxelIndex& size )
{
    VolumeGrid grid;
    grid.size = size;
    return grid;
}

/// The x axis along the world's y, the y axis along its z, the z axis along its x.
VolumeGrid turnedGrid()
{
    return { .size = { 10, 20, 30 },
        .spacing = { 0.5, 2, 3 },
        .direction = { { 0, 0, 1 }, { 1, 0, 0 }, { 0, 1, 0 } },
        .origin = { 100, 200, 300 } };
}

} // namespace

TEST( VolumeGrid, TellsPlacesThereAndBack )
{
    const VolumeGrid grid = turnedGrid();
    EXPECT_EQ( grid.worldOf( { 2, 1, 1 } ), ( Vector3d{ 103, 201, 302 } ) );
    EXPECT_EQ( grid.indexOf( { 103, 201, 302 } ), ( Vector3d{ 2, 1, 1 } ) );
    EXPECT_EQ( grid.worldXf()( Vector3d{ 2, 1, 1 } ), ( Vector3d{ 103, 201, 302 } ) );
    EXPECT_LT( ( grid.indexXf()( Vector3d{ 103, 201, 302 } ) - Vector3d{ 2, 1, 1 } ).length(), 1e-12 );
    EXPECT_EQ( grid.voxelAt( { 104.4, 201.2, 302.9 } ), ( VoxelIndex{ 2, 1, 1 } ) );
}

TEST( VolumeGrid, HasABoxAroundWholeVoxels )
{
    const Box3d box = turnedGrid().box();
    EXPECT_EQ( box.min, ( Vector3d{ 98.5, 199.75, 299 } ) );
    EXPECT_EQ( box.max, ( Vector3d{ 188.5, 204.75, 339 } ) );
    EXPECT_FALSE( VolumeGrid{}.box().valid() );
}

TEST( VolumeGrid, NamesTheAxisThatRunsAlongOneOfSpace )
{
    const VolumeGrid grid = turnedGrid();
    EXPECT_EQ( grid.axisAlong( 0 ), 2 );
    EXPECT_EQ( grid.axisAlong( 1 ), 0 );
    EXPECT_EQ( grid.axisAlong( 2 ), 1 );
    EXPECT_EQ( VolumeGrid{}.axisAlong( 2 ), 2 );
}

TEST( VolumeGrid, RefusesWhatIsNoGrid )
{
    EXPECT_TRUE( turnedGrid().isConsistent() );
    const auto isConsistentWith = []( const auto& change )
    {
        VolumeGrid grid = turnedGrid();
        change( grid );
        return grid.isConsistent();
    };
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.size[1] = 0; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.size[1] = -3; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.spacing.y = 0; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.spacing.z = cNaN; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.origin.x = cNaN; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.direction.x.x = cNaN; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.direction.x.x = 0.1; } ) );
    EXPECT_FALSE( isConsistentWith( []( VolumeGrid& g ) { g.size = { INT_MAX, INT_MAX, INT_MAX }; } ) );
}

TEST( Volume, KeepsEveryVoxelOfEveryType )
{
    const VoxelIndex size{ 70, 65, 19 };
    for ( const auto type : cAllVoxelTypes )
    {
        const Volume volume = numberedVolume( type, size );
        ASSERT_TRUE( volume.isConsistent() );
        size_t wrong = 0;
        forEachIndex( size, [&]( const VoxelIndex& i ) { wrong += volume.stored( i ) != numberAt( i ); } );
        EXPECT_EQ( wrong, 0u ) << nameOf( type );
        visit( volume,
            [&]( const auto& voxels )
            {
                std::vector<typename std::decay_t<decltype( voxels )>::Value> row( 69 );
                voxels.copyRow( 1, 64, 17, row );
                for ( int x = 0; x < 69; ++x )
                    wrong += double( row[size_t( x )] ) != numberAt( { x + 1, 64, 17 } );
            } );
        EXPECT_EQ( wrong, 0u ) << nameOf( type );
    }
}

TEST( Volume, HasNoPaddingAtItsBorders )
{
    const Volume volume = numberedVolume( VoxelType::Int16, { 70, 65, 19 } );
    EXPECT_EQ( volume.brickCounts(), ( VoxelIndex{ 2, 2, 2 } ) );
    EXPECT_EQ( volume.brickBegin( 7 ), ( VoxelIndex{ 64, 64, 16 } ) );
    EXPECT_EQ( volume.brickSize( 7 ), ( VoxelIndex{ 6, 1, 3 } ) );
    EXPECT_EQ( volume.bytes(), 70u * 65 * 19 * 2 );
}

TEST( Volume, HasNoNumberOutsideAndAValueInside )
{
    const Volume volume = numberedVolume( VoxelType::UInt8, { 3, 3, 3 } ).with( { .slope = 2, .intercept = -1000 } );
    EXPECT_EQ( volume.value( { 1, 0, 0 } ), 2 * 7 - 1000. );
    EXPECT_TRUE( std::isnan( volume.stored( { 3, 0, 0 } ) ) );
    EXPECT_TRUE( std::isnan( volume.stored( { 0, -1, 0 } ) ) );
    EXPECT_TRUE( std::isnan( Volume().value( { 0, 0, 0 } ) ) );
}

TEST( Volume, OfOneValueCostsAFewBricks )
{
    const Volume volume = Volume::filled( VoxelType::UInt8, gridOf( { 1000, 1000, 1000 } ), 7 );
    EXPECT_TRUE( volume.isConsistent() );
    EXPECT_EQ( volume.stored( { 999, 999, 999 } ), 7 );
    EXPECT_LT( volume.bytes(), 1'000'000u );
}

TEST( Volume, HoldsNumbersToTheRangeOfItsType )
{
    EXPECT_EQ( Volume::filled( VoxelType::UInt8, gridOf( { 1, 1, 1 } ), 300 ).stored( { 0, 0, 0 } ), 255 );
    EXPECT_EQ( Volume::filled( VoxelType::Int8, gridOf( { 1, 1, 1 } ), -300 ).stored( { 0, 0, 0 } ), -128 );
    EXPECT_EQ( Volume::filled( VoxelType::UInt32, gridOf( { 1, 1, 1 } ), 1e20 ).stored( { 0, 0, 0 } ), 4294967295. );
    EXPECT_EQ( Volume::filled( VoxelType::Int32, gridOf( { 1, 1, 1 } ), cNaN ).stored( { 0, 0, 0 } ), 0 );
    EXPECT_EQ( Volume::filled( VoxelType::Int16, gridOf( { 1, 1, 1 } ), 1.6 ).stored( { 0, 0, 0 } ), 2 );
}

TEST( Volume, SaysWhenItsPartsDoNotFit )
{
    const Volume whole = numberedVolume( VoxelType::UInt8, { 70, 4, 4 } );
    EXPECT_TRUE( whole.isConsistent() );
    EXPECT_FALSE( Volume().isConsistent() );
    auto bricks = whole.bricks();
    bricks[1] = nullptr;
    EXPECT_FALSE( Volume( whole.type(), whole.grid(), {}, bricks ).isConsistent() );
    bricks.pop_back();
    EXPECT_FALSE( Volume( whole.type(), whole.grid(), {}, bricks ).isConsistent() );
    EXPECT_FALSE( whole.with( VoxelMeaning{ .slope = 0 } ).isConsistent() );
    EXPECT_FALSE( whole.with( VoxelMeaning{ .intercept = cNaN } ).isConsistent() );
    EXPECT_FALSE( whole.with( VoxelMeaning{ .window = { 0, -1 } } ).isConsistent() );
    EXPECT_TRUE( whole.with( gridOf( { 4, 4, 70 } ) ).empty() );
}

TEST( VolumeEdit, CopiesOnlyTheBricksItTouches )
{
    const Volume before = numberedVolume( VoxelType::Int16, { 130, 65, 19 } );
    VolumeEdit edit( before );
    edit.setStored( { 64, 3, 5 }, -500 );
    edit.setStored( { 127, 63, 15 }, 501 );
    edit.setStored( { 130, 0, 0 }, 1 );
    EXPECT_TRUE( edit.isTouched( 1 ) );
    EXPECT_FALSE( edit.isTouched( 0 ) );
    const Volume after = std::move( edit ).finish();

    EXPECT_EQ( after.stored( { 64, 3, 5 } ), -500 );
    EXPECT_EQ( after.stored( { 127, 63, 15 } ), 501 );
    EXPECT_EQ( before.stored( { 64, 3, 5 } ), numberAt( { 64, 3, 5 } ) );
    EXPECT_EQ( differingVoxels( before, after ), 2u );
    for ( size_t i = 0; i < before.bricks().size(); ++i )
        EXPECT_EQ( before.bricks()[i] == after.bricks()[i], i != 1 );
}

TEST( VolumeEdit, GivesBricksToWriteToByTheirTypeAlone )
{
    VolumeEdit edit( numberedVolume( VoxelType::Int16, { 70, 4, 4 } ) );
    EXPECT_TRUE( edit.brick<float>( 0 ).empty() );
    EXPECT_TRUE( edit.brick<int16_t>( 2 ).empty() );
    const auto voxels = edit.brick<int16_t>( 1 );
    ASSERT_EQ( voxels.size(), 6u * 4 * 4 );
    voxels.back() = 1234;
    EXPECT_EQ( edit.volume().stored( { 69, 3, 3 } ), 1234 );
}

TEST( ObjectVolume, HasItsVolumesBoxAndTellsOfChanges )
{
    const auto object = std::make_shared<ObjectVolume>();
    EXPECT_FALSE( object->localBox().valid() );
    const auto before = object->revision();
    object->setVolume( std::make_shared<Volume>( Volume::filled( VoxelType::UInt8, turnedGrid() ) ) );
    EXPECT_GT( object->revision(), before );
    EXPECT_EQ( object->localBox(), Box3f( turnedGrid().box() ) );
    object->setVolume( nullptr );
    EXPECT_FALSE( object->localBox().valid() );
}

TEST( ObjectVolume, IsClonedWithTheSameVoxels )
{
    const auto object = std::make_shared<ObjectVolume>();
    object->setName( "Head" );
    object->setColor( { 1, 2, 3, 255 } );
    object->setVolume( std::make_shared<Volume>( Volume::filled( VoxelType::UInt8, turnedGrid() ) ) );
    const auto clone = std::dynamic_pointer_cast<ObjectVolume>( cloneTree( *object ) );
    ASSERT_TRUE( clone );
    EXPECT_EQ( clone->name(), "Head" );
    EXPECT_EQ( clone->volume(), object->volume() );
    EXPECT_EQ( clone->color(), object->color() );
}
