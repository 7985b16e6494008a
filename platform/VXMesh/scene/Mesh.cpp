#include <VXMesh/scene/Mesh.h>

namespace VX
{
namespace
{

template <typename Elements>
bool indicesBelow( const Elements& elements, size_t count )
{
    for ( const auto& element : elements )
        for ( const auto index : element )
            if ( index >= count )
                return false;
    return true;
}

bool emptyOr( size_t size, size_t expected )
{
    return size == 0 || size == expected;
}

} // namespace

Box3f boxOf( const std::vector<Vector3f>& points )
{
    Box3f box;
    for ( const auto& p : points )
        if ( p.isFinite() )
            box.include( p );
    return box;
}

Box3f Mesh::box() const
{
    return boxOf( points );
}

Box3f PointCloud::box() const
{
    return boxOf( points );
}

Box3f Lines::box() const
{
    return boxOf( points );
}

std::vector<Vector3f> computeVertexNormals( const Mesh& mesh )
{
    std::vector<Vector3f> normals( mesh.points.size() );
    for ( const auto& t : mesh.triangles )
    {
        const auto& a = mesh.points[t[0]];
        const auto areaNormal = cross( mesh.points[t[1]] - a, mesh.points[t[2]] - a );
        for ( const auto v : t )
            normals[v] += areaNormal;
    }
    // The squares of small areas are nothing in float.
    for ( auto& n : normals )
        n = Vector3f( Vector3d( n ).normalized() );
    return normals;
}

double computeVolume( const Mesh& mesh )
{
    double six = 0;
    for ( const auto& t : mesh.triangles )
        six +=
            dot( Vector3d( mesh.points[t[0]] ), cross( Vector3d( mesh.points[t[1]] ), Vector3d( mesh.points[t[2]] ) ) );
    return six / 6;
}

double computeArea( const Mesh& mesh )
{
    double twice = 0;
    for ( const auto& t : mesh.triangles )
    {
        const Vector3d a = mesh.points[t[0]];
        twice += cross( Vector3d( mesh.points[t[1]] ) - a, Vector3d( mesh.points[t[2]] ) - a ).length();
    }
    return twice / 2;
}

bool isConsistent( const Mesh& mesh )
{
    const size_t count = mesh.points.size();
    return indicesBelow( mesh.triangles, count ) && indicesBelow( mesh.edges, count ) &&
           emptyOr( mesh.normals.size(), count ) && emptyOr( mesh.vertexColors.size(), count ) &&
           emptyOr( mesh.faceColors.size(), mesh.triangles.size() );
}

} // namespace VX
