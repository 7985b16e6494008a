#include <VXMesh/scene/SimpleShapes.h>

#include <VXMesh/scene/FeatureEdges.h>

#include <cmath>
#include <numbers>

namespace VX::SimpleShapes
{
namespace
{

constexpr float cTurn = 2 * std::numbers::pi_v<float>;

/// A point of a half section through a body of revolution, with the direction in which its surface looks.
struct ProfilePoint
{
    float r, z;
    float normalR, normalZ;
};

/// A smooth stretch of a half section; where two meet there is a crease.
using Profile = std::vector<ProfilePoint>;

Profile straight( float r0, float z0, float r1, float z1 )
{
    // The section runs so that the outside is at its right.
    const float length = std::hypot( r1 - r0, z1 - z0 );
    const float nr = ( z1 - z0 ) / length, nz = ( r0 - r1 ) / length;
    return { { r0, z0, nr, nz }, { r1, z1, nr, nz } };
}

void addRing( Mesh& mesh, const ProfilePoint& point, int segments )
{
    for ( int i = 0; i <= segments; ++i )
    {
        // The last point of a ring is exactly the first, so that the seam closes.
        const float angle = cTurn * float( i % segments ) / float( segments );
        const float c = std::cos( angle ), s = std::sin( angle );
        mesh.points.push_back( { point.r * c, point.r * s, point.z } );
        mesh.normals.push_back( { point.normalR * c, point.normalR * s, point.normalZ } );
    }
}

void revolve( Mesh& mesh, const Profile& profile, int segments )
{
    for ( size_t k = 0; k < profile.size(); ++k )
    {
        addRing( mesh, profile[k], segments );
        if ( k == 0 )
            continue;
        const auto ring = uint32_t( segments + 1 );
        const auto upper = uint32_t( mesh.points.size() ) - ring, lower = upper - ring;
        for ( uint32_t i = 0; i < uint32_t( segments ); ++i )
        {
            if ( profile[k - 1].r > 0 )
                mesh.triangles.push_back( { lower + i, lower + i + 1, upper + i } );
            if ( profile[k].r > 0 )
                mesh.triangles.push_back( { upper + i, lower + i + 1, upper + i + 1 } );
        }
    }
}

Mesh revolved( const std::vector<Profile>& profiles, int segments )
{
    Mesh mesh;
    for ( const auto& profile : profiles )
        revolve( mesh, profile, std::max( segments, 3 ) );
    mesh.edges = findFeatureEdges( mesh );
    return mesh;
}

/// A convex polygon, counter-clockwise seen from outside, with corners of its own.
void addPolygon( Mesh& mesh, const std::vector<Vector3f>& corners )
{
    const auto first = uint32_t( mesh.points.size() );
    const Vector3f normal = cross( corners[1] - corners[0], corners[2] - corners[0] ).normalized();
    for ( const auto& corner : corners )
    {
        mesh.points.push_back( corner );
        mesh.normals.push_back( normal );
    }
    for ( uint32_t i = 2; i < uint32_t( corners.size() ); ++i )
        mesh.triangles.push_back( { first, first + i - 1, first + i } );
}

/// A polygon in the plane, drawn out along Z from -z to z.
Mesh extruded( const std::vector<Vector2f>& outline, float z )
{
    Mesh mesh;
    const auto at = [&]( size_t i, float height )
    { return Vector3f{ outline[i % outline.size()].x, outline[i % outline.size()].y, height }; };
    std::vector<Vector3f> top, bottom;
    for ( size_t i = 0; i < outline.size(); ++i )
    {
        top.push_back( at( i, z ) );
        bottom.insert( bottom.begin(), at( i, -z ) );
        addPolygon( mesh, { at( i, -z ), at( i + 1, -z ), at( i + 1, z ), at( i, z ) } );
    }
    addPolygon( mesh, top );
    addPolygon( mesh, bottom );
    mesh.edges = findFeatureEdges( mesh );
    return mesh;
}

} // namespace

Mesh makeCuboid( const Vector3f& sides )
{
    const float x = sides.x / 2, y = sides.y / 2;
    return extruded( { { -x, -y }, { x, -y }, { x, y }, { -x, y } }, sides.z / 2 );
}

Mesh makeCylinder( float radius, float length, int segments )
{
    const float z = length / 2;
    return revolved(
        { straight( 0, -z, radius, -z ), straight( radius, -z, radius, z ), straight( radius, z, 0, z ) }, segments );
}

Mesh makeSphere( float radius, int segments )
{
    Profile profile;
    const int steps = std::max( segments, 3 ) / 2 + 1;
    for ( int i = 0; i <= steps; ++i )
    {
        const float angle = cTurn / 2 * ( float( i ) / float( steps ) - 0.5f );
        const bool pole = i == 0 || i == steps;
        const float c = pole ? 0 : std::cos( angle ), s = std::sin( angle );
        profile.push_back( { radius * c, radius * s, c, s } );
    }
    return revolved( { profile }, segments );
}

Mesh makePrism( int sides, float radius, float length )
{
    std::vector<Vector2f> outline;
    const int count = std::max( sides, 3 );
    for ( int i = 0; i < count; ++i )
    {
        const float angle = cTurn * float( i ) / float( count );
        outline.push_back( { radius * std::cos( angle ), radius * std::sin( angle ) } );
    }
    return extruded( outline, length / 2 );
}

Mesh makeTorus( float radius, float tubeRadius, int segments )
{
    Profile profile;
    const int steps = std::max( segments / 2, 3 );
    for ( int i = 0; i <= steps; ++i )
    {
        const float angle = cTurn * float( i % steps ) / float( steps );
        const float c = std::cos( angle ), s = std::sin( angle );
        profile.push_back( { radius + tubeRadius * c, tubeRadius * s, c, s } );
    }
    return revolved( { profile }, segments );
}

Mesh makeArrow( float length, float shaftRadius, float headRadius, int segments )
{
    // A head about as wide as it is long reads best.
    const float head = std::min( headRadius * 2.5f, length * 0.6f ), neck = length - head;
    return revolved( { straight( 0, 0, shaftRadius, 0 ), straight( shaftRadius, 0, shaftRadius, neck ),
                         straight( shaftRadius, neck, headRadius, neck ), straight( headRadius, neck, 0, length ) },
        segments );
}

} // namespace VX::SimpleShapes
