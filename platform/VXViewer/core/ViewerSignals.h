#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/window/Window.h>

#include <boost/signals2/signal.hpp>

namespace VX
{

/// Asks the slots in order until one says that the event is its own, which ends the round.
struct FirstTaker
{
    using result_type = bool;
    template <typename Iterator>
    bool operator()( Iterator first, Iterator last ) const
    {
        for ( ; first != last; ++first )
            if ( *first )
                return true;
        return false;
    }
};

/// An event that one listener can keep from those after it by returning true.
template <typename... Args>
using ConsumableSignal = boost::signals2::signal<bool( Args... ), FirstTaker>;

/// Groups of listeners, in the order in which they hear of an event. Within a group the order is that of connecting,
/// with those connected at the front before those at the back.
enum ListenerGroup
{
    InterfaceListeners = 0, ///< the menu: takes what happens over its windows, and the keys of its shortcuts
    ToolListeners = 10,     ///< an active tool
    SceneListeners = 20     ///< the camera and the selection
};

/// What the window and the input devices tell, all on the UI thread while events are waited for.
///
/// Keys and modifiers are numbered as GLFW does. Positions are framebuffer pixels from the upper left corner.
struct ViewerSignals
{
    ConsumableSignal<MouseButton, int> mouseDown; ///< with modifiers
    ConsumableSignal<MouseButton, int> mouseUp;   ///< with modifiers
    ConsumableSignal<Vector2f> mouseMove;
    ConsumableSignal<float> mouseScroll; ///< steps, positive away from the user
    /// A press of the left button in the scene and its release at the same place; `add` with Control held. Where no
    /// tool takes it, it selects an object.
    ConsumableSignal<Vector2f, bool> sceneClick;
    /// The user wants to take a step back; an active tool may take back one of its own before the history is asked.
    ConsumableSignal<> undo;
    boost::signals2::signal<void( bool )> cursorEntrance;
    ConsumableSignal<unsigned, int> charPressed; ///< Unicode code point, modifiers
    ConsumableSignal<int, int> keyDown;
    ConsumableSignal<int, int> keyUp;
    ConsumableSignal<int, int> keyRepeat;
    /// A 3D mouse: shift (right, up, towards the user) and turn about these axes, each -1 to 1.
    ConsumableSignal<Vector3f, Vector3f> spaceMouseMove;
    ConsumableSignal<int> spaceMouseDown;                ///< number of the button
    ConsumableSignal<> touchpadRotateGestureBegin;       ///< this viewer emits no touchpad gestures: GLFW tells of none
    ConsumableSignal<float> touchpadRotateGestureUpdate; ///< radians, counter-clockwise, since the last
    ConsumableSignal<> touchpadRotateGestureEnd;
    ConsumableSignal<> touchpadSwipeGestureBegin;
    ConsumableSignal<Vector2f, bool> touchpadSwipeGestureUpdate; ///< pixels since the last; whether by inertia
    ConsumableSignal<> touchpadSwipeGestureEnd;
    ConsumableSignal<> touchpadZoomGestureBegin;
    ConsumableSignal<float, bool> touchpadZoomGestureUpdate; ///< factor since the last; whether by inertia
    ConsumableSignal<> touchpadZoomGestureEnd;
    /// The window is to be closed; whoever returns true keeps it, and calls `Viewer::close` when it may go.
    ConsumableSignal<> closeRequest;
    boost::signals2::signal<void( int width, int height )> postResize; ///< of the framebuffer
    boost::signals2::signal<void( float scale )> postRescale;
};

} // namespace VX
