#include <VXViewer/core/Listeners.h>
#include <VXViewer/core/Viewer.h>

#include <gtest/gtest.h>

#include <type_traits>

using namespace VX;

namespace
{

std::vector<std::string> sHeard;

class Keys : public KeyDownListener, public KeyUpListener, public MouseMoveListener
{
public:
    Keys( std::string name, bool takes )
        : name_( std::move( name ) )
        , takes_( takes )
    {
    }
    void listen( int group, boost::signals2::connect_position position = boost::signals2::at_back )
    {
        KeyDownListener::connect( &getViewerInstance(), group, position );
        KeyUpListener::connect( &getViewerInstance(), group, position );
    }

private:
    bool onKeyDown_( int key, int modifiers ) override
    {
        sHeard.push_back( name_ + std::to_string( key ) + "/" + std::to_string( modifiers ) );
        return takes_;
    }
    bool onKeyUp_( int, int ) override
    {
        sHeard.push_back( name_ + "up" );
        return false;
    }
    bool onMouseMove_( Vector2f ) override { return false; }

    std::string name_;
    bool takes_;
};

class Listeners : public testing::Test
{
protected:
    Listeners() { sHeard.clear(); }
    static bool press( int key ) { return getViewerInstance().signals().keyDown( key, 2 ); }
};

using Heard = std::vector<std::string>;

} // namespace

TEST_F( Listeners, HearInTheOrderOfGroupsAndOfConnecting )
{
    Keys scene( "scene", false ), second( "second", false ), first( "first", false ), front( "front", false );
    scene.listen( SceneListeners );
    first.listen( InterfaceListeners );
    second.listen( InterfaceListeners );
    front.listen( InterfaceListeners, boost::signals2::at_front );
    EXPECT_FALSE( press( 65 ) );
    EXPECT_EQ( sHeard, ( Heard{ "front65/2", "first65/2", "second65/2", "scene65/2" } ) );
}

TEST_F( Listeners, OneThatTakesAnEventKeepsItFromThoseAfterIt )
{
    Keys menu( "menu", false ), tool( "tool", true ), scene( "scene", false );
    menu.listen( InterfaceListeners );
    tool.listen( ToolListeners );
    scene.listen( SceneListeners );
    EXPECT_TRUE( press( 65 ) );
    EXPECT_EQ( sHeard, ( Heard{ "menu65/2", "tool65/2" } ) );
}

TEST_F( Listeners, HearNothingWhenDisconnectedOrGone )
{
    {
        Keys gone( "gone", false );
        gone.listen( 0 );
    }
    Keys quiet( "quiet", false );
    quiet.listen( 0 );
    quiet.disconnect();
    press( 65 );
    getViewerInstance().signals().keyUp( 65, 0 );
    EXPECT_TRUE( sHeard.empty() );
    quiet.listen( 0 );
    getViewerInstance().signals().keyUp( 65, 0 );
    EXPECT_EQ( sHeard, Heard{ "quietup" } );
}

TEST_F( Listeners, ShareOneHolder )
{
    static_assert( std::is_base_of_v<ConnectionHolder, Keys> );
    Keys keys( "keys", false );
    // An ambiguous base would not convert.
    const ConnectionHolder* holder = &keys;
    EXPECT_EQ( holder, static_cast<const ConnectionHolder*>( static_cast<const KeyUpListener*>( &keys ) ) );
}
