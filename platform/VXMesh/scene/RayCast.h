#pragma once

#include <VXMesh/math/AffineXf3.h>
#include <VXMesh/scene/Mesh.h>

#include <optional>

namespace VX
{

/// A half line; the direction need not be of length 1. Double in the scene, float in an object's own space.
template <typename T>
struct Ray3
{
    Vector3<T> origin;
    Vector3<T> direction;
};

using Ray3f = Ray3<float>;
using Ray3d = Ray3<double>;

struct MeshHit
{
    size_t triangle = 0;
    /// In units of the ray's direction.
    float distance = 0;
    Vector3f point;
};

/// Where a ray first meets a mesh, from either side (Möller and Trumbore's test of every triangle). Any thread.
[[nodiscard]] VXMESH_API std::optional<MeshHit> intersect( const Mesh& mesh, const Ray3f& ray );

/// Triangles that can be reached from one without crossing an edge that folds by more than `angle` radians; points that
/// coincide exactly are taken for one. Empty when the number is none of the mesh. Any thread.
[[nodiscard]] VXMESH_API std::vector<size_t> findSmoothRegion( const Mesh& mesh, size_t triangle, float angle = 0.3f );

} // namespace VX
