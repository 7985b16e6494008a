#pragma once

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/gl/GlObjects.h>

#include <memory>
#include <unordered_map>

namespace VX
{

/// Geometry on the GPU.
struct GpuGeometry
{
    GlVertexArray vertices;
    GlVertexArray edges;
    GlVertexArray coarse;
    GlBuffer positions;
    GlBuffer normals;
    GlBuffer colors;
    GlBuffer indices;
    GlBuffer edgeIndices;
    GlBuffer coarseIndices;
    GlBuffer edgePositions; ///< only where the triangles have corners of their own
    GLenum mode = GL_TRIANGLES;
    GLsizei indexCount = 0; ///< 0: drawn without indices
    GLsizei vertexCount = 0;
    GLsizei edgeIndexCount = 0;
    GLsizei coarseIndexCount = 0; ///< 0: none was asked for, or it cannot be had
    float edgeLength = 0;         ///< of the triangles' edges, on average
    bool coarseIsMade = false;
    bool hasOwnNormals = false;
    bool hasColors = false;
};

/// Keeps one GPU copy of each geometry in the scene, however many objects share it. UI thread, with the context.
class GeometryCache
{
public:
    /// Uploads at the first call for a geometry.
    GpuGeometry& get( const std::shared_ptr<const Mesh>& mesh );
    GpuGeometry& get( const std::shared_ptr<const PointCloud>& cloud );
    GpuGeometry& get( const std::shared_ptr<const Lines>& lines );

    /// Makes fewer triangles for hurried frames, once for each mesh that is in the cache.
    void addCoarse( const std::shared_ptr<const Mesh>& mesh );

    /// Frees what no object holds any more.
    void prune();

private:
    struct Entry
    {
        std::weak_ptr<const void> owner;
        GpuGeometry geometry;
    };
    template <typename Source>
    GpuGeometry& find_( const std::shared_ptr<const Source>& source );

    std::unordered_map<const void*, Entry> entries_;
};

} // namespace VX
