#include <VXMesh/volume/VolumeSlice.h>

#include <VXMesh/system/Parallel.h>
#include <VXMesh/volume/VoxelView.h>

#include <array>
#include <limits>

namespace VX
{
namespace
{

constexpr size_t cPixelsPerThread = 16384;

/// What of a row of pixels lies in the volume, by the fractional indices of its first pixel and the step to the next.
struct RowInside
{
    int begin = 0, end = 0;
};

RowInside insideOf( const Vector3d& start, const Vector3d& step, const VoxelIndex& size, int width )
{
    double from = 0, to = width - 1;
    const std::array<double, 3> starts{ start.x, start.y, start.z }, steps{ step.x, step.y, step.z };
    for ( size_t i = 0; i < 3; ++i )
    {
        const double low = -0.5, high = size[i] - 0.5;
        if ( std::abs( steps[i] ) < 1e-12 )
        {
            if ( !( starts[i] >= low && starts[i] <= high ) )
                return {};
            continue;
        }
        const double a = ( low - starts[i] ) / steps[i], b = ( high - starts[i] ) / steps[i];
        from = std::max( from, std::min( a, b ) );
        to = std::min( to, std::max( a, b ) );
    }
    // What is no number fails here.
    if ( !( from <= to ) )
        return {};
    return { int( std::ceil( from ) ), int( std::floor( to ) ) + 1 };
}

/// A place along one axis between two voxels; at the borders they are one and the same.
struct Between
{
    int low, high;
    float share; ///< of the second

    Between( double index, int size )
    {
        const double held = std::clamp( index, 0., double( size - 1 ) );
        low = int( held );
        high = std::min( low + 1, size - 1 );
        share = float( held - low );
    }
};

float mix( float a, float b, float share )
{
    return a + ( b - a ) * share;
}

/// Among eight voxels; `at( x, y, z )` with 0 and 1.
template <typename At>
float mixed( const At& at, float x, float y, float z )
{
    const auto alongX = [&]( int row, int slice ) { return mix( at( 0, row, slice ), at( 1, row, slice ), x ); };
    const auto alongY = [&]( int slice ) { return mix( alongX( 0, slice ), alongX( 1, slice ), y ); };
    return mix( alongY( 0 ), alongY( 1 ), z );
}

template <Voxel T>
float linearAt( const VoxelView<T>& voxels, const Vector3d& index )
{
    const Between x( index.x, voxels.size()[0] ), y( index.y, voxels.size()[1] ), z( index.z, voxels.size()[2] );
    constexpr auto shift = Volume::cBrickShift;
    const int apart =
        ( ( x.low ^ x.high ) >> shift[0] ) | ( ( y.low ^ y.high ) >> shift[1] ) | ( ( z.low ^ z.high ) >> shift[2] );
    if ( apart != 0 )
        return mixed( [&]( int i, int k, int l )
            { return float( voxels( i ? x.high : x.low, k ? y.high : y.low, l ? z.high : z.low ) ); }, x.share, y.share,
            z.share );
    // Nine times in ten all of them are in one brick, which need not be looked for eight times.
    const auto place = voxels.place( x.low, y.low, z.low );
    const size_t right = size_t( x.high - x.low ), down = size_t( y.high - y.low ) * place.row;
    const size_t deep = size_t( z.high - z.low ) * place.slice;
    return mixed( [&]( int i, int k, int l )
        { return float( place.voxel[( i ? right : 0 ) + ( k ? down : 0 ) + ( l ? deep : 0 )] ); }, x.share, y.share,
        z.share );
}

template <Voxel T>
float nearestAt( const VoxelView<T>& voxels, const Vector3d& index )
{
    const auto held = []( double v, int size ) { return std::clamp( int( v + 0.5 ), 0, size - 1 ); };
    const auto& size = voxels.size();
    return float( voxels( held( index.x, size[0] ), held( index.y, size[1] ), held( index.z, size[2] ) ) );
}

Vector3d across( const Vector3d& normal )
{
    const Vector3d other = std::abs( normal.z ) < 0.9 ? Vector3d{ 0, 0, 1 } : Vector3d{ 0, -1, 0 };
    return other - normal * dot( other, normal );
}

} // namespace

SlicePlane gridPlane( const VolumeGrid& grid, int axis, double index )
{
    const auto normal = size_t( std::clamp( axis, 0, 2 ) );
    const size_t right = normal == 0 ? 1 : 0, down = normal == 2 ? 1 : 2;
    const Matrix3d columns = grid.worldXf().A.transposed();
    const std::array<Vector3d, 3> steps{ columns.x, columns.y, columns.z };
    return { .origin = grid.origin + steps[normal] * index,
        .right = steps[right],
        .down = steps[down],
        .width = grid.size[right],
        .height = grid.size[down] };
}

SlicePlane planeThrough(
    const Vector3d& center, const Vector3d& normal, const Vector3d& up, double pixelSize, int width, int height )
{
    const Vector3d n = normal.lengthSq() > 0 ? normal.normalized() : Vector3d{ 0, 0, 1 };
    Vector3d top = up - n * dot( up, n );
    if ( !( top.length() > 1e-6 * up.length() ) )
        top = across( n );
    const Vector3d down = -top.normalized() * pixelSize, right = cross( top.normalized(), n ) * pixelSize;
    return { .origin = center - right * ( ( width - 1 ) / 2. ) - down * ( ( height - 1 ) / 2. ),
        .right = right,
        .down = down,
        .width = width,
        .height = height };
}

bool sampleSlice( const Volume& volume, const SlicePlane& plane, std::span<float> out, const SliceOptions& options )
{
    if ( out.size() != plane.pixelCount() )
        return false;
    if ( volume.empty() )
    {
        std::fill( out.begin(), out.end(), options.outside );
        return true;
    }
    const AffineXf3d toIndex = volume.grid().indexXf();
    const Vector3d step = toIndex.A * plane.right, down = toIndex.A * plane.down, first = toIndex( plane.origin );
    const auto slope = float( volume.meaning().slope ), intercept = float( volume.meaning().intercept );
    const auto width = size_t( std::max( plane.width, 1 ) );
    visit( volume,
        [&]( const auto& voxels )
        {
            const auto row = [&]( size_t y )
            {
                const auto pixels = out.subspan( y * width, width );
                const Vector3d start = first + down * double( y );
                const auto [begin, end] = insideOf( start, step, volume.size(), plane.width );
                std::fill( pixels.begin(), pixels.begin() + begin, options.outside );
                for ( int x = begin; x < end; ++x )
                {
                    const Vector3d at = start + step * double( x );
                    const float stored = options.interpolation == Interpolation::Linear ? linearAt( voxels, at )
                                                                                        : nearestAt( voxels, at );
                    pixels[size_t( x )] = stored * slope + intercept;
                }
                std::fill( pixels.begin() + end, pixels.end(), options.outside );
            };
            const size_t rows = out.size() / width;
            forPieces( rows, threadsFor( out.size(), cPixelsPerThread ),
                [&]( size_t begin, size_t end, size_t )
                {
                    for ( size_t y = begin; y < end; ++y )
                        row( y );
                } );
        } );
    return true;
}

bool toGrey( std::span<const float> values, const VolumeWindow& window, std::span<uint8_t> out )
{
    if ( values.size() != out.size() )
        return false;
    const auto scale = float( 255 / std::max( window.width, 1e-30 ) );
    const auto low = float( window.center - window.width / 2 );
    for ( size_t i = 0; i < values.size(); ++i )
    {
        const float grey = ( values[i] - low ) * scale;
        // What is no number fails the first.
        out[i] = grey > 0 ? uint8_t( std::min( grey, 255.f ) + 0.5f ) : 0;
    }
    return true;
}

} // namespace VX
