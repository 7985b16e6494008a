#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXOrvanta/Export.h>

struct ImDrawList;

namespace VX
{

/// Draws the logo of a video site, about 70 by 66 pixels at scale 1: eight cubic curves filled with red, and a white
/// play mark. UI thread, within a frame.
VXORVANTA_API void drawYoutubePolyBezier( ImDrawList& list, const Vector2f& pos, float scale );

} // namespace VX
