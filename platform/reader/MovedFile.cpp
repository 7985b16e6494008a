#include "MovedFile.h"

#include "PlyVertices.h"
#include "PointText.h"

#include <VXMesh/io/MappedFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/scene/Origin.h>

#include <array>
#include <bit>
#include <charconv>
#include <cstring>

namespace VX
{
namespace
{

static_assert( std::endian::native == std::endian::little );

void appendNumber( std::string& out, double number )
{
    std::array<char, 32> text{};
    const auto end = std::to_chars( text.data(), text.data() + text.size(), float( number ) ).ptr;
    out.append( text.data(), end );
}

std::optional<MovedFile> movedText( std::string_view text, PointText points )
{
    Box3d box;
    for ( PointText all = points; const auto point = all.next(); )
        if ( fitsFloat( point->place ) )
            box.include( point->place );
    MovedFile out{ {}, originFor( box ) };
    if ( out.origin == Vector3d{} )
        return {};
    out.bytes.reserve( text.size() );
    size_t copied = 0;
    while ( const auto point = points.next() )
    {
        if ( !fitsFloat( point->place ) )
            continue;
        out.bytes += text.substr( copied, point->begin - copied );
        const Vector3d place = point->place - out.origin;
        appendNumber( out.bytes, place.x );
        appendNumber( out.bytes += ' ', place.y );
        appendNumber( out.bytes += ' ', place.z );
        copied = point->end;
    }
    out.bytes += text.substr( copied );
    return points.isStrange() ? std::nullopt : std::optional( std::move( out ) );
}

/// Doubles in a binary PLY file, read and written where they stand.
class PlyDoubles
{
public:
    explicit PlyDoubles( const PlyVertices& vertices )
        : vertices_( vertices )
    {
    }
    [[nodiscard]] Vector3d get( const char* vertex ) const
    {
        return { number_( vertex + vertices_.x ), number_( vertex + vertices_.y ), number_( vertex + vertices_.z ) };
    }
    void set( char* vertex, const Vector3d& place ) const
    {
        put_( vertex + vertices_.x, place.x );
        put_( vertex + vertices_.y, place.y );
        put_( vertex + vertices_.z, place.z );
    }

private:
    [[nodiscard]] double number_( const char* at ) const
    {
        uint64_t bits = 0;
        std::memcpy( &bits, at, sizeof bits );
        return std::bit_cast<double>( vertices_.isBigEndian ? __builtin_bswap64( bits ) : bits );
    }
    void put_( char* at, double number ) const
    {
        auto bits = std::bit_cast<uint64_t>( number );
        if ( vertices_.isBigEndian )
            bits = __builtin_bswap64( bits );
        std::memcpy( at, &bits, sizeof bits );
    }

    const PlyVertices& vertices_;
};

std::optional<MovedFile> movedBinaryPly( std::string_view file, const PlyVertices& vertices )
{
    if ( vertices.count > ( file.size() - vertices.begin ) / vertices.stride )
        return {};
    const PlyDoubles places( vertices );
    const size_t end = vertices.begin + vertices.count * vertices.stride;
    Box3d box;
    for ( size_t at = vertices.begin; at < end; at += vertices.stride )
        if ( const Vector3d place = places.get( file.data() + at ); fitsFloat( place ) )
            box.include( place );
    MovedFile out{ {}, originFor( box ) };
    if ( out.origin == Vector3d{} )
        return {};
    out.bytes = file;
    for ( size_t at = vertices.begin; at < end; at += vertices.stride )
        places.set( out.bytes.data() + at, places.get( out.bytes.data() + at ) - out.origin );
    return out;
}

} // namespace

std::optional<MovedFile> MovedFile::read( const std::filesystem::path& file )
{
    const auto mapped = MappedFile::open( file );
    if ( !mapped )
        return {};
    const std::string_view text( reinterpret_cast<const char*>( mapped->bytes().data() ), mapped->bytes().size() );
    const auto extension = toLower( utf8string( file.extension() ) );
    if ( const auto points = pointTextOf( text, extension ) )
        return movedText( text, *points );
    const auto ply = extension == ".ply" ? PlyVertices::parse( text ) : std::nullopt;
    return ply && !ply->isText && ply->isDouble ? movedBinaryPly( text, *ply ) : std::nullopt;
}

} // namespace VX
