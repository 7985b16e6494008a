#include <VXMesh/formats/BinaryStl.h>

#include <VXMesh/formats/BlockWork.h>
#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/io/MappedFile.h>
#include <VXMesh/scene/Mesh.h>
#include <VXMesh/scene/Origin.h>
#include <VXMesh/system/Parallel.h>

#include <atomic>
#include <bit>
#include <cstring>
#include <limits>
#include <random>
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
constexpr size_t cLongBlock = 4096;
constexpr size_t cLeastForThread = 100'000;
// Of the whole progress, when all is read and when it is known whose each point is.
constexpr float cRead = 0.8f, cFound = 0.9f;

/// Every file gets numbers of its own: whoever knew them could choose points that all meet in one place of the table.
class PointHash
{
public:
    PointHash()
    {
        std::random_device source;
        for ( uint64_t& key : keys_ )
            key = uint64_t( source() ) << 32 | source();
    }

    uint64_t operator()( const Vector3f& p ) const
    {
        const uint64_t x = std::bit_cast<uint32_t>( p.x ), y = std::bit_cast<uint32_t>( p.y ),
                       z = std::bit_cast<uint32_t>( p.z );
        const Wide product = Wide( ( x | y << 32 ) ^ keys_[0] ) * ( z ^ keys_[1] );
        const auto h = uint64_t( product ) ^ uint64_t( product >> 64 );
        return h ^ h >> 29;
    }

private:
    __extension__ using Wide = unsigned __int128;

    std::array<uint64_t, 2> keys_;
};

/// Gives points numbers, the same to the same: an open table whose slots hold a number and some bits of the hash, so
/// that most of the points that differ are never looked at.
class PointTable
{
public:
    explicit PointTable( const PointHash& hash )
        : hash_( hash )
    {
    }

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
            const uint64_t hash = hash_( points[number] );
            size_t i = hash;
            while ( slots_[i & ( slots_.size() - 1 )].number != cFree )
                ++i;
            slots_[i & ( slots_.size() - 1 )] = { uint32_t( hash >> 32 ), number };
        }
    }

    PointHash hash_;
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

class Joiner
{
public:
    Joiner( const std::vector<PointTable>& tables, const PointHash& hash, BlockWork& work )
        : tables_( tables )
        , hash_( hash )
        , work_( work )
    {
    }

    /// Puts the points of all pieces into the mesh, each once, and lets the triangles refer to them.
    void join( Mesh& mesh )
    {
        std::vector<Owners> pieces( tables_.size() );
        // The last piece has the most to look through: this thread takes it, and reports.
        forPieces( tables_.size(), tables_.size(),
            [&]( size_t, size_t, size_t i )
            {
                const size_t piece = tables_.size() - 1 - i;
                findOwners_( piece, { cRead, cFound, i == 0 }, pieces[piece] );
            } );
        if ( !work_.stopped() )
            number_( mesh, pieces );
    }

private:
    void findOwners_( size_t piece, const BlockWork::Stage& stage, Owners& out )
    {
        const size_t count = tables_[piece].points.size();
        out.owner.assign( count, uint16_t( piece ) );
        out.number.resize( count );
        work_.forBlocks( 0, count, cBlock, stage,
            [&]( size_t begin, size_t end ) { findOwnersOfBlock_( piece, begin, end, out ); } );
    }

    void findOwnersOfBlock_( size_t piece, size_t begin, size_t end, Owners& out ) const
    {
        const auto& points = tables_[piece].points;
        std::array<uint64_t, cBlock> hashes;
        for ( size_t i = begin; i < end; ++i )
        {
            hashes[i - begin] = hash_( points[i] );
            for ( size_t other = 0; other < piece; ++other )
                tables_[other].prefetch( hashes[i - begin] );
        }
        for ( size_t i = begin; i < end; ++i )
        {
            uint32_t found = cNone;
            size_t other = 0;
            while ( other < piece && ( found = tables_[other].find( points[i], hashes[i - begin] ) ) == cNone )
                ++other;
            out.owner[i] = uint16_t( other );
            out.number[i] = found == cNone ? out.own++ : found;
        }
    }

    void number_( Mesh& mesh, std::vector<Owners>& pieces )
    {
        uint32_t total = 0;
        for ( auto& piece : pieces )
            piece.first = std::exchange( total, total + piece.own );
        mesh.points.resize( total );
        forPieces( mesh.triangles.size(), tables_.size(),
            [&]( size_t begin, size_t end, size_t i )
            {
                const auto numbers = numbersOf_( i, pieces, mesh );
                const auto refer = [&]( size_t first, size_t last )
                {
                    for ( size_t t = first; t < last; ++t )
                        for ( uint32_t& corner : mesh.triangles[t] )
                            if ( corner != cNone )
                                corner = numbers[corner];
                };
                work_.forBlocks( begin, end, cLongBlock, { cFound, 1, i == 0 }, refer );
            } );
    }

    /// The numbers in the mesh of a piece's points; those that it owns are put there.
    std::vector<uint32_t> numbersOf_( size_t i, const std::vector<Owners>& pieces, Mesh& mesh ) const
    {
        const auto& piece = pieces[i];
        std::vector<uint32_t> out( piece.owner.size() );
        for ( size_t p = 0; p < out.size(); ++p )
        {
            const size_t owner = piece.owner[p];
            const uint32_t number = owner == i ? piece.number[p] : pieces[owner].number[piece.number[p]];
            out[p] = pieces[owner].first + number;
            if ( owner == i )
                mesh.points[out[p]] = tables_[i].points[p];
        }
        return out;
    }

    const std::vector<PointTable>& tables_;
    const PointHash& hash_;
    BlockWork& work_;
};

class Reader
{
public:
    Reader( const std::byte* records, size_t count, const ProgressCallback& progress )
        : records_( records )
        , count_( count )
        , work_( progress )
    {
    }

    /// Null when it was canceled or met colours.
    std::shared_ptr<Mesh> read()
    {
        auto mesh = std::make_shared<Mesh>();
        mesh->triangles.resize( count_ );
        const size_t threads = threadsFor( count_, cLeastForThread );
        std::vector<PointTable> tables( threads, PointTable( hash_ ) );
        forPieces( count_, threads,
            [&]( size_t begin, size_t end, size_t i ) { readPiece_( begin, end, mesh->triangles, tables[i] ); } );
        if ( !work_.stopped() )
            Joiner( tables, hash_, work_ ).join( *mesh );
        if ( work_.stopped() )
            return nullptr;
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
        work_.forBlocks( begin, end, cBlock, { 0, cRead, begin == 0 },
            [&]( size_t first, size_t last ) { readBlock_( first, last, triangles, table ); } );
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
            {
                colored_ = true;
                work_.stop();
            }
            for ( size_t k = 0; k < 3; ++k )
            {
                corners[i][k] += {}; // -0 is 0
                hashes[i][k] = hash_( corners[i][k] );
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
    const PointHash hash_;
    BlockWork work_;
    std::atomic<bool> colored_ = false;
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
    const Vector3d origin = moveToOrigin( mesh->points );
    addCreases( *mesh );
    std::string warnings;
    if ( reader.skipped() > 0 )
        warnings = reader.skipped() == 1
                       ? "A triangle whose corners are not numbers was left out"
                       : std::to_string( reader.skipped() ) + " triangles whose corners are not numbers were left out";
    return meshOfFile( file, std::move( mesh ), origin, std::move( warnings ) );
}

} // namespace VX
