#pragma once

#include <VXMesh/math/Vector3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace VX::Testing
{

/// Words that stand on one line of a frame, in one colour, as a person reads them there.
struct ShownText
{
    std::string text;
    /// As Dear ImGui packs it: red in the lowest byte, then green, blue and alpha.
    uint32_t color = 0;
    /// Where the line begins; its height is that of the font.
    Vector2f low;
    float height = 0;
};

/// What the frame drawn last says in the windows whose names contain a text, in the order in which it was drawn. It is
/// read from the glyphs themselves, so what is not drawn is not in it.
[[nodiscard]] std::vector<ShownText> shownTexts( const std::string& window );

/// The same without its colours and places, one piece per line.
[[nodiscard]] std::string shownText( const std::string& window );

struct DrawnBox
{
    Vector2f low, high;
};

/// The smallest box about what these windows draw in a colour, their words included.
[[nodiscard]] DrawnBox drawnBox( const std::string& window, uint32_t color );

/// The same of what is filled with the colour; words and pictures do not count.
[[nodiscard]] DrawnBox filledBox( const std::string& window, uint32_t color );

} // namespace VX::Testing
