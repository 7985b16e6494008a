#include "support/voxels/TestVolumes.h"

#include <VXMesh/volume/VolumeSlice.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace VX;
using namespace VX::Testing;

namespace
{

/// The value of a voxel is x + 100 * y + 10000 * z of its place in the world, so what is between is known.
Volume linearVolume()
{
    VolumeGrid grid{ .size = { 70, 66, 20 },
        .spacing = { 0.5, 1, 2 },
        .direction = { { 0, 0, 1 }, { 1, 0, 0 }, { 0, 1, 0 } },
        .origin = { -3, 4, 5 } };
    VolumeEdit edit( Volume::filled( VoxelType::Float32, grid ) );
    forEachIndex( grid.size,
        [&]( const VoxelIndex& i )
        {
            const Vector3d p = grid.worldOf( { double( i[0] ), double( i[1] ), double( i[2] ) } );
            edit.setStored( i, p.x + 100 * p.y + 10000 * p.z );
        } );
    return std::move( edit ).finish();
}

std::vector<float> sampled( const Volume& volume, const SlicePlane& plane, const SliceOptions& options = {} )
{
    std::vector<float> out( plane.pixelCount() );
    EXPECT_TRUE( sampleSlice( volume, plane, out, options ) );
    return out;
}

} // namespace

TEST( VolumeSlice, AlongTheGridHasTheVoxelsThemselves )
{
    const Volume volume = numberedVolume( VoxelType::Int16, { 70, 65, 19 } ).with( { .slope = 2, .intercept = 1 } );
    for ( const auto interpolation : { Interpolation::Nearest, Interpolation::Linear } )
        for ( int axis = 0; axis < 3; ++axis )
        {
            const auto plane = gridPlane( volume.grid(), axis, 17 );
            const auto pixels = sampled( volume, plane, { .interpolation = interpolation } );
            ASSERT_FALSE( pixels.empty() );
            size_t wrong = 0;
            for ( int y = 0; y < plane.height; ++y )
                for ( int x = 0; x < plane.width; ++x )
                {
                    const VoxelIndex at = axis == 0   ? VoxelIndex{ 17, x, y }
                                          : axis == 1 ? VoxelIndex{ x, 17, y }
                                                      : VoxelIndex{ x, y, 17 };
                    wrong += double( pixels[size_t( y * plane.width + x )] ) != volume.value( at );
                }
            EXPECT_EQ( wrong, 0u ) << "axis " << axis;
        }
}

TEST( VolumeSlice, AcrossTheGridIsLinearBetweenVoxels )
{
    const Volume volume = linearVolume();
    const auto plane = planeThrough( volume.box().center(), { 1, 2, 3 }, { 0, 0, 1 }, 0.3, 120, 90 );
    const auto pixels = sampled( volume, plane );
    const Box3d box = volume.box();
    size_t inside = 0;
    for ( int y = 0; y < plane.height; ++y )
        for ( int x = 0; x < plane.width; ++x )
        {
            const Vector3d p = plane.at( x, y ), index = volume.indexOf( p );
            const float pixel = pixels[size_t( y * plane.width + x )];
            const bool isWithin =
                index.x >= 0 && index.y >= 0 && index.z >= 0 && index.x <= 69 && index.y <= 65 && index.z <= 19;
            const bool isOutside = p.x < box.min.x || p.y < box.min.y || p.z < box.min.z || p.x > box.max.x ||
                                   p.y > box.max.y || p.z > box.max.z;
            if ( isWithin )
            {
                ++inside;
                ASSERT_NEAR( double( pixel ), p.x + 100 * p.y + 10000 * p.z, 0.5 );
            }
            if ( isOutside )
            {
                ASSERT_TRUE( std::isnan( pixel ) );
            }
        }
    EXPECT_GT( inside, 1000u );
}

TEST( VolumeSlice, StandsSquareToItsNormalWithUpAtTheTop )
{
    const auto plane = planeThrough( { 1, 2, 3 }, { 0, -1, 0 }, { 0, 0, 1 }, 0.5, 3, 5 );
    EXPECT_EQ( plane.at( 1, 2 ), ( Vector3d{ 1, 2, 3 } ) );
    EXPECT_EQ( plane.down, ( Vector3d{ 0, 0, -0.5 } ) );
    EXPECT_EQ( plane.right, ( Vector3d{ 0.5, 0, 0 } ) );
    const auto other = planeThrough( {}, { 0, 0, 2 }, { 0, 0, 1 }, 1, 2, 2 );
    EXPECT_NEAR( dot( other.right, other.down ), 0, 1e-12 );
    EXPECT_NEAR( other.right.length(), 1, 1e-12 );
    EXPECT_NEAR( other.right.z, 0, 1e-12 );
}

TEST( VolumeSlice, OfASingleVoxelIsThatVoxel )
{
    const Volume volume = numberedVolume( VoxelType::UInt8, { 1, 1, 1 } );
    const SlicePlane plane{ .origin = { -1, -1, 0 }, .width = 3, .height = 3 };
    const auto pixels = sampled( volume, plane, { .outside = -5 } );
    for ( size_t i = 0; i < 9; ++i )
        EXPECT_EQ( pixels[i], i == 4 ? 0.f : -5.f );
}

TEST( VolumeSlice, RefusesABufferOfAnotherSize )
{
    const Volume volume = numberedVolume( VoxelType::UInt8, { 2, 2, 2 } );
    std::vector<float> out( 5 );
    EXPECT_FALSE( sampleSlice( volume, gridPlane( volume.grid(), 2, 0 ), out ) );
    std::vector<uint8_t> grey( 4 );
    EXPECT_FALSE( toGrey( out, { 0, 1 }, grey ) );
}

TEST( VolumeSlice, WithoutNumbersInItsPlaneIsOutside )
{
    const Volume volume = numberedVolume( VoxelType::UInt8, { 2, 2, 2 } );
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto pixels = sampled( volume, { .origin = { nan, 0, 0 }, .width = 2, .height = 1 }, { .outside = 9 } );
    EXPECT_EQ( pixels, ( std::vector<float>{ 9, 9 } ) );
    EXPECT_EQ( sampled( Volume(), { .width = 1, .height = 1 }, { .outside = 9 } ), std::vector<float>{ 9 } );
}

TEST( VolumeWindow, MapsValuesToGrey )
{
    const std::vector<float> values{ -1000, 0, 50, 100, 1000, std::nanf( "" ) };
    std::vector<uint8_t> grey( values.size() );
    ASSERT_TRUE( toGrey( values, { .center = 50, .width = 100 }, grey ) );
    EXPECT_EQ( grey, ( std::vector<uint8_t>{ 0, 0, 128, 255, 255, 0 } ) );
}
