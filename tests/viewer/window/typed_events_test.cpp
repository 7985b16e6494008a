#include <VXViewer/window/TypedEvents.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

TypedEvent down( int key, int modifiers = 0 )
{
    return { key, 0, GLFW_PRESS, modifiers, 0 };
}

TypedEvent up( int key, int modifiers = 0 )
{
    return { key, 0, GLFW_RELEASE, modifiers, 0 };
}

TypedEvent character( char c )
{
    return { 0, 0, 0, 0, unsigned( c ) };
}

/// A letter's key, the character and the key's release, as a window system tells them.
void typeLetter( TypedEvents& events, char c )
{
    events.add( down( c - 'a' + GLFW_KEY_A ) );
    events.add( character( c ) );
    events.add( up( c - 'a' + GLFW_KEY_A ) );
}

std::string text( const TypedEvent& event )
{
    if ( event.codePoint != 0 )
        return { char( event.codePoint ) };
    const std::string action = event.action == GLFW_RELEASE ? "-" : event.action == GLFW_REPEAT ? "*" : "+";
    switch ( event.key )
    {
    case GLFW_KEY_TAB:
        return action + "Tab";
    case GLFW_KEY_ENTER:
        return action + "Enter";
    case GLFW_KEY_BACKSPACE:
        return action + "Back";
    case GLFW_KEY_LEFT_CONTROL:
        return action + "Ctrl";
    case GLFW_KEY_LEFT_SHIFT:
        return action + "Shift";
    default:
        return action + char( event.key );
    }
}

/// All frames until nothing waits, with blanks between events and bars between frames.
std::string frames( TypedEvents& events )
{
    std::string out;
    for ( int count = 0; !events.isEmpty() && count < 20; ++count )
    {
        out += out.empty() ? "" : " |";
        for ( const auto& event : events.takeForFrame() )
            out += ( out.empty() ? "" : " " ) + text( event );
    }
    return out;
}

} // namespace

TEST( TypedEvents, FastTypingIsOneFrame )
{
    TypedEvents events;
    for ( const char c : { 'a', 'b', 'a' } )
        typeLetter( events, c );
    EXPECT_EQ( frames( events ), "+A a -A +B b -B +A a -A" );
    EXPECT_TRUE( events.takeForFrame().empty() );
}

TEST( TypedEvents, WhatIsTypedBeforeACommandIsInTheFieldWhenItActs )
{
    TypedEvents events;
    typeLetter( events, 'a' );
    events.add( down( GLFW_KEY_TAB ) );
    events.add( up( GLFW_KEY_TAB ) );
    typeLetter( events, 'b' );
    EXPECT_EQ( frames( events ), "+A a -A | +Tab | -Tab +B | b -B" );
}

TEST( TypedEvents, APressAndItsReleaseAreTwoFrames )
{
    TypedEvents events;
    events.add( down( GLFW_KEY_ENTER ) );
    events.add( up( GLFW_KEY_ENTER ) );
    EXPECT_EQ( frames( events ), "+Enter | -Enter" );
}

TEST( TypedEvents, ARepeatedKeyActsOnceAFrame )
{
    TypedEvents events;
    events.add( down( GLFW_KEY_BACKSPACE ) );
    for ( int i = 0; i < 2; ++i )
        events.add( { GLFW_KEY_BACKSPACE, 0, GLFW_REPEAT, 0, 0 } );
    events.add( up( GLFW_KEY_BACKSPACE ) );
    EXPECT_EQ( frames( events ), "+Back | *Back | *Back | -Back" );
}

TEST( TypedEvents, DifferentCommandsMayShareAFrame )
{
    TypedEvents events;
    events.add( down( GLFW_KEY_TAB ) );
    events.add( down( GLFW_KEY_ENTER ) );
    EXPECT_EQ( frames( events ), "+Tab +Enter" );
}

TEST( TypedEvents, ALetterWithControlIsACommand )
{
    TypedEvents events;
    typeLetter( events, 'a' );
    events.add( down( GLFW_KEY_LEFT_CONTROL ) );
    events.add( down( GLFW_KEY_V, GLFW_MOD_CONTROL ) );
    events.add( up( GLFW_KEY_V, GLFW_MOD_CONTROL ) );
    events.add( up( GLFW_KEY_LEFT_CONTROL ) );
    EXPECT_EQ( frames( events ), "+A a -A +Ctrl | +V | -V | -Ctrl" )
        << "and Control is held as long as it acts, and not let go in the same frame";
}

TEST( TypedEvents, AltAndSuperMakeCommandsAndShiftMakesNone )
{
    for ( const int modifiers : { GLFW_MOD_ALT, GLFW_MOD_SUPER, GLFW_MOD_ALT | GLFW_MOD_SHIFT } )
    {
        TypedEvents events;
        events.add( character( 'x' ) );
        events.add( down( GLFW_KEY_D, modifiers ) );
        EXPECT_EQ( frames( events ), "x | +D" ) << modifiers;
    }
    TypedEvents events;
    events.add( down( GLFW_KEY_LEFT_SHIFT ) );
    events.add( down( GLFW_KEY_A, GLFW_MOD_SHIFT ) );
    events.add( character( 'A' ) );
    events.add( up( GLFW_KEY_A, GLFW_MOD_SHIFT ) );
    EXPECT_EQ( frames( events ), "+Shift +A A -A" );
}

TEST( TypedEvents, AModifierThatIsTappedIsSeen )
{
    TypedEvents events;
    events.add( down( GLFW_KEY_LEFT_SHIFT ) );
    events.add( up( GLFW_KEY_LEFT_SHIFT ) );
    EXPECT_EQ( frames( events ), "+Shift | -Shift" );
}

TEST( TypedEvents, KeepTheirOrderAndLoseNothing )
{
    TypedEvents events;
    std::vector<TypedEvent> all;
    const TypedEvent some[] = { down( GLFW_KEY_TAB ), character( 'x' ), up( GLFW_KEY_TAB ), down( GLFW_KEY_A ),
        down( GLFW_KEY_LEFT_CONTROL ), down( GLFW_KEY_C, GLFW_MOD_CONTROL ), up( GLFW_KEY_LEFT_CONTROL ) };
    uint32_t random = 1;
    for ( int i = 0; i < 500; ++i )
    {
        random = random * 1664525 + 1013904223;
        all.push_back( some[( random >> 16 ) % std::size( some )] );
        events.add( all.back() );
    }
    std::vector<TypedEvent> taken;
    while ( !events.isEmpty() )
    {
        const auto frame = events.takeForFrame();
        ASSERT_FALSE( frame.empty() ) << "a frame that takes nothing would be drawn for ever";
        taken.insert( taken.end(), frame.begin(), frame.end() );
    }
    EXPECT_EQ( taken, all );
}
