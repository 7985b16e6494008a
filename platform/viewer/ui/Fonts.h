#pragma once

#include <VXViewer/Export.h>

struct ImFont;

namespace VX
{

/// The typefaces of the interface. UI thread, while there is a viewer.
namespace Fonts
{

enum class Face
{
    Regular,
    SemiBold,
    Heading,
    Monospace
};

/// Rasterises all faces at a scale; a face whose file is missing is replaced by Dear ImGui's own font.
void build( float scale );

[[nodiscard]] VXVIEWER_API ImFont* get( Face face );

} // namespace Fonts

/// Glyphs of the icon font that is merged into the regular faces.
namespace Icons
{
inline constexpr const char* cEye = "\xef\x81\xae";
inline constexpr const char* cEyeSlash = "\xef\x81\xb0";
inline constexpr const char* cCube = "\xef\x86\xb2";
inline constexpr const char* cCubes = "\xef\x86\xb3";
inline constexpr const char* cFolder = "\xef\x81\xbb";
inline constexpr const char* cFolderOpen = "\xef\x81\xbc";
inline constexpr const char* cFile = "\xef\x80\x96";
inline constexpr const char* cClose = "\xef\x80\x8d";
inline constexpr const char* cWarning = "\xef\x81\xb1";
inline constexpr const char* cError = "\xef\x81\x97";
inline constexpr const char* cInfo = "\xef\x81\x9a";
inline constexpr const char* cDone = "\xef\x81\x98";
inline constexpr const char* cHome = "\xef\x80\x95";
inline constexpr const char* cUp = "\xef\x81\xa2";
} // namespace Icons

} // namespace VX
