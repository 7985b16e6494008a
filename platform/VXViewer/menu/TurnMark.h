#pragma once

#include <VXMesh/math/Vector3.h>

#include <optional>

namespace VX
{

class Camera;

namespace TurnMark
{

/// Marks a point of the scene, such as the one about which the view is being turned; none leaves it unmarked. UI
/// thread, within a frame.
void draw( const Camera& camera, const std::optional<Vector3d>& point );

} // namespace TurnMark

} // namespace VX
