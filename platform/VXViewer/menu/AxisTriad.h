#pragma once

#include <VXViewer/draw/Camera.h>

namespace VX::AxisTriad
{

/// Draws the directions of the world's axes in the lower right corner, nearer ones over farther ones.
void draw( const Camera& camera );

} // namespace VX::AxisTriad
