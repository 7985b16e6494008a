#include <VXMesh/formats/voxels/RawVolume.h>

#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/HeaderText.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/volume/VolumeText.h>

#include <algorithm>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

constexpr size_t cMostCandidates = 16;

/// What a name says, as far as it says it.
struct NameHints
{
    std::optional<VoxelIndex> size;
    std::optional<VoxelType> type;
    std::optional<size_t> bits;
    std::optional<std::endian> order;
    std::optional<Vector3d> spacing;
};

/// The pieces between "_", "-", blanks and brackets; dots stay, since numbers have them.
std::vector<std::string> piecesOf( std::string name )
{
    for ( char& c : name )
        if ( std::string_view( "_- ()[],+" ).find( c ) != std::string_view::npos )
            c = ' ';
    return wordsOf( name );
}

/// "0.5x0.5x1.2mm" is 0.5, 0.5 and 1.2.
std::optional<Vector3d> threeNumbers( std::string piece )
{
    if ( piece.ends_with( "mm" ) )
        piece.resize( piece.size() - 2 );
    if ( std::count( piece.begin(), piece.end(), 'x' ) != 2 )
        return {};
    std::replace( piece.begin(), piece.end(), 'x', ' ' );
    const auto numbers = decimalNumbers( piece );
    if ( !numbers || numbers->size() != 3 )
        return {};
    return Vector3d{ ( *numbers )[0], ( *numbers )[1], ( *numbers )[2] };
}

bool isSize( const Vector3d& v )
{
    const auto fits = []( double n ) { return n >= 1 && n <= VolumeBuilder::cMostAlong && n == std::floor( n ); };
    return fits( v.x ) && fits( v.y ) && fits( v.z );
}

std::optional<VoxelType> typeNamed( const std::string& piece )
{
    static const std::map<std::string, VoxelType> sNames{ { "uint8", VoxelType::UInt8 }, { "uchar", VoxelType::UInt8 },
        { "u8", VoxelType::UInt8 }, { "byte", VoxelType::UInt8 }, { "int8", VoxelType::Int8 },
        { "i8", VoxelType::Int8 }, { "s8", VoxelType::Int8 }, { "char", VoxelType::Int8 },
        { "uint16", VoxelType::UInt16 }, { "ushort", VoxelType::UInt16 }, { "u16", VoxelType::UInt16 },
        { "int16", VoxelType::Int16 }, { "short", VoxelType::Int16 }, { "i16", VoxelType::Int16 },
        { "s16", VoxelType::Int16 }, { "uint32", VoxelType::UInt32 }, { "u32", VoxelType::UInt32 },
        { "int32", VoxelType::Int32 }, { "i32", VoxelType::Int32 }, { "int", VoxelType::Int32 },
        { "float", VoxelType::Float32 }, { "float32", VoxelType::Float32 }, { "f32", VoxelType::Float32 },
        { "real", VoxelType::Float32 } };
    const auto it = sNames.find( piece );
    return it == sNames.end() ? std::nullopt : std::optional( it->second );
}

std::optional<size_t> bitsNamed( const std::string& piece )
{
    for ( const auto& [name, bits] :
        { std::pair( "8bit", 8 ), { "8b", 8 }, { "16bit", 16 }, { "16b", 16 }, { "32bit", 32 } } )
        if ( piece == name )
            return size_t( bits );
    return {};
}

NameHints hintsOf( const std::filesystem::path& file )
{
    NameHints out;
    auto name = toLower( utf8string( file.filename() ) );
    for ( const auto* ending : { ".gz", ".raw", ".bin", ".vol", ".dat" } )
        if ( name.ends_with( ending ) )
            name.resize( name.size() - std::string_view( ending ).size() );
    for ( const auto& piece : piecesOf( name ) )
    {
        const auto numbers = threeNumbers( piece );
        if ( numbers && !out.size && isSize( *numbers ) && !piece.ends_with( "mm" ) )
            out.size = VoxelIndex{ int( numbers->x ), int( numbers->y ), int( numbers->z ) };
        else if ( numbers && !out.spacing && numbers->x > 0 && numbers->y > 0 && numbers->z > 0 && numbers->isFinite() )
            out.spacing = numbers;
        else if ( const auto type = typeNamed( piece ) )
            out.type = type;
        else if ( const auto bits = bitsNamed( piece ) )
            out.bits = bits;
        else if ( piece == "be" || piece == "big" || piece == "msb" )
            out.order = std::endian::big;
        else if ( piece == "le" || piece == "little" || piece == "lsb" )
            out.order = std::endian::little;
    }
    return out;
}

/// The types to try, the likeliest first.
std::vector<VoxelType> typesFor( const NameHints& hints )
{
    if ( hints.type )
        return { *hints.type };
    std::vector<VoxelType> out{ VoxelType::UInt16, VoxelType::UInt8, VoxelType::Float32 };
    if ( hints.bits )
        std::erase_if( out, [&]( VoxelType type ) { return sizeOf( type ) * 8 != *hints.bits; } );
    return out;
}

std::optional<int> cubeRoot( uint64_t n )
{
    const auto root = uint64_t( std::llround( std::cbrt( double( n ) ) ) );
    return root > 1 && root <= uint64_t( VolumeBuilder::cMostAlong ) && root * root * root == n
               ? std::optional( int( root ) )
               : std::nullopt;
}

/// Sizes of so many voxels, as scanners make them: a cube, or slices of a usual square.
std::vector<VoxelIndex> usualSizes( uint64_t voxels )
{
    std::vector<VoxelIndex> out;
    if ( const auto edge = cubeRoot( voxels ) )
        out.push_back( { *edge, *edge, *edge } );
    for ( const int edge : { 512, 256, 1024, 2048, 768, 128, 640, 320, 64 } )
    {
        const auto slice = uint64_t( edge ) * uint64_t( edge ), slices = voxels / slice;
        if ( voxels % slice == 0 && slices >= 8 && slices <= 8 * uint64_t( edge ) )
            out.push_back( { edge, edge, int( slices ) } );
    }
    return out;
}

} // namespace

uint64_t RawVolume::fileBytes() const
{
    VolumeGrid grid;
    grid.size = size;
    uint64_t out = grid.voxelCount();
    if ( __builtin_mul_overflow( out, uint64_t( sizeOf( type ) ), &out ) || out > VolumeBuilder::cMostBytes ||
         __builtin_add_overflow( out, headerBytes, &out ) )
        return 0;
    return out;
}

tl::expected<ReadVolume, std::string> readRaw(
    const std::filesystem::path& file, const RawVolume& raw, const ProgressCallback& progress )
{
    const auto whole = wholeFile( file );
    if ( !whole )
        return Error( whole.error() );
    VolumeGrid grid;
    grid.size = raw.size;
    grid.spacing = raw.spacing;
    const bool isPacked = looksLikeGzip( whole->bytes() );
    const uint64_t wanted = raw.fileBytes();
    if ( !isPacked && wanted > whole->size )
        return Error( "It has " + bytesText( whole->size ) + ", and " + sizeText( raw.size ) + " voxels of " +
                      std::string( nameOf( raw.type ) ) + " after a header of " + bytesText( raw.headerBytes ) +
                      " take " + bytesText( wanted ) );
    auto read = readVoxelsAt( { .parts = { *whole },
                                  .encoding = isPacked ? DataEncoding::Packed : DataEncoding::Raw,
                                  .skippedBytes = raw.headerBytes },
        { .number = fileNumberOf( raw.type ), .order = raw.order, .grid = grid }, progress );
    if ( read && !isPacked && whole->size > wanted )
        addWarning( read->warnings, bytesText( whole->size - wanted ) + " after its voxels were left out" );
    return read;
}

RawGuesses guessRaw( const std::filesystem::path& file, uint64_t fileSize )
{
    const NameHints hints = hintsOf( file );
    RawGuesses out;
    for ( const auto type : typesFor( hints ) )
    {
        RawVolume raw{ .type = type, .order = hints.order.value_or( std::endian::little ) };
        raw.spacing = hints.spacing.value_or( Vector3d{ 1, 1, 1 } );
        if ( hints.size )
        {
            raw.size = *hints.size;
            const uint64_t bytes = raw.fileBytes();
            if ( bytes == 0 || bytes > fileSize )
                continue;
            raw.headerBytes = fileSize - bytes;
            out.candidates.push_back( raw );
            continue;
        }
        if ( fileSize % sizeOf( type ) != 0 )
            continue;
        for ( const auto& size : usualSizes( fileSize / sizeOf( type ) ) )
        {
            raw.size = size;
            out.candidates.push_back( raw );
        }
    }
    // The less has to be left out before the voxels the likelier.
    std::stable_sort( out.candidates.begin(), out.candidates.end(),
        []( const RawVolume& a, const RawVolume& b ) { return a.headerBytes < b.headerBytes; } );
    out.isNamed = hints.size && !out.candidates.empty() && out.candidates.front().headerBytes == 0;
    out.candidates.resize( std::min( out.candidates.size(), cMostCandidates ) );
    return out;
}

} // namespace VX
