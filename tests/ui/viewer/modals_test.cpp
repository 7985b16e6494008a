#include "support/TestMeshes.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <future>
#include <string_view>

using namespace VX;

namespace
{

constexpr const char* cNote = "TelemetryDisclaimer##TelemetryDisclaimer";

/// A modal, and how it comes and goes.
struct Modal
{
    const char* window;
    std::function<void()> show, close;
};

/// A window that may come while a modal stands.
struct Panel
{
    const char* window;
    std::function<void()> show, close;
};

class Modals : public Testing::UiFixture
{
protected:
    void TearDown() override
    {
        go_.set_value();
        EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
        UserInfo::setAccessToken( {} );
        UiFixture::TearDown();
    }

    /// A job that goes on until the test has ended or cancels it.
    void orderJob()
    {
        ProgressBar::order( "Opening a", [done = done_] { done.wait(); } );
    }

    [[nodiscard]] std::vector<Modal> modals()
    {
        const auto escape = [this] { press( GLFW_KEY_ESCAPE ); };
        return {
            { "##modalMessage", [this] { menu_->showModalMessage( "It went wrong", NotificationType::Error ); },
                escape },
            { "Open files##fileDialog", [this] { menu_->openFileDialog(); }, escape },
            { "Save##fileDialog", [this] { menu_->saveFileDialog( "a", ".vxu", []( const auto& ) {} ); }, escape },
            { "Shortcuts##shortcutSheet", [this] { menu_->showShortcutSheet(); }, escape },
            { "##progress", [this] { orderJob(); }, [this] { ProgressBar::cancel(), (void)frame(); } },
            { "Customize the toolbar##customize", [this] { tool( "Customize toolbar" ); }, escape },
        };
    }

    [[nodiscard]] std::vector<Panel> panels()
    {
        auto& welcome = OrvantaMenuTestAccess::welcomeWindow( *menu_ );
        return {
            { "##DragDropArea", [&] { welcome.setShowOnStartup( true, true ); },
                [&] { welcome.setShowOnStartup( false, true ); } },
            { "Viewer settings", [this] { tool( "Viewer settings" ); }, [this] { tool( "Viewer settings" ); } },
            { "Create simple objects", [this] { tool( "Create Simple Objects" ); },
                [this] { tool( "Create Simple Objects" ); } },
            { "Auth window",
                [this]
                {
                    OrvantaMenuTestAccess::setAuthed( *menu_, false );
                    viewer().incrementForceRedrawFrames();
                },
                [this] { OrvantaMenuTestAccess::setAuthed( *menu_, true ); } },
            // The last one stays.
            { "##notification", [this]
                { menu_->pushNotification( { .header = "Saved", .text = "a file", .lifeTimeSec = 1000 } ); }, [] {} },
        };
    }

    void tool( const std::string& name )
    {
        const auto item = RibbonSchemaHolder::findItem( name );
        ASSERT_TRUE( item ) << name;
        menu_->emitItemPressed( item );
    }

private:
    std::promise<void> go_;
    std::shared_future<void> done_ = go_.get_future().share();
};

/// A first start: nothing is set, and the sign-in has just been answered.
class FirstStart : public Modals
{
protected:
    [[nodiscard]] std::string settings() const override { return "{}"; }
    [[nodiscard]] std::optional<Json::Value> answerAtStart( const WebRequestData& request ) override
    {
        asked_.push_back( request.logName );
        return Modals::answerAtStart( request );
    }
    std::vector<std::string> asked_;
};

/// The same, and nobody has signed in yet.
class FirstStartSignedOut : public FirstStart
{
protected:
    [[nodiscard]] bool isSignedIn() const override { return false; }
    void signIn()
    {
        OrvantaMenuTestAccess::setAuthed( *menu_, true );
        menu_->allowInput( true );
        UserInfo::setAccessToken( "access" );
        (void)frame();
    }
};

} // namespace

TEST_F( Modals, AWindowMayAppearInTheFirstFrameOfEveryModalAndLater )
{
    for ( const auto& modal : modals() )
        for ( const bool together : { true, false } )
            for ( const auto& panel : panels() )
            {
                const auto which =
                    std::string( modal.window ) + " with " + panel.window + ( together ? " together" : "" );
                SCOPED_TRACE( which );
                modal.show();
                if ( !together )
                    (void)frame();
                panel.show();
                (void)frame();
                EXPECT_TRUE( isWindowShown( panel.window ) || std::string( panel.window ) == "Auth window" );
                EXPECT_TRUE( isWindowShown( modal.window ) );
                modal.close();
                EXPECT_FALSE( isWindowShown( modal.window ) );
                panel.close();
                (void)frame();
            }
}

TEST_F( Modals, EveryTwoOfThemAreAnsweredOneAfterTheOther )
{
    const auto all = modals();
    for ( const auto& first : all )
        for ( const auto& second : all )
        {
            const auto isFileDialog = []( const Modal& modal )
            { return std::string( modal.window ).ends_with( "fileDialog" ); };
            if ( first.window == second.window || ( isFileDialog( first ) && isFileDialog( second ) ) )
                continue;
            SCOPED_TRACE( std::string( first.window ) + " then " + second.window );
            first.show();
            (void)frame();
            ASSERT_TRUE( isWindowShown( first.window ) );
            second.show();
            (void)frame();
            EXPECT_TRUE( isWindowShown( first.window ) );
            EXPECT_FALSE( isWindowShown( second.window ) );
            first.close();
            EXPECT_TRUE( isWindowShown( second.window ) );
            second.close();
            EXPECT_FALSE( isWindowShown( second.window ) );
        }
}

TEST_F( FirstStart, NoteAndWelcomeWindowStandTogetherAndAreUsedOneAfterTheOther )
{
    ASSERT_TRUE( isWindowShown( cNote ) );
    ASSERT_TRUE( isWindowShown( "##DragDropArea" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( cNote ) );
    click( windowPointFromTop( "##CreateSimpleObject", 36 + 55, 0.74f * 230 + 18 ) );
    EXPECT_TRUE( isActive( "Create Simple Objects" ) );
    tool( "Create Simple Objects" );
}

TEST_F( FirstStart, BeforeTheNoteIsAnsweredNothingIsSentButTheSessionOfTheSignIn )
{
    ASSERT_TRUE( isWindowShown( cNote ) );
    menu_->showModalMessage( "It went wrong", NotificationType::Error );
    (void)frame();
    std::sort( asked_.begin(), asked_.end() );
    EXPECT_EQ( asked_, ( std::vector<std::string>{ "requestSessionId", "signInToken", "version" } ) );
    EXPECT_TRUE( transport_->sent().empty() );
}

TEST_F( FirstStart, NoteIsNotEndedByWhatIsOpenedUnderIt )
{
    ASSERT_TRUE( isWindowShown( cNote ) );
    orderJob();
    menu_->showModalMessage( "It went wrong", NotificationType::Error );
    (void)frame();
    EXPECT_TRUE( isWindowShown( cNote ) );
    EXPECT_FALSE( isWindowShown( "##progress" ) );
    EXPECT_FALSE( isWindowShown( "##modalMessage" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( cNote ) );
    EXPECT_TRUE( isWindowShown( "##progress" ) ) << "the job is shown now";
    ProgressBar::cancel();
    (void)frame();
    EXPECT_TRUE( isWindowShown( "##modalMessage" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( menu_->isModalShown() );
}

TEST_F( FirstStartSignedOut, NoteComesWhileAFileIsOpenedAndTheFilesProgressIsBackAfterIt )
{
    orderJob();
    (void)frame();
    ASSERT_TRUE( isWindowShown( "##progress" ) );
    signIn();
    EXPECT_TRUE( isWindowShown( cNote ) );
    EXPECT_FALSE( isWindowShown( "##progress" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( cNote ) );
    EXPECT_TRUE( isWindowShown( "##progress" ) );
}

TEST_F( FirstStartSignedOut, NoteComesWhileFilesAreChosen )
{
    OrvantaMenuTestAccess::setAuthed( *menu_, true );
    menu_->allowInput( true );
    menu_->openFileDialog();
    (void)frame();
    ASSERT_TRUE( isWindowShown( "Open files" ) );
    signIn();
    EXPECT_TRUE( isWindowShown( cNote ) );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( isWindowShown( "Open files" ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( menu_->isModalShown() );
}

TEST_F( FirstStart, ASignOutUnderTheNoteLeavesTheSignInToTheMouse )
{
    ASSERT_TRUE( isWindowShown( cNote ) );
    menu_->signOut();
    (void)frame();
    EXPECT_FALSE( isWindowShown( cNote ) );
    ASSERT_TRUE( isWindowShown( "Auth window" ) );
    auto& auth = OrvantaMenuTestAccess::authWindow( *menu_ );
    // The link to the other form.
    click( windowPointFromTop( "Auth window", 274, 292 ) );
    EXPECT_EQ( AuthWindowTestAccess::state( auth ), AuthState::SignUp );
}

TEST_F( Modals, NoticesThatComeWhileOneStandsAreBehindIt )
{
    for ( const auto& modal : modals() )
    {
        modal.show();
        settle();
        for ( const char* file : { "a.step", "b.step", "c.step" } )
            menu_->pushNotification(
                { .header = file, .text = std::string( "Opened under " ) + modal.window, .lifeTimeSec = 0 } );
        settle();
        const auto& windows = ImGui::GetCurrentContext()->Windows;
        const int place = windows.index_from_ptr( windows.find( ImGui::FindWindowByName( modal.window ) ) );
        int notices = 0;
        for ( int i = 0; i < windows.Size; ++i )
            if ( windows[i]->Active && std::string_view( windows[i]->Name ).starts_with( "##notification" ) )
            {
                ++notices;
                EXPECT_LT( i, place ) << windows[i]->Name << " and " << modal.window;
            }
        EXPECT_GE( notices, 3 ) << modal.window;
        modal.close();
        settle();
    }
}
