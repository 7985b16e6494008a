#include <VXViewer/core/Listeners.h>
#include <VXViewer/core/Viewer.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

std::string text( float value )
{
    return std::to_string( int( value * 10 ) );
}

/// Hears of everything, and takes nothing.
class Everything final : public MouseDownListener,
                         public MouseMoveListener,
                         public MouseUpListener,
                         public MouseScrollListener,
                         public CursorEntranceListener,
                         public CharPressedListener,
                         public KeyDownListener,
                         public KeyUpListener,
                         public KeyRepeatListener,
                         public SpaceMouseMoveListener,
                         public SpaceMouseDownListener,
                         public TouchpadRotateGestureBeginListener,
                         public TouchpadRotateGestureUpdateListener,
                         public TouchpadRotateGestureEndListener,
                         public TouchpadSwipeGestureBeginListener,
                         public TouchpadSwipeGestureUpdateListener,
                         public TouchpadSwipeGestureEndListener,
                         public TouchpadZoomGestureBeginListener,
                         public TouchpadZoomGestureUpdateListener,
                         public TouchpadZoomGestureEndListener,
                         public PostResizeListener,
                         public PostRescaleListener
{
public:
    template <typename... Kinds>
    void connectAs()
    {
        ( Kinds::connect( &getViewerInstance() ), ... );
    }
    void connectAll()
    {
        connectAs<MouseDownListener, MouseMoveListener, MouseUpListener, MouseScrollListener, CursorEntranceListener,
            CharPressedListener, KeyDownListener, KeyUpListener, KeyRepeatListener, SpaceMouseMoveListener,
            SpaceMouseDownListener, PostResizeListener, PostRescaleListener>();
        connectAs<TouchpadRotateGestureBeginListener, TouchpadRotateGestureUpdateListener,
            TouchpadRotateGestureEndListener, TouchpadSwipeGestureBeginListener, TouchpadSwipeGestureUpdateListener,
            TouchpadSwipeGestureEndListener, TouchpadZoomGestureBeginListener, TouchpadZoomGestureUpdateListener,
            TouchpadZoomGestureEndListener>();
    }
    std::string heard;

private:
    bool note( const std::string& what )
    {
        heard += what + ";";
        return false;
    }
    bool onMouseDown_( MouseButton button, int modifiers ) override
    {
        return note( "down" + std::to_string( int( button ) ) + "/" + std::to_string( modifiers ) );
    }
    bool onMouseMove_( Vector2f at ) override { return note( "move" + text( at.x ) + "/" + text( at.y ) ); }
    bool onMouseUp_( MouseButton button, int modifiers ) override
    {
        return note( "up" + std::to_string( int( button ) ) + "/" + std::to_string( modifiers ) );
    }
    bool onMouseScroll_( float steps ) override { return note( "scroll" + text( steps ) ); }
    void onCursorEntrance_( bool entered ) override { note( entered ? "entered" : "left" ); }
    bool onCharPressed_( unsigned codePoint, int modifiers ) override
    {
        return note( "char" + std::to_string( codePoint ) + "/" + std::to_string( modifiers ) );
    }
    bool onKeyDown_( int key, int modifiers ) override
    {
        return note( "keyDown" + std::to_string( key ) + "/" + std::to_string( modifiers ) );
    }
    bool onKeyUp_( int key, int modifiers ) override
    {
        return note( "keyUp" + std::to_string( key ) + "/" + std::to_string( modifiers ) );
    }
    bool onKeyRepeat_( int key, int modifiers ) override
    {
        return note( "repeat" + std::to_string( key ) + "/" + std::to_string( modifiers ) );
    }
    bool onSpaceMouseMove_( Vector3f shift, Vector3f turn ) override
    {
        return note( "cap" + text( shift.x ) + "/" + text( turn.z ) );
    }
    bool onSpaceMouseDown_( int button ) override { return note( "button" + std::to_string( button ) ); }
    bool onTouchpadRotateGestureBegin_() override { return note( "rotates" ); }
    bool onTouchpadRotateGestureUpdate_( float angle ) override { return note( "rotate" + text( angle ) ); }
    bool onTouchpadRotateGestureEnd_() override { return note( "rotated" ); }
    bool onTouchpadSwipeGestureBegin_() override { return note( "swipes" ); }
    bool onTouchpadSwipeGestureUpdate_( Vector2f by, bool kinetic ) override
    {
        return note( "swipe" + text( by.y ) + ( kinetic ? "k" : "" ) );
    }
    bool onTouchpadSwipeGestureEnd_() override { return note( "swiped" ); }
    bool onTouchpadZoomGestureBegin_() override { return note( "zooms" ); }
    bool onTouchpadZoomGestureUpdate_( float factor, bool kinetic ) override
    {
        return note( "zoom" + text( factor ) + ( kinetic ? "k" : "" ) );
    }
    bool onTouchpadZoomGestureEnd_() override { return note( "zoomed" ); }
    void onPostResize_( int width, int height ) override
    {
        note( "size" + std::to_string( width ) + "/" + std::to_string( height ) );
    }
    void onPostRescale_( float scale ) override { note( "scale" + text( scale ) ); }
};

class EveryListener : public testing::Test
{
protected:
    EveryListener() { all_.connectAll(); }
    static ViewerSignals& signals() { return getViewerInstance().signals(); }
    [[nodiscard]] std::string heard() { return std::exchange( all_.heard, {} ); }

    Everything all_;
};

} // namespace

TEST_F( EveryListener, OfThePointerHearsItsOwnEvents )
{
    signals().mouseDown( MouseButton::Right, ShiftModifier );
    EXPECT_EQ( heard(), "down1/1;" );
    signals().mouseUp( MouseButton::Middle, AltModifier );
    EXPECT_EQ( heard(), "up2/4;" );
    signals().mouseMove( { 1.5f, 2.5f } );
    EXPECT_EQ( heard(), "move15/25;" );
    signals().mouseScroll( -0.5f );
    EXPECT_EQ( heard(), "scroll-5;" );
    signals().cursorEntrance( true );
    signals().cursorEntrance( false );
    EXPECT_EQ( heard(), "entered;left;" );
}

TEST_F( EveryListener, OfTheKeyboardHearsItsOwnEvents )
{
    signals().keyDown( 65, 1 );
    EXPECT_EQ( heard(), "keyDown65/1;" );
    signals().keyRepeat( 65, 2 );
    EXPECT_EQ( heard(), "repeat65/2;" );
    signals().keyUp( 65, 4 );
    EXPECT_EQ( heard(), "keyUp65/4;" );
    signals().charPressed( 0x1F600, 8 );
    EXPECT_EQ( heard(), "char128512/8;" );
}

TEST_F( EveryListener, OfA3DMouseHearsItsOwnEvents )
{
    signals().spaceMouseMove( { 0.1f, 0.2f, 0.3f }, { 0.4f, 0.5f, 0.6f } );
    EXPECT_EQ( heard(), "cap1/6;" );
    signals().spaceMouseDown( 3 );
    EXPECT_EQ( heard(), "button3;" );
}

TEST_F( EveryListener, OfATouchpadHearsItsOwnEvents )
{
    signals().touchpadRotateGestureBegin();
    signals().touchpadRotateGestureUpdate( 0.3f );
    signals().touchpadRotateGestureEnd();
    EXPECT_EQ( heard(), "rotates;rotate3;rotated;" );
    signals().touchpadSwipeGestureBegin();
    signals().touchpadSwipeGestureUpdate( { 0, 4 }, true );
    signals().touchpadSwipeGestureEnd();
    EXPECT_EQ( heard(), "swipes;swipe40k;swiped;" );
    signals().touchpadZoomGestureBegin();
    signals().touchpadZoomGestureUpdate( 2, false );
    signals().touchpadZoomGestureEnd();
    EXPECT_EQ( heard(), "zooms;zoom20;zoomed;" );
}

TEST_F( EveryListener, OfTheWindowHearsItsOwnEvents )
{
    signals().postResize( 640, 480 );
    EXPECT_EQ( heard(), "size640/480;" );
    signals().postRescale( 1.5f );
    EXPECT_EQ( heard(), "scale15;" );
}

TEST_F( EveryListener, HearsNothingOnceItIsDisconnected )
{
    all_.disconnect();
    signals().keyDown( 65, 1 );
    signals().postRescale( 1.5f );
    signals().touchpadZoomGestureEnd();
    EXPECT_EQ( heard(), "" );
    all_.KeyDownListener::connect( &getViewerInstance() );
    signals().keyDown( 66, 0 );
    EXPECT_EQ( heard(), "keyDown66/0;" ) << "until it is connected again";
}
