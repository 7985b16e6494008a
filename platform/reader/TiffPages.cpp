#include "TiffPages.h"

#include <VXMesh/io/Text.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

/// No tile is larger that anybody writes; the library allocates what it is told.
constexpr uint64_t cMostTile = uint64_t( 256 ) << 20;

template <typename T>
T tag( TIFF* tiff, uint32_t number, T fallback )
{
    T value{};
    return ::TIFFGetFieldDefaulted( tiff, number, &value ) == 1 ? value : fallback;
}

std::optional<FileNumber> numberOf( uint16_t bits, uint16_t format )
{
    const bool isSigned = format == SAMPLEFORMAT_INT, isFloat = format == SAMPLEFORMAT_IEEEFP;
    if ( format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID && !isSigned && !isFloat )
        return {};
    if ( isFloat )
        return bits == 32   ? std::optional( FileNumber::Float32 )
               : bits == 64 ? std::optional( FileNumber::Float64 )
                            : std::nullopt;
    switch ( bits )
    {
    case 8:
        return isSigned ? FileNumber::Int8 : FileNumber::UInt8;
    case 16:
        return isSigned ? FileNumber::Int16 : FileNumber::UInt16;
    case 32:
        return isSigned ? FileNumber::Int32 : FileNumber::UInt32;
    default:
        return {};
    }
}

/// The value of a line "name=value" in a page's description, as some programs of microscopes write it.
std::string described( const std::string& description, const std::string& name )
{
    const auto at = ( "\n" + description ).find( "\n" + name + "=" );
    if ( at == std::string::npos )
        return {};
    const auto begin = at + name.size() + 1;
    return trimmed( description.substr( begin, description.find( '\n', begin ) - begin ) );
}

double numberIn( const std::string& text )
{
    double out = 0;
    std::from_chars( text.data(), text.data() + text.size(), out );
    return out;
}

/// Millimetres of a unit as programs write it; 0 when unknown.
double millimetresOf( const std::string& unit )
{
    if ( unit == "mm" )
        return 1;
    if ( unit == "cm" )
        return 10;
    if ( unit == "um" || unit == "micron" || unit == "\\u00B5m" || unit == "µm" )
        return 0.001;
    return unit == "nm" ? 1e-6 : 0;
}

void measure( TIFF* tiff, TiffPage& page )
{
    char* text = nullptr;
    const std::string description = ::TIFFGetField( tiff, TIFFTAG_IMAGEDESCRIPTION, &text ) == 1 && text ? text : "";
    const double written = millimetresOf( described( description, "unit" ) );
    const bool isCentimetre = tag<uint16_t>( tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE ) == RESUNIT_CENTIMETER;
    const double across = isCentimetre ? 10 : written;
    const double perX = double( tag<float>( tiff, TIFFTAG_XRESOLUTION, 0 ) );
    const double perY = double( tag<float>( tiff, TIFFTAG_YRESOLUTION, 0 ) );
    // Inches are what editors of pictures write of paper; nobody means the size of a voxel by them.
    if ( across > 0 && perX > 0 && perY > 0 && std::isfinite( perX + perY ) )
    {
        page.stepX = across / perX;
        page.stepY = across / perY;
    }
    const double between = numberIn( described( description, "spacing" ) );
    if ( std::isfinite( between ) && between > 0 )
        page.stepZ = between * ( written > 0 ? written : 1 );
}

template <typename T>
void invert( std::span<std::byte> bytes )
{
    for ( size_t at = 0; at + sizeof( T ) <= bytes.size(); at += sizeof( T ) )
    {
        T value;
        std::memcpy( &value, bytes.data() + at, sizeof value );
        value = T( ~value );
        std::memcpy( bytes.data() + at, &value, sizeof value );
    }
}

} // namespace

size_t TiffPage::rowBytes() const
{
    const size_t samples = channels == Channels::Colour ? 3 : channels == Channels::ColourA ? 4 : 1;
    return size_t( width ) * samples * sizeOf( number );
}

TiffFile::TiffFile( TIFF* tiff )
    : tiff_( tiff )
{
}

tl::expected<TiffFile, std::string> TiffFile::open( const std::filesystem::path& file )
{
    // What the library says is for those who know it.
    ::TIFFSetErrorHandler( nullptr );
    ::TIFFSetWarningHandler( nullptr );
    TIFF* tiff = ::TIFFOpen( file.c_str(), "r" );
    if ( !tiff )
        return Error( "it is no TIFF file, or damaged" );
    return TiffFile( tiff );
}

bool TiffFile::isThumbnail_() const
{
    return ( tag<uint32_t>( tiff_.get(), TIFFTAG_SUBFILETYPE, 0 ) & FILETYPE_REDUCEDIMAGE ) != 0;
}

tl::expected<bool, std::string> TiffFile::rewind()
{
    if ( ::TIFFSetDirectory( tiff_.get(), 0 ) != 1 )
        return false;
    return isThumbnail_() ? next() : true;
}

tl::expected<bool, std::string> TiffFile::next()
{
    do
    {
        if ( ::TIFFLastDirectory( tiff_.get() ) != 0 )
            return false;
        // The library takes a page that it cannot read for the end.
        if ( ::TIFFReadDirectory( tiff_.get() ) != 1 )
            return Error( "it is cut off or damaged after its first pages" );
    } while ( isThumbnail_() );
    return true;
}

tl::expected<TiffPage, std::string> TiffFile::page() const
{
    TIFF* tiff = tiff_.get();
    TiffPage out;
    out.width = tag<uint32_t>( tiff, TIFFTAG_IMAGEWIDTH, 0 );
    out.height = tag<uint32_t>( tiff, TIFFTAG_IMAGELENGTH, 0 );
    const auto most = uint32_t( VolumeBuilder::cMostAlong );
    if ( out.width < 1 || out.height < 1 || out.width > most || out.height > most )
        return Error(
            "a page claims " + std::to_string( out.width ) + " x " + std::to_string( out.height ) + " pixels" );
    const auto bits = tag<uint16_t>( tiff, TIFFTAG_BITSPERSAMPLE, 1 );
    const auto number = numberOf( bits, tag<uint16_t>( tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT ) );
    if ( !number )
        return Error( "its pixels of " + std::to_string( bits ) + " bits cannot be read; 8, 16 and 32 bits can" );
    out.number = *number;
    const auto samples = tag<uint16_t>( tiff, TIFFTAG_SAMPLESPERPIXEL, 1 );
    if ( samples != 1 && samples != 3 && samples != 4 )
        return Error( "its pixels have " + std::to_string( samples ) + " numbers each, and there can be only one" );
    if ( samples > 1 && tag<uint16_t>( tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG ) != PLANARCONFIG_CONTIG )
        return Error( "its colours stand in planes, which cannot be read" );
    out.channels = samples == 1 ? Channels::One : samples == 3 ? Channels::Colour : Channels::ColourA;
    const auto photometric = tag<uint16_t>( tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK );
    if ( samples > 1 && photometric != PHOTOMETRIC_RGB )
        return Error( "its colours are not red, green and blue" );
    out.isInverted =
        photometric == PHOTOMETRIC_MINISWHITE && *number != FileNumber::Float32 && *number != FileNumber::Float64;
    measure( tiff, out );
    return out;
}

bool TiffFile::readStrips_( const TiffPage& page, std::span<std::byte> out ) const
{
    TIFF* tiff = tiff_.get();
    const auto rows = std::clamp<uint32_t>( tag<uint32_t>( tiff, TIFFTAG_ROWSPERSTRIP, page.height ), 1, page.height );
    if ( ::TIFFScanlineSize64( tiff ) != page.rowBytes() )
        return false;
    for ( uint32_t y = 0, strip = 0; y < page.height; y += rows, ++strip )
    {
        const size_t bytes = std::min( rows, page.height - y ) * page.rowBytes();
        auto* to = out.data() + y * page.rowBytes();
        if ( ::TIFFReadEncodedStrip( tiff, strip, to, tmsize_t( bytes ) ) != tmsize_t( bytes ) )
            return false;
    }
    return true;
}

bool TiffFile::readTiles_( const TiffPage& page, std::span<std::byte> out ) const
{
    TIFF* tiff = tiff_.get();
    const auto width = tag<uint32_t>( tiff, TIFFTAG_TILEWIDTH, 0 ),
               height = tag<uint32_t>( tiff, TIFFTAG_TILELENGTH, 0 );
    const uint64_t size = ::TIFFTileSize64( tiff ), row = ::TIFFTileRowSize64( tiff );
    const size_t pixel = page.rowBytes() / page.width;
    if ( width == 0 || height == 0 || size == 0 || size > cMostTile || row != uint64_t( width ) * pixel ||
         size != row * height )
        return false;
    std::vector<std::byte> tile( size );
    for ( uint64_t y = 0; y < page.height; y += height )
        for ( uint64_t x = 0; x < page.width; x += width )
        {
            const auto number = ::TIFFComputeTile( tiff, uint32_t( x ), uint32_t( y ), 0, 0 );
            if ( ::TIFFReadEncodedTile( tiff, number, tile.data(), tmsize_t( size ) ) != tmsize_t( size ) )
                return false;
            const size_t bytes = size_t( std::min<uint64_t>( width, page.width - x ) ) * pixel;
            for ( uint64_t i = 0; i < std::min<uint64_t>( height, page.height - y ); ++i )
                std::memcpy( out.data() + ( y + i ) * page.rowBytes() + x * pixel, tile.data() + i * row, bytes );
        }
    return true;
}

tl::expected<std::vector<std::byte>, std::string> TiffFile::read( const TiffPage& page ) const
{
    std::vector<std::byte> out( page.rowBytes() * page.height );
    if ( !( ::TIFFIsTiled( tiff_.get() ) ? readTiles_( page, out ) : readStrips_( page, out ) ) )
        return Error( "the pixels of a page are damaged or cut off" );
    if ( page.isInverted && sizeOf( page.number ) == 1 )
        invert<uint8_t>( out );
    else if ( page.isInverted && sizeOf( page.number ) == 2 )
        invert<uint16_t>( out );
    else if ( page.isInverted )
        invert<uint32_t>( out );
    return out;
}

} // namespace VX
