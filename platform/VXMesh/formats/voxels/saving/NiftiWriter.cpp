#include <VXMesh/formats/voxels/GridOfAxes.h>
#include <VXMesh/formats/voxels/saving/VoxelFile.h>
#include <VXMesh/formats/voxels/saving/Writers.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <algorithm>
#include <array>

namespace VX
{
namespace
{

constexpr size_t cHeader1 = 352, cHeader2 = 544; // with the four bytes that say that no more headers follow

template <typename T>
void put( std::string& bytes, size_t offset, T value )
{
    std::memcpy( bytes.data() + offset, &value, sizeof value );
}

int codeOf( VoxelType type )
{
    constexpr std::array cCodes{ 256, 2, 4, 512, 8, 768, 16 };
    return cCodes[size_t( type )];
}

/// The parts that both versions have, of other widths and at other places.
template <typename Whole, typename Real, typename Code>
void fill( std::string& out, const Volume& volume, size_t dims, size_t steps, size_t scale, size_t shown, size_t sform,
    size_t rows )
{
    const auto& grid = volume.grid();
    const auto& meaning = volume.meaning();
    put( out, dims, Whole( 3 ) );
    for ( size_t i = 0; i < 7; ++i )
        put( out, dims + ( i + 1 ) * sizeof( Whole ), Whole( i < 3 ? grid.size[i] : 1 ) );
    const std::array<double, 8> spacing{ 1, grid.spacing.x, grid.spacing.y, grid.spacing.z, 1, 1, 1, 1 };
    for ( size_t i = 0; i < 8; ++i )
        put( out, steps + i * sizeof( Real ), Real( spacing[i] ) );
    put( out, scale, Real( meaning.slope ) );
    put( out, scale + sizeof( Real ), Real( meaning.intercept ) );
    put( out, shown, Real( meaning.window.center + meaning.window.width / 2 ) );
    put( out, shown + sizeof( Real ), Real( meaning.window.center - meaning.window.width / 2 ) );
    // Where the scanner saw it.
    put( out, sform, Code( 1 ) );
    const AffineXf3d place = rightToLeft() * grid.worldXf();
    const std::array<std::array<double, 4>, 3> numbers{ { { place.A.x.x, place.A.x.y, place.A.x.z, place.b.x },
        { place.A.y.x, place.A.y.y, place.A.y.z, place.b.y }, { place.A.z.x, place.A.z.y, place.A.z.z, place.b.z } } };
    for ( size_t i = 0; i < 3; ++i )
        for ( size_t k = 0; k < 4; ++k )
            put( out, rows + ( 4 * i + k ) * sizeof( Real ), Real( numbers[i][k] ) );
}

constexpr int cMillimetre = 2;

std::string header1( const Volume& volume )
{
    std::string out( cHeader1, '\0' );
    put( out, 0, int32_t( 348 ) );
    out[38] = 'r';
    put( out, 70, int16_t( codeOf( volume.type() ) ) );
    put( out, 72, int16_t( 8 * sizeOf( volume.type() ) ) );
    put( out, 108, float( cHeader1 ) );
    out[123] = char( cMillimetre );
    fill<int16_t, float, int16_t>( out, volume, 40, 76, 112, 124, 254, 280 );
    out.replace( 344, 3, "n+1" );
    return out;
}

std::string header2( const Volume& volume )
{
    std::string out( cHeader2, '\0' );
    put( out, 0, int32_t( 540 ) );
    out.replace( 4, 8, std::string( "n+2\0\r\n\032\n", 8 ) );
    put( out, 12, int16_t( codeOf( volume.type() ) ) );
    put( out, 14, int16_t( 8 * sizeOf( volume.type() ) ) );
    put( out, 168, int64_t( cHeader2 ) );
    put( out, 500, int32_t( cMillimetre ) );
    fill<int64_t, double, int32_t>( out, volume, 16, 104, 176, 192, 348, 400 );
    return out;
}

} // namespace

tl::expected<void, std::string> saveNifti(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress )
{
    const bool isPacked = toLower( utf8string( file.extension() ) ) == ".gz";
    auto out = VoxelFile::create( file, isPacked );
    if ( !out )
        return tl::unexpected( out.error() );
    const auto& size = volume.size();
    const bool isSmall = *std::max_element( size.begin(), size.end() ) <= INT16_MAX;
    if ( auto done = out->write( isSmall ? header1( volume ) : header2( volume ) ); !done )
        return done;
    if ( auto done = out->writeVoxels( volume, progress ); !done )
        return done;
    return out->finish();
}

} // namespace VX
