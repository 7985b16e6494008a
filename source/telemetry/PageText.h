#pragma once

#include <VXOrvanta/Export.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace VX
{

/// A line of a page as it is drawn, however the text was wrapped.
struct PageLine
{
    enum class Kind
    {
        Text,
        Heading,
        Bullet,
        Gap
    };
    Kind kind = Kind::Text;
    std::string text;
    friend bool operator==( const PageLine&, const PageLine& ) = default;
};

/// The lines of a text with Markdown's headings, paragraphs and lists. Its marks for code and emphasis are left out.
[[nodiscard]] VXORVANTA_API std::vector<PageLine> pageLines( std::istream& text );

} // namespace VX
