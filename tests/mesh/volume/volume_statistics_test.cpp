#include "support/voxels/TestVolumes.h"

#include <VXMesh/volume/VolumeStatistics.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

using namespace VX;
using namespace VX::Testing;

namespace
{

/// One number in all 27 voxels, but another in the first and a third in the last.
Volume threeValues( VoxelType type, double most, double first, double last )
{
    VolumeGrid grid;
    grid.size = { 3, 3, 3 };
    VolumeEdit edit( Volume::filled( type, grid, most ) );
    edit.setStored( { 0, 0, 0 }, first );
    edit.setStored( { 2, 2, 2 }, last );
    return std::move( edit ).finish();
}

} // namespace

TEST( VolumeStatistics, AreThoseOfAllVoxels )
{
    const VoxelIndex size{ 130, 70, 35 };
    double sum = 0, squares = 0, count = 0;
    forEachIndex( size,
        [&]( const VoxelIndex& i )
        {
            const double v = 2 * numberAt( i ) + 1;
            sum += v;
            squares += v * v;
            ++count;
        } );
    const double mean = sum / count, deviation = std::sqrt( squares / count - mean * mean );
    for ( const auto type : cAllVoxelTypes )
    {
        const auto statistics = statisticsOf( numberedVolume( type, size ).with( { .slope = 2, .intercept = 1 } ) );
        EXPECT_EQ( statistics.count, uint64_t( count ) ) << nameOf( type );
        EXPECT_EQ( statistics.min, 1 );
        EXPECT_EQ( statistics.max, 253 );
        EXPECT_NEAR( statistics.mean, mean, 1e-9 ) << nameOf( type );
        EXPECT_NEAR( statistics.deviation, deviation, 1e-9 ) << nameOf( type );
    }
}

TEST( VolumeStatistics, SwapEndsWhereTheSlopeIsNegative )
{
    const auto statistics = statisticsOf( threeValues( VoxelType::Int16, 0, -5, 10 ).with( { .slope = -1 } ) );
    EXPECT_EQ( statistics.min, -10 );
    EXPECT_EQ( statistics.max, 5 );
}

TEST( VolumeStatistics, LeaveOutWhatIsNoNumber )
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();
    const auto statistics = statisticsOf( threeValues( VoxelType::Float32, 2, nan, infinite ) );
    EXPECT_EQ( statistics.count, 25u );
    EXPECT_EQ( statistics.min, 2 );
    EXPECT_EQ( statistics.max, 2 );
    EXPECT_EQ( statistics.deviation, 0 );
    EXPECT_EQ( statisticsOf( threeValues( VoxelType::Float32, nan, nan, nan ) ).count, 0u );
    EXPECT_EQ( statisticsOf( Volume() ).count, 0u );
}

TEST( VolumeStatistics, KeepLargeNumbersApart )
{
    const auto statistics = statisticsOf( threeValues( VoxelType::UInt32, 4294967295., 4294967294., 4294967293. ) );
    EXPECT_EQ( statistics.min, 4294967293. );
    EXPECT_NEAR( statistics.mean, 4294967295. - 3 / 27., 1e-6 );
    EXPECT_NEAR( statistics.deviation, std::sqrt( 5 / 27. - 9 / 729. ), 1e-6 );
}

TEST( VolumeHistogram, CountsEachVoxelOnce )
{
    const auto histogram = histogramOf( numberedVolume( VoxelType::UInt8, { 127, 64, 17 } ), 127 );
    EXPECT_EQ( histogram.low, 0 );
    EXPECT_EQ( histogram.high, 126 );
    ASSERT_EQ( histogram.counts.size(), 127u );
    // Each number is as frequent as the others.
    for ( size_t i = 0; i + 1 < 126; ++i )
        EXPECT_EQ( histogram.counts[i], 64u * 17 ) << i;
    EXPECT_EQ( std::accumulate( histogram.counts.begin(), histogram.counts.end(), uint64_t( 0 ) ), 127u * 64 * 17 );
}

TEST( VolumeHistogram, LeavesOutWhatIsBeyondItsEnds )
{
    const Volume volume = threeValues( VoxelType::Int16, 5, -100, 100 ).with( { .slope = 2, .intercept = 0 } );
    const auto histogram = histogramOf( volume, 10, 0, 20 );
    EXPECT_EQ( histogram.counts[5], 25u );
    EXPECT_EQ( std::accumulate( histogram.counts.begin(), histogram.counts.end(), uint64_t( 0 ) ), 25u );
    const auto ends = histogramOf( volume, 10, 10, 200 );
    EXPECT_EQ( ends.counts.front(), 25u );
    EXPECT_EQ( ends.counts.back(), 1u );
}

TEST( VolumeHistogram, OfOneValueHasItInTheFirstBin )
{
    const auto histogram = histogramOf( threeValues( VoxelType::Float32, 0.1, 0.1, 0.1 ), 4 );
    EXPECT_EQ( histogram.counts.front(), 27u );
}

TEST( VolumeHistogram, TellsShares )
{
    const VolumeHistogram histogram{ .low = 0, .high = 10, .counts = { 50, 0, 0, 0, 50 } };
    EXPECT_EQ( histogram.quantile( 0 ), 0 );
    EXPECT_EQ( histogram.quantile( 0.25 ), 1 );
    EXPECT_EQ( histogram.quantile( 0.75 ), 9 );
    EXPECT_EQ( histogram.quantile( 1 ), 10 );
}

TEST( VolumeWindow, IsTheVolumesOwnOrShowsNearlyAll )
{
    const Volume volume = numberedVolume( VoxelType::UInt8, { 64, 64, 16 } );
    const auto found = windowOf( volume );
    EXPECT_NEAR( found.center, 63, 2 );
    EXPECT_NEAR( found.width, 125, 3 );
    EXPECT_EQ( windowOf( volume.with( { .window = { 40, 400 } } ) ), ( VolumeWindow{ 40, 400 } ) );
    EXPECT_GT( windowOf( threeValues( VoxelType::UInt8, 3, 3, 3 ) ).width, 0 );
}
