#pragma once

namespace VX
{

/// Owns Dear ImGui's context, its fonts at the screen's scale and its OpenGL side. UI thread.
class ImGuiContextOwner
{
public:
    ImGuiContextOwner();
    ~ImGuiContextOwner();
    ImGuiContextOwner( const ImGuiContextOwner& ) = delete;
    ImGuiContextOwner& operator=( const ImGuiContextOwner& ) = delete;

    /// Style and fonts for a scale; takes effect with the next frame.
    void setScale( float scale );
    /// Builds fonts that were asked for; between frames.
    void updateFonts();
    /// Draws the interface that was built in this frame into the bound framebuffer.
    void drawInterface();

private:
    float scale_ = 1;
    bool fontsOutdated_ = true;
    bool rendererReady_ = false;
};

} // namespace VX
