#include <VXMesh/formats/voxels/MetaImage.h>

#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/GridOfAxes.h>
#include <VXMesh/formats/voxels/HeaderText.h>
#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

struct Header
{
    HeaderFields fields;
    std::string dataFile; ///< the last line
    std::vector<std::string> listed;
    size_t size = 0; ///< bytes of the header
};

tl::expected<Header, std::string> headerOf( std::span<const std::byte> bytes )
{
    HeaderLines lines( bytes );
    Header out;
    while ( const auto line = lines.next() )
    {
        const auto equals = line->find( '=' );
        if ( equals == line->npos )
        {
            if ( trimmed( *line ).empty() )
                continue;
            break;
        }
        const auto key = toLower( trimmed( line->substr( 0, equals ) ) );
        const auto value = trimmed( line->substr( equals + 1 ) );
        out.fields[key] = value;
        if ( key != "elementdatafile" )
            continue;
        out.dataFile = value;
        out.size = lines.offset();
        if ( value.starts_with( "LIST" ) )
            while ( const auto name = lines.next() )
                if ( const auto text = trimmed( *name ); !text.empty() )
                    out.listed.push_back( text );
        return out;
    }
    return Error( "It has no header of MetaImage" );
}

bool isTrue( const std::string& value )
{
    return toLower( value ).starts_with( 't' ) || value == "1";
}

std::optional<FileNumber> numberNamed( const std::string& type )
{
    // "long" is 32 bits wide here, on every machine.
    static const std::map<std::string, FileNumber> sNames{ { "MET_CHAR", FileNumber::Int8 },
        { "MET_UCHAR", FileNumber::UInt8 }, { "MET_SHORT", FileNumber::Int16 }, { "MET_USHORT", FileNumber::UInt16 },
        { "MET_INT", FileNumber::Int32 }, { "MET_UINT", FileNumber::UInt32 }, { "MET_LONG", FileNumber::Int32 },
        { "MET_ULONG", FileNumber::UInt32 }, { "MET_LONG_LONG", FileNumber::Int64 },
        { "MET_ULONG_LONG", FileNumber::UInt64 }, { "MET_FLOAT", FileNumber::Float32 },
        { "MET_DOUBLE", FileNumber::Float64 } };
    const auto it = sNames.find( type );
    return it == sNames.end() ? std::nullopt : std::optional( it->second );
}

tl::expected<std::vector<double>, std::string> numbers(
    const Header& header, std::initializer_list<const char*> keys, size_t count, const std::vector<double>& fallback )
{
    const auto text = fieldOf( header.fields, keys );
    if ( text.empty() )
        return fallback;
    auto out = decimalNumbers( text );
    if ( !out || out->size() < count )
        return Error( "The numbers of \"" + std::string( *keys.begin() ) + "\" in its header make no sense" );
    return std::move( *out );
}

tl::expected<size_t, std::string> axisCount( const Header& header )
{
    const auto count = wholeNumber( fieldOf( header.fields, { "ndims" } ) );
    if ( !count || *count < 1 || *count > 4 )
        return Error( "It has to have 1 to 4 axes" );
    return size_t( *count );
}

tl::expected<VoxelIndex, std::string> volumeSize( const Header& header, size_t axes, std::string& warnings )
{
    const auto sizes = wholeNumbers( fieldOf( header.fields, { "dimsize" } ) );
    if ( !sizes || sizes->size() != axes )
        return Error( "Its header does not tell how many voxels there are" );
    for ( const auto n : *sizes )
        if ( n < 1 || n > VolumeBuilder::cMostAlong )
            return Error( "It claims " + std::to_string( n ) + " voxels along an axis; there have to be 1 to " +
                          std::to_string( VolumeBuilder::cMostAlong ) );
    VoxelIndex out{ 1, 1, 1 };
    for ( size_t i = 0; i < std::min<size_t>( axes, 3 ); ++i )
        out[i] = int( ( *sizes )[i] );
    if ( axes == 4 && ( *sizes )[3] > 1 )
        addWarning( warnings, "It holds " + std::to_string( ( *sizes )[3] ) + " volumes; the first one was read" );
    return out;
}

tl::expected<VolumeGrid, std::string> gridOf( const Header& header, std::string& warnings )
{
    const auto axes = axisCount( header );
    if ( !axes )
        return Error( axes.error() );
    const auto size = volumeSize( header, *axes, warnings );
    if ( !size )
        return Error( size.error() );
    std::vector<double> identity( *axes * *axes );
    for ( size_t i = 0; i < *axes; ++i )
        identity[i * *axes + i] = 1;
    const auto spacing =
        numbers( header, { "elementspacing", "elementsize" }, *axes, std::vector<double>( *axes, 1. ) );
    const auto origin = numbers( header, { "offset", "position", "origin" }, *axes, std::vector<double>( *axes ) );
    const auto turned = numbers( header, { "transformmatrix", "rotation", "orientation" }, *axes * *axes, identity );
    for ( const auto* read : { &spacing, &origin, &turned } )
        if ( !*read )
            return Error( read->error() );
    std::array<Vector3d, 3> columns{ Vector3d{ 1, 0, 0 }, Vector3d{ 0, 1, 0 }, Vector3d{ 0, 0, 1 } };
    const auto at = [&]( const std::vector<double>& v, size_t i ) { return i < *axes ? v[i] : 0; };
    for ( size_t i = 0; i < std::min<size_t>( *axes, 3 ); ++i )
    {
        const std::vector<double> row(
            turned->begin() + ptrdiff_t( i * *axes ), turned->begin() + ptrdiff_t( ( i + 1 ) * *axes ) );
        columns[i] = Vector3d{ at( row, 0 ), at( row, 1 ), at( row, 2 ) } * ( *spacing )[i];
    }
    const Matrix3d steps = Matrix3d{ columns[0], columns[1], columns[2] }.transposed();
    auto grid = gridOfAxes( *size, steps, { at( *origin, 0 ), at( *origin, 1 ), at( *origin, 2 ) } );
    if ( !grid )
        return Error( grid.error() );
    addWarning( warnings, grid->warning );
    return grid->grid;
}

tl::expected<FileVoxels, std::string> voxelsOf( const Header& header, std::string& warnings )
{
    const auto type = fieldOf( header.fields, { "elementtype" } );
    const auto name = type.ends_with( "_ARRAY" ) ? type.substr( 0, type.size() - 6 ) : type;
    const auto number = numberNamed( name );
    if ( !number )
        return Error( "Its type of voxel, \"" + printable( type, 50 ) + "\", cannot be read" );
    const auto grid = gridOf( header, warnings );
    if ( !grid )
        return Error( grid.error() );
    const auto channels = fieldOf( header.fields, { "elementnumberofchannels" } );
    if ( channels != "" && channels != "1" && channels != "3" && channels != "4" )
        return Error( "Each of its voxels has " + printable( channels, 20 ) + " numbers, and there can be only one" );
    const bool isBig = isTrue( fieldOf( header.fields, { "elementbyteordermsb", "binarydatabyteordermsb" } ) );
    return FileVoxels{ .number = *number,
        .channels = channels == "3"   ? Channels::Colour
                    : channels == "4" ? Channels::ColourA
                                      : Channels::One,
        .order = isBig ? std::endian::big : std::endian::little,
        .grid = *grid };
}

/// The files that the header names; none for the same file.
tl::expected<std::vector<std::string>, std::string> dataNames( const Header& header )
{
    if ( header.dataFile.starts_with( "LIST" ) )
        return header.listed;
    const auto words = wordsOf( header.dataFile );
    if ( words.size() < 3 || words[0].find( '%' ) == std::string::npos )
        return std::vector{ header.dataFile };
    return numberedNames( words );
}

tl::expected<DataPlace, std::string> placeOf(
    const Header& header, const std::filesystem::path& file, const FilePart& whole )
{
    DataPlace out;
    if ( toLower( header.dataFile ) == "local" )
        out.parts.push_back( { whole.file, header.size, whole.size - header.size } );
    else
    {
        auto parts = dataNames( header ).and_then(
            [&]( const std::vector<std::string>& names ) { return namedFiles( file, names ); } );
        if ( !parts )
            return Error( parts.error() );
        out.parts = std::move( *parts );
    }
    const auto binary = fieldOf( header.fields, { "binarydata" } );
    if ( !binary.empty() && !isTrue( binary ) )
        out.encoding = DataEncoding::Text;
    else if ( isTrue( fieldOf( header.fields, { "compresseddata" } ) ) )
        out.encoding = DataEncoding::Packed;
    const auto text = fieldOf( header.fields, { "headersize" } );
    const auto skip = text.empty() ? std::optional<int64_t>( 0 ) : wholeNumber( text );
    if ( !skip || *skip < -1 )
        return Error( "It makes no sense how much of its data has to be left out" );
    out.isAtEnd = *skip == -1;
    out.skippedBytes = uint64_t( std::max<int64_t>( *skip, 0 ) );
    return out;
}

} // namespace

tl::expected<ReadVolume, std::string> readMetaImage(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto whole = wholeFile( file );
    if ( !whole )
        return Error( whole.error() );
    const auto header = headerOf( whole->bytes() );
    if ( !header )
        return Error( header.error() );
    std::string warnings;
    const auto voxels = voxelsOf( *header, warnings );
    if ( !voxels )
        return Error( voxels.error() );
    const auto place = placeOf( *header, file, *whole );
    if ( !place )
        return Error( place.error() );
    return withWarnings( std::move( warnings ), readVoxelsAt( *place, *voxels, progress ) );
}

} // namespace VX
