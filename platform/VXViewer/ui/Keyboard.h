#pragma once

#include <VXViewer/Export.h>

#include <imgui.h>

/// What Dear ImGui leaves open about the keyboard. UI thread, within a frame.
namespace VX::UI
{

/// Right before and right after `ImGui::NewFrame`; for the viewer alone.
VXVIEWER_API void beforeNewFrame();
VXVIEWER_API void afterNewFrame();

/// Whether a key goes down in this frame. The press that has closed a popup is spent: what lies under it does not hear
/// of it.
[[nodiscard]] VXVIEWER_API bool keyPressed( ImGuiKey key );
/// Whether the topmost popup was closed in this frame.
[[nodiscard]] VXVIEWER_API bool popupClosed();

/// The widget drawn in this scope is reached by Tab, as fields of text are, and shows that it has the keyboard.
class VXVIEWER_API TabStop
{
public:
    TabStop();
    ~TabStop();
    TabStop( const TabStop& ) = delete;
    TabStop& operator=( const TabStop& ) = delete;
};

} // namespace VX::UI
