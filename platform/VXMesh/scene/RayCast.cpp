#include <VXMesh/scene/RayCast.h>

#include <VXMesh/scene/Weld.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace VX
{
namespace
{

constexpr float cParallel = 1e-12f;

std::optional<float> distanceTo( const Ray3f& ray, const Vector3f& a, const Vector3f& b, const Vector3f& c )
{
    const Vector3f ab = b - a, ac = c - a;
    const Vector3f p = cross( ray.direction, ac );
    const float det = dot( ab, p );
    if ( std::abs( det ) < cParallel )
        return {};
    const Vector3f fromA = ray.origin - a;
    const float u = dot( fromA, p ) / det;
    if ( u < 0 || u > 1 )
        return {};
    const Vector3f q = cross( fromA, ab );
    const float v = dot( ray.direction, q ) / det;
    const float t = dot( ac, q ) / det;
    if ( v < 0 || u + v > 1 || t < 0 )
        return {};
    return t;
}

Vector3f normalOf( const Mesh& mesh, const Triangle& t )
{
    const auto& a = mesh.points[t[0]];
    return cross( mesh.points[t[1]] - a, mesh.points[t[2]] - a ).normalized();
}

using EdgeTriangles = std::unordered_map<uint64_t, std::vector<uint32_t>>;

uint64_t edgeKey( uint32_t a, uint32_t b )
{
    return uint64_t( std::min( a, b ) ) << 32 | std::max( a, b );
}

} // namespace

std::optional<MeshHit> intersect( const Mesh& mesh, const Ray3f& ray )
{
    std::optional<MeshHit> out;
    for ( size_t i = 0; i < mesh.triangles.size(); ++i )
    {
        const auto& t = mesh.triangles[i];
        const auto distance = distanceTo( ray, mesh.points[t[0]], mesh.points[t[1]], mesh.points[t[2]] );
        if ( distance && ( !out || *distance < out->distance ) )
            out = MeshHit{ i, *distance, ray.origin + ray.direction * *distance };
    }
    return out;
}

std::vector<size_t> findSmoothRegion( const Mesh& mesh, size_t triangle, float angle )
{
    if ( triangle >= mesh.triangles.size() )
        return {};
    const auto numbers = firstAtSamePlace( mesh.points );
    EdgeTriangles atEdge;
    for ( uint32_t i = 0; i < uint32_t( mesh.triangles.size() ); ++i )
        for ( size_t k = 0; k < 3; ++k )
            atEdge[edgeKey( numbers[mesh.triangles[i][k]], numbers[mesh.triangles[i][( k + 1 ) % 3]] )].push_back( i );
    const float least = std::cos( angle );
    std::vector<bool> seen( mesh.triangles.size(), false );
    std::vector<size_t> out{ triangle };
    seen[triangle] = true;
    for ( size_t next = 0; next < out.size(); ++next )
    {
        const auto& t = mesh.triangles[out[next]];
        const Vector3f normal = normalOf( mesh, t );
        for ( size_t k = 0; k < 3; ++k )
            for ( const uint32_t other : atEdge[edgeKey( numbers[t[k]], numbers[t[( k + 1 ) % 3]] )] )
                if ( !seen[other] && dot( normalOf( mesh, mesh.triangles[other] ), normal ) >= least )
                {
                    seen[other] = true;
                    out.push_back( other );
                }
    }
    std::sort( out.begin(), out.end() );
    return out;
}

} // namespace VX
