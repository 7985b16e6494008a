#pragma once

#include <VXViewer/Export.h>

#include <string>
#include <utility>
#include <vector>

struct ImVec4;

namespace VX
{

/// A text of any length in a dialog: wrapped, and above a height it scrolls in a box of its own, so that what stands
/// below stays in reach. Lines are made when the text, the width or the font is another; only those in view are drawn.
///
/// UI thread, within a frame.
class VXVIEWER_API TextBox
{
public:
    TextBox() = default;
    explicit TextBox( std::string text )
        : text_( std::move( text ) )
    {
    }

    [[nodiscard]] const std::string& text() const { return text_; }

    /// Draws at the cursor, at most so many pixels wide and high. Several in one window need different ids.
    void draw( const char* id, const ImVec4& color, float width, float maxHeight );

private:
    /// From and to in the text, in bytes.
    using Line = std::pair<size_t, size_t>;

    [[nodiscard]] std::vector<Line> wrapped_( float width ) const;
    void layOut_( float width, float maxHeight );
    void drawLines_() const;

    std::string text_;
    std::vector<Line> lines_;
    float width_ = -1;
    float maxHeight_ = -1;
    float fontSize_ = -1;
    bool scrolls_ = false;
};

} // namespace VX
