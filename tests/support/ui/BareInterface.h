#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/loop/Wake.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace VX::Testing
{

/// Dear ImGui without a window: the test draws each frame by hand, turns the clock, presses keys and moves the mouse.
/// Letters are 7 pixels wide and 13 high, and the scale is 1 until the test sets another by `UI::setScale`.
class BareInterface : public testing::Test, private LoopToWake
{
protected:
    BareInterface();
    ~BareInterface() override;

    /// What every frame draws.
    std::function<void()> draw;

    /// Frames in which nothing happens but that time goes by.
    void frames( int count, double secondsEach = 1. / 60 );
    /// As many as a layout needs to stand.
    void settle() { frames( 4 ); }

    /// A key goes down in one frame and up in another; numbered and with modifiers as GLFW does.
    void press( int key, int modifiers = 0 );
    void type( const std::string& text );
    void moveMouse( Vector2f at );
    void click( Vector2f at );
    /// A click into the middle of words that stand in a window.
    void clickText( const std::string& window, const std::string& text );

    [[nodiscard]] static bool isShown( const std::string& window );
    /// What a window says, with a line for each piece of it.
    [[nodiscard]] static std::string said( const std::string& window );
    /// Whether it says so somewhere.
    [[nodiscard]] static bool says( const std::string& window, const std::string& text );

    /// The least time after which a frame was asked for since this was set to nothing else; negative is never.
    double frameWantedIn_ = -1;

private:
    void postEmptyEvent() override {}
    void incrementForceRedrawFrames( int, bool ) override {}
    void requestFrameIn( double seconds ) override;
};

} // namespace VX::Testing
