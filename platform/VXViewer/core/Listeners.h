#pragma once

#include <VXViewer/core/ViewerSignals.h>
#include <VXViewer/loop/ConnectionHolder.h>

namespace VX
{

class Viewer;

/// `Viewer::signals`, for code that does not know the viewer.
[[nodiscard]] VXVIEWER_API ViewerSignals& signalsOf( Viewer& viewer );

/// What the listeners below have in common: each is told of one of the viewer's signals, by its own handler, once it is
/// connected.
template <typename Kind, auto Signal>
class ListenerOf : public virtual ConnectionHolder
{
public:
    /// Hears of the events until it is disconnected or destroyed; groups and positions say in which order.
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back )
    {
        const auto hear = [this]( auto... event ) { return static_cast<Kind*>( this )->hear_( event... ); };
        hold_( ( signalsOf( *viewer ).*Signal ).connect( group, hear, position ) );
    }

private:
    friend Kind;
    ListenerOf() = default;
};

/// Listeners to single kinds of events, one class a kind, to be derived from.
///
/// A handler that returns true keeps the event from the listeners after it (see `ListenerGroup`). UI thread.

class VXVIEWER_API MouseDownListener : public ListenerOf<MouseDownListener, &ViewerSignals::mouseDown>
{
protected:
    virtual bool onMouseDown_( MouseButton button, int modifiers ) = 0;

private:
    friend ListenerOf;
    bool hear_( MouseButton button, int modifiers ) { return onMouseDown_( button, modifiers ); }
};

class VXVIEWER_API MouseMoveListener : public ListenerOf<MouseMoveListener, &ViewerSignals::mouseMove>
{
protected:
    virtual bool onMouseMove_( Vector2f position ) = 0;

private:
    friend ListenerOf;
    bool hear_( Vector2f position ) { return onMouseMove_( position ); }
};

class VXVIEWER_API MouseUpListener : public ListenerOf<MouseUpListener, &ViewerSignals::mouseUp>
{
protected:
    virtual bool onMouseUp_( MouseButton button, int modifiers ) = 0;

private:
    friend ListenerOf;
    bool hear_( MouseButton button, int modifiers ) { return onMouseUp_( button, modifiers ); }
};

class VXVIEWER_API MouseScrollListener : public ListenerOf<MouseScrollListener, &ViewerSignals::mouseScroll>
{
protected:
    virtual bool onMouseScroll_( float steps ) = 0;

private:
    friend ListenerOf;
    bool hear_( float steps ) { return onMouseScroll_( steps ); }
};

class VXVIEWER_API CursorEntranceListener : public ListenerOf<CursorEntranceListener, &ViewerSignals::cursorEntrance>
{
protected:
    virtual void onCursorEntrance_( bool entered ) = 0;

private:
    friend ListenerOf;
    void hear_( bool entered ) { return onCursorEntrance_( entered ); }
};

class VXVIEWER_API CharPressedListener : public ListenerOf<CharPressedListener, &ViewerSignals::charPressed>
{
protected:
    virtual bool onCharPressed_( unsigned codePoint, int modifiers ) = 0;

private:
    friend ListenerOf;
    bool hear_( unsigned codePoint, int modifiers ) { return onCharPressed_( codePoint, modifiers ); }
};

class VXVIEWER_API KeyDownListener : public ListenerOf<KeyDownListener, &ViewerSignals::keyDown>
{
protected:
    virtual bool onKeyDown_( int key, int modifiers ) = 0;

private:
    friend ListenerOf;
    bool hear_( int key, int modifiers ) { return onKeyDown_( key, modifiers ); }
};

class VXVIEWER_API KeyUpListener : public ListenerOf<KeyUpListener, &ViewerSignals::keyUp>
{
protected:
    virtual bool onKeyUp_( int key, int modifiers ) = 0;

private:
    friend ListenerOf;
    bool hear_( int key, int modifiers ) { return onKeyUp_( key, modifiers ); }
};

class VXVIEWER_API KeyRepeatListener : public ListenerOf<KeyRepeatListener, &ViewerSignals::keyRepeat>
{
protected:
    virtual bool onKeyRepeat_( int key, int modifiers ) = 0;

private:
    friend ListenerOf;
    bool hear_( int key, int modifiers ) { return onKeyRepeat_( key, modifiers ); }
};

class VXVIEWER_API SpaceMouseMoveListener : public ListenerOf<SpaceMouseMoveListener, &ViewerSignals::spaceMouseMove>
{
protected:
    virtual bool onSpaceMouseMove_( Vector3f shift, Vector3f turn ) = 0;

private:
    friend ListenerOf;
    bool hear_( Vector3f shift, Vector3f turn ) { return onSpaceMouseMove_( shift, turn ); }
};

class VXVIEWER_API SpaceMouseDownListener : public ListenerOf<SpaceMouseDownListener, &ViewerSignals::spaceMouseDown>
{
protected:
    virtual bool onSpaceMouseDown_( int button ) = 0;

private:
    friend ListenerOf;
    bool hear_( int button ) { return onSpaceMouseDown_( button ); }
};

class VXVIEWER_API TouchpadRotateGestureBeginListener
    : public ListenerOf<TouchpadRotateGestureBeginListener, &ViewerSignals::touchpadRotateGestureBegin>
{
protected:
    virtual bool onTouchpadRotateGestureBegin_() = 0;

private:
    friend ListenerOf;
    bool hear_() { return onTouchpadRotateGestureBegin_(); }
};

class VXVIEWER_API TouchpadRotateGestureUpdateListener
    : public ListenerOf<TouchpadRotateGestureUpdateListener, &ViewerSignals::touchpadRotateGestureUpdate>
{
protected:
    virtual bool onTouchpadRotateGestureUpdate_( float angle ) = 0;

private:
    friend ListenerOf;
    bool hear_( float angle ) { return onTouchpadRotateGestureUpdate_( angle ); }
};

class VXVIEWER_API TouchpadRotateGestureEndListener
    : public ListenerOf<TouchpadRotateGestureEndListener, &ViewerSignals::touchpadRotateGestureEnd>
{
protected:
    virtual bool onTouchpadRotateGestureEnd_() = 0;

private:
    friend ListenerOf;
    bool hear_() { return onTouchpadRotateGestureEnd_(); }
};

class VXVIEWER_API TouchpadSwipeGestureBeginListener
    : public ListenerOf<TouchpadSwipeGestureBeginListener, &ViewerSignals::touchpadSwipeGestureBegin>
{
protected:
    virtual bool onTouchpadSwipeGestureBegin_() = 0;

private:
    friend ListenerOf;
    bool hear_() { return onTouchpadSwipeGestureBegin_(); }
};

class VXVIEWER_API TouchpadSwipeGestureUpdateListener
    : public ListenerOf<TouchpadSwipeGestureUpdateListener, &ViewerSignals::touchpadSwipeGestureUpdate>
{
protected:
    virtual bool onTouchpadSwipeGestureUpdate_( Vector2f delta, bool kinetic ) = 0;

private:
    friend ListenerOf;
    bool hear_( Vector2f delta, bool kinetic ) { return onTouchpadSwipeGestureUpdate_( delta, kinetic ); }
};

class VXVIEWER_API TouchpadSwipeGestureEndListener
    : public ListenerOf<TouchpadSwipeGestureEndListener, &ViewerSignals::touchpadSwipeGestureEnd>
{
protected:
    virtual bool onTouchpadSwipeGestureEnd_() = 0;

private:
    friend ListenerOf;
    bool hear_() { return onTouchpadSwipeGestureEnd_(); }
};

class VXVIEWER_API TouchpadZoomGestureBeginListener
    : public ListenerOf<TouchpadZoomGestureBeginListener, &ViewerSignals::touchpadZoomGestureBegin>
{
protected:
    virtual bool onTouchpadZoomGestureBegin_() = 0;

private:
    friend ListenerOf;
    bool hear_() { return onTouchpadZoomGestureBegin_(); }
};

class VXVIEWER_API TouchpadZoomGestureUpdateListener
    : public ListenerOf<TouchpadZoomGestureUpdateListener, &ViewerSignals::touchpadZoomGestureUpdate>
{
protected:
    virtual bool onTouchpadZoomGestureUpdate_( float factor, bool kinetic ) = 0;

private:
    friend ListenerOf;
    bool hear_( float factor, bool kinetic ) { return onTouchpadZoomGestureUpdate_( factor, kinetic ); }
};

class VXVIEWER_API TouchpadZoomGestureEndListener
    : public ListenerOf<TouchpadZoomGestureEndListener, &ViewerSignals::touchpadZoomGestureEnd>
{
protected:
    virtual bool onTouchpadZoomGestureEnd_() = 0;

private:
    friend ListenerOf;
    bool hear_() { return onTouchpadZoomGestureEnd_(); }
};

class VXVIEWER_API PostResizeListener : public ListenerOf<PostResizeListener, &ViewerSignals::postResize>
{
protected:
    virtual void onPostResize_( int width, int height ) = 0;

private:
    friend ListenerOf;
    void hear_( int width, int height ) { return onPostResize_( width, height ); }
};

class VXVIEWER_API PostRescaleListener : public ListenerOf<PostRescaleListener, &ViewerSignals::postRescale>
{
protected:
    virtual void onPostRescale_( float scale ) = 0;

private:
    friend ListenerOf;
    void hear_( float scale ) { return onPostRescale_( scale ); }
};

} // namespace VX
