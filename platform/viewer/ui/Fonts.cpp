#include <VXViewer/ui/Fonts.h>

#include <imgui.h>
#include <imgui_freetype.h>
#include <spdlog/spdlog.h>

#include <array>
#include <cmath>
#include <filesystem>

namespace VX::Fonts
{
namespace
{

struct FaceFile
{
    Face face;
    const char* file;
    float size;
    bool wide;
};

constexpr std::array cFaces{
    FaceFile{ Face::Regular, VX_FONT_ROOT "/opentype/inter/Inter-Regular.otf", 15, true },
    FaceFile{ Face::SemiBold, VX_FONT_ROOT "/opentype/inter/Inter-SemiBold.otf", 15, true },
    FaceFile{ Face::Heading, VX_FONT_ROOT "/opentype/inter/Inter-SemiBold.otf", 20, false },
    FaceFile{ Face::Monospace, VX_FONT_ROOT "/truetype/jetbrains-mono/JetBrainsMono-Regular.ttf", 14, false },
};
constexpr const char* cIconFile = VX_FONT_ROOT "/truetype/font-awesome/fontawesome-webfont.ttf";

std::array<ImFont*, cFaces.size()> sFonts{};

bool exists( const char* file )
{
    std::error_code ec;
    if ( std::filesystem::is_regular_file( file, ec ) )
        return true;
    spdlog::warn( "The font {} is missing", file );
    return false;
}

void mergeIcons( float size )
{
    static constexpr ImWchar cRange[] = { 0xf000, 0xf2e0, 0 };
    ImFontConfig config;
    config.MergeMode = true;
    config.GlyphMinAdvanceX = std::round( size * 1.2f );
    config.GlyphOffset.y = std::round( size * 0.06f );
    if ( exists( cIconFile ) )
        ImGui::GetIO().Fonts->AddFontFromFileTTF( cIconFile, std::round( size ), &config, cRange );
}

} // namespace

void build( float scale )
{
    // Latin with its extensions, Greek, Cyrillic, punctuation and arrows: what file names of our users are made of.
    // Only the regular face shows those; rasterising all of them four times would be a third of the start.
    static constexpr ImWchar cOwnTexts[] = { 0x20, 0xff, 0x2010, 0x2027, 0x2190, 0x2193, 0 };
    static constexpr ImWchar cRanges[] = { 0x20, 0x24f, 0x370, 0x3ff, 0x400, 0x4ff, 0x2010, 0x2027, 0x2190, 0x2193, 0 };
    auto& atlas = *ImGui::GetIO().Fonts;
    atlas.Clear();
    atlas.FontBuilderIO = ImGuiFreeType::GetBuilderForFreeType();
    atlas.FontBuilderFlags = ImGuiFreeTypeBuilderFlags_LightHinting;
    for ( const auto& face : cFaces )
    {
        const float size = std::round( face.size * scale );
        ImFont* font = exists( face.file )
                           ? atlas.AddFontFromFileTTF( face.file, size, nullptr, face.wide ? cRanges : cOwnTexts )
                           : nullptr;
        if ( !font )
        {
            ImFontConfig config;
            config.SizePixels = size;
            font = atlas.AddFontDefault( &config );
        }
        sFonts[size_t( face.face )] = font;
        if ( face.face != Face::Monospace )
            mergeIcons( size );
    }
    atlas.Build();
}

ImFont* get( Face face )
{
    return sFonts[size_t( face )];
}

} // namespace VX::Fonts
