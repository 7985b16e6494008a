#include <VXMesh/formats/voxels/NrrdHeader.h>

#include <VXMesh/formats/voxels/GridOfAxes.h>
#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

std::optional<FileNumber> numberNamed( const std::string& type )
{
    static const std::map<std::string, FileNumber> sNames{
        { "signed char", FileNumber::Int8 },
        { "int8", FileNumber::Int8 },
        { "int8_t", FileNumber::Int8 },
        { "uchar", FileNumber::UInt8 },
        { "unsigned char", FileNumber::UInt8 },
        { "uint8", FileNumber::UInt8 },
        { "uint8_t", FileNumber::UInt8 },
        { "short", FileNumber::Int16 },
        { "short int", FileNumber::Int16 },
        { "signed short", FileNumber::Int16 },
        { "signed short int", FileNumber::Int16 },
        { "int16", FileNumber::Int16 },
        { "int16_t", FileNumber::Int16 },
        { "ushort", FileNumber::UInt16 },
        { "unsigned short", FileNumber::UInt16 },
        { "unsigned short int", FileNumber::UInt16 },
        { "uint16", FileNumber::UInt16 },
        { "uint16_t", FileNumber::UInt16 },
        { "int", FileNumber::Int32 },
        { "signed int", FileNumber::Int32 },
        { "int32", FileNumber::Int32 },
        { "int32_t", FileNumber::Int32 },
        { "uint", FileNumber::UInt32 },
        { "unsigned int", FileNumber::UInt32 },
        { "uint32", FileNumber::UInt32 },
        { "uint32_t", FileNumber::UInt32 },
        { "longlong", FileNumber::Int64 },
        { "long long", FileNumber::Int64 },
        { "long long int", FileNumber::Int64 },
        { "signed long long", FileNumber::Int64 },
        { "signed long long int", FileNumber::Int64 },
        { "int64", FileNumber::Int64 },
        { "int64_t", FileNumber::Int64 },
        { "ulonglong", FileNumber::UInt64 },
        { "unsigned long long", FileNumber::UInt64 },
        { "unsigned long long int", FileNumber::UInt64 },
        { "uint64", FileNumber::UInt64 },
        { "uint64_t", FileNumber::UInt64 },
        { "float", FileNumber::Float32 },
        { "double", FileNumber::Float64 },
    };
    const auto it = sNames.find( type );
    return it == sNames.end() ? std::nullopt : std::optional( it->second );
}

/// "(1,0,0)" or "none"; nothing when it is neither.
std::optional<std::vector<double>> vectorOf( std::string text )
{
    if ( text.size() < 2 || text.front() != '(' || text.back() != ')' )
        return {};
    text = text.substr( 1, text.size() - 2 );
    std::replace( text.begin(), text.end(), ',', ' ' );
    return decimalNumbers( text );
}

/// The words of "(1, 0, 0) none (0,1,0)", those of one vector kept together.
std::vector<std::string> vectorWords( const std::string& text )
{
    std::string joined;
    bool isInside = false;
    for ( const char c : text )
    {
        isInside = c == '(' || ( isInside && c != ')' );
        if ( c == '(' )
            joined += ' ';
        if ( !isInside || !std::isspace( uint8_t( c ) ) )
            joined += c;
    }
    return wordsOf( joined );
}

bool isInSpace( const std::string& kind )
{
    return kind == "domain" || kind == "space" || kind == "???" || kind.empty();
}

/// To coordinates that grow to the left, the back and the head.
AffineXf3d fromSpace( const std::string& space )
{
    if ( space == "ras" || space == "right-anterior-superior" )
        return rightToLeft();
    if ( space == "las" || space == "left-anterior-superior" )
        return { { { 1, 0, 0 }, { 0, -1, 0 }, { 0, 0, 1 } }, {} };
    return {};
}

} // namespace

tl::expected<NrrdHeader, std::string> NrrdHeader::of( std::span<const std::byte> bytes )
{
    HeaderLines lines( bytes );
    const auto magic = lines.next();
    if ( !magic || !magic->starts_with( "NRRD000" ) )
        return Error( "It has no header of NRRD" );
    NrrdHeader out;
    while ( const auto line = lines.next() )
    {
        if ( line->empty() )
        {
            out.size = lines.offset();
            return out;
        }
        const auto colon = line->find( ": " );
        const auto assigned = line->find( ":=" );
        if ( line->starts_with( '#' ) || colon == line->npos || assigned < colon )
            continue;
        const auto key = toLower( line->substr( 0, colon ) );
        const auto value = trimmed( line->substr( colon + 2 ) );
        if ( key != "data file" && key != "datafile" )
        {
            out.fields[key] = value;
            continue;
        }
        out.dataFile = value;
        if ( wordsOf( value ).empty() || wordsOf( value )[0] != "LIST" )
            continue;
        while ( const auto name = lines.next() )
            if ( !name->empty() )
                out.listed.emplace_back( *name );
    }
    // Only voxels that are elsewhere need no empty line after the header.
    if ( out.dataFile.empty() )
        return Error( "Its header has no end" );
    return out;
}

tl::expected<NrrdHeader::Axes, std::string> NrrdHeader::axes_() const
{
    const auto sizes = wholeNumbers( fieldOf( fields, { "sizes" } ) );
    const auto dimension = wholeNumber( fieldOf( fields, { "dimension" } ) );
    if ( !sizes || !dimension || *dimension < 1 || *dimension > 16 || sizes->size() != size_t( *dimension ) )
        return Error( "Its header does not tell how many voxels there are" );
    for ( const auto n : *sizes )
        if ( n < 1 || n > VolumeBuilder::cMostAlong )
            return Error( "It claims " + std::to_string( n ) + " voxels along an axis; there have to be 1 to " +
                          std::to_string( VolumeBuilder::cMostAlong ) );
    auto kinds = wordsOf( toLower( fieldOf( fields, { "kinds" } ) ) );
    const auto directions = vectorWords( fieldOf( fields, { "space directions" } ) );
    kinds.resize( sizes->size() );
    for ( size_t i = 0; i < std::min( directions.size(), kinds.size() ); ++i )
        if ( directions[i] == "none" && isInSpace( kinds[i] ) )
            kinds[i] = "list";

    Axes out;
    if ( !isInSpace( kinds[0] ) )
    {
        const auto n = ( *sizes )[0];
        out.first = 1;
        out.channels = n == 2 && kinds[0] == "complex" ? Channels::Complex
                       : n == 3                        ? Channels::Colour
                       : n == 4                        ? Channels::ColourA
                                                       : Channels::One;
        if ( n > 1 && out.channels == Channels::One )
            return Error( "Each of its voxels has " + std::to_string( n ) + " numbers, and there can be only one" );
    }
    for ( size_t i = out.first; i < sizes->size(); ++i )
    {
        if ( out.count < 3 && isInSpace( kinds[i] ) && i == out.first + out.count )
            out.size[out.count++] = int( ( *sizes )[i] );
        else if ( __builtin_mul_overflow( out.volumes, ( *sizes )[i], &out.volumes ) )
            return Error( "It claims more volumes than can be counted" );
    }
    if ( out.count == 0 )
        return Error( "None of its axes is one of space" );
    return out;
}

tl::expected<Matrix3d, std::string> NrrdHeader::steps_( const Axes& axes ) const
{
    std::array<Vector3d, 3> columns{ Vector3d{ 1, 0, 0 }, Vector3d{ 0, 1, 0 }, Vector3d{ 0, 0, 1 } };
    const auto refused = Error( "The directions of its axes make no sense" );
    if ( const auto words = vectorWords( fieldOf( fields, { "space directions" } ) ); !words.empty() )
    {
        if ( words.size() < axes.first + axes.count )
            return refused;
        for ( size_t i = 0; i < axes.count; ++i )
        {
            const auto v = vectorOf( words[axes.first + i] );
            if ( !v || v->size() < 2 || v->size() > 3 )
                return refused;
            columns[i] = { ( *v )[0], ( *v )[1], v->size() > 2 ? ( *v )[2] : 0 };
        }
        if ( axes.count == 2 )
            columns[2] = cross( columns[0], columns[1] ).normalized();
    }
    else if ( const auto spacings = wordsOf( fieldOf( fields, { "spacings" } ) ); !spacings.empty() )
    {
        if ( spacings.size() < axes.first + axes.count )
            return refused;
        for ( size_t i = 0; i < axes.count; ++i )
        {
            const auto step = decimalNumber( spacings[axes.first + i] );
            if ( !step )
                return refused;
            // Nobody knows it: writers say so by NaN.
            columns[i] = columns[i] * ( std::isnan( *step ) || *step == 0 ? 1 : *step );
        }
    }
    return Matrix3d{ columns[0], columns[1], columns[2] }.transposed();
}

tl::expected<VolumeGrid, std::string> NrrdHeader::grid_( const Axes& axes, std::string& warnings ) const
{
    const auto steps = steps_( axes );
    if ( !steps )
        return Error( steps.error() );
    Vector3d origin;
    if ( const auto text = fieldOf( fields, { "space origin" } ); !text.empty() )
    {
        const auto words = vectorWords( text );
        const auto v = words.size() == 1 ? vectorOf( words[0] ) : std::nullopt;
        if ( !v || v->size() < 2 || v->size() > 3 )
            return Error( "Its origin makes no sense" );
        origin = { ( *v )[0], ( *v )[1], v->size() > 2 ? ( *v )[2] : 0 };
    }
    const AffineXf3d place = fromSpace( toLower( fieldOf( fields, { "space" } ) ) ) * AffineXf3d{ *steps, origin };
    auto grid = gridOfAxes( axes.size, place.A, place.b );
    if ( !grid )
        return Error( grid.error() );
    addWarning( warnings, grid->warning );
    return grid->grid;
}

tl::expected<FileVoxels, std::string> NrrdHeader::voxels( std::string& warnings ) const
{
    const auto type = fieldOf( fields, { "type" } );
    const auto number = numberNamed( toLower( type ) );
    if ( !number )
        return Error( "Its type of voxel, \"" + printable( type, 50 ) + "\", cannot be read" );
    const auto axes = axes_();
    if ( !axes )
        return Error( axes.error() );
    const auto grid = grid_( *axes, warnings );
    if ( !grid )
        return Error( grid.error() );
    if ( axes->volumes > 1 )
        addWarning( warnings, "It holds " + std::to_string( axes->volumes ) + " volumes; the first one was read" );
    const auto order = toLower( fieldOf( fields, { "endian" } ) );
    FileVoxels out{ .number = *number, .channels = axes->channels, .grid = *grid };
    if ( order == "big" || order == "little" )
        out.order = order == "big" ? std::endian::big : std::endian::little;
    else if ( const auto how = encoding(); sizeOf( *number ) > 1 && how && *how != DataEncoding::Text )
        return Error( "Its header does not tell the order of the bytes of a voxel" );
    auto unit = fieldOf( fields, { "sample units", "sampleunits" } );
    std::erase( unit, '"' );
    out.meaning.unit = printable( unit, 50 );
    return out;
}

tl::expected<DataEncoding, std::string> NrrdHeader::encoding() const
{
    const auto name = toLower( fieldOf( fields, { "encoding" } ) );
    if ( name == "raw" )
        return DataEncoding::Raw;
    if ( name == "gzip" || name == "gz" )
        return DataEncoding::Packed;
    if ( name == "ascii" || name == "text" || name == "txt" )
        return DataEncoding::Text;
    if ( name == "hex" )
        return DataEncoding::Hex;
    return Error( "Its encoding, \"" + printable( name, 50 ) + "\", cannot be read" );
}

tl::expected<void, std::string> NrrdHeader::skip( DataPlace& place ) const
{
    const auto number = [&]( std::initializer_list<const char*> keys )
    {
        const auto text = fieldOf( fields, keys );
        return text.empty() ? std::optional<int64_t>( 0 ) : wholeNumber( text );
    };
    const auto lines = number( { "line skip", "lineskip" } ), bytes = number( { "byte skip", "byteskip" } );
    if ( !lines || !bytes || *lines < 0 || *bytes < -1 )
        return Error( "It makes no sense how much of its data has to be left out" );
    place.skippedLines = uint64_t( *lines );
    place.isAtEnd = *bytes == -1;
    place.skippedBytes = uint64_t( std::max<int64_t>( *bytes, 0 ) );
    return {};
}

} // namespace VX
