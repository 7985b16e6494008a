#include <VXMesh/volume/OrientedSlice.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace VX;

namespace
{

constexpr VoxelIndex cSize{ 5, 7, 9 };

/// Which axis of the space each axis of a grid runs along, and which way.
VolumeGrid turnedGrid( const std::array<int, 3>& axes, int backwards )
{
    std::array<std::array<double, 3>, 3> rows{};
    for ( size_t i = 0; i < 3; ++i )
        rows[size_t( axes[i] )][i] = ( backwards >> i & 1 ) ? -1 : 1;
    const auto row = [&]( size_t i ) { return Vector3d{ rows[i][0], rows[i][1], rows[i][2] }; };
    return { .size = cSize,
        .spacing = { 0.5, 1, 2 },
        .direction = { row( 0 ), row( 1 ), row( 2 ) },
        .origin = { 10, 20, 30 } };
}

struct Wanted
{
    SliceDirection direction;
    Vector3d right, down;
};

const std::array cWanted{ Wanted{ SliceDirection::Axial, { 1, 0, 0 }, { 0, 1, 0 } },
    Wanted{ SliceDirection::Coronal, { 1, 0, 0 }, { 0, 0, -1 } },
    Wanted{ SliceDirection::Sagittal, { 0, 1, 0 }, { 0, 0, -1 } } };

template <typename Look>
void forEachTurn( const Look& look )
{
    std::array<int, 3> axes{ 0, 1, 2 };
    do
        for ( int backwards = 0; backwards < 8; ++backwards )
            look( turnedGrid( axes, backwards ) );
    while ( std::next_permutation( axes.begin(), axes.end() ) );
}

} // namespace

TEST( OrientedSlice, ShowsAPatientTheSameWayHoweverTheVoxelsLie )
{
    forEachTurn(
        []( const VolumeGrid& grid )
        {
            for ( const auto& [direction, right, down] : cWanted )
            {
                const auto plane = OrientedSlice::of( grid, direction ).plane( grid, 1 );
                EXPECT_NEAR( dot( plane.right.normalized(), right ), 1, 1e-9 );
                EXPECT_NEAR( dot( plane.down.normalized(), down ), 1, 1e-9 );
            }
        } );
}

TEST( OrientedSlice, PixelsAndVoxelsAreTheSamePlaces )
{
    const VoxelIndex voxel{ 3, 1, 7 };
    forEachTurn(
        [&]( const VolumeGrid& grid )
        {
            for ( const auto& wanted : cWanted )
            {
                const auto slice = OrientedSlice::of( grid, wanted.direction );
                const auto pixel = slice.pixelOf( grid, voxel );
                EXPECT_EQ( slice.voxelAt( grid, pixel[0], pixel[1], voxel ), voxel );
                const auto plane = slice.plane( grid, voxel[slice.across] );
                const auto place = grid.worldOf( { double( voxel[0] ), double( voxel[1] ), double( voxel[2] ) } );
                EXPECT_NEAR( ( plane.at( pixel[0] - 0.5, pixel[1] - 0.5 ) - place ).length(), 0, 1e-9 );
            }
        } );
}

TEST( OrientedSlice, PlacesBesideTheSliceAreHeldToIt )
{
    const auto grid = turnedGrid( { 0, 1, 2 }, 0 );
    const auto slice = OrientedSlice::of( grid, SliceDirection::Coronal );
    EXPECT_EQ( slice.voxelAt( grid, -3, 100, { 2, 4, 6 } ), ( VoxelIndex{ 0, 4, 0 } ) );
    EXPECT_EQ( slice.voxelAt( grid, 100, -3, { 2, 4, 6 } ), ( VoxelIndex{ 4, 4, 8 } ) );
}

TEST( OrientedSlice, TakesAsMuchSpaceAsItsVoxels )
{
    const auto grid = turnedGrid( { 0, 1, 2 }, 0 );
    const auto extent = [&]( SliceDirection direction ) { return OrientedSlice::of( grid, direction ).extent( grid ); };
    EXPECT_EQ( extent( SliceDirection::Axial ), ( std::array{ 2.5, 7. } ) );
    EXPECT_EQ( extent( SliceDirection::Coronal ), ( std::array{ 2.5, 18. } ) );
    EXPECT_EQ( extent( SliceDirection::Sagittal ), ( std::array{ 7., 18. } ) );
}
