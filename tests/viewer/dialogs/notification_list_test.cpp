#include "support/ui/BareInterface.h"
#include "support/ui/ShownText.h"

#include <VXViewer/dialogs/NotificationList.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

class NotificationLists : public Testing::BareInterface
{
protected:
    NotificationLists()
    {
        draw = [this] { list_.draw( cTop ); };
    }
    void push( const std::string& header, float seconds = 0, const std::string& text = {} )
    {
        list_.push( { .header = header, .text = text, .lifeTimeSec = seconds } );
    }
    /// The window of the note that was pushed as the n-th of all.
    static const ImGuiWindow* window( int n )
    {
        return ImGui::FindWindowByName( fmt::format( "##notification{}", n ).c_str() );
    }
    static bool isNoteShown( int n ) { return window( n ) && window( n )->Active; }
    static float lower( int n ) { return window( n )->Pos.y + window( n )->Size.y; }

    static constexpr float cTop = 100;
    NotificationList list_;
};

} // namespace

TEST_F( NotificationLists, ANoteGoesWhenItsTimeIsOver )
{
    push( "Short", 2 );
    push( "Long", 5 );
    frames( 1, 0.5 );
    frames( 3, 0.5 );
    EXPECT_EQ( list_.size(), 2u );
    frames( 1, 0.6 );
    EXPECT_EQ( list_.size(), 1u );
    frames( 2 );
    EXPECT_FALSE( says( "##notification", "Short" ) );
    EXPECT_TRUE( says( "##notification", "Long" ) );
    frames( 6, 0.5 );
    EXPECT_EQ( list_.size(), 0u );
}

TEST_F( NotificationLists, ItsTimeBeginsWhenItIsFirstSeen )
{
    push( "Late", 2 );
    draw = {};
    frames( 10, 1 );
    draw = [this] { list_.draw( cTop ); };
    frames( 1 );
    frames( 1, 1.5 );
    EXPECT_EQ( list_.size(), 1u );
    frames( 1, 1 );
    EXPECT_EQ( list_.size(), 0u );
}

TEST_F( NotificationLists, AFrameIsAskedForWhenTheNextOneIsToGo )
{
    push( "Long", 5 );
    push( "Short", 2 );
    frames( 1 );
    EXPECT_GT( frameWantedIn_, 2 );
    EXPECT_LT( frameWantedIn_, 2.1 );
    list_.clear();
    push( "Stays", 0 );
    frameWantedIn_ = -1;
    frames( 2 );
    EXPECT_LT( frameWantedIn_, 0 ) << "nothing happens by itself";
}

TEST_F( NotificationLists, ItsTimeStandsStillUnderThePointer )
{
    push( "Read me", 1 );
    settle();
    moveMouse( { window( 0 )->Pos.x + 50, window( 0 )->Pos.y + 10 } );
    frames( 5, 1 );
    EXPECT_EQ( list_.size(), 1u );
    moveMouse( { 10, 10 } );
    frames( 1, 0.5 );
    EXPECT_EQ( list_.size(), 1u ) << "the whole time again";
    frames( 1, 0.6 );
    EXPECT_EQ( list_.size(), 0u );
}

TEST_F( NotificationLists, TheNewestStandsAtTheTopAndNoneOverAnother )
{
    for ( const char* name : { "First", "Second", "Third" } )
        push( name );
    settle();
    EXPECT_GT( window( 0 )->Pos.y, lower( 1 ) );
    EXPECT_GT( window( 1 )->Pos.y, lower( 2 ) );
}

TEST_F( NotificationLists, TheSameNoteAgainIsCountedAndItsTimeBeginsAnew )
{
    push( "Done", 2, "All of it" );
    frames( 1 );
    frames( 1, 1.5 );
    push( "Done", 2, "All of it" );
    frames( 1 );
    frames( 1, 1.5 );
    EXPECT_EQ( list_.size(), 1u );
    EXPECT_TRUE( says( "##notification0", "Done (2)" ) );
    push( "Done", 2, "All of it" );
    settle();
    EXPECT_TRUE( says( "##notification0", "Done (3)" ) );
    push( "Done", 2, "Half of it" );
    list_.push( { .header = "Done", .text = "All of it", .type = NotificationType::Error } );
    EXPECT_EQ( list_.size(), 3u ) << "another text or kind is another note";
}

TEST_F( NotificationLists, ANoteWithAKeyTakesThePlaceOfTheFormerAndGoesByIt )
{
    const auto news = [this]( const std::string& text )
    { list_.push( { .header = "Import", .text = text, .lifeTimeSec = 2, .key = "import" } ); };
    news( "half" );
    push( "Another" );
    frames( 1 );
    frames( 1, 1.5 );
    news( "done" );
    frames( 1 );
    frames( 1, 1.5 );
    EXPECT_EQ( list_.size(), 2u ) << "its time has begun anew";
    EXPECT_FALSE( says( "##notification0", "half" ) );
    EXPECT_TRUE( says( "##notification0", "done" ) ) << "in its old place";
    list_.remove( "export" );
    EXPECT_EQ( list_.size(), 2u );
    list_.remove( "import" );
    frames( 2 );
    EXPECT_FALSE( isNoteShown( 0 ) );
    EXPECT_TRUE( isNoteShown( 1 ) );
}

TEST_F( NotificationLists, WhatHasNoRoomWaitsAndIsCounted )
{
    for ( int i = 0; i < 40; ++i )
        push( fmt::format( "Note {}", i ) );
    // Each frame finds room for some more, whose heights were only guessed before.
    frames( 20 );
    int shown = 0;
    for ( int i = 0; i < 40; ++i )
        if ( isNoteShown( i ) )
        {
            ++shown;
            EXPECT_GE( window( i )->Pos.y, cTop ) << i;
        }
    EXPECT_GT( shown, 5 );
    EXPECT_LT( shown, 40 );
    EXPECT_TRUE( isNoteShown( 39 ) ) << "the newest";
    EXPECT_TRUE( says( "##notificationRow", fmt::format( "{} more", 40 - shown ) ) );
    frames( 10, 10 );
    clickText( "##notificationRow", "Dismiss all" );
    EXPECT_EQ( list_.size(), 0u );
}

TEST_F( NotificationLists, TheTimeOfOneThatWaitsHasNotBegun )
{
    push( "Waits", 1 );
    for ( int i = 0; i < 40; ++i )
        list_.push( { .header = fmt::format( "Note {}", i ), .lifeTimeSec = 0, .key = fmt::format( "{}", i ) } );
    frames( 5, 1 );
    EXPECT_FALSE( isNoteShown( 0 ) );
    EXPECT_EQ( list_.size(), 41u );
    for ( int i = 0; i < 40; ++i )
        list_.remove( fmt::format( "{}", i ) );
    frames( 1 );
    frames( 1, 0.9 );
    EXPECT_TRUE( isNoteShown( 0 ) );
    EXPECT_EQ( list_.size(), 1u );
    frames( 1, 0.2 );
    EXPECT_EQ( list_.size(), 0u );
}

TEST_F( NotificationLists, TwoNotesNeedNoRow )
{
    push( "One" );
    push( "Two" );
    settle();
    EXPECT_FALSE( isShown( "##notificationRow" ) );
    push( "Three" );
    settle();
    EXPECT_TRUE( isShown( "##notificationRow" ) );
    EXPECT_FALSE( says( "##notificationRow", "more" ) );
}

TEST_F( NotificationLists, TheNewestIsShownWhereThereIsNoRoomAtAll )
{
    ImGui::GetIO().DisplaySize = { 300, 120 };
    push( "Old" );
    push( "New" );
    settle();
    EXPECT_TRUE( isNoteShown( 1 ) );
    EXPECT_FALSE( isNoteShown( 0 ) );
}

TEST_F( NotificationLists, AButtonClosesItsNoteAndMayBringAnother )
{
    list_.push( { .header = "Offer",
        .buttonName = "Take it",
        .onButtonClick = [this] { push( "Taken" ); },
        .lifeTimeSec = 0 } );
    settle();
    clickText( "##notification0", "Take it" );
    EXPECT_EQ( list_.size(), 1u );
    EXPECT_TRUE( says( "##notification1", "Taken" ) );
}
