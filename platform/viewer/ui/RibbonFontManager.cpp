#include <VXViewer/ui/RibbonFontManager.h>

#include <VXMesh/io/Path.h>

#include <imgui.h>
#include <imgui_freetype.h>
#include <spdlog/spdlog.h>

#include <cmath>
#include <fstream>
#include <vector>

namespace VX
{
namespace
{

using Type = RibbonFontManager::FontType;
using File = RibbonFontManager::FontFile;

struct TypeInfo
{
    File file;
    float size;
};

constexpr std::array<TypeInfo, size_t( Type::Count )> cTypes{
    TypeInfo{ File::Regular, 15 },  // Default
    TypeInfo{ File::Regular, 13 },  // Small
    TypeInfo{ File::SemiBold, 15 }, // SemiBold
    TypeInfo{ File::Icons, 17 },    // Icons
    TypeInfo{ File::Regular, 18 },  // Big
    TypeInfo{ File::SemiBold, 18 }, // BigSemiBold
    TypeInfo{ File::SemiBold, 22 }, // Headline
    TypeInfo{ File::Monospace, 14 } // Monospace
};

// Latin with its extensions, Greek, Cyrillic, punctuation and arrows: what file names of our users are made of. Only
// the face that shows names has them; rasterising all of them for every size would be a third of the start.
constexpr ImWchar cNames[] = { 0x20, 0x24f, 0x370, 0x3ff, 0x400, 0x4ff, 0x2010, 0x2027, 0x2190, 0x2193, 0 };
constexpr ImWchar cOwnTexts[] = { 0x20, 0xff, 0x2010, 0x2027, 0x2190, 0x2193, 0 };
// The glyphs of `Icons`, and no more: the icon font has seven hundred.
constexpr ImWchar cIconGlyphs[] = { 0xf002, 0xf002, 0xf00d, 0xf00d, 0xf013, 0xf016, 0xf057, 0xf05a, 0xf062, 0xf062,
    0xf06e, 0xf071, 0xf077, 0xf078, 0xf07b, 0xf07c, 0xf08d, 0xf08d, 0xf0d7, 0xf0da, 0xf11c, 0xf11c, 0xf1b2, 0xf1b3, 0 };

RibbonFontManager* sManager = nullptr;

/// FreeType reads what it is given without asking for a file's permission or kind, so we look first.
bool isReadableFont( const std::filesystem::path& path )
{
    std::ifstream in( path, std::ios::binary );
    std::array<char, 4> magic{};
    if ( !in.read( magic.data(), magic.size() ) )
        return false;
    const std::string_view text( magic.data(), magic.size() );
    return text == "OTTO" || text == "true" || text == "ttcf" || text == std::string_view( "\0\1\0\0", 4 );
}

ImFont* addFont( const std::filesystem::path& path, float size, const ImWchar* ranges, const ImFontConfig* config )
{
    return ImGui::GetIO().Fonts->AddFontFromFileTTF( utf8string( path ).c_str(), size, config, ranges );
}

ImFont* addOwnLetters( float size )
{
    ImFontConfig config;
    config.SizePixels = size;
    return ImGui::GetIO().Fonts->AddFontDefault( &config );
}

void mergeIcons( const std::filesystem::path& path, float size )
{
    ImFontConfig config;
    config.MergeMode = true;
    config.GlyphMinAdvanceX = std::round( size * 1.2f );
    config.GlyphOffset.y = std::round( size * 0.06f );
    addFont( path, size, cIconGlyphs, &config );
}

} // namespace

RibbonFontManager::RibbonFontManager()
    : paths_{ VX_FONT_ROOT "/opentype/inter/Inter-Regular.otf", VX_FONT_ROOT "/opentype/inter/Inter-SemiBold.otf",
          VX_FONT_ROOT "/truetype/jetbrains-mono/JetBrainsMono-Regular.ttf",
          VX_FONT_ROOT "/truetype/font-awesome/fontawesome-webfont.ttf" }
{
    sManager = this;
}

RibbonFontManager::~RibbonFontManager()
{
    if ( sManager == this )
        sManager = nullptr;
}

void RibbonFontManager::setNewFontPaths( const FontPaths& paths )
{
    paths_ = paths;
    outdated_ = true;
}

void RibbonFontManager::loadAllFonts( float scale )
{
    outdated_ = false;
    std::array<bool, size_t( File::Count )> usable{};
    for ( size_t i = 0; i < usable.size(); ++i )
    {
        usable[i] = isReadableFont( paths_[i] );
        if ( !usable[i] )
            spdlog::warn( "The font {} is missing or no font", utf8string( paths_[i] ) );
    }
    auto& atlas = *ImGui::GetIO().Fonts;
    atlas.Clear();
    atlas.FontBuilderIO = ImGuiFreeType::GetBuilderForFreeType();
    atlas.FontBuilderFlags = ImGuiFreeTypeBuilderFlags_LightHinting;
    for ( size_t i = 0; i < cTypes.size(); ++i )
    {
        const auto [file, unscaled] = cTypes[i];
        const float size = std::max( std::round( unscaled * scale ), 4.f );
        const auto* ranges = file == File::Icons ? cIconGlyphs : Type( i ) == Type::Default ? cNames : cOwnTexts;
        fonts_[i] =
            usable[size_t( file )] ? addFont( paths_[size_t( file )], size, ranges, nullptr ) : addOwnLetters( size );
        if ( usable[size_t( File::Icons )] && file != File::Icons && file != File::Monospace )
            mergeIcons( paths_[size_t( File::Icons )], size );
    }
    if ( !atlas.Build() )
    {
        spdlog::error( "The fonts cannot be rasterised" );
        atlas.Clear();
        fonts_.fill( addOwnLetters( 13 * scale ) );
        atlas.Build();
    }
}

ImFont* RibbonFontManager::getFontByType( FontType type ) const
{
    return fonts_.at( size_t( type ) );
}

float RibbonFontManager::getFontSizeByType( FontType type )
{
    return cTypes.at( size_t( type ) ).size;
}

ImFont* RibbonFontManager::getFontByTypeStatic( FontType type )
{
    return sManager ? sManager->getFontByType( type ) : nullptr;
}

} // namespace VX
