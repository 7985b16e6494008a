#include "support/ui/ShownText.h"

#include <imgui.h>
#include <imgui_internal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

namespace VX::Testing
{
namespace
{

struct Glyph
{
    const ImFont* font = nullptr;
    const ImFontGlyph* glyph = nullptr;
};

/// The glyphs of all fonts by the upper left corners of their pictures.
using Glyphs = std::map<std::pair<float, float>, Glyph>;

Glyphs allGlyphs()
{
    Glyphs out;
    for ( const ImFont* font : ImGui::GetIO().Fonts->Fonts )
        for ( const auto& glyph : font->Glyphs )
            if ( glyph.Visible )
                out.try_emplace( { glyph.U0, glyph.V0 }, Glyph{ font, &glyph } );
    return out;
}

/// The glyph that four vertices draw, if they draw one.
std::optional<Glyph> glyphOf( const ImDrawVert* v, const Glyphs& glyphs )
{
    const bool isUpright =
        v[0].pos.y == v[1].pos.y && v[1].pos.x == v[2].pos.x && v[2].pos.y == v[3].pos.y && v[3].pos.x == v[0].pos.x;
    const auto it = isUpright ? glyphs.find( { v[0].uv.x, v[0].uv.y } ) : glyphs.end();
    if ( it == glyphs.end() || v[2].uv.x != it->second.glyph->U1 || v[2].uv.y != it->second.glyph->V1 )
        return {};
    return it->second;
}

/// Puts glyphs together to words, and words to lines.
class Reader
{
public:
    void add( const ImDrawVert* v, const Glyph& glyph )
    {
        const auto& shape = *glyph.glyph;
        const float scale = ( v[2].pos.x - v[0].pos.x ) / ( shape.X1 - shape.X0 );
        const Vector2f pen{ v[0].pos.x - shape.X0 * scale, v[0].pos.y - shape.Y0 * scale };
        const float space = glyph.font->FindGlyph( ' ' )->AdvanceX * scale;
        const float spaces = std::round( ( pen.x - pen_.x ) / space );
        const bool goesOn = glyph.font == font_ && v[0].col == out.back().color && std::abs( pen.y - pen_.y ) < 0.5f &&
                            spaces >= 0 && spaces <= 2 && std::abs( pen.x - pen_.x - spaces * space ) < 1;
        if ( goesOn )
            out.back().text.append( size_t( spaces ), ' ' );
        else
            out.push_back( { {}, v[0].col, pen, glyph.font->FontSize * scale } );
        char letter[5];
        out.back().text += ImTextCharToUtf8( letter, shape.Codepoint );
        font_ = glyph.font;
        pen_ = { pen.x + shape.AdvanceX * scale, pen.y };
    }
    std::vector<ShownText> out;

private:
    const ImFont* font_ = nullptr;
    Vector2f pen_;
};

std::vector<const ImDrawList*> listsOf( const std::string& window )
{
    std::vector<const ImDrawList*> out;
    const auto* data = ImGui::GetDrawData();
    for ( int i = 0; i < data->CmdListsCount; ++i )
    {
        const char* owner = data->CmdLists[i]->_OwnerName;
        if ( std::string( owner ? owner : "" ).find( window ) != std::string::npos )
            out.push_back( data->CmdLists[i] );
    }
    return out;
}

/// The smallest box about the vertices of these windows that are asked for.
template <typename Wanted>
DrawnBox boxOf( const std::string& window, const Wanted& isWanted )
{
    constexpr float cFar = std::numeric_limits<float>::max();
    DrawnBox out{ { cFar, cFar }, { -cFar, -cFar } };
    for ( const auto* list : listsOf( window ) )
        for ( const auto& vertex : list->VtxBuffer )
        {
            if ( !isWanted( vertex ) )
                continue;
            out.low = { std::min( out.low.x, vertex.pos.x ), std::min( out.low.y, vertex.pos.y ) };
            out.high = { std::max( out.high.x, vertex.pos.x ), std::max( out.high.y, vertex.pos.y ) };
        }
    return out;
}

} // namespace

std::vector<ShownText> shownTexts( const std::string& window )
{
    const auto glyphs = allGlyphs();
    Reader reader;
    for ( const auto* list : listsOf( window ) )
        for ( int at = 0; at + 3 < list->VtxBuffer.Size; )
        {
            const auto glyph = glyphOf( &list->VtxBuffer[at], glyphs );
            if ( glyph )
                reader.add( &list->VtxBuffer[at], *glyph );
            at += glyph ? 4 : 1;
        }
    return reader.out;
}

std::string shownText( const std::string& window )
{
    std::string out;
    for ( const auto& piece : shownTexts( window ) )
        out += piece.text + "\n";
    return out;
}

DrawnBox drawnBox( const std::string& window, uint32_t color )
{
    return boxOf( window, [color]( const ImDrawVert& vertex ) { return vertex.col == color; } );
}

DrawnBox filledBox( const std::string& window, uint32_t color )
{
    const ImVec2 white = ImGui::GetIO().Fonts->TexUvWhitePixel;
    return boxOf( window, [&]( const ImDrawVert& vertex )
        { return vertex.col == color && vertex.uv.x == white.x && vertex.uv.y == white.y; } );
}

} // namespace VX::Testing
