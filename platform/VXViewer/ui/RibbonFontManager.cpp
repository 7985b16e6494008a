#include <VXViewer/ui/RibbonFontManager.h>

#include <VXMesh/io/Path.h>

#include <imgui.h>
#include <imgui_freetype.h>
#include <spdlog/spdlog.h>

#include <cmath>
#include <fstream>
#include <thread>
#include <utility>
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

using Fonts = std::array<ImFont*, size_t( Type::Count )>;

/// Fills an atlas with all types at a scale. It needs no Dear ImGui context.
class AtlasMaker
{
public:
    AtlasMaker( ImFontAtlas& atlas, const RibbonFontManager::FontPaths& paths )
        : atlas_( atlas )
        , paths_( paths )
    {
        for ( size_t i = 0; i < usable_.size(); ++i )
        {
            usable_[i] = isReadableFont( paths_[i] );
            if ( !usable_[i] )
                spdlog::warn( "The font {} is missing or no font", utf8string( paths_[i] ) );
        }
    }

    Fonts make( float scale )
    {
        Fonts out{};
        atlas_.Clear();
        atlas_.FontBuilderIO = ImGuiFreeType::GetBuilderForFreeType();
        atlas_.FontBuilderFlags = ImGuiFreeTypeBuilderFlags_LightHinting;
        for ( size_t i = 0; i < cTypes.size(); ++i )
            out[i] = addType_( Type( i ), std::max( std::round( cTypes[i].size * scale ), 4.f ) );
        if ( !atlas_.Build() )
        {
            spdlog::error( "The fonts cannot be rasterised" );
            atlas_.Clear();
            out.fill( addOwnLetters_( 13 * scale ) );
            atlas_.Build();
        }
        return out;
    }

private:
    ImFont* addType_( Type type, float size )
    {
        const File file = cTypes[size_t( type )].file;
        const auto* ranges = file == File::Icons ? cIconGlyphs : type == Type::Default ? cNames : cOwnTexts;
        ImFont* font = usable_[size_t( file )] ? addFile_( file, size, ranges, nullptr ) : addOwnLetters_( size );
        if ( usable_[size_t( File::Icons )] && file != File::Icons && file != File::Monospace )
            mergeIcons_( size );
        return font;
    }

    ImFont* addFile_( File file, float size, const ImWchar* ranges, const ImFontConfig* config )
    {
        return atlas_.AddFontFromFileTTF( utf8string( paths_[size_t( file )] ).c_str(), size, config, ranges );
    }

    ImFont* addOwnLetters_( float size )
    {
        ImFontConfig config;
        config.SizePixels = size;
        return atlas_.AddFontDefault( &config );
    }

    void mergeIcons_( float size )
    {
        ImFontConfig config;
        config.MergeMode = true;
        config.GlyphMinAdvanceX = std::round( size * 1.2f );
        config.GlyphOffset.y = std::round( size * 0.06f );
        addFile_( File::Icons, size, cIconGlyphs, &config );
    }

    ImFontAtlas& atlas_;
    const RibbonFontManager::FontPaths& paths_;
    std::array<bool, size_t( File::Count )> usable_{};
};

} // namespace

/// An atlas that is made before it can be used.
struct RibbonFontManager::Ahead
{
    Ahead( const FontPaths& fontPaths, float fontScale )
        : paths( fontPaths )
        , scale( fontScale )
        , thread(
              [this]
              {
                  fonts = AtlasMaker( *atlas, paths ).make( scale );
                  // What the renderer asks for, a third of the work.
                  unsigned char* pixels = nullptr;
                  int width = 0, height = 0;
                  atlas->GetTexDataAsRGBA32( &pixels, &width, &height );
              } )
    {
    }
    ~Ahead()
    {
        finish();
        IM_DELETE( atlas );
    }
    Ahead( const Ahead& ) = delete;
    Ahead& operator=( const Ahead& ) = delete;

    void finish()
    {
        if ( thread.joinable() )
            thread.join();
    }

    FontPaths paths;
    float scale;
    ImFontAtlas* atlas = IM_NEW( ImFontAtlas );
    Fonts fonts{};
    std::thread thread;
};

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

void RibbonFontManager::loadAhead( float scale )
{
    ahead_ = std::make_unique<Ahead>( paths_, scale );
}

void RibbonFontManager::finishAhead()
{
    if ( ahead_ )
        ahead_->finish();
}

void RibbonFontManager::loadAllFonts( float scale )
{
    outdated_ = false;
    const auto ahead = std::exchange( ahead_, nullptr );
    if ( ahead && ahead->scale == scale && ahead->paths == paths_ )
    {
        ahead->finish();
        fonts_ = ahead->fonts;
        // The context deletes the one that it has at its end.
        std::swap( ImGui::GetIO().Fonts, ahead->atlas );
        return;
    }
    fonts_ = AtlasMaker( *ImGui::GetIO().Fonts, paths_ ).make( scale );
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
