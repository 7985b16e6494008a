#pragma once

#include <VXViewer/Export.h>

struct ImGuiIO;

namespace VX
{

/// Tells Dear ImGui that key codes are numbered as GLFW numbers them.
VXVIEWER_API void fillGlfwKeyMap( ImGuiIO& io );

} // namespace VX
