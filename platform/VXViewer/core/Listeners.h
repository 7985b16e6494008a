#pragma once

#include <VXViewer/core/ViewerSignals.h>
#include <VXViewer/loop/ConnectionHolder.h>

namespace VX
{

class Viewer;

/// Listeners to single kinds of events, one class a kind, to be derived from.
///
/// `connect` makes a listener hear of them, until it is disconnected or destroyed; groups and positions say in which
/// order (see `ListenerGroup`). A handler that returns true keeps the event from the listeners after it. UI thread.

class VXVIEWER_API MouseDownListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onMouseDown_( MouseButton button, int modifiers ) = 0;
};

class VXVIEWER_API MouseMoveListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onMouseMove_( Vector2f position ) = 0;
};

class VXVIEWER_API MouseUpListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onMouseUp_( MouseButton button, int modifiers ) = 0;
};

class VXVIEWER_API MouseScrollListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onMouseScroll_( float steps ) = 0;
};

class VXVIEWER_API CursorEntranceListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual void onCursorEntrance_( bool entered ) = 0;
};

class VXVIEWER_API CharPressedListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onCharPressed_( unsigned codePoint, int modifiers ) = 0;
};

class VXVIEWER_API KeyDownListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onKeyDown_( int key, int modifiers ) = 0;
};

class VXVIEWER_API KeyUpListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onKeyUp_( int key, int modifiers ) = 0;
};

class VXVIEWER_API KeyRepeatListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onKeyRepeat_( int key, int modifiers ) = 0;
};

class VXVIEWER_API SpaceMouseMoveListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onSpaceMouseMove_( Vector3f shift, Vector3f turn ) = 0;
};

class VXVIEWER_API SpaceMouseDownListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onSpaceMouseDown_( int button ) = 0;
};

class VXVIEWER_API TouchpadRotateGestureBeginListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadRotateGestureBegin_() = 0;
};

class VXVIEWER_API TouchpadRotateGestureUpdateListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadRotateGestureUpdate_( float angle ) = 0;
};

class VXVIEWER_API TouchpadRotateGestureEndListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadRotateGestureEnd_() = 0;
};

class VXVIEWER_API TouchpadSwipeGestureBeginListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadSwipeGestureBegin_() = 0;
};

class VXVIEWER_API TouchpadSwipeGestureUpdateListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadSwipeGestureUpdate_( Vector2f delta, bool kinetic ) = 0;
};

class VXVIEWER_API TouchpadSwipeGestureEndListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadSwipeGestureEnd_() = 0;
};

class VXVIEWER_API TouchpadZoomGestureBeginListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadZoomGestureBegin_() = 0;
};

class VXVIEWER_API TouchpadZoomGestureUpdateListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadZoomGestureUpdate_( float factor, bool kinetic ) = 0;
};

class VXVIEWER_API TouchpadZoomGestureEndListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual bool onTouchpadZoomGestureEnd_() = 0;
};

class VXVIEWER_API PostResizeListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual void onPostResize_( int width, int height ) = 0;
};

class VXVIEWER_API PostRescaleListener : public virtual ConnectionHolder
{
public:
    void connect( Viewer* viewer, int group = 0,
        boost::signals2::connect_position position = boost::signals2::connect_position::at_back );

protected:
    virtual void onPostRescale_( float scale ) = 0;
};

} // namespace VX
