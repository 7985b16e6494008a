#include "support/TestMeshes.h"
#include "support/ui/ShownText.h"
#include "support/ui/UiFixture.h"

#include <VXViewer/dialogs/FolderListing.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

using namespace VX;

using Dialogs = Testing::UiFixture;

TEST_F( Dialogs, MessageIsConfirmedByButtonEnterAndEscape )
{
    for ( const int way : { 0, 1, 2 } )
    {
        menu_->showModalMessage( "Something went wrong", NotificationType::Error );
        settle();
        ASSERT_TRUE( isWindowShown( "##modalMessage" ) );
        if ( way == 0 )
            click( windowPoint( "##modalMessage", 50, 30 ) );
        else
            press( way == 1 ? GLFW_KEY_ENTER : GLFW_KEY_ESCAPE );
        EXPECT_FALSE( isWindowShown( "##modalMessage" ) ) << way;
    }
}

TEST_F( Dialogs, MessagesWaitForTheirTurnAndTheSameOneIsShownOnce )
{
    menu_->showModalMessage( "first", NotificationType::Error );
    menu_->showModalMessage( "second", NotificationType::Warning );
    menu_->showModalMessage( "first", NotificationType::Error );
    settle();
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( menu_->isModalShown() );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( menu_->isModalShown() );
}

TEST_F( Dialogs, AMessageOfAnyLengthScrollsAboveItsButton )
{
    const std::string megabyte( 1 << 20, 'x' );
    std::string lines;
    for ( int i = 0; i < 5000; ++i )
        lines += "line " + std::to_string( i ) + "\n";
    for ( const auto& text : { megabyte, lines } )
    {
        menu_->showModalMessage( text, NotificationType::Error );
        settle();
        ASSERT_TRUE( isWindowShown( "##modalMessage" ) );
        const auto high = windowPointFromTop( "##modalMessage", 0, 0 ), low = windowPoint( "##modalMessage", 0, 0 );
        EXPECT_GE( high.y, 0 );
        EXPECT_LE( low.y, float( window().height() ) );
        const auto before = frame();
        window().moveMouse( ( high + low ) * 0.5f );
        settle();
        window().scroll( -20 );
        settle();
        if ( text == lines )
        {
            EXPECT_GT( difference( before, frame() ), 100u ) << "it scrolls";
        }
        click( windowPoint( "##modalMessage", 50, 30 ) );
        EXPECT_FALSE( isWindowShown( "##modalMessage" ) );
    }
}

TEST_F( Dialogs, ANotificationOfAnyLengthKeepsItsButtonsInReach )
{
    bool pressed = false;
    menu_->pushNotification( { .header = std::string( 100'000, 'h' ),
        .text = std::string( 1 << 20, 'x' ),
        .buttonName = "Again",
        .onButtonClick = [&] { pressed = true; },
        .type = NotificationType::Error,
        .lifeTimeSec = 0 } );
    settle();
    ASSERT_TRUE( isWindowShown( "##notification" ) );
    EXPECT_GT( windowPointFromTop( "##notification", 0, 0 ).y, 150 );
    click( { windowPointFromTop( "##notification", 40, 0 ).x, windowPoint( "##notification", 0, 24 ).y } );
    EXPECT_TRUE( pressed );
    EXPECT_FALSE( isWindowShown( "##notification" ) );
}

TEST_F( Dialogs, NotificationsForWhichThereIsNoRoomWait )
{
    for ( int i = 0; i < 40; ++i )
        menu_->pushNotification( { .header = "Note " + std::to_string( i ),
            .text = "It is here",
            .type = NotificationType::Info,
            .lifeTimeSec = 1000 } );
    settle();
    EXPECT_TRUE( isWindowShown( "##notification39" ) );
    EXPECT_FALSE( isWindowShown( "##notification0" ) );
    for ( int i = 39; i > 0; --i )
    {
        const auto name = "##notification" + std::to_string( i );
        ASSERT_TRUE( isWindowShown( name ) ) << i;
        EXPECT_GT( windowPointFromTop( name, 0, 0 ).y, 120 ) << i;
        click( { windowPoint( name, 26, 0 ).x, windowPointFromTop( name, 0, 22 ).y } );
    }
    EXPECT_TRUE( isWindowShown( "##notification0" ) );
}

TEST_F( Dialogs, NotificationIsClosedByItsCross )
{
    menu_->pushNotification(
        { .header = "Saved", .text = "a file", .type = NotificationType::Info, .lifeTimeSec = 1000 } );
    settle();
    ASSERT_TRUE( isWindowShown( "##notification" ) );
    click( { windowPoint( "##notification", 26, 0 ).x, windowPointFromTop( "##notification", 0, 22 ).y } );
    EXPECT_FALSE( isWindowShown( "##notification" ) );
}

TEST_F( Dialogs, ProgressIsCanceledByEscapeWithinAFrame )
{
    std::atomic<bool> ended{ false };
    ProgressBar::orderWithMainThreadPostProcessing( "Opening a",
        [&]() -> ProgressBar::PostProcessing
        {
            while ( ProgressBar::setProgress( 0.3f ) )
                std::this_thread::yield();
            return [&] { ended = true; };
        } );
    turnUntil( [] { return isWindowShown( "##progress" ); } );
    window().pressKey( GLFW_KEY_ESCAPE, true );
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    window().pressKey( GLFW_KEY_ESCAPE, false );
    EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
    settle();
    EXPECT_FALSE( isWindowShown( "##progress" ) );
    EXPECT_FALSE( ended );
    EXPECT_FALSE( menu_->isModalShown() );
}

TEST_F( Dialogs, ProgressIsCanceledByItsButton )
{
    ProgressBar::order( "Opening a",
        []
        {
            while ( ProgressBar::setProgress( 0.3f ) )
                std::this_thread::yield();
        } );
    turnUntil( [] { return isWindowShown( "##progress" ); } );
    drawFrames( 3 );
    clickWhileBusy( windowPoint( "##progress", 50, 30 ) );
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
}

TEST_F( Dialogs, AFailingJobShowsItsText )
{
    const auto shown = [this]( const std::function<void()>& job )
    {
        EXPECT_TRUE( ProgressBar::order( "job", job ) );
        turnUntil( [] { return isWindowShown( "##modalMessage" ); } );
        settle();
        const auto text = Testing::shownText( "##modalMessage" );
        press( GLFW_KEY_ENTER );
        return text;
    };
    EXPECT_NE( shown( [] { throw std::runtime_error( "It broke" ); } ).find( "It broke\n" ), std::string::npos );
    EXPECT_NE( shown( [] { throw std::runtime_error( "" ); } ).find( "Unknown error\n" ), std::string::npos );
    EXPECT_NE( shown( [] { throw 5; } ).find( "Unknown error\n" ), std::string::npos );
}

TEST_F( Dialogs, TheTimeOfAJobThatReportsNothingGoesOn )
{
    std::promise<void> release;
    auto released = release.get_future();
    ProgressBar::order( "silent", [&] { released.wait(); } );
    turnUntil( [] { return isWindowShown( "##progress" ); } );
    settle();
    const auto before = viewer().framesDrawn();
    turnUntil( [before] { return viewer().framesDrawn() >= before + 3; } );
    release.set_value();
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
}

TEST_F( Dialogs, FileBrowserOpensAFileByKeyboard )
{
    std::filesystem::create_directory( folder_.path() / "sub" );
    folder_.write( "sub/cube.vxu", Testing::cubeFile() );
    folder_.write( "notes.doc", "not for us" );
    press( GLFW_KEY_O, GLFW_MOD_CONTROL );
    ASSERT_TRUE( isWindowShown( "Open files" ) );
    press( GLFW_KEY_DOWN );
    // The settings' folder sorts before or after; go on until the one we want is entered.
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_ENTER );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_ENTER );
    turnUntil( [] { return !viewer().sceneRoot().children().empty(); } );
    EXPECT_EQ( viewer().sceneRoot().children()[0]->name(), "Cube" );
    EXPECT_FALSE( isWindowShown( "Open files" ) );
}

TEST_F( Dialogs, FileBrowserListsStepFiles )
{
    folder_.write( "part.step", "x" );
    const auto listing = FolderListing::read( folder_.path(), false );
    ASSERT_EQ( listing.entries.size(), 2u ); // the settings' folder comes first
    EXPECT_EQ( listing.entries[1].name, "part.step" );
    EXPECT_EQ( listing.entries[1].size, "1 B" );
}

TEST_F( Dialogs, FileBrowserIsLeftByEscape )
{
    press( GLFW_KEY_O, GLFW_MOD_CONTROL );
    ASSERT_TRUE( isWindowShown( "Open files" ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isWindowShown( "Open files" ) );
}
