#pragma once

struct ImGuiIO;

namespace VX
{

/// Tells Dear ImGui that key codes are numbered as GLFW numbers them.
void fillGlfwKeyMap( ImGuiIO& io );

} // namespace VX
