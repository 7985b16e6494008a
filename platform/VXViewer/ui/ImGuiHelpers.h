#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/ui/RibbonFontManager.h>

#include <imgui.h>

namespace VX
{

/// Text of this scope is in another face; nothing changes where the fonts are not loaded.
class FontScope
{
public:
    explicit FontScope( RibbonFontManager::FontType type )
        : font_( RibbonFontManager::getFontByTypeStatic( type ) )
    {
        if ( font_ )
            ImGui::PushFont( font_ );
    }
    ~FontScope()
    {
        if ( font_ )
            ImGui::PopFont();
    }
    FontScope( const FontScope& ) = delete;
    FontScope& operator=( const FontScope& ) = delete;

private:
    ImFont* font_;
};

} // namespace VX

/// Widgets that dialogs share, in the manner of Dear ImGui's own.
namespace ImGui
{

/// A modal popup that stands at once, without fading the scene behind it in. End it with `EndPopup` when true.
VXVIEWER_API bool BeginModalNoAnimation( const char* name, bool* open = nullptr, ImGuiWindowFlags flags = 0 );

/// The close button of a window without a title bar, at the cursor; true when pressed.
VXVIEWER_API bool ModalExitButton( float scale );

} // namespace ImGui
