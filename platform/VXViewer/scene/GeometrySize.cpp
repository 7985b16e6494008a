#include <VXViewer/scene/GeometrySize.h>

#include <VXMesh/scene/ObjectVolume.h>

#include <unordered_set>
#include <utility>
#include <vector>

namespace VX
{
namespace
{

template <typename T>
uint64_t bytesOf( const std::vector<T>& values )
{
    return values.size() * sizeof( T );
}

/// An object's geometry, which others may share, and what it takes.
std::pair<const void*, uint64_t> geometryOf( const Object& object )
{
    if ( const auto* surface = dynamic_cast<const ObjectMesh*>( &object ); surface && surface->mesh() )
    {
        const auto& mesh = *surface->mesh();
        return { &mesh, bytesOf( mesh.points ) + bytesOf( mesh.triangles ) + bytesOf( mesh.normals ) +
                            bytesOf( mesh.vertexColors ) + bytesOf( mesh.faceColors ) + bytesOf( mesh.edges ) };
    }
    if ( const auto* cloud = dynamic_cast<const ObjectPoints*>( &object ); cloud && cloud->points() )
        return { cloud->points().get(), bytesOf( cloud->points()->points ) + bytesOf( cloud->points()->colors ) };
    if ( const auto* lines = dynamic_cast<const ObjectLines*>( &object ); lines && lines->lines() )
        return { lines->lines().get(), bytesOf( lines->lines()->points ) + bytesOf( lines->lines()->segments ) };
    if ( const auto* volume = dynamic_cast<const ObjectVolume*>( &object ); volume && volume->volume() )
        return { volume->volume().get(), volume->volume()->bytes() };
    return {};
}

} // namespace

uint64_t geometryBytes( Object& root )
{
    uint64_t out = 0;
    std::unordered_set<const void*> seen;
    forEachObject( root,
        [&]( Object& object )
        {
            const auto [geometry, bytes] = geometryOf( object );
            if ( seen.insert( geometry ).second )
                out += bytes;
        } );
    return out;
}

} // namespace VX
