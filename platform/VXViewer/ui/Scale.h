#pragma once

#include <VXViewer/Export.h>

namespace VX::UI
{

/// How much larger than at 96 dots an inch the running frame is drawn, above 0: what the menu's `menu_scaling` was when
/// the frame began, the same for all of it whatever is chosen meanwhile.
///
/// UI thread. Between two frames it is still that of the last one, and 1 before the first.
[[nodiscard]] VXVIEWER_API float scale();

/// For who begins a frame: the viewer, or a test with a Dear ImGui context of its own. UI thread, not within a frame.
VXVIEWER_API void setScale( float scale );

} // namespace VX::UI
