#pragma once

#include <boost/signals2/connection.hpp>

namespace VX
{

class RibbonFontManager;

/// Owns Dear ImGui's context, its fonts at the screen's scale and its OpenGL side. UI thread.
class ImGuiContextOwner
{
public:
    ImGuiContextOwner();
    ~ImGuiContextOwner();
    ImGuiContextOwner( const ImGuiContextOwner& ) = delete;
    ImGuiContextOwner& operator=( const ImGuiContextOwner& ) = delete;

    /// Makes what has changed since the last frame anew: fonts, style and icons for files, scale and theme, and gives
    /// the frame its scale. Without a manager Dear ImGui's own font is used.
    void prepareFrame( RibbonFontManager* fonts, float scale );
    /// Draws the interface that was built in this frame into the bound framebuffer.
    void drawInterface();

private:
    float scale_ = 0;
    const RibbonFontManager* fonts_ = nullptr;
    bool themeOutdated_ = true;
    bool rendererReady_ = false;
    boost::signals2::scoped_connection themeChanges_;
};

} // namespace VX
