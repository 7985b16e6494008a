#pragma once

#include <VXMesh/scene/Mesh.h>

namespace VX
{

/// An eighth of a mesh's triangles or fewer, over the same points and of much the same shape, for frames that have to
/// be drawn soon: clusters of points in a grid fall together (meshopt_simplifySloppy). Empty when the mesh is small, or
/// none can be made. Costs about as much as two passes over the mesh; any thread.
[[nodiscard]] VXMESH_API std::vector<Triangle> coarseTriangles( const Mesh& mesh );

} // namespace VX
