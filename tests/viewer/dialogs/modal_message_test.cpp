#include "support/ui/BareInterface.h"

#include <VXViewer/dialogs/ModalMessage.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr const char* cWindow = "##modalMessage";

class ModalMessages : public Testing::BareInterface
{
protected:
    ModalMessages()
    {
        draw = [this] { message_.draw(); };
    }
    void push( const std::string& text, NotificationType type = NotificationType::Error )
    {
        message_.push( text, type );
        settle();
    }

    ModalMessage message_;
};

} // namespace

TEST_F( ModalMessages, ComeInTheirOrder )
{
    for ( const char* text : { "first", "second", "third" } )
        push( text );
    for ( const char* text : { "first", "second", "third" } )
    {
        EXPECT_TRUE( message_.isShown() );
        EXPECT_TRUE( says( cWindow, text ) ) << said( cWindow );
        press( GLFW_KEY_ENTER );
    }
    EXPECT_FALSE( message_.isShown() );
    EXPECT_FALSE( isShown( cWindow ) );
}

TEST_F( ModalMessages, AreConfirmedByEnterEscapeAndTheMouse )
{
    push( "by Enter" );
    push( "by Escape" );
    push( "by the mouse" );
    press( GLFW_KEY_SPACE );
    EXPECT_TRUE( says( cWindow, "by Enter" ) ) << "not by any key";
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( says( cWindow, "by Escape" ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_TRUE( says( cWindow, "by the mouse" ) );
    clickText( cWindow, "OK" );
    EXPECT_FALSE( message_.isShown() );
}

TEST_F( ModalMessages, TheSameOneWaitsOnceAndComesAgainLater )
{
    push( "same" );
    push( "same" );
    push( "same", NotificationType::Warning );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( says( cWindow, "Warning" ) ) << "another kind is another message";
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( message_.isShown() );
    push( "same" );
    EXPECT_TRUE( message_.isShown() ) << "it has been read once, this is news";
}

TEST_F( ModalMessages, SayOfWhatKindTheyAre )
{
    for ( const auto& [type, title] : { std::pair{ NotificationType::Error, "Error" },
              { NotificationType::Warning, "Warning" }, { NotificationType::Info, "Info" } } )
    {
        push( "text", type );
        EXPECT_TRUE( says( cWindow, title ) ) << said( cWindow );
        press( GLFW_KEY_ENTER );
    }
}

TEST_F( ModalMessages, ASecondButtonActsAfterItsMessageIsGone )
{
    bool shownWhenPressed = true;
    push( "other" );
    push( "offer" );
    message_.addButton( "offer", NotificationType::Error, "Repair", [&] { shownWhenPressed = message_.isShown(); } );
    EXPECT_FALSE( says( cWindow, "Repair" ) ) << "the message before it has none";
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( says( cWindow, "Repair" ) );
    clickText( cWindow, "Repair" );
    EXPECT_FALSE( shownWhenPressed );
}

TEST_F( ModalMessages, OkDoesNothingMore )
{
    bool pressed = false;
    push( "offer" );
    message_.addButton( "offer", NotificationType::Error, "Repair", [&] { pressed = true; } );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( message_.isShown() );
    EXPECT_FALSE( pressed );
}

TEST_F( ModalMessages, AButtonMayBringTheNextMessage )
{
    push( "offer" );
    message_.addButton(
        "offer", NotificationType::Error, "Again", [this] { message_.push( "offer", NotificationType::Error ); } );
    settle();
    clickText( cWindow, "Again" );
    EXPECT_TRUE( says( cWindow, "offer" ) );
    EXPECT_FALSE( says( cWindow, "Again" ) ) << "the button belonged to the former one";
}

TEST_F( ModalMessages, ALongOneLeavesItsButtonInTheWindow )
{
    std::string text;
    for ( int i = 0; i < 500; ++i )
        text += "one of very many lines\n";
    push( text );
    clickText( cWindow, "OK" );
    EXPECT_FALSE( message_.isShown() );
}
