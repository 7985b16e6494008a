#include "support/ui/DrawnWindow.h"

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <cmath>
#include <stdexcept>

namespace VX::Testing
{
namespace
{

constexpr float cSameUv = 1e-5f;

bool isSame( ImVec2 a, ImVec2 b )
{
    return std::abs( a.x - b.x ) < cSameUv && std::abs( a.y - b.y ) < cSameUv;
}

struct Quad
{
    ImDrawVert low;
    ImDrawVert high;
    ImTextureID texture;
};

/// The rectangles of a list: two triangles of four points, as letters and pictures are.
std::vector<Quad> quadsOf( const ImDrawList& list )
{
    std::vector<Quad> out;
    for ( const auto& command : list.CmdBuffer )
    {
        const auto* index = list.IdxBuffer.Data + command.IdxOffset;
        const auto* points = list.VtxBuffer.Data + command.VtxOffset;
        for ( unsigned i = 0; i + 6 <= command.ElemCount; )
        {
            const int first = index[i];
            const bool isQuad = index[i + 1] == first + 1 && index[i + 2] == first + 2 && index[i + 3] == first &&
                                index[i + 4] == first + 2 && index[i + 5] == first + 3;
            if ( isQuad )
                out.push_back( { points[first], points[first + 2], command.TextureId } );
            i += isQuad ? 6 : 3;
        }
    }
    return out;
}

/// The glyphs of a line that can be seen, each with how far it stands from the line's begin.
std::vector<std::pair<const ImFontGlyph*, float>> glyphsOf( const std::string& line, const ImFont& font )
{
    std::vector<std::pair<const ImFontGlyph*, float>> out;
    float x = 0;
    for ( const char c : line )
    {
        const auto* glyph = font.FindGlyph( ImWchar( static_cast<unsigned char>( c ) ) );
        if ( glyph->Visible )
            out.emplace_back( glyph, x );
        x += glyph->AdvanceX;
    }
    return out;
}

} // namespace

DrawnWindow::DrawnWindow( const std::string& name )
{
    for ( ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        if ( window->Active && !window->Hidden && std::string( window->Name ).find( name ) != std::string::npos )
            window_ = window;
    if ( !window_ )
        throw std::runtime_error( "no window " + name );
}

std::optional<DrawnWindow::Part> DrawnWindow::text( const std::string& line, RibbonFontManager::FontType face ) const
{
    const ImFont* font = RibbonFontManager::getFontByTypeStatic( face );
    if ( !font )
        return {};
    const auto glyphs = glyphsOf( line, *font );
    const auto quads = quadsOf( *window_->DrawList );
    for ( size_t i = 0; i + glyphs.size() <= quads.size(); ++i )
    {
        size_t same = 0;
        const auto origin = [&]( const Quad& quad )
        { return ImVec2{ quad.low.pos.x - glyphs[same].first->X0, quad.low.pos.y - glyphs[same].first->Y0 }; };
        while ( same < glyphs.size() &&
                isSame( quads[i + same].low.uv, { glyphs[same].first->U0, glyphs[same].first->V0 } ) &&
                std::abs( origin( quads[i + same] ).x - glyphs[same].second - quads[i].low.pos.x + glyphs[0].first->X0 +
                          glyphs[0].second ) < 1 )
            ++same;
        if ( same < glyphs.size() )
            continue;
        const auto& [first, offset] = glyphs[0];
        const ImVec2 size = font->CalcTextSizeA( font->FontSize, FLT_MAX, 0, line.c_str() );
        return Part{
            { quads[i].low.pos.x - first->X0 - offset - corner().x, quads[i].low.pos.y - first->Y0 - corner().y },
            { size.x, size.y }, quads[i].low.col };
    }
    return {};
}

Vector2f DrawnWindow::middleOf( const std::string& line ) const
{
    const auto found = text( line );
    EXPECT_TRUE( found ) << line;
    return found ? corner() + found->place + found->size * 0.5f : Vector2f{ -1, -1 };
}

std::vector<DrawnWindow::Picture> DrawnWindow::pictures() const
{
    std::vector<Picture> out;
    for ( const auto& quad : quadsOf( *window_->DrawList ) )
        if ( quad.texture != ImGui::GetIO().Fonts->TexID )
        {
            Picture picture;
            picture.place = { quad.low.pos.x - corner().x, quad.low.pos.y - corner().y };
            picture.size = { quad.high.pos.x - quad.low.pos.x, quad.high.pos.y - quad.low.pos.y };
            picture.color = quad.low.col;
            picture.texture = quad.texture;
            picture.uv = quad.low.uv;
            out.push_back( picture );
        }
    return out;
}

bool DrawnWindow::isFilledWithin( Vector2f low, Vector2f high ) const
{
    low = low + corner();
    high = high + corner();
    for ( const auto& point : window_->DrawList->VtxBuffer )
        if ( isSame( point.uv, ImGui::GetIO().Fonts->TexUvWhitePixel ) && ( point.col & IM_COL32_A_MASK ) != 0 &&
             point.pos.x >= low.x && point.pos.x <= high.x && point.pos.y >= low.y && point.pos.y <= high.y )
            return true;
    return false;
}

bool DrawnWindow::isPointedAt( const std::vector<std::string>& path ) const
{
    ImGuiID id = window_->ID;
    for ( const auto& part : path )
        id = ImHashStr( part.c_str(), 0, id );
    return ImGui::GetCurrentContext()->HoveredId == id;
}

Vector2f DrawnWindow::corner() const
{
    return { window_->Pos.x, window_->Pos.y };
}

} // namespace VX::Testing
