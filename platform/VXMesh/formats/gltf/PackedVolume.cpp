#include <VXMesh/formats/gltf/PackedVolume.h>

#include <VXMesh/formats/gltf/GltfAccessors.h>
#include <VXMesh/io/Json.h>
#include <VXMesh/system/Parallel.h>

#include <libdeflate.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <unordered_map>

namespace VX::Gltf
{
namespace
{

static_assert( std::endian::native == std::endian::little, "bricks are packed as they lie in memory" );

using Error = tl::unexpected<std::string>;

constexpr int cEffort = 4;    // a third slower than the least, and a tenth smaller
constexpr size_t cEntry = 8;  // bytes of the table for each brick
constexpr size_t cBatch = 64; // bricks between two reports
constexpr size_t cBricksPerThread = 4;

Error damaged( const char* what )
{
    return Error( std::string( "The file is damaged: " ) + what );
}

Json::Value arrayOf( std::initializer_list<double> values )
{
    Json::Value out( Json::arrayValue );
    for ( const double v : values )
        out.append( v );
    return out;
}

template <size_t N>
bool readNumbers( const Json::Value& array, std::array<double, N>& out )
{
    if ( !array.isArray() || array.size() != N )
        return false;
    for ( Json::ArrayIndex i = 0; i < N; ++i )
    {
        if ( !array[i].isNumeric() )
            return false;
        out[i] = array[i].asDouble();
    }
    return true;
}

struct Deflater
{
    libdeflate_compressor* state = ::libdeflate_alloc_compressor( cEffort );

    Deflater() = default;
    Deflater( const Deflater& ) = delete;
    Deflater& operator=( const Deflater& ) = delete;
    ~Deflater() { ::libdeflate_free_compressor( state ); }

    std::vector<unsigned char> packed( std::span<const std::byte> bytes ) const
    {
        std::vector<unsigned char> out( ::libdeflate_deflate_compress_bound( state, bytes.size() ) );
        out.resize( ::libdeflate_deflate_compress( state, bytes.data(), bytes.size(), out.data(), out.size() ) );
        return out;
    }
};

/// Calls `work( begin, end )` for parts of a batch of items on all cores, and reports between the batches.
template <typename Work>
bool inBatches( size_t items, const ProgressCallback& progress, const Work& work )
{
    for ( size_t done = 0; done < items; done += cBatch )
    {
        if ( !reportProgress( progress, float( done ) / float( items ) ) )
            return false;
        const size_t count = std::min( cBatch, items - done );
        forPieces( count, threadsFor( count, cBricksPerThread ),
            [&]( size_t begin, size_t end, size_t ) { work( done + begin, done + end ); } );
    }
    return true;
}

/// Which bricks have to be packed, and for each of the others the one it is the same as.
struct Distinct
{
    std::vector<size_t> bricks;
    std::vector<uint32_t> sameAs;

    explicit Distinct( const Volume& volume )
        : sameAs( volume.bricks().size() )
    {
        std::unordered_map<const void*, uint32_t> known;
        for ( size_t i = 0; i < sameAs.size(); ++i )
        {
            sameAs[i] = known.emplace( volume.bricks()[i].get(), uint32_t( i ) ).first->second;
            if ( sameAs[i] == i )
                bricks.push_back( i );
        }
    }
};

void putWord( std::vector<unsigned char>& out, size_t offset, uint32_t word )
{
    std::memcpy( out.data() + offset, &word, sizeof word );
}

uint32_t wordAt( std::span<const std::byte> bytes, size_t offset )
{
    uint32_t word = 0;
    std::memcpy( &word, bytes.data() + offset, sizeof word );
    return word;
}

/// A brick's place among the packed bytes; empty where it is the same as another.
struct Place
{
    size_t brick = 0;
    std::span<const std::byte> bytes;
};

tl::expected<std::vector<Place>, std::string> placesOf(
    const Volume& shape, size_t bricks, std::span<const std::byte> packed )
{
    std::vector<Place> out;
    size_t at = bricks * cEntry;
    std::vector<bool> isPacked( bricks );
    for ( size_t i = 0; i < bricks; ++i )
    {
        const size_t length = wordAt( packed, i * cEntry ), other = wordAt( packed, i * cEntry + 4 );
        if ( length == 0 && ( other >= i || !isPacked[other] || shape.brickBytes( other ) != shape.brickBytes( i ) ) )
            return damaged( "a brick of voxels refers to one that is not there" );
        if ( length > packed.size() - at )
            return damaged( "a brick of voxels lies outside of the data" );
        isPacked[i] = length > 0;
        if ( length > 0 )
            out.push_back( { i, packed.subspan( at, length ) } );
        at += length;
    }
    return out;
}

/// The volume that is described, without its bricks.
tl::expected<Volume, std::string> shapeOf( const Json::Value& description )
{
    const auto refused = damaged( "a volume is not described" );
    std::array<double, 3> size{}, spacing{}, origin{};
    std::array<double, 9> d{};
    std::array<double, 2> window{};
    const auto type = integerMember( description, "type", cVoxelTypes );
    if ( !description.isObject() || type >= cVoxelTypes || !readNumbers( description["size"], size ) ||
         !readNumbers( description["spacing"], spacing ) || !readNumbers( description["origin"], origin ) ||
         !readNumbers( description["direction"], d ) || !readNumbers( description["window"], window ) ||
         !description["slope"].isNumeric() || !description["intercept"].isNumeric() )
        return refused;
    VolumeGrid grid{ .spacing = { spacing[0], spacing[1], spacing[2] },
        .direction = { { d[0], d[1], d[2] }, { d[3], d[4], d[5] }, { d[6], d[7], d[8] } },
        .origin = { origin[0], origin[1], origin[2] } };
    for ( size_t i = 0; i < 3; ++i )
    {
        // What is no number fails, too.
        if ( !( size[i] >= 1 && size[i] <= double( 1 << 20 ) ) )
            return refused;
        grid.size[i] = int( size[i] );
    }
    Volume out( VoxelType( type ), grid,
        { .slope = description["slope"].asDouble(),
            .intercept = description["intercept"].asDouble(),
            .unit = textMember( description, "unit" ),
            .window = { window[0], window[1] } },
        {} );
    if ( !out.hasSense() )
        return refused;
    return out;
}

} // namespace

Json::Value describeVolume( const Volume& volume )
{
    const auto& grid = volume.grid();
    const auto& meaning = volume.meaning();
    const auto& d = grid.direction;
    Json::Value out;
    out["type"] = int( volume.type() );
    for ( const int n : grid.size )
        out["size"].append( n );
    out["spacing"] = arrayOf( { grid.spacing.x, grid.spacing.y, grid.spacing.z } );
    out["direction"] = arrayOf( { d.x.x, d.x.y, d.x.z, d.y.x, d.y.y, d.y.z, d.z.x, d.z.y, d.z.z } );
    out["origin"] = arrayOf( { grid.origin.x, grid.origin.y, grid.origin.z } );
    out["slope"] = meaning.slope;
    out["intercept"] = meaning.intercept;
    out["unit"] = meaning.unit;
    out["window"] = arrayOf( { meaning.window.center, meaning.window.width } );
    return out;
}

tl::expected<std::vector<unsigned char>, std::string> packVolume(
    const Volume& volume, uint64_t most, const ProgressCallback& progress )
{
    const Distinct distinct( volume );
    const size_t bricks = volume.bricks().size();
    std::vector<unsigned char> out( bricks * cEntry );
    std::vector<std::vector<unsigned char>> batch( cBatch );
    const auto pack = [&]( size_t begin, size_t end )
    {
        const Deflater deflater;
        for ( size_t i = begin; i < end; ++i )
        {
            const size_t brick = distinct.bricks[i];
            batch[i % cBatch] = deflater.packed( { volume.bricks()[brick].get(), volume.brickBytes( brick ) } );
        }
    };
    size_t taken = 0;
    const auto take = [&]
    {
        for ( const size_t end = std::min( taken + cBatch, distinct.bricks.size() ); taken < end; ++taken )
        {
            const auto& bytes = batch[taken % cBatch];
            putWord( out, distinct.bricks[taken] * cEntry, uint32_t( bytes.size() ) );
            out.insert( out.end(), bytes.begin(), bytes.end() );
        }
        return out.size() <= most;
    };
    bool fits = true;
    const auto report = [&]( float fraction )
    { return ( fraction == 0 || ( fits = take() ) ) && reportProgress( progress, fraction ); };
    if ( !inBatches( distinct.bricks.size(), report, pack ) && fits )
        return Error( cOperationCanceled );
    if ( !fits || !take() )
        return Error( "The scene is too large for one file (over 4 GiB)" );
    for ( size_t i = 0; i < bricks; ++i )
        if ( distinct.sameAs[i] != i )
            putWord( out, i * cEntry + 4, distinct.sameAs[i] );
    return out;
}

tl::expected<Volume, std::string> unpackVolume( const Json::Value& description, std::span<const std::byte> packed,
    uint64_t& budget, const ProgressCallback& progress )
{
    const auto shape = shapeOf( description );
    if ( !shape )
        return shape;
    const VoxelIndex counts = shape->brickCounts();
    const uint64_t bricks = uint64_t( counts[0] ) * uint64_t( counts[1] ) * uint64_t( counts[2] );
    if ( bricks > packed.size() / cEntry )
        return damaged( "a volume claims more than it holds" );
    const auto places = placesOf( *shape, size_t( bricks ), packed );
    if ( !places )
        return Error( places.error() );
    uint64_t bytes = 0;
    for ( const auto& place : *places )
        bytes += shape->brickBytes( place.brick );
    if ( bytes > budget )
        return damaged( "a volume claims more than it holds" );
    budget -= bytes;

    std::vector<VolumeBrick> out( bricks );
    std::atomic<bool> isWhole = true;
    const auto unpack = [&]( size_t begin, size_t end )
    {
        auto* state = ::libdeflate_alloc_decompressor();
        for ( size_t i = begin; i < end && isWhole; ++i )
        {
            const auto& [brick, from] = ( *places )[i];
            const size_t size = shape->brickBytes( brick );
            auto made = std::make_shared_for_overwrite<std::byte[]>( size );
            if ( ::libdeflate_deflate_decompress( state, from.data(), from.size(), made.get(), size, nullptr ) !=
                 LIBDEFLATE_SUCCESS )
                isWhole = false;
            out[brick] = std::move( made );
        }
        ::libdeflate_free_decompressor( state );
    };
    const auto report = [&]( float fraction ) { return isWhole && reportProgress( progress, fraction ); };
    if ( !inBatches( places->size(), report, unpack ) && isWhole )
        return Error( cOperationCanceled );
    if ( !isWhole )
        return damaged( "a brick of voxels cannot be unpacked" );
    for ( size_t i = 0; i < out.size(); ++i )
        if ( !out[i] )
            out[i] = out[wordAt( packed, i * cEntry + 4 )];
    return Volume( shape->type(), shape->grid(), shape->meaning(), std::move( out ) );
}

} // namespace VX::Gltf
