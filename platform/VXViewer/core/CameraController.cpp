#include <VXViewer/core/CameraController.h>

#include <VXViewer/loop/Clock.h>

#include <cmath>

namespace VX
{
namespace
{

constexpr float cDragThreshold = 4; // pixels
constexpr double cDoubleClickTime = 0.35;
// Pixels and wheel steps that a 3D mouse at its stop is worth in one of its reports, of which it sends some 60 a
// second.
constexpr float cSpaceMousePixels = 18;
constexpr float cSpaceMouseSteps = 0.25f;
constexpr float cPixelsPerRadian = 200;

} // namespace

CameraController::CameraController( Viewer& viewer, Camera& camera )
    : camera_( camera )
{
    MouseDownListener::connect( &viewer, SceneListeners );
    MouseMoveListener::connect( &viewer, SceneListeners );
    MouseUpListener::connect( &viewer, SceneListeners );
    MouseScrollListener::connect( &viewer, SceneListeners );
    SpaceMouseMoveListener::connect( &viewer, SceneListeners );
    TouchpadRotateGestureUpdateListener::connect( &viewer, SceneListeners );
    TouchpadSwipeGestureUpdateListener::connect( &viewer, SceneListeners );
    TouchpadZoomGestureUpdateListener::connect( &viewer, SceneListeners );
}

bool CameraController::onMouseDown_( MouseButton button, int modifiers )
{
    if ( drag_ != Drag::None )
        return true;
    const bool orbit = button == MouseButton::Left && !( modifiers & ShiftModifier );
    drag_ = orbit ? Drag::Orbit : Drag::Pan;
    button_ = button;
    moved_ = false;
    pressedAt_ = position_;
    return true;
}

bool CameraController::onMouseUp_( MouseButton button, int modifiers )
{
    if ( drag_ == Drag::None || button != button_ )
        return false;
    drag_ = Drag::None;
    center_.reset();
    if ( moved_ || button != MouseButton::Left )
        return true;
    const double time = secondsNow();
    const bool second =
        time - lastClickTime_ < cDoubleClickTime && ( position_ - lastClick_ ).length() < cDragThreshold;
    lastClickTime_ = second ? -1 : time;
    lastClick_ = position_;
    if ( second && doubleClicked )
        doubleClicked( position_ );
    else if ( !second && clicked )
        clicked( position_, modifiers & ControlModifier );
    return true;
}

bool CameraController::onMouseMove_( Vector2f position )
{
    const Vector2f delta = position - position_;
    position_ = position;
    if ( drag_ == Drag::None )
        return false;
    // A hand is never quite still: a few pixels are a click, not a drag.
    if ( !moved_ && ( position - pressedAt_ ).length() < cDragThreshold )
        return true;
    const Vector2f step = moved_ ? delta : position - pressedAt_;
    if ( !moved_ && drag_ == Drag::Orbit && centerAt )
        center_ = centerAt( pressedAt_ );
    moved_ = true;
    if ( drag_ == Drag::Orbit )
        orbit_( step );
    else
        camera_.pan( step );
    return true;
}

void CameraController::orbit_( Vector2f step )
{
    if ( center_ )
        camera_.orbit( step, *center_ );
    else
        camera_.orbit( step );
}

bool CameraController::onMouseScroll_( float steps )
{
    camera_.zoom( steps, position_ );
    return true;
}

bool CameraController::onSpaceMouseMove_( Vector3f shift, Vector3f turn )
{
    camera_.pan( { -shift.x * cSpaceMousePixels, shift.y * cSpaceMousePixels } );
    camera_.orbit( { turn.y * cSpaceMousePixels, turn.x * cSpaceMousePixels } );
    camera_.zoom( -shift.z * cSpaceMouseSteps, position_ );
    return true;
}

bool CameraController::onTouchpadRotateGestureUpdate_( float angle )
{
    camera_.orbit( { -angle * cPixelsPerRadian, 0 } );
    return true;
}

bool CameraController::onTouchpadSwipeGestureUpdate_( Vector2f delta, bool )
{
    camera_.pan( delta );
    return true;
}

bool CameraController::onTouchpadZoomGestureUpdate_( float factor, bool )
{
    if ( factor > 0 )
        camera_.zoom( std::log2( factor ) * 4, position_ );
    return true;
}

} // namespace VX
