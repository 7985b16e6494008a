#pragma once

#include <VXViewer/draw/Screenshot.h>

namespace VX
{

/// Makes a picture of what OpenGL gives: its rows go from the bottom to the top, and where it has alpha its colours are
/// blended over black. Any thread.
VXVIEWER_API void makePicture( Image& framebuffer );

} // namespace VX
