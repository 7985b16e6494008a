#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/ui/StyleScope.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace VX
{

/// The parts that the forms of the sign-in are made of, one below the other, in the window that is being drawn.
///
/// A short form stands in the middle; the gaps of a long one shrink. Both follow from what the frame before has needed.
/// UI thread.
class AuthForm
{
public:
    /// Starts a form in a window of that size, with its padding at all sides. Fields take the keyboard only with
    /// `mayFocus`.
    void begin( const Vector2f& windowSize, const Vector2f& padding, float scaling, bool mayFocus );
    void end();

    void title( const std::string& text );
    void paragraph( const std::string& text );
    /// A field with its caption at the left; with `focus` it takes the keyboard.
    void field( const char* caption, std::string& value, bool masked, bool focus );
    /// A check box at the left of a row, on whose right side something else may follow.
    void checkbox( const char* caption, bool& value );
    /// One row of small words, from edge to edge, each marked as met or failing.
    void rules( const std::vector<std::pair<const char*, bool>>& rules );
    /// The button that the form is for; pressed by Enter, too.
    [[nodiscard]] bool mainButton( const char* caption );
    /// What went wrong and a line about the reason, or else what went well. Its place is kept while there is nothing to
    /// say; texts that are too long for it scroll.
    void message( const std::string& text, const std::string& reason, const std::string& status );
    /// More about the title; nothing for an empty text.
    void detail( const std::string& text );
    /// "text link", in the middle of a row of its own or, with `atRight`, at the right end of the row before.
    [[nodiscard]] bool link(
        const std::string& before, const char* link, const std::string& after = {}, bool atRight = false );

private:
    void row_();
    void center_( float width ) const;
    static void centered_( const std::string& text, const ImVec4& color, float width );

    float innerWidth_ = 0;
    float innerHeight_ = 0;
    float padding_ = 0;
    float scaling_ = 1;
    float top_ = 0;
    float gap_ = 0;
    float offset_ = 0;
    bool mayFocus_ = true;
    int rows_ = 0;
    std::optional<StyleScope> style_; ///< from the form's begin to its end
};

} // namespace VX
