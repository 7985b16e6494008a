#include <VXViewer/draw/GeometryCache.h>

#include <VXMesh/scene/CoarseMesh.h>
#include <VXViewer/draw/DrawnMesh.h>

#include <utility>

namespace VX
{
namespace
{

enum Attribute : GLuint
{
    PositionAttribute = 0,
    NormalAttribute = 1,
    ColorAttribute = 2
};

template <typename T>
void fill( GlBuffer& buffer, GLenum target, const std::vector<T>& data )
{
    glBindBuffer( target, buffer.get() );
    glBufferData( target, GLsizeiptr( data.size() * sizeof( T ) ), data.data(), GL_STATIC_DRAW );
}

void bindFloats( GlBuffer& buffer, Attribute attribute )
{
    glBindBuffer( GL_ARRAY_BUFFER, buffer.get() );
    glEnableVertexAttribArray( attribute );
    glVertexAttribPointer( attribute, 3, GL_FLOAT, GL_FALSE, sizeof( Vector3f ), nullptr );
}

void bindColors( GlBuffer& buffer )
{
    glBindBuffer( GL_ARRAY_BUFFER, buffer.get() );
    glEnableVertexAttribArray( ColorAttribute );
    glVertexAttribPointer( ColorAttribute, 4, GL_UNSIGNED_BYTE, GL_TRUE, sizeof( Color ), nullptr );
}

void uploadMesh( GpuGeometry& gpu, const Mesh& mesh, const std::vector<Vector3f>& normals )
{
    fill( gpu.positions, GL_ARRAY_BUFFER, mesh.points );
    fill( gpu.normals, GL_ARRAY_BUFFER, normals );
    glBindVertexArray( gpu.vertices.get() );
    bindFloats( gpu.positions, PositionAttribute );
    bindFloats( gpu.normals, NormalAttribute );
    if ( !mesh.vertexColors.empty() )
    {
        fill( gpu.colors, GL_ARRAY_BUFFER, mesh.vertexColors );
        bindColors( gpu.colors );
    }
    if ( !mesh.triangles.empty() )
        fill( gpu.indices, GL_ELEMENT_ARRAY_BUFFER, mesh.triangles );
    gpu.vertexCount = GLsizei( mesh.points.size() );
    gpu.indexCount = GLsizei( mesh.triangles.size() * 3 );
    gpu.hasColors = !mesh.vertexColors.empty();
}

void uploadEdges( GpuGeometry& gpu, const Mesh& mesh )
{
    if ( mesh.edges.empty() )
        return;
    glBindVertexArray( gpu.edges.get() );
    // With colours by face the corners were taken apart, so the edges need the points as they were.
    if ( !mesh.faceColors.empty() )
    {
        fill( gpu.edgePositions, GL_ARRAY_BUFFER, mesh.points );
        bindFloats( gpu.edgePositions, PositionAttribute );
    }
    else
        bindFloats( gpu.positions, PositionAttribute );
    fill( gpu.edgeIndices, GL_ELEMENT_ARRAY_BUFFER, mesh.edges );
    gpu.edgeIndexCount = GLsizei( mesh.edges.size() * 2 );
}

} // namespace

template <typename Source>
GpuGeometry& GeometryCache::find_( const std::shared_ptr<const Source>& source )
{
    auto& entry = entries_[source.get()];
    // An address may be used again by another geometry after the first one is gone.
    if ( entry.owner.expired() )
        entry = { source, {} };
    return entry.geometry;
}

GpuGeometry& GeometryCache::get( const std::shared_ptr<const Mesh>& mesh )
{
    auto& gpu = find_( mesh );
    if ( gpu.vertices )
        return gpu;
    gpu.hasOwnNormals = !mesh->normals.empty();
    gpu.edgeLength = averageEdgeLength( *mesh );
    if ( !mesh->faceColors.empty() )
    {
        const Mesh apart = withSeparateCorners( *mesh );
        uploadMesh( gpu, apart, apart.normals.empty() ? std::vector<Vector3f>( apart.points.size() ) : apart.normals );
    }
    else
        uploadMesh( gpu, *mesh, gpu.hasOwnNormals ? mesh->normals : computeVertexNormals( *mesh ) );
    uploadEdges( gpu, *mesh );
    glBindVertexArray( 0 );
    return gpu;
}

GpuGeometry& GeometryCache::get( const std::shared_ptr<const PointCloud>& cloud )
{
    auto& gpu = find_( cloud );
    if ( gpu.vertices )
        return gpu;
    gpu.mode = GL_POINTS;
    gpu.vertexCount = GLsizei( cloud->points.size() );
    glBindVertexArray( gpu.vertices.get() );
    fill( gpu.positions, GL_ARRAY_BUFFER, cloud->points );
    bindFloats( gpu.positions, PositionAttribute );
    if ( !cloud->colors.empty() )
    {
        fill( gpu.colors, GL_ARRAY_BUFFER, cloud->colors );
        bindColors( gpu.colors );
        gpu.hasColors = true;
    }
    glBindVertexArray( 0 );
    return gpu;
}

GpuGeometry& GeometryCache::get( const std::shared_ptr<const Lines>& lines )
{
    auto& gpu = find_( lines );
    if ( gpu.vertices )
        return gpu;
    gpu.mode = GL_LINES;
    gpu.vertexCount = GLsizei( lines->points.size() );
    gpu.indexCount = GLsizei( lines->segments.size() * 2 );
    glBindVertexArray( gpu.vertices.get() );
    fill( gpu.positions, GL_ARRAY_BUFFER, lines->points );
    bindFloats( gpu.positions, PositionAttribute );
    fill( gpu.indices, GL_ELEMENT_ARRAY_BUFFER, lines->segments );
    glBindVertexArray( 0 );
    return gpu;
}

void GeometryCache::addCoarse( const std::shared_ptr<const Mesh>& mesh )
{
    auto& gpu = get( mesh );
    if ( std::exchange( gpu.coarseIsMade, true ) || !mesh->faceColors.empty() )
        return;
    const auto triangles = coarseTriangles( *mesh );
    if ( triangles.empty() )
        return;
    glBindVertexArray( gpu.coarse.get() );
    bindFloats( gpu.positions, PositionAttribute );
    bindFloats( gpu.normals, NormalAttribute );
    if ( gpu.hasColors )
        bindColors( gpu.colors );
    fill( gpu.coarseIndices, GL_ELEMENT_ARRAY_BUFFER, triangles );
    gpu.coarseIndexCount = GLsizei( triangles.size() * 3 );
    glBindVertexArray( 0 );
}

void GeometryCache::prune()
{
    std::erase_if( entries_, []( const auto& item ) { return item.second.owner.expired(); } );
}

} // namespace VX
