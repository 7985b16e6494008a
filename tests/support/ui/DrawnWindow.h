#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/ui/RibbonFontManager.h>

#include <imgui.h>

#include <optional>
#include <string>
#include <vector>

struct ImGuiWindow;

namespace VX::Testing
{

/// What Dear ImGui has drawn in a window in the last frame, read from its list of triangles. Places count from the
/// window's upper left corner. Good until the next frame.
class DrawnWindow
{
public:
    /// The window shown whose name contains a text; it fails the test when there is none.
    explicit DrawnWindow( const std::string& name );

    struct Part
    {
        Vector2f place;
        Vector2f size;
        ImU32 color = 0;
    };

    /// A line in a face; nothing where it is not drawn in that face.
    [[nodiscard]] std::optional<Part> text(
        const std::string& line, RibbonFontManager::FontType face = RibbonFontManager::FontType::Default ) const;
    /// The middle of a line, in the viewport: where to click it.
    [[nodiscard]] Vector2f middleOf( const std::string& line ) const;

    struct Picture : Part
    {
        ImTextureID texture = nullptr;
        ImVec2 uv;
    };
    /// What is drawn from other textures than that of the letters.
    [[nodiscard]] std::vector<Picture> pictures() const;

    /// Whether anything filled can be seen at a corner of a rectangle or within it, letters and pictures aside.
    [[nodiscard]] bool isFilledWithin( Vector2f low, Vector2f high ) const;

    /// The item that the pointer was over, by its id in this window, within others that were pushed before it.
    [[nodiscard]] bool isPointedAt( const std::vector<std::string>& path ) const;

    [[nodiscard]] const ImGuiWindow& window() const { return *window_; }
    [[nodiscard]] Vector2f corner() const;

private:
    ImGuiWindow* window_ = nullptr;
};

} // namespace VX::Testing
