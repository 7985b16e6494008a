#pragma once

#include <VXMesh/math/Vector3.h>

#include <optional>
#include <string>
#include <string_view>

namespace VX
{

/// Finds the points in the text of a mesh file, in the order of the file, and leaves everything else alone.
class PointText
{
public:
    struct Point
    {
        /// Of the text that holds the three numbers.
        size_t begin = 0, end = 0;
        Vector3d place;
    };

    /// Points are the lines that begin with a word. The text must outlive this object.
    PointText( std::string_view text, std::string_view word );
    /// Points are `count` lines from a place in the text on, not counting empty ones and comments.
    PointText( std::string_view text, size_t begin, size_t count );

    /// The next point, or nothing after the last.
    [[nodiscard]] std::optional<Point> next();
    /// Whether a line was met whose numbers cannot be read or do not mean a place as they stand.
    [[nodiscard]] bool isStrange() const { return strange_; }

private:
    [[nodiscard]] size_t numbersIn_( std::string_view line ) const;
    [[nodiscard]] std::optional<Point> pointAt_( size_t begin, size_t end );

    std::string_view text_, word_;
    size_t at_ = 0;
    size_t left_ = SIZE_MAX;
    bool strange_ = false;
};

/// The lines of points in a file of that extension (".obj", ".stl", ".off", ".ply"); nothing when it keeps its points
/// otherwise.
[[nodiscard]] std::optional<PointText> pointTextOf( std::string_view text, std::string_view extension );

} // namespace VX
