#include "worker/PartMesh.h"

#include <cstring>
#include <istream>
#include <ostream>
#include <string_view>
#include <unordered_set>

namespace VX::Backend
{
namespace
{

/// Both ends of a line, bit for bit: the two faces of an edge take their points from the same curve.
using Ends = std::array<Vector3f, 2>;

struct SameBits
{
    static std::string_view bytes( const Ends& ends )
    {
        return { reinterpret_cast<const char*>( &ends ), sizeof ends };
    }
    size_t operator()( const Ends& ends ) const { return std::hash<std::string_view>()( bytes( ends ) ); }
    bool operator()( const Ends& a, const Ends& b ) const { return bytes( a ) == bytes( b ); }
};

using Outline = std::unordered_set<Ends, SameBits, SameBits>;

Outline outlineOf( const PartMesh& part )
{
    Outline out;
    for ( size_t i = part.firstOutline; i < part.mesh->edges.size(); ++i )
        out.insert( { part.mesh->points[part.mesh->edges[i][0]], part.mesh->points[part.mesh->edges[i][1]] } );
    return out;
}

/// Points without a colour of their own get the part's.
void color( PartMesh& part )
{
    part.mesh->vertexColors.resize( part.mesh->points.size(), part.color );
}

void appendSurface( Mesh& mesh, const Mesh& other )
{
    const auto shift = uint32_t( mesh.points.size() );
    mesh.points.insert( mesh.points.end(), other.points.begin(), other.points.end() );
    mesh.normals.insert( mesh.normals.end(), other.normals.begin(), other.normals.end() );
    mesh.vertexColors.insert( mesh.vertexColors.end(), other.vertexColors.begin(), other.vertexColors.end() );
    for ( const auto& t : other.triangles )
        mesh.triangles.push_back( { t[0] + shift, t[1] + shift, t[2] + shift } );
}

/// The edges of both; those on the cut, which the two see in opposite directions, once. False when they see one in the
/// same direction.
bool appendEdges( PartMesh& part, const PartMesh& other )
{
    const Outline outline = outlineOf( part );
    const auto shift = uint32_t( part.mesh->points.size() );
    std::vector<Segment> inner, outer;
    for ( size_t i = 0; i < other.mesh->edges.size(); ++i )
    {
        const auto [a, b] = other.mesh->edges[i];
        const auto &from = other.mesh->points[a], &to = other.mesh->points[b];
        if ( i < other.firstOutline )
            inner.push_back( { a + shift, b + shift } );
        else if ( outline.contains( { to, from } ) )
            continue;
        else if ( outline.contains( { from, to } ) )
            return false;
        else
            outer.push_back( { a + shift, b + shift } );
    }
    auto& edges = part.mesh->edges;
    edges.insert( edges.begin() + std::ptrdiff_t( part.firstOutline ), inner.begin(), inner.end() );
    edges.insert( edges.end(), outer.begin(), outer.end() );
    part.firstOutline += inner.size();
    return true;
}

bool join( PartMesh& part, PartMesh other )
{
    part.cutVolume += other.cutVolume;
    if ( !other.mesh )
        return true;
    if ( !part.mesh )
    {
        other.cutVolume = part.cutVolume;
        part = std::move( other );
        return true;
    }
    if ( !part.mesh->vertexColors.empty() || !other.mesh->vertexColors.empty() )
    {
        color( part );
        color( other );
    }
    if ( !appendEdges( part, other ) )
        return false;
    appendSurface( *part.mesh, *other.mesh );
    return true;
}

template <typename T>
void put( std::ostream& out, const T& value )
{
    static_assert( std::is_trivially_copyable_v<T> );
    out.write( reinterpret_cast<const char*>( &value ), sizeof value );
}

template <typename T>
void putAll( std::ostream& out, const T& values )
{
    put( out, values.size() );
    out.write( reinterpret_cast<const char*>( values.data() ),
        std::streamsize( values.size() * sizeof( typename T::value_type ) ) );
}

template <typename T>
bool get( std::istream& in, T& value )
{
    return bool( in.read( reinterpret_cast<char*>( &value ), sizeof value ) );
}

template <typename T>
bool getAll( std::istream& in, T& values )
{
    size_t size = 0;
    if ( !get( in, size ) )
        return false;
    values.resize( size );
    return bool( in.read(
        reinterpret_cast<char*>( values.data() ), std::streamsize( size * sizeof( typename T::value_type ) ) ) );
}

template <typename Mesh, typename Each>
bool eachArray( Mesh& mesh, Each&& each )
{
    return each( mesh.points ) && each( mesh.normals ) && each( mesh.triangles ) && each( mesh.vertexColors ) &&
           each( mesh.edges );
}

} // namespace

bool join( PartMeshes& parts, const PartMeshes& others )
{
    for ( const auto& [key, other] : others )
    {
        const auto part = parts.find( key );
        if ( part == parts.end() || !join( part->second, other ) )
            return false;
    }
    return parts.size() == others.size();
}

void write( std::ostream& out, const PartMeshes& parts )
{
    put( out, parts.size() );
    for ( const auto& [key, part] : parts )
    {
        putAll( out, key );
        put( out, part.color );
        put( out, part.firstOutline );
        put( out, part.cutVolume );
        const Mesh none;
        eachArray( part.mesh ? *part.mesh : none,
            [&]( const auto& values )
            {
                putAll( out, values );
                return true;
            } );
    }
}

bool read( std::istream& in, PartMeshes& parts )
{
    size_t count = 0;
    if ( !get( in, count ) )
        return false;
    for ( size_t i = 0; i < count; ++i )
    {
        std::string key;
        PartMesh part;
        part.mesh = std::make_shared<Mesh>();
        if ( !getAll( in, key ) || !get( in, part.color ) || !get( in, part.firstOutline ) ||
             !get( in, part.cutVolume ) ||
             !eachArray( *part.mesh, [&]( auto& values ) { return getAll( in, values ); } ) )
            return false;
        if ( part.mesh->triangles.empty() )
            part.mesh = nullptr;
        parts.emplace( std::move( key ), std::move( part ) );
    }
    return true;
}

} // namespace VX::Backend
