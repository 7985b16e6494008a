#pragma once

#include <VXMesh/scene/Mesh.h>
#include <VXViewer/Export.h>

namespace VX
{

// What is asked of a mesh before it goes to the graphics card. Any thread.

/// A mesh with colours by face as one whose corners are all apart, so that each triangle can have a colour of its own.
/// It has neither indices nor edges.
[[nodiscard]] VXVIEWER_API Mesh withSeparateCorners( const Mesh& mesh );

/// How long the edges of the triangles are on average: of all, or of some 2000 triangles where there are more.
[[nodiscard]] VXVIEWER_API float averageEdgeLength( const Mesh& mesh );

} // namespace VX
