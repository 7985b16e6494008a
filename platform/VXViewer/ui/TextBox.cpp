#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/TextBox.h>

#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

/// Where the line that begins at `from` ends; at least one character further, however narrow the box is.
size_t endOfLine( const std::string& text, size_t from, size_t to, float width )
{
    const char* begin = text.data() + from;
    const char* end = ImGui::GetFont()->CalcWordWrapPositionA(
        ImGui::GetFontSize() / ImGui::GetFont()->FontSize, begin, text.data() + to, width );
    size_t out = size_t( end - text.data() );
    if ( out == from )
        do
            ++out;
        while ( out < to && ( text[out] & 0xc0 ) == 0x80 );
    return out;
}

} // namespace

std::vector<TextBox::Line> TextBox::wrapped_( float width ) const
{
    std::vector<Line> out;
    for ( size_t at = 0; at <= text_.size(); )
    {
        const size_t to = std::min( text_.find( '\n', at ), text_.size() );
        size_t begin = at;
        do
        {
            const size_t end = begin < to ? endOfLine( text_, begin, to, width ) : to;
            out.emplace_back( begin, end );
            // The blank at which a line was broken begins no other.
            begin = std::min( text_.find_first_not_of( ' ', end ), to );
        } while ( begin < to );
        at = to + 1;
    }
    return out;
}

void TextBox::layOut_( float width, float maxHeight )
{
    const float fontSize = ImGui::GetFontSize();
    if ( width == width_ && maxHeight == maxHeight_ && fontSize == fontSize_ )
        return;
    width_ = width;
    maxHeight_ = maxHeight;
    fontSize_ = fontSize;
    lines_ = wrapped_( width );
    scrolls_ = float( lines_.size() ) * fontSize > maxHeight;
    if ( scrolls_ )
        lines_ = wrapped_( std::max( width - ImGui::GetStyle().ScrollbarSize - ImGui::GetStyle().ItemSpacing.x, 1.f ) );
}

void TextBox::drawLines_() const
{
    const StyleScope style( { { ImGuiStyleVar_ItemSpacing, ImVec2{} } } );
    ImGuiListClipper clipper;
    clipper.Begin( int( lines_.size() ), ImGui::GetTextLineHeight() );
    while ( clipper.Step() )
        for ( int i = clipper.DisplayStart; i < clipper.DisplayEnd; ++i )
        {
            const auto [from, to] = lines_[size_t( i )];
            ImGui::TextUnformatted( text_.data() + from, text_.data() + to );
        }
}

void TextBox::draw( const char* id, const ImVec4& color, float width, float maxHeight )
{
    layOut_( width, maxHeight );
    const StyleScope style( { { ImGuiCol_Text, color } } );
    if ( scrolls_ )
    {
        if ( ImGui::BeginChild( id, { width, maxHeight } ) )
            drawLines_();
        ImGui::EndChild();
    }
    else
    {
        ImGui::PushTextWrapPos( ImGui::GetCursorPosX() + width );
        ImGui::TextUnformatted( text_.data(), text_.data() + text_.size() );
        ImGui::PopTextWrapPos();
    }
}

} // namespace VX
