#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/Export.h>

#include <array>

namespace VX
{

/// Where a slice stands in a rectangle of the screen: whole, in its own proportions and in the middle, until it is
/// zoomed or moved. Places are pixels from the rectangle's upper left corner.
class VXVIEWER_API SliceLayout
{
public:
    /// A slice of that many columns and rows, which stands for that much space, in a rectangle. Another one is shown
    /// whole.
    void set( int width, int height, Vector2f extent, Vector2f size );

    /// Corners of the whole slice; they may be outside of the rectangle.
    [[nodiscard]] Vector2f low() const;
    [[nodiscard]] Vector2f high() const;
    /// From pixels of the slice to the screen and back; fractional, from the outer edge of the first one.
    [[nodiscard]] Vector2f toScreen( const std::array<double, 2>& pixel ) const;
    [[nodiscard]] std::array<double, 2> toSlice( Vector2f place ) const;
    [[nodiscard]] bool contains( Vector2f place ) const;

    /// Comes closer by positive steps, up to some voxels in the rectangle, and back to the whole slice; what is at the
    /// anchor stays there.
    void zoom( float steps, Vector2f anchor );
    void move( Vector2f step );
    /// Shows the whole slice again.
    void reset();
    [[nodiscard]] bool isWhole() const { return zoom_ == 1; }

private:
    [[nodiscard]] float scale_() const;
    void keepInside_();

    int width_ = 1, height_ = 1;
    Vector2f extent_{ 1, 1 }, size_{ 1, 1 };
    float zoom_ = 1;
    Vector2f shift_;
};

} // namespace VX
