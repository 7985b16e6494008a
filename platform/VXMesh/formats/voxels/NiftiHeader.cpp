#include <VXMesh/formats/voxels/NiftiHeader.h>

#include <VXMesh/formats/voxels/GridOfAxes.h>

#include <cmath>
#include <cstring>

namespace VX
{
namespace
{

using Bytes = std::span<const std::byte>;

/// Numbers at given places of a header.
class Fields
{
public:
    Fields( Bytes bytes, std::endian order )
        : bytes_( bytes )
        , order_( order )
    {
    }

    template <typename T>
    T at( size_t offset ) const
    {
        std::array<std::byte, sizeof( T )> raw;
        std::memcpy( raw.data(), bytes_.data() + offset, sizeof( T ) );
        if ( order_ != std::endian::native )
            std::reverse( raw.begin(), raw.end() );
        T value;
        std::memcpy( &value, raw.data(), sizeof value );
        return value;
    }

    template <typename T, typename To, size_t N>
    void fill( std::array<To, N>& out, size_t offset ) const
    {
        for ( size_t i = 0; i < N; ++i )
            out[i] = To( at<T>( offset + i * sizeof( T ) ) );
    }

private:
    Bytes bytes_;
    std::endian order_;
};

NiftiHeader header1( const Fields& f )
{
    NiftiHeader h;
    f.fill<int16_t>( h.size, 40 );
    h.type = f.at<int16_t>( 70 );
    f.fill<float>( h.spacing, 76 );
    h.offset = double( f.at<float>( 108 ) );
    h.slope = double( f.at<float>( 112 ) );
    h.intercept = double( f.at<float>( 116 ) );
    h.units = f.at<uint8_t>( 123 );
    h.shownHigh = double( f.at<float>( 124 ) );
    h.shownLow = double( f.at<float>( 128 ) );
    h.qform = f.at<int16_t>( 252 );
    h.sform = f.at<int16_t>( 254 );
    f.fill<float>( h.quaternion, 256 );
    f.fill<float>( h.quaternionOffset, 268 );
    for ( size_t i = 0; i < 3; ++i )
        f.fill<float>( h.rows[i], 280 + 16 * i );
    return h;
}

NiftiHeader header2( const Fields& f )
{
    NiftiHeader h;
    h.version = 2;
    h.type = f.at<int16_t>( 12 );
    f.fill<int64_t>( h.size, 16 );
    f.fill<double>( h.spacing, 104 );
    h.offset = double( f.at<int64_t>( 168 ) );
    h.slope = f.at<double>( 176 );
    h.intercept = f.at<double>( 184 );
    h.shownHigh = f.at<double>( 192 );
    h.shownLow = f.at<double>( 200 );
    h.qform = f.at<int32_t>( 344 );
    h.sform = f.at<int32_t>( 348 );
    f.fill<double>( h.quaternion, 352 );
    f.fill<double>( h.quaternionOffset, 376 );
    for ( size_t i = 0; i < 3; ++i )
        f.fill<double>( h.rows[i], 400 + 32 * i );
    h.units = f.at<int32_t>( 500 );
    return h;
}

struct Kind
{
    int code;
    FileNumber number;
    Channels channels;
};

constexpr std::array cKinds{
    Kind{ 2, FileNumber::UInt8, Channels::One },
    Kind{ 4, FileNumber::Int16, Channels::One },
    Kind{ 8, FileNumber::Int32, Channels::One },
    Kind{ 16, FileNumber::Float32, Channels::One },
    Kind{ 32, FileNumber::Float32, Channels::Complex },
    Kind{ 64, FileNumber::Float64, Channels::One },
    Kind{ 128, FileNumber::UInt8, Channels::Colour },
    Kind{ 256, FileNumber::Int8, Channels::One },
    Kind{ 512, FileNumber::UInt16, Channels::One },
    Kind{ 768, FileNumber::UInt32, Channels::One },
    Kind{ 1024, FileNumber::Int64, Channels::One },
    Kind{ 1280, FileNumber::UInt64, Channels::One },
    Kind{ 1792, FileNumber::Float64, Channels::Complex },
    Kind{ 2304, FileNumber::UInt8, Channels::ColourA },
};

/// Millimetres a unit of the file's.
double millimetres( int units )
{
    constexpr int cMetre = 1, cMicrometre = 3, cLength = 7;
    return ( units & cLength ) == cMetre ? 1000 : ( units & cLength ) == cMicrometre ? 0.001 : 1;
}

bool areEqual( Bytes bytes, size_t offset, const char* text, size_t count )
{
    return bytes.size() >= offset + count && std::memcmp( bytes.data() + offset, text, count ) == 0;
}

} // namespace

tl::expected<NiftiHeader, std::string> NiftiHeader::of( Bytes bytes )
{
    for ( const auto order : { std::endian::little, std::endian::big } )
    {
        const Fields fields( bytes, order );
        const auto size = bytes.size() < cSize1 ? 0u : fields.at<uint32_t>( 0 );
        NiftiHeader out;
        if ( size == cSize1 )
        {
            out = header1( fields );
            const bool isPair = areEqual( bytes, 344, "ni1", 4 );
            out.isAlone = areEqual( bytes, 344, "n+1", 4 );
            out.version = isPair || out.isAlone ? 1 : 0;
        }
        else if ( size == cSize2 && bytes.size() >= cSize2 )
        {
            out = header2( fields );
            out.isAlone = areEqual( bytes, 4, "n+2", 4 );
            if ( !out.isAlone && !areEqual( bytes, 4, "ni2", 4 ) )
                break;
        }
        else
            continue;
        out.order = order;
        return out;
    }
    return tl::unexpected( std::string( "It has no header of NIfTI" ) );
}

tl::expected<VoxelIndex, std::string> NiftiHeader::volumeSize_( std::string& warnings ) const
{
    if ( size[0] < 1 || size[0] > 7 )
        return tl::unexpected( "It claims " + std::to_string( size[0] ) + " axes; there have to be 1 to 7" );
    VoxelIndex out{ 1, 1, 1 };
    uint64_t volumes = 1;
    for ( size_t i = 1; i <= size_t( size[0] ); ++i )
    {
        if ( size[i] < 1 || size[i] > VolumeBuilder::cMostAlong )
            return tl::unexpected( "It claims " + std::to_string( size[i] ) + " voxels along axis " +
                                   std::to_string( i ) + "; there have to be 1 to " +
                                   std::to_string( VolumeBuilder::cMostAlong ) );
        if ( i <= 3 )
            out[i - 1] = int( size[i] );
        else if ( __builtin_mul_overflow( volumes, uint64_t( size[i] ), &volumes ) )
            return tl::unexpected( std::string( "It claims more volumes than can be counted" ) );
    }
    if ( volumes > 1 )
        addWarning( warnings, "It holds " + std::to_string( volumes ) + " volumes; the first one was read" );
    return out;
}

Matrix3d NiftiHeader::rotation_() const
{
    const auto [b, c, d] = quaternion;
    const double a = std::sqrt( std::max( 0., 1 - ( b * b + c * c + d * d ) ) );
    return { { a * a + b * b - c * c - d * d, 2 * ( b * c - a * d ), 2 * ( b * d + a * c ) },
        { 2 * ( b * c + a * d ), a * a + c * c - b * b - d * d, 2 * ( c * d - a * b ) },
        { 2 * ( b * d - a * c ), 2 * ( c * d + a * b ), a * a + d * d - c * c - b * b } };
}

AffineXf3d NiftiHeader::placement_() const
{
    if ( sform > 0 )
    {
        const auto& r = rows;
        return { { { r[0][0], r[0][1], r[0][2] }, { r[1][0], r[1][1], r[1][2] }, { r[2][0], r[2][1], r[2][2] } },
            { r[0][3], r[1][3], r[2][3] } };
    }
    const auto step = [&]( size_t axis ) { return spacing[axis] == 0 ? 1 : std::abs( spacing[axis] ); };
    const bool isTurned = qform > 0;
    const double handed = isTurned && spacing[0] < 0 ? -1 : 1;
    const Matrix3d scale{ { step( 1 ), 0, 0 }, { 0, step( 2 ), 0 }, { 0, 0, step( 3 ) * handed } };
    if ( !isTurned )
        return { scale, {} };
    return { rotation_() * scale, { quaternionOffset[0], quaternionOffset[1], quaternionOffset[2] } };
}

tl::expected<FileVoxels, std::string> NiftiHeader::voxels( std::string& warnings ) const
{
    const auto volumeSize = volumeSize_( warnings );
    if ( !volumeSize )
        return tl::unexpected( volumeSize.error() );
    const auto* kind = std::find_if( cKinds.begin(), cKinds.end(), [&]( const Kind& k ) { return k.code == type; } );
    if ( kind == cKinds.end() )
        return tl::unexpected( "Its kind of voxel (number " + std::to_string( type ) + ") cannot be read" );

    const AffineXf3d place = rightToLeft() * placement_();
    const double scale = millimetres( units );
    const Matrix3d axes{ place.A.x * scale, place.A.y * scale, place.A.z * scale };
    auto grid = gridOfAxes( *volumeSize, axes, place.b * scale );
    if ( !grid )
        return tl::unexpected( grid.error() );
    addWarning( warnings, grid->warning );
    if ( version == 0 )
        addWarning( warnings, "It is of a kind that does not tell where left and right are" );

    FileVoxels out{
        .number = kind->number, .channels = kind->channels, .order = order, .grid = grid->grid, .meaning = {} };
    // A slope of zero says that there is none, and colours have none.
    if ( slope != 0 && std::isfinite( slope ) && std::isfinite( intercept ) && version > 0 &&
         kind->channels == Channels::One )
        out.meaning = { .slope = slope, .intercept = intercept, .unit = {}, .window = {} };
    if ( shownHigh > shownLow && std::isfinite( shownHigh - shownLow ) && version > 0 )
        out.meaning.window = { ( shownLow + shownHigh ) / 2, shownHigh - shownLow };
    return out;
}

} // namespace VX
