#pragma once

#include <VXMesh/math/AffineXf3.h>
#include <VXMesh/scene/Mesh.h>

#include <optional>

namespace VX
{

/// A half line; the direction need not be of length 1.
struct Ray
{
    Vector3f origin;
    Vector3f direction;
};

struct MeshHit
{
    size_t triangle = 0;
    /// In units of the ray's direction.
    float distance = 0;
    Vector3f point;
};

/// Where a ray first meets a mesh, from either side (Möller and Trumbore's test of every triangle). Any thread.
[[nodiscard]] VXMESH_API std::optional<MeshHit> intersect( const Mesh& mesh, const Ray& ray );

/// Triangles that can be reached from one without crossing an edge that folds by more than `angle` radians; points that
/// coincide exactly are taken for one. Empty when the number is none of the mesh. Any thread.
[[nodiscard]] VXMESH_API std::vector<size_t> findSmoothRegion( const Mesh& mesh, size_t triangle, float angle = 0.3f );

} // namespace VX
