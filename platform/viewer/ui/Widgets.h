#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/ui/Fonts.h>

#include <string>

struct ImVec4;

namespace VX::UI
{

/// A button of at least the usual width; a primary one has the accent colour and is pressed by Enter too.
[[nodiscard]] VXVIEWER_API bool button( const char* label, float scale );
[[nodiscard]] VXVIEWER_API bool primaryButton( const char* label, float scale );
/// Text in another face.
VXVIEWER_API void text( Fonts::Face face, const std::string& text );
/// Text in another colour, wrapped at the end of the window.
VXVIEWER_API void wrapped( const ImVec4& color, const std::string& text );
/// Places the next window in the middle of the viewport.
VXVIEWER_API void centerNextWindow();
/// "0:07", "12:34" or "1:02:03".
[[nodiscard]] VXVIEWER_API std::string formatDuration( double seconds );

} // namespace VX::UI
