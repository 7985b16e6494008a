#pragma once

#include <VXMesh/scene/RayCast.h>
#include <VXViewer/Export.h>
#include <VXViewer/draw/Matrix4.h>

namespace VX
{

enum class ViewPreset
{
    Isometric,
    Front,
    Back,
    Left,
    Right,
    Top,
    Bottom
};

/// Where the scene is seen from: a target point, a turn and a distance. The world is Z up, and places in it are double:
/// what is drawn is first moved to the viewer by `toView`, and only then narrowed to floats.
///
/// Belongs to the UI thread. Screen positions are pixels from the upper left corner of the viewport.
class VXVIEWER_API Camera
{
public:
    Camera();

    /// Size of the viewport in pixels.
    void setViewport( int width, int height );
    /// What must not be cut off by the near and far planes.
    void setSceneBox( const Box3d& box );
    /// Size of the smallest thing in the scene, which zooming comes close to; without one the scene's is taken.
    void setDetail( double size ) { detail_ = size; }

    /// Turns about the target like a ball under the pointer, keeping the world's vertical upright.
    void orbit( Vector2f delta );
    /// The same about a point of the world, which keeps its place on the screen.
    void orbit( Vector2f delta, const Vector3d& center );
    /// Moves so that what is at the target's depth follows the pointer.
    void pan( Vector2f delta );
    /// Comes closer by positive steps, keeping the place under `anchor` where it is.
    void zoom( float steps, Vector2f anchor );
    /// Shows a whole box, keeping the direction. `covered` pixels at the left and the upper edge are not used.
    void fit( const Box3d& box, Vector2f covered = {} );
    /// A viewport of that size, of which so many pixels at the left and the upper edge are covered.
    struct Area
    {
        Vector2f size;
        Vector2f covered;
        bool operator==( const Area& ) const = default;
    };
    /// The viewport has changed: what was in the middle of the free part is again, and as much of it is seen.
    void keepInMiddle( const Area& former, const Area& now );
    void setPreset( ViewPreset preset );
    void setOrthographic( bool on );

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] bool isOrthographic() const { return orthographic_; }
    /// Rows: right, up, towards the viewer.
    [[nodiscard]] const Matrix3f& rotation() const { return rotation_; }
    [[nodiscard]] Vector3d eye() const;
    /// From the world's space to the viewer's.
    [[nodiscard]] AffineXf3d view() const;
    /// From the space of something that stands in the world to the viewer's; exact near the viewer, wherever that is.
    [[nodiscard]] AffineXf3f toView( const AffineXf3d& worldXf ) const;
    [[nodiscard]] Matrix4f projection() const;
    /// From the viewer through a pixel, in world space.
    [[nodiscard]] Ray3d ray( Vector2f pixel ) const;
    /// Pixel position of a world point.
    [[nodiscard]] Vector2f project( const Vector3d& point ) const;
    /// World point at a pixel, for a value of the depth buffer between 0 and 1.
    [[nodiscard]] Vector3d unproject( Vector2f pixel, float depth ) const;
    /// A camera at the same place that shows a part of the viewport, between two corners in pixels, in a viewport of
    /// its own. Where the proportions differ it shows more around the part. Not for a camera that is cropped already.
    [[nodiscard]] Camera cropped( Vector2f low, Vector2f high, int width, int height ) const;

    /// Grows with every change of what is seen.
    [[nodiscard]] uint64_t revision() const { return revision_; }

private:
    [[nodiscard]] float aspect_() const { return float( width_ ) / float( height_ ); }
    [[nodiscard]] float halfHeight_() const;
    /// What a box covers of the viewport, whose sides are at -1 and 1.
    struct Extent
    {
        Vector2f low{ 1e30f, 1e30f };
        Vector2f high{ -1e30f, -1e30f };
    };
    [[nodiscard]] Extent extentOf_( const Box3d& box ) const;
    void updateRotation_();
    [[nodiscard]] Matrix4f wholeProjection_() const;

    int width_ = 1;
    int height_ = 1;
    Box3d sceneBox_;
    double detail_ = 0;
    Vector3d target_;
    Matrix3f rotation_;
    float yaw_ = 0;
    float pitch_ = 0;
    float distance_ = 5;
    bool orthographic_ = false;
    /// What a crop does to places between -1 and 1.
    float cropScale_ = 1;
    Vector2f cropShift_;
    uint64_t revision_ = 1;
};

} // namespace VX
