#include <VXMesh/scene/FeatureEdges.h>

#include <VXMesh/scene/Weld.h>

#include <algorithm>
#include <numeric>
#include <span>

namespace VX
{
namespace
{

struct HalfEdge
{
    uint64_t key;
    uint32_t triangle;
    Segment segment;
};

std::vector<HalfEdge> sortedHalfEdges( const Mesh& mesh, const std::vector<uint32_t>& welded )
{
    std::vector<HalfEdge> out;
    out.reserve( mesh.triangles.size() * 3 );
    for ( uint32_t t = 0; t < mesh.triangles.size(); ++t )
        for ( size_t k = 0; k < 3; ++k )
        {
            const uint32_t a = mesh.triangles[t][k], b = mesh.triangles[t][( k + 1 ) % 3];
            const auto [low, high] = std::minmax( welded[a], welded[b] );
            if ( low != high )
                out.push_back( { uint64_t( low ) << 32 | high, t, { a, b } } );
        }
    std::sort( out.begin(), out.end(), []( const HalfEdge& a, const HalfEdge& b ) { return a.key < b.key; } );
    return out;
}

/// The zero vector where a triangle is so thin that its direction is chance.
std::vector<Vector3d> faceNormals( const Mesh& mesh )
{
    constexpr double cThinnest = 1e-5; // of its longest side
    std::vector<Vector3d> out( mesh.triangles.size() );
    for ( size_t i = 0; i < out.size(); ++i )
    {
        const auto& t = mesh.triangles[i];
        // The squares of small lengths are nothing in float.
        const auto a = Vector3d( mesh.points[t[0]] ), b = Vector3d( mesh.points[t[1]] ),
                   c = Vector3d( mesh.points[t[2]] );
        const auto normal = cross( b - a, c - a );
        const double longest = std::max( { ( b - a ).lengthSq(), ( c - b ).lengthSq(), ( a - c ).lengthSq() } );
        if ( normal.length() > cThinnest * longest )
            out[i] = normal.normalized();
    }
    return out;
}

/// Whether to draw an edge with these triangles. Those without area have neither a fold nor a border of their own.
bool isFeature( std::span<const HalfEdge> edge, const std::vector<Vector3d>& normals, double least )
{
    std::array<Vector3d, 2> sides;
    size_t count = 0;
    for ( const auto& half : edge )
        if ( const auto& normal = normals[half.triangle]; normal != Vector3d{} )
            sides[std::min<size_t>( count++, 1 )] = normal;
    if ( count == 2 )
        return dot( sides[0], sides[1] ) < least;
    return count > 2 || count == edge.size();
}

} // namespace

std::vector<Segment> findFeatureEdges( const Mesh& mesh, float angle )
{
    // NaN coordinates break the ordering that the sort relies on.
    if ( !std::all_of( mesh.points.begin(), mesh.points.end(), []( const auto& p ) { return p.isFinite(); } ) )
        return {};
    const auto halfEdges = sortedHalfEdges( mesh, firstAtSamePlace( mesh.points ) );
    const auto normals = faceNormals( mesh );
    const double least = std::cos( angle );
    std::vector<Segment> out;
    for ( size_t i = 0; i < halfEdges.size(); )
    {
        size_t end = i + 1;
        while ( end < halfEdges.size() && halfEdges[end].key == halfEdges[i].key )
            ++end;
        if ( isFeature( std::span( halfEdges ).subspan( i, end - i ), normals, least ) )
            out.push_back( halfEdges[i].segment );
        i = end;
    }
    return out;
}

} // namespace VX
