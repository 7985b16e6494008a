#pragma once

#include <VXViewer/Export.h>

#include <array>
#include <filesystem>
#include <memory>

struct ImFont;

namespace VX
{

/// The typefaces of the interface: four files, rasterised at the sizes that the interface uses and at the screen's
/// real scale.
///
/// The menu owns one. UI thread; the glyphs are rasterised between two frames, when the files or the scale changed.
class VXVIEWER_API RibbonFontManager
{
public:
    enum class FontType
    {
        Default,
        Small,
        SemiBold,
        Icons,
        Big,
        BigSemiBold,
        Headline,
        Monospace,
        Count
    };

    enum class FontFile
    {
        Regular,
        SemiBold,
        Monospace,
        Icons,
        Count
    };

    using FontPaths = std::array<std::filesystem::path, size_t( FontFile::Count )>;

    RibbonFontManager();
    ~RibbonFontManager();
    RibbonFontManager( const RibbonFontManager& ) = delete;
    RibbonFontManager& operator=( const RibbonFontManager& ) = delete;

    [[nodiscard]] const FontPaths& getAllFontPaths() const { return paths_; }
    /// Takes other files; they are shown from the next frame on.
    void setNewFontPaths( const FontPaths& paths );

    /// Starts to rasterise on a thread of its own, before there is a Dear ImGui context, for a first `loadAllFonts` of
    /// the same scale.
    void loadAhead( float scale );
    /// Waits for the thread of `loadAhead`; to be called before a Dear ImGui context is made.
    void finishAhead();
    /// Rasterises all types into Dear ImGui's atlas. A file that is missing or is no font is replaced by Dear ImGui's
    /// own letters, and said so in the log.
    void loadAllFonts( float scale );
    /// Whether the files were changed since `loadAllFonts`.
    [[nodiscard]] bool isOutdated() const { return outdated_; }

    /// Null before the fonts were loaded.
    [[nodiscard]] ImFont* getFontByType( FontType type ) const;
    /// Size in pixels at scale 1.
    [[nodiscard]] static float getFontSizeByType( FontType type );

    /// The font of the manager in use, or null when there is none.
    [[nodiscard]] static ImFont* getFontByTypeStatic( FontType type );

private:
    using Fonts = std::array<ImFont*, size_t( FontType::Count )>;
    struct Ahead;

    FontPaths paths_;
    Fonts fonts_{};
    std::unique_ptr<Ahead> ahead_;
    bool outdated_ = true;
};

/// Glyphs of the icon font, which is merged into the others.
namespace Icons
{
inline constexpr const char* cClose = "\xef\x80\x8d";
inline constexpr const char* cSearch = "\xef\x80\x82";
inline constexpr const char* cCog = "\xef\x80\x93";
inline constexpr const char* cHome = "\xef\x80\x95";
inline constexpr const char* cFile = "\xef\x80\x96";
inline constexpr const char* cPin = "\xef\x82\x8d";
inline constexpr const char* cError = "\xef\x81\x97";
inline constexpr const char* cDone = "\xef\x81\x98";
inline constexpr const char* cInfo = "\xef\x81\x9a";
inline constexpr const char* cUp = "\xef\x81\xa2";
inline constexpr const char* cEye = "\xef\x81\xae";
inline constexpr const char* cEyeSlash = "\xef\x81\xb0";
inline constexpr const char* cWarning = "\xef\x81\xb1";
inline constexpr const char* cChevronUp = "\xef\x81\xb7";
inline constexpr const char* cChevronDown = "\xef\x81\xb8";
inline constexpr const char* cFolder = "\xef\x81\xbb";
inline constexpr const char* cFolderOpen = "\xef\x81\xbc";
inline constexpr const char* cCaretDown = "\xef\x83\x97";
inline constexpr const char* cCaretRight = "\xef\x83\x9a";
inline constexpr const char* cKeyboard = "\xef\x84\x9c";
inline constexpr const char* cCube = "\xef\x86\xb2";
inline constexpr const char* cCubes = "\xef\x86\xb3";
} // namespace Icons

} // namespace VX
