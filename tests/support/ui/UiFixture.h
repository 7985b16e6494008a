#pragma once

#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/ui/Frames.h"

#include <AppSetup.h>
#include <open/FileOpener.h>

#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/window/OffscreenWindow.h>

#include <gtest/gtest.h>

namespace VX::Testing
{

/// The whole interface of the program in a window without a display: input is fed in, frames are drawn and looked at.
class UiFixture : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// What the configuration of the program is replaced by, member by member; for tests to override.
    [[nodiscard]] virtual Json::Value config() const { return {}; }
    /// The settings of the first start: nothing in the way of what is tested. For tests to override.
    [[nodiscard]] virtual std::string settings() const
    {
        return R"({"telemetryDisclaimerModalShowed":0,"cShowWelcomeWindow":false})";
    }
    /// Whether a stored token signs the program in when it starts; for tests to override.
    [[nodiscard]] virtual bool isSignedIn() const { return true; }
    /// Answers what the program asks by itself when it starts; nothing is an answer that never comes.
    [[nodiscard]] virtual std::optional<Json::Value> answerAtStart( const WebRequestData& request );
    /// Of the command line, as the viewer sees them; for tests to override.
    [[nodiscard]] virtual std::vector<std::string> programArguments() const { return {}; }
    /// Called when the viewer has been started and its loop has not turned yet; for tests to override.
    virtual void started() {}
    /// Ends the program and starts it again with the same settings.
    void restart();

    static void settle() { settleFrames(); }
    /// Turns the loop, sleeping on its events, until a condition holds.
    template <typename Condition>
    void turnUntil( const Condition& condition )
    {
        const Patience patience;
        while ( !condition() )
        {
            patience.check();
            viewer().step( Patience::cSeconds );
        }
    }

    /// Draws frames until a condition holds that another thread brings about without waking the loop.
    template <typename Condition>
    void drawUntil( const Condition& condition )
    {
        const Patience patience;
        while ( !condition() )
        {
            patience.check();
            drawFrames( 1 );
        }
    }

    /// Draws that many frames, while something else may keep the loop busy.
    void drawFrames( int count );

    void click( Vector2f position, int modifiers = 0 );
    /// A click while something else keeps the loop busy, so that it never settles.
    void clickWhileBusy( Vector2f position );
    void drag( MouseButton button, Vector2f from, Vector2f to );
    void press( int key, int modifiers = 0 );

    /// Opens a cube from a file and waits until it stands in the scene.
    void openCube();

    [[nodiscard]] static Viewer& viewer() { return getViewerInstance(); }
    [[nodiscard]] OffscreenWindow& window() { return dynamic_cast<OffscreenWindow&>( *viewer().window() ); }
    /// The frame as it is shown, drawn now.
    [[nodiscard]] Image frame();
    /// Pixels that differ visibly between two frames of one size.
    [[nodiscard]] static size_t difference( const Image& a, const Image& b );
    [[nodiscard]] static bool isWindowShown( const std::string& name ) { return Testing::isWindowShown( name ); }
    /// A place in a window of that name, counted from its right and lower edges.
    [[nodiscard]] static Vector2f windowPoint( const std::string& name, float right, float bottom );
    /// The same from its left and upper edges.
    [[nodiscard]] static Vector2f windowPointFromTop( const std::string& name, float left, float top );
    /// Types into the field that has the keyboard.
    void type( const std::string& text );
    /// Presses a tool as its button in the ribbon would.
    void pressTool( const std::string& name );
    [[nodiscard]] static bool isActive( const std::string& toolName );
    /// An answer of the identity service that signs in.
    [[nodiscard]] static Json::Value signedInAnswer( const std::string& refreshToken = {} );

    ScratchFolder folder_;
    std::shared_ptr<OrvantaRibbonMenu> menu_;
    std::unique_ptr<App::AppSetup> setup_;
    std::unique_ptr<App::FileOpener> opener_;
    std::shared_ptr<ScriptedTransport> transport_;
    boost::signals2::scoped_connection drops_;

private:
    void start_();
    void stop_();
};

} // namespace VX::Testing
