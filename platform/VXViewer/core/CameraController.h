#pragma once

#include <VXViewer/core/Listeners.h>
#include <VXViewer/draw/Camera.h>

#include <functional>
#include <optional>

namespace VX
{

/// Key in the settings: whether a drag turns about what is under the pointer, or else about the middle of the view.
inline constexpr const char* cTurnAboutPointerConfigKey = "turnAboutPointer";

/// Turns pointer input over the scene into camera moves: left drag orbits, right or middle drag (or Shift and left)
/// pans, the wheel zooms at the pointer, a 3D mouse moves and turns; a press without a drag is a click. UI thread.
class VXVIEWER_API CameraController final : public MouseDownListener,
                                            public MouseMoveListener,
                                            public MouseUpListener,
                                            public MouseScrollListener,
                                            public SpaceMouseMoveListener,
                                            public TouchpadRotateGestureUpdateListener,
                                            public TouchpadSwipeGestureUpdateListener,
                                            public TouchpadZoomGestureUpdateListener
{
public:
    CameraController( Viewer& viewer, Camera& camera );

    /// A click at a place; `add` with Control held.
    std::function<void( Vector2f position, bool add )> clicked;
    std::function<void( Vector2f position )> doubleClicked;
    /// Asked at the start of a turn: about which point of the world, if not the camera's target.
    std::function<std::optional<Vector3d>( Vector2f position )> centerAt;

    /// The point about which the view is being turned.
    [[nodiscard]] const std::optional<Vector3d>& center() const { return center_; }

private:
    enum class Drag
    {
        None,
        Orbit,
        Pan
    };

    void orbit_( Vector2f step );

    bool onMouseDown_( MouseButton button, int modifiers ) override;
    bool onMouseMove_( Vector2f position ) override;
    bool onMouseUp_( MouseButton button, int modifiers ) override;
    bool onMouseScroll_( float steps ) override;
    bool onSpaceMouseMove_( Vector3f shift, Vector3f turn ) override;
    bool onTouchpadRotateGestureUpdate_( float angle ) override;
    bool onTouchpadSwipeGestureUpdate_( Vector2f delta, bool kinetic ) override;
    bool onTouchpadZoomGestureUpdate_( float factor, bool kinetic ) override;

    Camera& camera_;
    Drag drag_ = Drag::None;
    MouseButton button_ = MouseButton::Left;
    bool moved_ = false;
    std::optional<Vector3d> center_;
    Vector2f position_;
    Vector2f pressedAt_;
    Vector2f lastClick_;
    double lastClickTime_ = -1;
};

} // namespace VX
