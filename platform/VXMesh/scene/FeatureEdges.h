#pragma once

#include <VXMesh/scene/Mesh.h>

namespace VX
{

/// Edges at which the surface folds by more than `angle` radians, and its borders.
///
/// Triangles without area, as at the poles of many spheres, have no edges. Points that coincide exactly are taken for
/// one, so meshes split at their creases work too. The indices are of the mesh's own points. Takes memory and time of
/// the order of the triangles; any thread.
[[nodiscard]] VXMESH_API std::vector<Segment> findFeatureEdges( const Mesh& mesh, float angle = 0.6f );

} // namespace VX
