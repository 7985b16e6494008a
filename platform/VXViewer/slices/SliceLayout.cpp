#include <VXViewer/slices/SliceLayout.h>

#include <algorithm>
#include <cmath>

namespace VX
{
namespace
{

constexpr float cStep = 1.2f;
/// Of the longer side of the slice in the rectangle, at most.
constexpr float cFewestVoxels = 8;

} // namespace

void SliceLayout::set( int width, int height, Vector2f extent, Vector2f size )
{
    const bool isAnother = width != width_ || height != height_ || extent != extent_;
    width_ = std::max( width, 1 );
    height_ = std::max( height, 1 );
    extent_ = extent;
    size_ = { std::max( size.x, 1.f ), std::max( size.y, 1.f ) };
    if ( isAnother )
        reset();
    keepInside_();
}

float SliceLayout::scale_() const
{
    return std::min( size_.x / extent_.x, size_.y / extent_.y ) * zoom_;
}

Vector2f SliceLayout::low() const
{
    return ( size_ - extent_ * scale_() ) * 0.5f + shift_;
}

Vector2f SliceLayout::high() const
{
    return low() + extent_ * scale_();
}

Vector2f SliceLayout::toScreen( const std::array<double, 2>& pixel ) const
{
    const Vector2f at = low();
    return { at.x + float( pixel[0] / width_ ) * extent_.x * scale_(),
        at.y + float( pixel[1] / height_ ) * extent_.y * scale_() };
}

std::array<double, 2> SliceLayout::toSlice( Vector2f place ) const
{
    const Vector2f at = low();
    return { double( ( place.x - at.x ) / ( extent_.x * scale_() ) ) * width_,
        double( ( place.y - at.y ) / ( extent_.y * scale_() ) ) * height_ };
}

bool SliceLayout::contains( Vector2f place ) const
{
    const auto at = toSlice( place );
    return at[0] >= 0 && at[1] >= 0 && at[0] < width_ && at[1] < height_;
}

void SliceLayout::zoom( float steps, Vector2f anchor )
{
    const auto held = toSlice( anchor );
    const float most = std::max( float( std::max( width_, height_ ) ) / cFewestVoxels, 1.f );
    zoom_ = std::clamp( zoom_ * std::pow( cStep, steps ), 1.f, most );
    shift_ = shift_ + anchor - toScreen( held );
    keepInside_();
}

void SliceLayout::move( Vector2f step )
{
    shift_ = shift_ + step;
    keepInside_();
}

void SliceLayout::reset()
{
    zoom_ = 1;
    shift_ = {};
}

/// No side comes further in than the middle needs: a slice that has room stays in the middle.
void SliceLayout::keepInside_()
{
    const auto held = [&]( float shift, float extent, float size )
    {
        const float most = std::max( ( extent * scale_() - size ) / 2, 0.f );
        return std::clamp( shift, -most, most );
    };
    shift_ = { held( shift_.x, extent_.x, size_.x ), held( shift_.y, extent_.y, size_.y ) };
}

} // namespace VX
