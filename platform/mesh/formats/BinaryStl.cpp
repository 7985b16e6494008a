#include <VXMesh/formats/BinaryStl.h>

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/io/MappedFile.h>
#include <VXMesh/scene/Mesh.h>
#include <VXMesh/system/Parallel.h>

#include <atomic>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace VX
{
namespace
{

// A header of 80 bytes and a count; then for each triangle a normal, three corners and two bytes.
constexpr size_t cHeader = 84;
constexpr size_t cRecord = 50;
constexpr size_t cCorners = 12;
constexpr size_t cAttribute = 48;
constexpr size_t cBlock = 16;
constexpr size_t cLeastForThread = 100'000;
constexpr size_t cBetweenReports = 1 << 16;

uint64_t hashOf( const Vector3f& p )
{
    const uint64_t x = std::bit_cast<uint32_t>( p.x ), y = std::bit_cast<uint32_t>( p.y ),
                   z = std::bit_cast<uint32_t>( p.z );
    uint64_t h = ( x | y << 32 ) * 0x9e3779b97f4a7c15u;
    h = ( h ^ h >> 32 ^ z * 0xc2b2ae3d27d4eb4fu ) * 0x9e3779b97f4a7c15u;
    return h ^ h >> 29;
}

/// Gives points numbers, the same to the same: an open table whose slots hold a number and some bits of the hash, so
/// that most of the points that differ are never looked at.
class PointTable
{
public:
    void reserve( size_t expected )
    {
        slots_.resize( std::bit_ceil( expected * 2 + 16 ) );
        recent_.resize( cRecent );
        points.reserve( expected );
    }

    void prefetch( uint64_t hash ) const { __builtin_prefetch( &slots_[hash & ( slots_.size() - 1 )] ); }

    uint32_t add( const Vector3f& point, uint64_t hash )
    {
        Recent& recent = recent_[hash >> 40 & ( cRecent - 1 )];
        if ( recent.number != cFree && recent.point == point )
            return recent.number;
        recent = { point, findOrAdd_( point, hash ) };
        return recent.number;
    }

    /// The number of a point, or `cFree`.
    [[nodiscard]] uint32_t find( const Vector3f& point, uint64_t hash ) const
    {
        for ( size_t i = hash;; ++i )
        {
            const Slot& slot = slots_[i & ( slots_.size() - 1 )];
            if ( slot.number == cFree || ( slot.tag == uint32_t( hash >> 32 ) && points[slot.number] == point ) )
                return slot.number;
        }
    }

    static constexpr uint32_t cFree = std::numeric_limits<uint32_t>::max();

    std::vector<Vector3f> points;

private:
    // Triangles that meet are mostly near each other in the file, and so few bytes stay in the cache.
    static constexpr size_t cRecent = 8192;

    struct Slot
    {
        uint32_t tag = 0;
        uint32_t number = cFree;
    };
    struct Recent
    {
        Vector3f point;
        uint32_t number = cFree;
    };

    uint32_t findOrAdd_( const Vector3f& point, uint64_t hash )
    {
        if ( points.size() * 2 >= slots_.size() )
            grow_();
        const auto tag = uint32_t( hash >> 32 );
        for ( size_t i = hash;; ++i )
        {
            Slot& slot = slots_[i & ( slots_.size() - 1 )];
            if ( slot.number == cFree )
            {
                slot = { tag, uint32_t( points.size() ) };
                points.push_back( point );
                return slot.number;
            }
            if ( slot.tag == tag && points[slot.number] == point )
                return slot.number;
        }
    }

    void grow_()
    {
        slots_.assign( slots_.size() * 2, Slot{} );
        for ( uint32_t number = 0; number < points.size(); ++number )
        {
            const uint64_t hash = hashOf( points[number] );
            size_t i = hash;
            while ( slots_[i & ( slots_.size() - 1 )].number != cFree )
                ++i;
            slots_[i & ( slots_.size() - 1 )] = { uint32_t( hash >> 32 ), number };
        }
    }

    std::vector<Slot> slots_;
    std::vector<Recent> recent_;
};

constexpr uint32_t cNone = PointTable::cFree;

/// What becomes of the points of one piece: each belongs to the first piece that has it.
struct Owners
{
    std::vector<uint16_t> owner;
    std::vector<uint32_t> number; ///< among the owner's own points
    uint32_t own = 0;             ///< points that belong to this piece
    uint32_t first = 0;           ///< number in the mesh of the first of them
};

void findOwners( const std::vector<PointTable>& tables, size_t piece, Owners& out )
{
    const auto& points = tables[piece].points;
    out.owner.assign( points.size(), uint16_t( piece ) );
    out.number.resize( points.size() );
    for ( size_t begin = 0; begin < points.size(); begin += cBlock )
    {
        const size_t size = std::min( cBlock, points.size() - begin );
        std::array<uint64_t, cBlock> hashes;
        for ( size_t i = 0; i < size; ++i )
        {
            hashes[i] = hashOf( points[begin + i] );
            for ( size_t other = 0; other < piece; ++other )
                tables[other].prefetch( hashes[i] );
        }
        for ( size_t i = 0; i < size; ++i )
        {
            uint32_t found = cNone;
            size_t other = 0;
            while ( other < piece && ( found = tables[other].find( points[begin + i], hashes[i] ) ) == cNone )
                ++other;
            out.owner[begin + i] = uint16_t( other );
            out.number[begin + i] = found == cNone ? out.own++ : found;
        }
    }
}

/// Puts the points of all pieces into the mesh, each once, and lets the triangles refer to them.
void joinPieces( Mesh& mesh, const std::vector<PointTable>& tables )
{
    std::vector<Owners> pieces( tables.size() );
    forPieces( tables.size(), tables.size(), [&]( size_t, size_t, size_t i ) { findOwners( tables, i, pieces[i] ); } );
    uint32_t total = 0;
    for ( auto& piece : pieces )
        piece.first = std::exchange( total, total + piece.own );
    mesh.points.resize( total );
    forPieces( mesh.triangles.size(), tables.size(),
        [&]( size_t begin, size_t end, size_t i )
        {
            auto& piece = pieces[i];
            std::vector<uint32_t> numbers( piece.owner.size() );
            for ( size_t p = 0; p < numbers.size(); ++p )
            {
                const size_t owner = piece.owner[p];
                const uint32_t number = owner == i ? piece.number[p] : pieces[owner].number[piece.number[p]];
                numbers[p] = pieces[owner].first + number;
                if ( owner == i )
                    mesh.points[numbers[p]] = tables[i].points[p];
            }
            for ( size_t t = begin; t < end; ++t )
                for ( uint32_t& corner : mesh.triangles[t] )
                    if ( corner != cNone )
                        corner = numbers[corner];
        } );
}

class Reader
{
public:
    Reader( const std::byte* records, size_t count, const ProgressCallback& progress )
        : records_( records )
        , count_( count )
        , progress_( progress )
    {
    }

    /// Null when it was canceled or met colours.
    std::shared_ptr<Mesh> read()
    {
        auto mesh = std::make_shared<Mesh>();
        mesh->triangles.resize( count_ );
        const size_t threads = threadsFor( count_, cLeastForThread );
        std::vector<PointTable> tables( threads );
        forPieces( count_, threads,
            [&]( size_t begin, size_t end, size_t i ) { readPiece_( begin, end, mesh->triangles, tables[i] ); } );
        if ( stopped_ )
            return nullptr;
        joinPieces( *mesh, tables );
        if ( skipped_ > 0 )
            std::erase_if( mesh->triangles, []( const Triangle& t ) { return t[0] == cNone; } );
        return mesh;
    }

    [[nodiscard]] bool isColored() const { return colored_; }
    [[nodiscard]] size_t skipped() const { return skipped_; }

private:
    void readPiece_( size_t begin, size_t end, std::vector<Triangle>& triangles, PointTable& table )
    {
        // A closed surface has half as many points as triangles.
        table.reserve( ( end - begin ) / 2 );
        for ( size_t at = begin; at < end && !stopped_; at += cBlock )
        {
            if ( begin == 0 && at % cBetweenReports == 0 &&
                 !reportProgress( progress_, 0.9f * float( at ) / float( end ) ) )
                stopped_ = true;
            readBlock_( at, std::min( at + cBlock, end ), triangles, table );
        }
    }

    // All slots of a block are asked for before the first is needed: waiting for memory is most of the work.
    void readBlock_( size_t begin, size_t end, std::vector<Triangle>& triangles, PointTable& table )
    {
        std::array<std::array<Vector3f, 3>, cBlock> corners;
        std::array<std::array<uint64_t, 3>, cBlock> hashes;
        for ( size_t i = 0; i < end - begin; ++i )
        {
            const std::byte* record = records_ + ( begin + i ) * cRecord;
            std::memcpy( &corners[i], record + cCorners, sizeof corners[i] );
            if ( ( record[cAttribute + 1] & std::byte{ 0x80 } ) != std::byte{} )
                stopped_ = colored_ = true;
            for ( size_t k = 0; k < 3; ++k )
            {
                corners[i][k] += {}; // -0 is 0
                hashes[i][k] = hashOf( corners[i][k] );
                table.prefetch( hashes[i][k] );
            }
        }
        for ( size_t i = 0; i < end - begin; ++i )
        {
            const auto& c = corners[i];
            const bool finite = c[0].isFinite() && c[1].isFinite() && c[2].isFinite();
            if ( !finite )
                ++skipped_;
            for ( size_t k = 0; k < 3; ++k )
                triangles[begin + i][k] = finite ? table.add( c[k], hashes[i][k] ) : cNone;
        }
    }

    const std::byte* records_;
    size_t count_;
    const ProgressCallback& progress_;
    std::atomic<bool> stopped_ = false, colored_ = false;
    std::atomic<size_t> skipped_ = 0;
};

bool beginsLikeText( std::span<const std::byte> bytes )
{
    return bytes.size() >= 5 && std::memcmp( bytes.data(), "solid", 5 ) == 0;
}

} // namespace

std::optional<tl::expected<LoadedObjects, std::string>> loadBinaryStl(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto mapped = MappedFile::open( file );
    if ( !mapped )
        return tl::unexpected( mapped.error() );
    const auto bytes = mapped->bytes();
    if ( bytes.size() < cHeader )
        return {};
    uint32_t count = 0;
    std::memcpy( &count, bytes.data() + cHeader - sizeof count, sizeof count );
    const size_t room = ( bytes.size() - cHeader ) / cRecord;
    // Binary files may begin with "solid" too; then only the size tells.
    if ( beginsLikeText( bytes ) && bytes.size() != cHeader + size_t( count ) * cRecord )
        return {};
    if ( count > room )
        return tl::unexpected( cannotRead( file, "it is cut off: it should hold " + std::to_string( count ) +
                                                     " triangles and holds " + std::to_string( room ) ) );
    if ( count == 0 )
        return tl::unexpected( cannotRead( file, "it holds no triangles" ) );
    Reader reader( bytes.data() + cHeader, count, progress );
    auto mesh = reader.read();
    if ( reader.isColored() )
        return {};
    if ( !mesh )
        return tl::unexpected( std::string( cOperationCanceled ) );
    if ( mesh->triangles.empty() )
        return tl::unexpected( cannotRead( file, "no corner of its triangles is a number" ) );
    addCreases( *mesh );
    std::string warnings;
    if ( reader.skipped() > 0 )
        warnings = reader.skipped() == 1
                       ? "A triangle whose corners are not numbers was left out"
                       : std::to_string( reader.skipped() ) + " triangles whose corners are not numbers were left out";
    return meshOfFile( file, std::move( mesh ), std::move( warnings ) );
}

} // namespace VX
