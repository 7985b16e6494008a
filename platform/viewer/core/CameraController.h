#pragma once

#include <VXViewer/core/Window.h>
#include <VXViewer/draw/Camera.h>

namespace VX
{

/// Turns pointer input over the scene into camera moves: left drag orbits, right or middle drag (or Shift and left)
/// pans, the wheel zooms at the pointer; a press without a drag is a click. UI thread.
class CameraController
{
public:
    explicit CameraController( Camera& camera )
        : camera_( camera )
    {
    }

    /// A click at a place; `add` with Control held.
    std::function<void( Vector2f position, bool add )> clicked;
    std::function<void( Vector2f position )> doubleClicked;

    /// `captured`: the press belongs to the interface, not to the scene.
    void mouseButton( MouseButton button, bool down, int modifiers, bool captured );
    void mouseMove( Vector2f position );
    void scroll( float steps );

private:
    enum class Drag
    {
        None,
        Orbit,
        Pan
    };

    void release_( MouseButton button, int modifiers );

    Camera& camera_;
    Drag drag_ = Drag::None;
    MouseButton button_ = MouseButton::Left;
    bool moved_ = false;
    Vector2f position_;
    Vector2f pressedAt_;
    Vector2f lastClick_;
    double lastClickTime_ = -1;
};

} // namespace VX
