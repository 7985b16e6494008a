#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/Export.h>
#include <VXViewer/ui/RibbonFontManager.h>
#include <VXViewer/ui/Scale.h>

#include <string>
#include <vector>

struct ImVec4;

/// The widgets of the interface in its own look, at the scale of the running frame. Sizes are in pixels; UI thread,
/// within a frame.
namespace VX::UI
{

struct ButtonParams
{
    bool enabled = true;
    /// The one that a dialog is for: in the accent colour.
    bool primary = true;
    /// Pressed by Enter, too, while its window has the focus.
    bool enterKey = false;
};

/// A button; a size of 0 is that of the text, with the usual least width.
[[nodiscard]] VXVIEWER_API bool button( const char* label, const Vector2f& size = {}, const ButtonParams& params = {} );

/// A button of a dialog's lower edge, at least 96 pixels wide at scale 1; a primary one is pressed by Enter, too.
[[nodiscard]] VXVIEWER_API bool dialogButton( const char* label );
[[nodiscard]] VXVIEWER_API bool primaryButton( const char* label );

/// A button with a drawing over its caption.
[[nodiscard]] VXVIEWER_API bool buttonIconEx( const std::string& icon, const Vector2f& iconSize,
    const std::string& caption, const Vector2f& size, bool enabled = true, bool active = false );

/// A small button without a frame, of a glyph of the icon font.
[[nodiscard]] VXVIEWER_API bool glyphButton( const char* glyph, const char* id, const ImVec4& color );

/// Text that is pressed like a button, underlined while the pointer rests on it.
[[nodiscard]] VXVIEWER_API bool link( const char* label, const ImVec4& color );

/// A ring that turns while something is awaited, around a point of the screen. It asks for no frames by itself.
VXVIEWER_API void spinner( const Vector2f& center, float radius );

/// Returns whether the user has changed it, as all of the following.
VXVIEWER_API bool checkbox( const char* label, bool* value );
VXVIEWER_API bool combo( const char* label, int* value, const std::vector<std::string>& options );
VXVIEWER_API bool slider( const char* label, float* value, float least, float most, const char* format = "%.2f" );
VXVIEWER_API bool drag( const char* label, float* value, float speed, float least, float most, const char* format );
VXVIEWER_API bool drag( const char* label, int* value, float speed, int least, int most );

/// Shows a text at the pointer while it rests on the last widget, enabled or not.
VXVIEWER_API void setTooltipIfHovered( std::string_view text, float scale = UI::scale() );

/// A line with a heading.
VXVIEWER_API void separator( const std::string& heading );

/// Text in another face.
VXVIEWER_API void text( RibbonFontManager::FontType face, const std::string& text );
/// Text in another colour, wrapped at the end of the window.
VXVIEWER_API void wrapped( const ImVec4& color, const std::string& text );
VXVIEWER_API void colored( const ImVec4& color, const std::string& text );

/// The text, cut with an ellipsis where it is wider than `width` in the current font.
[[nodiscard]] VXVIEWER_API std::string fitted( const std::string& text, float width );

/// Places the next window in the middle of the viewport.
VXVIEWER_API void centerNextWindow();

/// A dialog that floats over the scene at the right edge, `width` wide at scale 1, with a title and a close box. End it
/// with `ImGui::End` when it returns true or false. `open` is cleared when its close box or Escape is pressed.
[[nodiscard]] VXVIEWER_API bool beginToolDialog( const char* title, bool* open, float width );

/// A panel of the left side: from `top` to the lower edge, `width` wide, all in pixels, with a line at its right edge.
/// It does not scroll. `flags` are more ones of ImGuiWindowFlags. End it with `endSidePanel`.
VXVIEWER_API void beginSidePanel( const char* id, const Vector2f& leftTop, float width, int flags = 0 );
VXVIEWER_API void endSidePanel();

/// "0:07", "12:34" or "1:02:03".
[[nodiscard]] VXVIEWER_API std::string formatDuration( double seconds );
/// "1 234 567".
[[nodiscard]] VXVIEWER_API std::string formatCount( size_t number );

} // namespace VX::UI
