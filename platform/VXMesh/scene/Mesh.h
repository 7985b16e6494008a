#pragma once

#include <VXMesh/Export.h>
#include <VXMesh/math/Box3.h>
#include <VXMesh/math/Color.h>

#include <array>
#include <cstdint>
#include <vector>

namespace VX
{

/// Three indices into the points, counter-clockwise seen from outside.
using Triangle = std::array<uint32_t, 3>;
/// Two indices into the points.
using Segment = std::array<uint32_t, 2>;

/// Geometry of a surface, in the space of its object. Once shared between objects it is treated as constant: edit a
/// copy and set that.
struct Mesh
{
    std::vector<Vector3f> points;
    std::vector<Triangle> triangles;
    /// One unit vector a point, or empty.
    std::vector<Vector3f> normals;
    /// One a point, or empty.
    std::vector<Color> vertexColors;
    /// One a triangle, or empty.
    std::vector<Color> faceColors;
    /// Lines to draw over the surface: the edges of a solid's faces, or creases found by `findFeatureEdges`.
    std::vector<Segment> edges;

    [[nodiscard]] VXMESH_API Box3f box() const;
};

/// Points without connectivity.
struct PointCloud
{
    std::vector<Vector3f> points;
    /// One a point, or empty.
    std::vector<Color> colors;

    [[nodiscard]] VXMESH_API Box3f box() const;
};

/// Straight segments over shared points.
struct Lines
{
    std::vector<Vector3f> points;
    std::vector<Segment> segments;

    [[nodiscard]] VXMESH_API Box3f box() const;
};

/// Box of the points that are numbers.
[[nodiscard]] VXMESH_API Box3f boxOf( const std::vector<Vector3f>& points );

/// Area-weighted vertex normals; points without a triangle get the zero vector.
[[nodiscard]] VXMESH_API std::vector<Vector3f> computeVertexNormals( const Mesh& mesh );

/// Volume enclosed by a closed mesh (divergence theorem), negative when it is inside out.
[[nodiscard]] VXMESH_API double computeVolume( const Mesh& mesh );

[[nodiscard]] VXMESH_API double computeArea( const Mesh& mesh );

/// False when an index is out of range or an attribute has another count than what it belongs to.
[[nodiscard]] VXMESH_API bool isConsistent( const Mesh& mesh );

} // namespace VX
