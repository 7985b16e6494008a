#include <VXViewer/core/CameraController.h>

#include <chrono>

namespace VX
{
namespace
{

constexpr float cDragThreshold = 4; // pixels
constexpr double cDoubleClickTime = 0.35;

double now()
{
    return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() ).count();
}

} // namespace

void CameraController::mouseButton( MouseButton button, bool down, int modifiers, bool captured )
{
    if ( !down )
        return release_( button, modifiers );
    if ( captured || drag_ != Drag::None )
        return;
    const bool orbit = button == MouseButton::Left && !( modifiers & ShiftModifier );
    drag_ = orbit ? Drag::Orbit : Drag::Pan;
    button_ = button;
    moved_ = false;
    pressedAt_ = position_;
}

void CameraController::release_( MouseButton button, int modifiers )
{
    if ( drag_ == Drag::None || button != button_ )
        return;
    drag_ = Drag::None;
    if ( moved_ || button != MouseButton::Left )
        return;
    const double time = now();
    const bool second =
        time - lastClickTime_ < cDoubleClickTime && ( position_ - lastClick_ ).length() < cDragThreshold;
    lastClickTime_ = second ? -1 : time;
    lastClick_ = position_;
    if ( second && doubleClicked )
        doubleClicked( position_ );
    else if ( !second && clicked )
        clicked( position_, modifiers & ControlModifier );
}

void CameraController::mouseMove( Vector2f position )
{
    const Vector2f delta = position - position_;
    position_ = position;
    if ( drag_ == Drag::None )
        return;
    // A hand is never quite still: a few pixels are a click, not a drag.
    if ( !moved_ && ( position - pressedAt_ ).length() < cDragThreshold )
        return;
    const Vector2f step = moved_ ? delta : position - pressedAt_;
    moved_ = true;
    if ( drag_ == Drag::Orbit )
        camera_.orbit( step );
    else
        camera_.pan( step );
}

void CameraController::scroll( float steps )
{
    camera_.zoom( steps, position_ );
}

} // namespace VX
