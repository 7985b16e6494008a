#include <VXViewer/ui/KeyMap.h>

#include <GLFW/glfw3.h>
#include <imgui.h>

#include <utility>

namespace VX
{

void fillGlfwKeyMap( ImGuiIO& io )
{
    constexpr std::pair<ImGuiKey, int> cKeys[] = {
        { ImGuiKey_Tab, GLFW_KEY_TAB },
        { ImGuiKey_LeftArrow, GLFW_KEY_LEFT },
        { ImGuiKey_RightArrow, GLFW_KEY_RIGHT },
        { ImGuiKey_UpArrow, GLFW_KEY_UP },
        { ImGuiKey_DownArrow, GLFW_KEY_DOWN },
        { ImGuiKey_PageUp, GLFW_KEY_PAGE_UP },
        { ImGuiKey_PageDown, GLFW_KEY_PAGE_DOWN },
        { ImGuiKey_Home, GLFW_KEY_HOME },
        { ImGuiKey_End, GLFW_KEY_END },
        { ImGuiKey_Insert, GLFW_KEY_INSERT },
        { ImGuiKey_Delete, GLFW_KEY_DELETE },
        { ImGuiKey_Backspace, GLFW_KEY_BACKSPACE },
        { ImGuiKey_Space, GLFW_KEY_SPACE },
        { ImGuiKey_Enter, GLFW_KEY_ENTER },
        { ImGuiKey_Escape, GLFW_KEY_ESCAPE },
        { ImGuiKey_KeyPadEnter, GLFW_KEY_KP_ENTER },
        { ImGuiKey_A, GLFW_KEY_A },
        { ImGuiKey_C, GLFW_KEY_C },
        { ImGuiKey_V, GLFW_KEY_V },
        { ImGuiKey_X, GLFW_KEY_X },
        { ImGuiKey_Y, GLFW_KEY_Y },
        { ImGuiKey_Z, GLFW_KEY_Z },
    };
    for ( const auto& [key, code] : cKeys )
        io.KeyMap[key] = code;
}

} // namespace VX
