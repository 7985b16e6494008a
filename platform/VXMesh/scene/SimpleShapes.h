#pragma once

#include <VXMesh/scene/Mesh.h>

namespace VX::SimpleShapes
{

/// Closed meshes about the origin, with normals that are split at creases and with their feature edges. Lengths are in
/// the scene's units and must be positive; segments below 3 count as 3. Any thread.

/// Axis-aligned box of the given sides.
[[nodiscard]] VXMESH_API Mesh makeCuboid( const Vector3f& sides );
/// Along Z, centred.
[[nodiscard]] VXMESH_API Mesh makeCylinder( float radius, float length, int segments = 64 );
[[nodiscard]] VXMESH_API Mesh makeSphere( float radius, int segments = 64 );
/// Regular polygon of `sides` corners, drawn out along Z, centred.
[[nodiscard]] VXMESH_API Mesh makePrism( int sides, float radius, float length );
/// About Z: the tube's middle runs at `radius`.
[[nodiscard]] VXMESH_API Mesh makeTorus( float radius, float tubeRadius, int segments = 64 );
/// From the origin up along Z; the head takes a share of the length.
[[nodiscard]] VXMESH_API Mesh makeArrow( float length, float shaftRadius, float headRadius, int segments = 48 );

} // namespace VX::SimpleShapes
