#pragma once

#include <VXMesh/Export.h>
#include <VXMesh/math/AffineXf3.h>

#include <vector>

namespace VX
{

/// Where points that fill a box should have their origin: at zero, unless floats would round the points by more than a
/// millionth of the box's diagonal; then at the box's middle, in whole units (for boxes smaller than a unit in a power
/// of two below their size). Any thread.
[[nodiscard]] VXMESH_API Vector3d originFor( const Box3d& box );

/// The points as seen from an origin. Any thread.
[[nodiscard]] VXMESH_API std::vector<Vector3f> relativeTo(
    const Vector3d& origin, const std::vector<Vector3d>& points );

/// Moves points to the origin that their box should have, and returns that origin; nothing that the floats still know
/// is lost. Any thread.
[[nodiscard]] VXMESH_API Vector3d moveToOrigin( std::vector<Vector3f>& points );

/// A mere shift.
[[nodiscard]] inline AffineXf3d translation( const Vector3d& shift )
{
    return { {}, shift };
}

/// Whether a point is a number in each direction that a float can hold.
[[nodiscard]] inline bool fitsFloat( const Vector3d& p )
{
    constexpr double cMost = std::numeric_limits<float>::max();
    return std::abs( p.x ) <= cMost && std::abs( p.y ) <= cMost && std::abs( p.z ) <= cMost;
}

} // namespace VX
