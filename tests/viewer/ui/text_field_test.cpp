#include "support/ui/BareInterface.h"

#include <VXViewer/ui/TextField.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

std::string sClipboard;

/// A field with the keyboard.
class TextFields : public Testing::BareInterface
{
protected:
    TextFields()
    {
        sClipboard.clear();
        ImGui::GetIO().SetClipboardTextFn = []( void*, const char* text ) { sClipboard = text; };
        ImGui::GetIO().GetClipboardTextFn = []( void* ) { return sClipboard.c_str(); };
        draw = [this]
        {
            ImGui::SetNextWindowPos( { 100, 100 } );
            ImGui::SetNextWindowSize( { 400, 200 } );
            ImGui::Begin( "Form" );
            if ( std::exchange( focus_, false ) )
                ImGui::SetKeyboardFocusHere();
            const auto result = UI::textField( params_.masked ? "##masked" : "##field", value_, params_ );
            at_ = { ImGui::GetItemRectMin().x + 100, ImGui::GetItemRectMin().y + 8 };
            changed_ |= result.changed;
            entered_ |= result.entered;
            left_ |= result.left;
            active_ = result.active;
            ImGui::End();
        };
    }
    void begin( const std::string& value, const UI::TextFieldParams& params = {} )
    {
        value_ = value;
        params_ = params;
        focus_ = true;
        settle();
        // The keyboard comes as by Tab, which marks the text.
        if ( !params.selectAll )
            press( GLFW_KEY_END );
        changed_ = false;
    }
    void undo() { press( GLFW_KEY_Z, ControlModifier ); }
    void clickRight()
    {
        moveMouse( at_ );
        for ( const bool down : { true, false } )
        {
            ImGui::GetIO().MouseDown[1] = down;
            frames( 1 );
        }
        settle();
    }
    void choose( const char* item ) { clickText( "##Popup", item ); }

    std::string value_;
    UI::TextFieldParams params_;
    bool focus_ = false, changed_ = false, entered_ = false, left_ = false, active_ = false;
    Vector2f at_;
};

} // namespace

TEST_F( TextFields, TellWhatHasBecomeOfThem )
{
    begin( "a" );
    EXPECT_TRUE( active_ );
    type( "b" );
    EXPECT_TRUE( changed_ );
    EXPECT_FALSE( entered_ || left_ );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( entered_ && left_ );
    EXPECT_FALSE( active_ );
}

TEST_F( TextFields, AHeldEnterThatBroughtTheFieldDoesNotEndIt )
{
    ImGui::GetIO().KeysDown[GLFW_KEY_ENTER] = true;
    begin( "a" );
    frames( 120 );
    EXPECT_TRUE( active_ );
    EXPECT_FALSE( entered_ || left_ );
    ImGui::GetIO().KeysDown[GLFW_KEY_ENTER] = false;
    frames( 1 );
    press( GLFW_KEY_KP_ENTER );
    EXPECT_TRUE( entered_ );
}

TEST_F( TextFields, EscapeLeavesWhatWasTypedAndIsNoEnter )
{
    begin( "former" );
    type( " and more" );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( value_, "former and more" );
    EXPECT_TRUE( left_ );
    EXPECT_FALSE( entered_ );
}

TEST_F( TextFields, UndoTakesBackWhatWasTypedAndNoMore )
{
    begin( "former" );
    type( "!" );
    type( "?" );
    undo();
    EXPECT_EQ( value_, "former!" );
    undo();
    undo();
    EXPECT_EQ( value_, "former" );
    press( GLFW_KEY_Y, ControlModifier );
    EXPECT_EQ( value_, "former!" );
}

TEST_F( TextFields, ATextThatIsSetUnderTheKeyboardWinsAndBeginsItsHistory )
{
    begin( "former" );
    type( "!" );
    value_ = "set";
    settle();
    EXPECT_EQ( value_, "set" );
    undo();
    EXPECT_EQ( value_, "set" ) << "what was undone would be of another text";
    type( "x" );
    EXPECT_EQ( value_, "setx" ) << "the cursor is at its end";
    undo();
    EXPECT_EQ( value_, "set" );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( value_, "set" ) << "nor does Escape bring the former back";
}

TEST_F( TextFields, TheWholeTextIsMarkedWhereThatIsWanted )
{
    value_ = "former";
    params_ = { .selectAll = true };
    settle();
    click( at_ );
    type( "new" );
    EXPECT_EQ( value_, "new" );
}

TEST_F( TextFields, AMaskedOneShowsStarsAndUndoesNothing )
{
    begin( "", { .hint = "Password", .masked = true } );
    EXPECT_TRUE( says( "Form", "Password" ) );
    type( "secret" );
    EXPECT_TRUE( says( "Form", "******" ) );
    EXPECT_FALSE( says( "Form", "secret" ) );
    press( GLFW_KEY_A, ControlModifier );
    press( GLFW_KEY_C, ControlModifier );
    press( GLFW_KEY_X, ControlModifier );
    EXPECT_EQ( sClipboard, "" );
    EXPECT_EQ( value_, "secret" );
    undo();
    EXPECT_EQ( value_, "secret" );
}

TEST_F( TextFields, TheMenuCutsAndPastesWhatIsMarked )
{
    begin( "äöü", { .selectAll = true } );
    clickRight();
    EXPECT_TRUE( active_ ) << "its menu is a part of it";
    EXPECT_FALSE( left_ );
    choose( "Cut" );
    EXPECT_EQ( value_, "" );
    EXPECT_EQ( sClipboard, "äöü" );
    EXPECT_TRUE( changed_ );
    EXPECT_TRUE( active_ ) << "the keyboard is back";
    clickRight();
    choose( "Paste" );
    clickRight();
    choose( "Paste" );
    EXPECT_EQ( value_, "äöüäöü" );
}

TEST_F( TextFields, WhatTheMenuDidIsTakenBackLikeTyping )
{
    begin( "former", { .selectAll = true } );
    sClipboard = "pasted";
    clickRight();
    choose( "Paste" );
    EXPECT_EQ( value_, "pasted" );
    undo();
    EXPECT_EQ( value_, "former" );
    press( GLFW_KEY_Y, ControlModifier );
    EXPECT_EQ( value_, "pasted" );
}

TEST_F( TextFields, PastingLeavesOutWhatIsNoLetter )
{
    begin( "" );
    sClipboard = "two\nlines\tand a bell\a\x7f";
    clickRight();
    choose( "Paste" );
    EXPECT_EQ( value_, "twolinesand a bell" );
}

TEST_F( TextFields, MarkingAllByTheMenuLetsTypingReplaceIt )
{
    begin( "former" );
    clickRight();
    choose( "Select all" );
    type( "x" );
    EXPECT_EQ( value_, "x" );
}

TEST_F( TextFields, TheMenuOfAMaskedOneOnlyPastes )
{
    begin( "secret", { .masked = true } );
    sClipboard = "other";
    clickRight();
    EXPECT_FALSE( says( "##Popup", "Copy" ) || says( "##Popup", "Cut" ) );
    choose( "Paste" );
    EXPECT_EQ( value_, "secretother" );
    EXPECT_EQ( sClipboard, "other" );
}
