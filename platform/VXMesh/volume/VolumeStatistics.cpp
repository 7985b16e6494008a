#include <VXMesh/volume/VolumeStatistics.h>

#include <VXMesh/system/Parallel.h>
#include <VXMesh/volume/VoxelView.h>

#include <cmath>
#include <limits>
#include <numeric>

namespace VX
{
namespace
{

constexpr size_t cBricksPerThread = 8;

/// Of stored numbers; kept so that two of them can be put together without losing digits.
struct Moments
{
    uint64_t count = 0;
    double min = std::numeric_limits<double>::max(), max = std::numeric_limits<double>::lowest();
    double mean = 0, squares = 0; ///< the sum of squared distances from the mean

    void include( const Moments& other )
    {
        if ( other.count == 0 )
            return;
        const double all = double( count + other.count ), step = other.mean - mean;
        squares += other.squares + step * step * ( double( count ) * double( other.count ) / all );
        mean += step * ( double( other.count ) / all );
        count += other.count;
        min = std::min( min, other.min );
        max = std::max( max, other.max );
    }
};

/// A row's whole numbers are summed exactly: 64 of 32 bits are far from 2^63.
template <Voxel T>
Moments momentsOf( std::span<const T> voxels )
{
    Moments out;
    int64_t sum = 0;
    T low = voxels.front(), high = voxels.front();
    for ( const T v : voxels )
    {
        low = std::min( low, v );
        high = std::max( high, v );
        sum += v;
    }
    out.count = voxels.size();
    out.min = double( low );
    out.max = double( high );
    out.mean = double( sum ) / double( voxels.size() );
    if ( low != high )
        for ( const T v : voxels )
            out.squares += ( double( v ) - out.mean ) * ( double( v ) - out.mean );
    return out;
}

template <>
Moments momentsOf( std::span<const float> voxels )
{
    Moments out;
    double sum = 0;
    for ( const float v : voxels )
    {
        if ( !std::isfinite( v ) )
            continue;
        ++out.count;
        out.min = std::min( out.min, double( v ) );
        out.max = std::max( out.max, double( v ) );
        sum += double( v );
    }
    if ( out.count == 0 )
        return out;
    out.mean = sum / double( out.count );
    for ( const float v : voxels )
        if ( std::isfinite( v ) )
            out.squares += ( double( v ) - out.mean ) * ( double( v ) - out.mean );
    return out;
}

/// Calls `work( brick, piece )` for every brick on all cores.
template <typename Work>
void forBricks( size_t bricks, size_t threads, const Work& work )
{
    forPieces( bricks, threads,
        [&]( size_t begin, size_t end, size_t piece )
        {
            for ( size_t i = begin; i < end; ++i )
                work( i, piece );
        } );
}

/// Small enough to stay in the nearest cache for the second look at it.
constexpr size_t cAtOnce = 4096;

Moments storedMoments( const Volume& volume )
{
    const size_t threads = threadsFor( volume.bricks().size(), cBricksPerThread );
    std::vector<Moments> parts( threads );
    visit( volume,
        [&]( const auto& view )
        {
            forBricks( view.brickCount(), threads,
                [&]( size_t index, size_t piece )
                {
                    const auto voxels = view.brick( index ).voxels;
                    for ( size_t at = 0; at < voxels.size(); at += cAtOnce )
                        parts[piece].include(
                            momentsOf( voxels.subspan( at, std::min( cAtOnce, voxels.size() - at ) ) ) );
                } );
        } );
    Moments all;
    for ( const auto& part : parts )
        all.include( part );
    return all;
}

/// The bin that a stored number falls into.
class BinOf
{
public:
    BinOf( const VoxelMeaning& meaning, const VolumeHistogram& histogram )
        : meaning_( meaning )
        , low_( histogram.low )
        , high_( histogram.high )
        , bins_( histogram.counts.size() )
        , perValue_( high_ > low_ ? double( bins_ ) / ( high_ - low_ ) : 0 )
    {
    }

    /// The number of bins when it falls into none.
    size_t operator()( double stored ) const
    {
        const double value = meaning_.valueOf( stored );
        // What is no number fails.
        if ( !( value >= low_ && value <= high_ ) )
            return bins_;
        return std::min( size_t( ( value - low_ ) * perValue_ ), bins_ - 1 );
    }

private:
    const VoxelMeaning& meaning_;
    double low_, high_;
    size_t bins_;
    double perValue_;
};

/// Calls `count( voxel, counts )` for all voxels, with counts for each thread, and adds those up.
template <Voxel T, typename Count>
std::vector<uint64_t> counted( const VoxelView<T>& view, size_t bins, const Count& count )
{
    const size_t threads = threadsFor( view.brickCount(), cBricksPerThread );
    std::vector<std::vector<uint64_t>> parts( threads, std::vector<uint64_t>( bins ) );
    forBricks( view.brickCount(), threads,
        [&]( size_t index, size_t piece )
        {
            for ( const T v : view.brick( index ).voxels )
                count( v, parts[piece] );
        } );
    for ( size_t i = 1; i < threads; ++i )
        std::transform( parts[i].begin(), parts[i].end(), parts[0].begin(), parts[0].begin(), std::plus() );
    return std::move( parts[0] );
}

/// Of so few numbers each is counted, and only the counts are sorted into bins.
template <Voxel T>
std::vector<uint64_t> countedByNumber( const VoxelView<T>& view, const BinOf& binOf, size_t bins )
{
    constexpr auto cLeast = int( std::numeric_limits<T>::min() ), cMost = int( std::numeric_limits<T>::max() );
    const auto numbers = counted( view, size_t( cMost - cLeast ) + 1,
        []( T v, std::vector<uint64_t>& counts ) { ++counts[size_t( int( v ) - cLeast )]; } );
    std::vector<uint64_t> out( bins );
    for ( int v = cLeast; v <= cMost; ++v )
        if ( const auto bin = binOf( v ); bin < bins )
            out[bin] += numbers[size_t( v - cLeast )];
    return out;
}

} // namespace

VolumeStatistics statisticsOf( const Volume& volume )
{
    if ( volume.empty() )
        return {};
    const Moments stored = storedMoments( volume );
    if ( stored.count == 0 )
        return {};
    const auto& meaning = volume.meaning();
    const double one = meaning.valueOf( stored.min ), other = meaning.valueOf( stored.max );
    return { .count = stored.count,
        .min = std::min( one, other ),
        .max = std::max( one, other ),
        .mean = meaning.valueOf( stored.mean ),
        .deviation = std::sqrt( stored.squares / double( stored.count ) ) * std::abs( meaning.slope ) };
}

double VolumeHistogram::quantile( double share ) const
{
    const uint64_t total = std::accumulate( counts.begin(), counts.end(), uint64_t( 0 ) );
    const double wanted = std::clamp( share, 0., 1. ) * double( total );
    double below = 0;
    for ( size_t i = 0; i < counts.size(); ++i )
    {
        const auto here = double( counts[i] );
        if ( here > 0 && below + here >= wanted )
            return low + binWidth() * ( double( i ) + ( wanted - below ) / here );
        below += here;
    }
    return high;
}

VolumeHistogram histogramOf( const Volume& volume, size_t bins )
{
    const auto statistics = statisticsOf( volume );
    return histogramOf( volume, bins, statistics.min, statistics.max );
}

VolumeHistogram histogramOf( const Volume& volume, size_t bins, double low, double high )
{
    bins = std::clamp<size_t>( bins, 1, 65536 );
    VolumeHistogram out{ low, high, std::vector<uint64_t>( bins ) };
    if ( volume.empty() || !( low <= high ) )
        return out;
    const BinOf binOf( volume.meaning(), out );
    visit( volume,
        [&]<typename T>( const VoxelView<T>& view )
        {
            if constexpr ( sizeof( T ) <= 2 )
                out.counts = countedByNumber( view, binOf, bins );
            else
                out.counts = counted( view, bins,
                    [&]( T v, std::vector<uint64_t>& counts )
                    {
                        if ( const auto bin = binOf( double( v ) ); bin < bins )
                            ++counts[bin];
                    } );
        } );
    return out;
}

VolumeWindow windowOf( const Volume& volume )
{
    if ( volume.meaning().window.width > 0 )
        return volume.meaning().window;
    constexpr size_t cBins = 4096;
    constexpr double cOutermost = 0.005;
    const auto histogram = histogramOf( volume, cBins );
    const double low = histogram.quantile( cOutermost ), high = histogram.quantile( 1 - cOutermost );
    if ( high > low )
        return { ( low + high ) / 2, high - low };
    const double all = histogram.high - histogram.low;
    return { ( histogram.low + histogram.high ) / 2, all > 0 ? all : 1 };
}

} // namespace VX
