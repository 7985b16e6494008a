#include <VXMesh/formats/voxels/VoxelStream.h>

#include <VXMesh/volume/HeldTo.h>

#include <cstring>

namespace VX
{
namespace
{

constexpr size_t cAtOnce = size_t( 128 ) << 10; // voxels, between two reports of progress

size_t countOf( Channels channels )
{
    return channels == Channels::One ? 1 : channels == Channels::Colour ? 3 : channels == Channels::ColourA ? 4 : 2;
}

/// What a volume keeps of such voxels, if all of them fit.
VoxelType keptAs( const FileVoxels& voxels )
{
    if ( voxels.channels == Channels::Complex )
        return VoxelType::Float32;
    return withFileNumber( voxels.number,
        []<typename T>( T )
        {
            if constexpr ( Voxel<T> )
                return cVoxelTypeOf<T>;
            else
                return std::integral<T> ? VoxelType::Int32 : VoxelType::Float32;
        } );
}

bool isKeptAsItIs( const FileVoxels& voxels )
{
    return voxels.channels == Channels::One && fileNumberOf( keptAs( voxels ) ) == voxels.number;
}

/// Luma of ITU-R BT.709.
template <typename From>
double brightness( const From* rgb )
{
    return 0.2126 * double( rgb[0] ) + 0.7152 * double( rgb[1] ) + 0.0722 * double( rgb[2] );
}

template <typename From>
double oneOf( const From* numbers, Channels channels )
{
    if ( channels == Channels::Complex )
        return std::hypot( double( numbers[0] ), double( numbers[1] ) );
    return channels == Channels::One ? double( numbers[0] ) : brightness( numbers );
}

/// Turns whole voxels into what is kept; false when one does not fit.
template <typename From, Voxel To>
bool convert( std::span<const std::byte> bytes, Channels channels, std::vector<std::byte>& out )
{
    const size_t perVoxel = countOf( channels ), count = bytes.size() / ( perVoxel * sizeof( From ) );
    out.resize( count * sizeof( To ) );
    for ( size_t i = 0; i < count; ++i )
    {
        From numbers[4];
        std::memcpy( numbers, bytes.data() + i * perVoxel * sizeof( From ), perVoxel * sizeof( From ) );
        To kept{};
        if constexpr ( std::integral<From> && std::integral<To> )
        {
            if ( channels == Channels::One && !std::in_range<To>( numbers[0] ) )
                return false;
            kept = channels == Channels::One ? To( numbers[0] ) : heldTo<To>( oneOf( numbers, channels ) );
        }
        else
            kept = heldTo<To>( oneOf( numbers, channels ) );
        std::memcpy( out.data() + i * sizeof( To ), &kept, sizeof kept );
    }
    return true;
}

/// One way through the voxels.
class Pass
{
public:
    enum class End
    {
        Done,
        DoesNotFit
    };

    Pass( const FileVoxels& voxels, VoxelType type )
        : voxels_( voxels )
        , type_( type )
        , isKept_( isKeptAsItIs( voxels ) )
        , voxelBytes_( sizeOf( voxels.number ) * countOf( voxels.channels ) )
    {
    }

    tl::expected<End, std::string> run( ByteSource& source, VolumeBuilder& builder, const ProgressCallback& progress )
    {
        const size_t kept = sizeOf( type_ );
        std::vector<std::byte> buffer( cAtOnce * voxelBytes_ );
        while ( builder.missing() > 0 )
        {
            if ( !reportProgress( progress, builder.fraction() ) )
                return tl::unexpected( std::string( cOperationCanceled ) );
            const size_t count = size_t( std::min<uint64_t>( cAtOnce, builder.missing() / kept ) );
            const auto room = std::span( buffer ).first( count * voxelBytes_ );
            const auto got = source.read( room );
            if ( !got )
                return tl::unexpected( got.error() );
            if ( !append_( room.first( *got / voxelBytes_ * voxelBytes_ ), builder ) )
                return End::DoesNotFit;
            if ( *got < room.size() )
                break;
        }
        return End::Done;
    }

private:
    bool append_( std::span<std::byte> bytes, VolumeBuilder& builder )
    {
        // The builder turns what is kept as it is.
        if ( isKept_ )
            return builder.append( bytes ).has_value();
        if ( voxels_.order != std::endian::native )
            swapBytes( bytes, sizeOf( voxels_.number ) );
        const bool fits = withFileNumber( voxels_.number,
            [&]<typename From>( From )
            {
                return withVoxelType( type_,
                    [&]<typename To>( To ) { return convert<From, To>( bytes, voxels_.channels, converted_ ); } );
            } );
        return fits && builder.append( converted_ ).has_value();
    }

    const FileVoxels& voxels_;
    VoxelType type_;
    bool isKept_;
    size_t voxelBytes_;
    std::vector<std::byte> converted_;
};

std::string warningsOf( const FileVoxels& voxels, VoxelType type )
{
    std::string out;
    if ( voxels.channels == Channels::Complex )
        addWarning( out, "Its complex numbers were read as their magnitude" );
    else if ( voxels.channels != Channels::One )
        addWarning( out, "Its colours were read as brightness" );
    if ( type == VoxelType::Float32 && voxels.number != FileNumber::Float32 )
        addWarning( out, "Its numbers of 64 bits were rounded to floats of 32 bits" );
    return out;
}

} // namespace

size_t sizeOf( FileNumber number )
{
    return withFileNumber( number, []( auto zero ) { return sizeof zero; } );
}

FileNumber fileNumberOf( VoxelType type )
{
    constexpr std::array cNumbers{ FileNumber::Int8, FileNumber::UInt8, FileNumber::Int16, FileNumber::UInt16,
        FileNumber::Int32, FileNumber::UInt32, FileNumber::Float32 };
    return cNumbers[size_t( type )];
}

uint64_t FileVoxels::bytes() const
{
    uint64_t out = grid.voxelCount();
    if ( __builtin_mul_overflow( out, uint64_t( sizeOf( number ) * countOf( channels ) ), &out ) )
        return 0;
    return out <= uint64_t( INT64_MAX ) ? out : 0;
}

void addWarning( std::string& warnings, const std::string& sentence )
{
    if ( sentence.empty() )
        return;
    if ( !warnings.empty() )
        warnings += '\n';
    warnings += sentence;
}

tl::expected<ReadVolume, std::string> withWarnings( std::string warnings, tl::expected<ReadVolume, std::string> read )
{
    if ( read )
    {
        addWarning( warnings, read->warnings );
        read->warnings = std::move( warnings );
    }
    return read;
}

tl::expected<ReadVolume, std::string> readVoxels(
    const OpenSource& open, const FileVoxels& voxels, const ProgressCallback& progress )
{
    for ( VoxelType type = keptAs( voxels );; type = VoxelType::Float32 )
    {
        auto builder = VolumeBuilder::make( { .type = type,
            .grid = voxels.grid,
            .meaning = voxels.meaning,
            .order = isKeptAsItIs( voxels ) ? voxels.order : std::endian::native } );
        if ( !builder )
            return tl::unexpected( builder.error() );
        const auto source = open();
        const auto end = Pass( voxels, type ).run( *source, *builder, progress );
        if ( !end )
            return tl::unexpected( end.error() );
        if ( *end == Pass::End::DoesNotFit && type != VoxelType::Float32 )
            continue;
        auto volume = std::move( *builder ).finish();
        if ( !volume )
            return tl::unexpected( volume.error() );
        return ReadVolume{ std::move( *volume ), warningsOf( voxels, type ) };
    }
}

} // namespace VX
