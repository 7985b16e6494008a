#include "support/ReadOnlyWorld.h"
#include "support/TestMeshes.h"
#include "support/ui/Monkey.h"
#include "support/ui/ShownText.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <cstdlib>

using namespace VX;

namespace
{

using Testing::Monkey;

constexpr std::array cKeys{ GLFW_KEY_ENTER, GLFW_KEY_ESCAPE, GLFW_KEY_TAB, GLFW_KEY_SPACE, GLFW_KEY_BACKSPACE,
    GLFW_KEY_DELETE, GLFW_KEY_UP, GLFW_KEY_DOWN, GLFW_KEY_LEFT, GLFW_KEY_RIGHT, GLFW_KEY_HOME, GLFW_KEY_END,
    GLFW_KEY_F1, GLFW_KEY_F2, GLFW_KEY_A, GLFW_KEY_C, GLFW_KEY_E, GLFW_KEY_F, GLFW_KEY_H, GLFW_KEY_M, GLFW_KEY_N,
    GLFW_KEY_O, GLFW_KEY_P, GLFW_KEY_Q, GLFW_KEY_S, GLFW_KEY_V, GLFW_KEY_W, GLFW_KEY_X, GLFW_KEY_Y, GLFW_KEY_Z,
    GLFW_KEY_COMMA, GLFW_KEY_0, GLFW_KEY_1, GLFW_KEY_5, GLFW_KEY_7 };
constexpr std::array cModifiers{
    0, 0, 0, GLFW_MOD_CONTROL, GLFW_MOD_CONTROL, GLFW_MOD_SHIFT, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT, GLFW_MOD_ALT };
constexpr std::array cTexts{ "a", "cube", "ann@example.org", "secret-word-1", "123456", "%s%n", "\xc3\xa4\xe2\x82\xac",
    "\xd7\xa9\xd7\x9c", "..", "/", "-1e30",
    "a very long text that goes on and on until it fills every field there is" };
constexpr size_t cMostObjects = 40;
constexpr unsigned long cLookEvery = 300;

/// The whole program under random input, with a service that answers at random.
class MonkeyTest : public Testing::UiFixture
{
protected:
    [[nodiscard]] std::string settings() const override { return "{}"; }
    void SetUp() override
    {
        // What a random click saves, replaces or renames must not be anybody's file.
        if ( !Testing::makeWorldReadOnly( { folder_.path(), "/.service_output_files" } ) )
            GTEST_SKIP() << "mounting is not allowed here";
        UiFixture::SetUp();
        files_ = { folder_.write( "cube.vxu", Testing::cubeFile() ), folder_.write( "broken.stl", "solid" ),
            folder_.write( "part.step", "ISO-10303-21;" ), folder_.write( "points.xyz", "0 0 0\n1 0 0\n0 1 0\n" ),
            folder_.path() / "missing.obj", folder_.path() };
    }
    void TearDown() override
    {
        if ( !IsSkipped() )
        {
            UserInfo::setAccessToken( {} );
            UiFixture::TearDown();
        }
    }

    void act( Monkey& monkey )
    {
        monkey.oneOf( {
            { 40, "click", [&] { clickSomewhere( monkey ); } },
            { 8, "drag", [&] { dragSomewhere( monkey ); } },
            { 6, "scroll", [&] { window().scroll( float( monkey.below( 7 ) ) - 3 ); } },
            { 18, "key", [&] { pressSomething( monkey ); } },
            { 8, "type", [&] { window().type( monkey.from( cTexts ) ); } },
            { 5, "tool", [&] { startTool( monkey ); } },
            { 3, "drop", [&] { dropFiles( monkey ); } },
            { 2, "size", [&] { resizeWindow( monkey ); } },
            { 3, "note", [&] { tellSomething( monkey ); } },
            { 6, "answer", [&] { answerSomething( monkey ); } },
            { 1, "signOut", [&] { menu_->signOut(); } },
        } );
        drawFrames( 1 + int( monkey.below( 2 ) ) );
        if ( viewer().isClosing() )
            restartSignedIn();
        if ( viewer().sceneRoot().children().size() > cMostObjects )
            SceneEdits::remove( "Delete", SceneCache::getAllObjects<Object, ObjectSelectivityType::Selectable>() );
    }

    /// Whether a person can still get rid of everything that wants an answer.
    [[nodiscard]] bool canBeLeft()
    {
        for ( int i = 0; i < 100 && menu_->isModalShown(); ++i )
        {
            window().pressKey( i % 2 == 0 ? GLFW_KEY_ESCAPE : GLFW_KEY_ENTER, true );
            drawFrames( 3 );
            window().pressKey( i % 2 == 0 ? GLFW_KEY_ESCAPE : GLFW_KEY_ENTER, false );
            drawFrames( 3 );
        }
        return !menu_->isModalShown();
    }

private:
    Vector2f place( Monkey& monkey )
    {
        const auto& all = ImGui::GetCurrentContext()->Windows;
        const auto* target = all.empty() ? nullptr : all[int( monkey.below( size_t( all.Size ) ) )];
        if ( !target || !target->Active || monkey.below( 4 ) == 0 )
            return { float( monkey.below( size_t( window().width() ) ) ),
                float( monkey.below( size_t( window().height() ) ) ) };
        return {
            target->Pos.x + target->Size.x * monkey.fraction(), target->Pos.y + target->Size.y * monkey.fraction() };
    }

    void clickSomewhere( Monkey& monkey )
    {
        constexpr std::array cButtons{ MouseButton::Left, MouseButton::Left, MouseButton::Left, MouseButton::Left,
            MouseButton::Right, MouseButton::Middle };
        const auto button = monkey.from( cButtons );
        const int modifiers = monkey.from( cModifiers );
        window().moveMouse( place( monkey ) );
        drawFrames( 1 );
        for ( size_t i = 0; i <= ( monkey.below( 5 ) == 0 ? 1u : 0u ); ++i )
        {
            window().pressMouse( button, true, modifiers );
            drawFrames( int( monkey.below( 2 ) ) );
            window().pressMouse( button, false, modifiers );
        }
    }

    void dragSomewhere( Monkey& monkey )
    {
        const auto button = monkey.below( 2 ) == 0 ? MouseButton::Left : MouseButton::Right;
        window().moveMouse( place( monkey ) );
        drawFrames( 1 );
        window().pressMouse( button, true );
        for ( int i = 0; i < 3; ++i )
        {
            window().moveMouse( place( monkey ) );
            drawFrames( 1 );
        }
        window().pressMouse( button, false );
    }

    void pressSomething( Monkey& monkey )
    {
        const int key = monkey.from( cKeys ), modifiers = monkey.from( cModifiers );
        window().pressKey( key, true, modifiers );
        drawFrames( int( monkey.below( 2 ) ) );
        window().pressKey( key, false, modifiers );
    }

    void startTool( Monkey& monkey )
    {
        const auto& items = RibbonSchemaHolder::schema().items;
        auto it = items.begin();
        std::advance( it, long( monkey.below( items.size() ) ) );
        // As the ribbon does it: not under a modal, nor under the sign-in.
        if ( it->second.item && !menu_->isModalShown() && menu_->isInputAllowed() )
            menu_->emitItemPressed( it->second.item );
    }

    void dropFiles( Monkey& monkey )
    {
        std::vector<std::filesystem::path> dropped;
        for ( size_t i = 0; i <= monkey.below( 3 ); ++i )
            dropped.push_back( monkey.from( files_ ) );
        window().drop( std::move( dropped ) );
    }

    void resizeWindow( Monkey& monkey )
    {
        constexpr std::array cScales{ 1.f, 1.f, 1.f, 1.25f, 2.f, 3.f };
        const int width = 64 + int( monkey.below( 1400 ) ), height = 64 + int( monkey.below( 900 ) );
        window().resize( width, height, monkey.from( cScales ) );
        if ( monkey.below( 4 ) == 0 )
            menu_->setUserScaling( 0.5f + 2 * monkey.fraction() );
    }

    void tellSomething( Monkey& monkey )
    {
        const std::string text = std::string( 1 + monkey.below( 3000 ), 'x' ) + '\n' + monkey.from( cTexts );
        if ( monkey.below( 2 ) == 0 )
            menu_->showModalMessage( text, NotificationType( monkey.below( 3 ) ) );
        else
            menu_->pushNotification( { .header = text.substr( 0, monkey.below( 80 ) ),
                .text = text,
                .buttonName = monkey.below( 2 ) == 0 ? "Do it" : "",
                .type = NotificationType( monkey.below( 3 ) ),
                .lifeTimeSec = float( monkey.below( 3 ) ) } );
    }

    void answerSomething( Monkey& monkey )
    {
        const std::array<Json::Value, 6> answers{ signedInAnswer( "refresh" ), ScriptedTransport::response( 200, "{}" ),
            ScriptedTransport::response( 400, R"({"message":"Incorrect username or password."})" ),
            ScriptedTransport::response( 0, "", "no route" ), ScriptedTransport::response( 500, "<html>" ),
            ScriptedTransport::response(
                200, R"({"result":{"request_id":"id-monkey","url":"u","state":"finished"}})" ) };
        transport_->deliver( monkey.from( answers ) );
        // Who is locked out for long sees little of the program.
        if ( !menu_->isInputAllowed() && monkey.below( 3 ) == 0 )
            signIn();
    }

    void signIn()
    {
        OrvantaMenuTestAccess::setAuthed( *menu_, true );
        menu_->allowInput( true );
        UserInfo::setAccessToken( "access" );
    }

    void restartSignedIn()
    {
        restart();
        signIn();
    }

    std::vector<std::filesystem::path> files_;
};

unsigned long number( const char* name, unsigned long otherwise )
{
    const char* text = std::getenv( name );
    return text ? std::strtoul( text, nullptr, 10 ) : otherwise;
}

} // namespace

// By hand, for an hour: ORVANTA_MONKEY_SEED=7 ORVANTA_MONKEY_ACTIONS=100000 ui_tests --gtest_filter=MonkeyTest.*
TEST_F( MonkeyTest, NoInputEndsTheProgramOrLocksAPersonOut )
{
    Monkey monkey( number( "ORVANTA_MONKEY_SEED", 1 ) );
    const auto actions = number( "ORVANTA_MONKEY_ACTIONS", 600 );
    for ( unsigned long i = 1; i <= actions; ++i )
    {
        act( monkey );
        if ( i % cLookEvery != 0 && i != actions )
            continue;
        ASSERT_TRUE( canBeLeft() ) << "after " << i << " actions: " << monkey.lastActions() << "\n"
                                   << Testing::shownText( "" );
    }
}
