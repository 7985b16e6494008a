#pragma once

#include <VXViewer/core/Viewer.h>

namespace VX::TurnMark
{

/// Marks the point about which the view is being turned, while it is. UI thread, within a frame.
void draw( Viewer& viewer, float scale );

} // namespace VX::TurnMark
