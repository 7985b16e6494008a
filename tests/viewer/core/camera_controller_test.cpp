#include <VXViewer/core/CameraController.h>
#include <VXViewer/core/Viewer.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr Box3d cBox{ { -1, -1, -1 }, { 1, 1, 1 } };

/// A camera that the signals of a viewer without a window move.
class CameraControl : public testing::Test
{
protected:
    CameraControl()
    {
        camera_.setViewport( 800, 600 );
        camera_.setSceneBox( cBox );
        camera_.setOrthographic( true );
        camera_.fit( cBox );
        controller_.clicked = [this]( Vector2f position, bool add ) { note( add ? "add" : "click", position ); };
        controller_.doubleClicked = [this]( Vector2f position ) { note( "double", position ); };
    }
    void note( const std::string& what, Vector2f at )
    {
        heard_ += what + " " + std::to_string( int( at.x ) ) + "," + std::to_string( int( at.y ) ) + ";";
    }
    static ViewerSignals& signals() { return getViewerInstance().signals(); }
    static bool press( MouseButton button, int modifiers = 0 ) { return signals().mouseDown( button, modifiers ); }
    static bool release( MouseButton button, int modifiers = 0 ) { return signals().mouseUp( button, modifiers ); }
    static bool move( Vector2f to ) { return signals().mouseMove( to ); }
    static void drag( MouseButton button, Vector2f from, Vector2f to, int modifiers = 0 )
    {
        move( from );
        press( button, modifiers );
        move( to );
        release( button );
    }
    static void click( Vector2f at, int modifiers = 0 )
    {
        move( at );
        press( MouseButton::Left );
        release( MouseButton::Left, modifiers );
    }
    [[nodiscard]] Vector2f middle() const { return camera_.project( cBox.center() ); }
    /// Whether the view has been moved without being turned.
    [[nodiscard]] bool isTurned( const Matrix3f& before ) const { return !( camera_.rotation() == before ); }

    Camera camera_;
    CameraController controller_{ getViewerInstance(), camera_ };
    std::string heard_;
};

} // namespace

TEST_F( CameraControl, ALeftDragTurns )
{
    const auto before = camera_.rotation();
    const auto where = middle();
    drag( MouseButton::Left, { 100, 100 }, { 200, 100 } );
    EXPECT_TRUE( isTurned( before ) );
    EXPECT_LT( ( middle() - where ).length(), 0.01f ) << "about the middle";
    // 100 of the 600 pixels of the smaller side, which are half a turn.
    const auto turned = dot( camera_.rotation().x, before.x );
    EXPECT_NEAR( turned, std::cos( 3.14159265f / 6 ), 1e-3 );
}

TEST_F( CameraControl, OtherDragsMoveWithThePointer )
{
    const std::pair<MouseButton, int> drags[] = {
        { MouseButton::Right, 0 }, { MouseButton::Middle, 0 }, { MouseButton::Left, ShiftModifier } };
    for ( const auto& [button, modifiers] : drags )
    {
        const auto before = camera_.rotation();
        const auto where = middle();
        drag( button, { 100, 100 }, { 130, 80 }, modifiers );
        EXPECT_FALSE( isTurned( before ) ) << int( button );
        EXPECT_NEAR( middle().x - where.x, 30, 0.5 ) << int( button );
        EXPECT_NEAR( middle().y - where.y, -20, 0.5 ) << int( button );
    }
}

TEST_F( CameraControl, NothingMovesWithoutAPressOrAfterTheRelease )
{
    const auto before = camera_.revision();
    EXPECT_FALSE( move( { 300, 300 } ) ) << "others may want to know";
    EXPECT_FALSE( release( MouseButton::Left ) );
    EXPECT_EQ( camera_.revision(), before );
    drag( MouseButton::Right, { 100, 100 }, { 130, 80 } );
    const auto after = camera_.revision();
    EXPECT_FALSE( move( { 500, 500 } ) );
    EXPECT_EQ( camera_.revision(), after );
}

TEST_F( CameraControl, ASecondButtonDuringADragChangesNothing )
{
    const auto before = camera_.rotation();
    move( { 100, 100 } );
    press( MouseButton::Right );
    move( { 120, 100 } );
    EXPECT_TRUE( press( MouseButton::Left ) ) << "nobody else gets it either";
    move( { 160, 100 } );
    EXPECT_FALSE( release( MouseButton::Left ) );
    move( { 200, 100 } );
    EXPECT_FALSE( isTurned( before ) );
    EXPECT_TRUE( release( MouseButton::Right ) );
    EXPECT_EQ( heard_, "" );
}

TEST_F( CameraControl, AHandThatTremblesClicks )
{
    const auto before = camera_.revision();
    move( { 100, 100 } );
    press( MouseButton::Left );
    move( { 102, 102 } );
    move( { 98, 100 } );
    release( MouseButton::Left );
    EXPECT_EQ( camera_.revision(), before );
    EXPECT_EQ( heard_, "click 98,100;" );
}

TEST_F( CameraControl, ADragThatBeginsSlowlyLosesNothingOfItsWay )
{
    const auto where = middle();
    move( { 100, 100 } );
    press( MouseButton::Right );
    move( { 103, 100 } );
    EXPECT_EQ( middle(), where );
    move( { 110, 100 } );
    EXPECT_NEAR( middle().x - where.x, 10, 0.3 );
    // Back to within a few pixels of the press it is a drag all the same.
    move( { 101, 100 } );
    EXPECT_NEAR( middle().x - where.x, 1, 0.3 );
    release( MouseButton::Right );
    EXPECT_EQ( heard_, "" );
}

TEST_F( CameraControl, ADragIsNoClickWhereverItEnds )
{
    move( { 100, 100 } );
    press( MouseButton::Left );
    move( { 200, 200 } );
    move( { 100, 100 } );
    release( MouseButton::Left );
    EXPECT_EQ( heard_, "" );
    drag( MouseButton::Right, { 300, 300 }, { 300, 300 } );
    EXPECT_EQ( heard_, "" ) << "nor is a press of another button";
}

TEST_F( CameraControl, ControlAddsByWhatIsHeldAtTheRelease )
{
    click( { 10, 20 }, ControlModifier );
    click( { 200, 20 }, ControlModifier | AltModifier );
    click( { 400, 20 }, AltModifier );
    EXPECT_EQ( heard_, "add 10,20;add 200,20;click 400,20;" );
}

TEST_F( CameraControl, TwoClicksAtAPlaceAreADoubleClickAndAThirdBeginsAnew )
{
    click( { 50, 60 } );
    click( { 52, 61 } );
    click( { 52, 61 } );
    EXPECT_EQ( heard_, "click 50,60;double 52,61;click 52,61;" );
}

TEST_F( CameraControl, TwoClicksApartAreTwo )
{
    click( { 50, 60 } );
    click( { 55, 60 } );
    EXPECT_EQ( heard_, "click 50,60;click 55,60;" );
}

TEST_F( CameraControl, WithoutListenersAClickIsNothing )
{
    controller_.clicked = nullptr;
    controller_.doubleClicked = nullptr;
    click( { 50, 60 } );
    click( { 50, 60 } );
    EXPECT_EQ( heard_, "" );
}

TEST_F( CameraControl, TurnsAboutThePointThatItIsTold )
{
    const Vector3d place{ 0.9, -0.5, 0.4 };
    std::vector<Vector2f> asked;
    controller_.centerAt = [&]( Vector2f at ) -> std::optional<Vector3d>
    {
        asked.push_back( at );
        return place;
    };
    const auto before = camera_.project( place );
    move( { 100, 100 } );
    press( MouseButton::Left );
    EXPECT_FALSE( controller_.center() ) << "a click asks for none";
    move( { 140, 110 } );
    EXPECT_EQ( controller_.center(), place );
    move( { 180, 130 } );
    EXPECT_LT( ( camera_.project( place ) - before ).length(), 0.1f );
    EXPECT_GT( ( middle() - Vector2f{ 400, 300 } ).length(), 1 );
    release( MouseButton::Left );
    EXPECT_FALSE( controller_.center() );
    EXPECT_EQ( asked, ( std::vector<Vector2f>{ { 100, 100 } } ) ) << "once, about where the press was";
}

TEST_F( CameraControl, AMoveAsksForNoPointToTurnAbout )
{
    bool asked = false;
    controller_.centerAt = [&]( Vector2f ) -> std::optional<Vector3d>
    {
        asked = true;
        return {};
    };
    drag( MouseButton::Right, { 100, 100 }, { 200, 100 } );
    EXPECT_FALSE( asked );
    camera_.fit( cBox );
    const auto where = middle();
    drag( MouseButton::Left, { 100, 100 }, { 200, 100 } );
    EXPECT_TRUE( asked );
    EXPECT_LT( ( middle() - where ).length(), 0.01f ) << "without one about the target";
}

TEST_F( CameraControl, TheWheelZoomsAtThePointer )
{
    const Vector3d place{ 0.5, 0.2, 0.7 };
    const auto at = camera_.project( place );
    move( at );
    const float before = ( camera_.project( cBox.max ) - camera_.project( cBox.min ) ).length();
    EXPECT_TRUE( signals().mouseScroll( 2 ) );
    EXPECT_LT( ( camera_.project( place ) - at ).length(), 0.5f );
    EXPECT_GT( ( camera_.project( cBox.max ) - camera_.project( cBox.min ) ).length(), before * 1.2f );
}

TEST_F( CameraControl, A3DMouseMovesTheViewerAndNotTheScene )
{
    const auto where = middle();
    EXPECT_TRUE( signals().spaceMouseMove( { 1, 0, 0 }, {} ) );
    EXPECT_NEAR( middle().x - where.x, -18, 0.5 ) << "to the right, so what is seen goes left";
    signals().spaceMouseMove( { 0, 1, 0 }, {} );
    EXPECT_NEAR( middle().y - where.y, 18, 0.5 );
    const auto eye = camera_.eye();
    signals().spaceMouseMove( { 0, 0, 1 }, {} );
    EXPECT_GT( ( camera_.eye() - cBox.center() ).length(), ( eye - cBox.center() ).length() );
    const auto rotation = camera_.rotation();
    signals().spaceMouseMove( {}, { 0, 0.5f, 0 } );
    EXPECT_TRUE( isTurned( rotation ) );
    EXPECT_EQ( camera_.rotation().z.z, rotation.z.z ) << "about the vertical alone";
    signals().spaceMouseMove( {}, { -0.5f, 0, 0 } );
    EXPECT_NE( camera_.rotation().z.z, rotation.z.z );
}

TEST_F( CameraControl, GesturesTurnMoveAndZoom )
{
    const auto rotation = camera_.rotation();
    EXPECT_TRUE( signals().touchpadRotateGestureUpdate( 0.2f ) );
    EXPECT_TRUE( isTurned( rotation ) );
    EXPECT_EQ( camera_.rotation().z.z, rotation.z.z );
    const auto where = middle();
    EXPECT_TRUE( signals().touchpadSwipeGestureUpdate( { 15, -5 }, true ) );
    EXPECT_NEAR( middle().x - where.x, 15, 0.3 );
    EXPECT_NEAR( middle().y - where.y, -5, 0.3 );
    const auto away = [&] { return ( camera_.eye() - cBox.center() ).length(); };
    const auto before = away();
    EXPECT_TRUE( signals().touchpadZoomGestureUpdate( 1.5f, false ) );
    EXPECT_LT( away(), before );
    signals().touchpadZoomGestureUpdate( 1 / 1.5f, false );
    EXPECT_NEAR( away(), before, 0.05 );
}

TEST_F( CameraControl, AZoomGestureOfNoSenseIsIgnored )
{
    const auto before = camera_.revision();
    for ( const float factor : { 0.f, -1.f } )
        EXPECT_TRUE( signals().touchpadZoomGestureUpdate( factor, false ) );
    EXPECT_EQ( camera_.revision(), before );
}

TEST_F( CameraControl, LeavesEventsToActiveTools )
{
    const auto before = camera_.revision();
    const boost::signals2::scoped_connection tool =
        signals().mouseDown.connect( ToolListeners, []( MouseButton, int ) { return true; } );
    drag( MouseButton::Left, { 100, 100 }, { 200, 100 } );
    EXPECT_EQ( camera_.revision(), before );
}
