#include <VXViewer/core/Listeners.h>

#include <VXViewer/core/Viewer.h>

namespace VX
{

using boost::signals2::connect_position;

void MouseDownListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().mouseDown.connect(
        group, [this]( MouseButton button, int modifiers ) { return onMouseDown_( button, modifiers ); }, position ) );
}

void MouseMoveListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().mouseMove.connect(
        group, [this]( Vector2f position ) { return onMouseMove_( position ); }, position ) );
}

void MouseUpListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().mouseUp.connect(
        group, [this]( MouseButton button, int modifiers ) { return onMouseUp_( button, modifiers ); }, position ) );
}

void MouseScrollListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().mouseScroll.connect(
        group, [this]( float steps ) { return onMouseScroll_( steps ); }, position ) );
}

void CursorEntranceListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().cursorEntrance.connect(
        group, [this]( bool entered ) { onCursorEntrance_( entered ); }, position ) );
}

void CharPressedListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().charPressed.connect(
        group, [this]( unsigned codePoint, int modifiers ) { return onCharPressed_( codePoint, modifiers ); },
        position ) );
}

void KeyDownListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().keyDown.connect(
        group, [this]( int key, int modifiers ) { return onKeyDown_( key, modifiers ); }, position ) );
}

void KeyUpListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().keyUp.connect(
        group, [this]( int key, int modifiers ) { return onKeyUp_( key, modifiers ); }, position ) );
}

void KeyRepeatListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().keyRepeat.connect(
        group, [this]( int key, int modifiers ) { return onKeyRepeat_( key, modifiers ); }, position ) );
}

void SpaceMouseMoveListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().spaceMouseMove.connect(
        group, [this]( Vector3f shift, Vector3f turn ) { return onSpaceMouseMove_( shift, turn ); }, position ) );
}

void SpaceMouseDownListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().spaceMouseDown.connect(
        group, [this]( int button ) { return onSpaceMouseDown_( button ); }, position ) );
}

void TouchpadRotateGestureBeginListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadRotateGestureBegin.connect(
        group, [this] { return onTouchpadRotateGestureBegin_(); }, position ) );
}

void TouchpadRotateGestureUpdateListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadRotateGestureUpdate.connect(
        group, [this]( float angle ) { return onTouchpadRotateGestureUpdate_( angle ); }, position ) );
}

void TouchpadRotateGestureEndListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadRotateGestureEnd.connect(
        group, [this] { return onTouchpadRotateGestureEnd_(); }, position ) );
}

void TouchpadSwipeGestureBeginListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadSwipeGestureBegin.connect(
        group, [this] { return onTouchpadSwipeGestureBegin_(); }, position ) );
}

void TouchpadSwipeGestureUpdateListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadSwipeGestureUpdate.connect(
        group, [this]( Vector2f delta, bool kinetic ) { return onTouchpadSwipeGestureUpdate_( delta, kinetic ); },
        position ) );
}

void TouchpadSwipeGestureEndListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadSwipeGestureEnd.connect(
        group, [this] { return onTouchpadSwipeGestureEnd_(); }, position ) );
}

void TouchpadZoomGestureBeginListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadZoomGestureBegin.connect(
        group, [this] { return onTouchpadZoomGestureBegin_(); }, position ) );
}

void TouchpadZoomGestureUpdateListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadZoomGestureUpdate.connect(
        group, [this]( float factor, bool kinetic ) { return onTouchpadZoomGestureUpdate_( factor, kinetic ); },
        position ) );
}

void TouchpadZoomGestureEndListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().touchpadZoomGestureEnd.connect(
        group, [this] { return onTouchpadZoomGestureEnd_(); }, position ) );
}

void PostResizeListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_( viewer->signals().postResize.connect(
        group, [this]( int width, int height ) { onPostResize_( width, height ); }, position ) );
}

void PostRescaleListener::connect( Viewer* viewer, int group, connect_position position )
{
    hold_(
        viewer->signals().postRescale.connect( group, [this]( float scale ) { onPostRescale_( scale ); }, position ) );
}

} // namespace VX
