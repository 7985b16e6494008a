#include "ui/account/SignInFixture.h"

#include <VXViewer/ui/TextField.h>

#include <gtest/gtest.h>
#include <imgui.h>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

ImGuiInputTextState& state()
{
    return ImGui::GetCurrentContext()->InputTextState;
}

/// What the field that has the keyboard shows.
std::string shownText()
{
    return state().TextA.empty() ? std::string() : std::string( ::state().TextA.Data );
}

/// Whether Dear ImGui holds a text anywhere, in the history, too.
bool isHeld( const std::string& text )
{
    std::string all;
    const auto take = [&]( const auto* data, int count )
    {
        all.append( 1, '|' );
        for ( int i = 0; i < count; ++i )
            all.append( 1, data[i] < 128 ? char( data[i] ) : '?' );
    };
    take( state().TextW.Data, state().TextW.Capacity );
    take( state().TextA.Data, state().TextA.Capacity );
    take( state().InitialTextA.Data, state().InitialTextA.Capacity );
    take( state().Stb.undostate.undo_char, STB_TEXTEDIT_UNDOCHARCOUNT );
    return all.find( text ) != std::string::npos;
}

/// Two fields in a window of their own, over an empty scene.
class TextField : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        drawing_ = viewer().perFrameSignal.connect( [this] { draw(); } );
        (void)frame();
    }
    void TearDown() override
    {
        drawing_.disconnect();
        UiFixture::TearDown();
    }
    void draw()
    {
        ImGui::SetNextWindowPos( { 500, 300 } );
        ImGui::SetNextWindowSize( { 300, 200 } );
        ImGui::Begin( "Fields", nullptr, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize );
        ImGui::SetNextItemWidth( -1 );
        result_ = UI::textField( "##plain", plain_ );
        plainAt_ = { ImGui::GetItemRectMin().x + 100, ImGui::GetItemRectMin().y + 10 };
        ImGui::SetNextItemWidth( -1 );
        UI::textField( "##masked", secret_, { .masked = true, .selectAll = true } );
        maskedAt_ = { ImGui::GetItemRectMin().x + 100, ImGui::GetItemRectMin().y + 10 };
        ImGui::End();
    }
    void clickRight( Vector2f at )
    {
        window().moveMouse( at );
        settle();
        window().pressMouse( MouseButton::Right, true );
        settle();
        window().pressMouse( MouseButton::Right, false );
        settle();
    }
    /// Presses an item of the open menu; it has so many.
    void choose( int item, int count )
    {
        for ( const ImGuiWindow* menu : ImGui::GetCurrentContext()->Windows )
            if ( menu->Active && ( menu->Flags & ImGuiWindowFlags_Popup ) )
            {
                const float pad = menu->WindowPadding.y, row = ( menu->Size.y - 2 * pad ) / float( count );
                return click( { menu->Pos.x + 30, menu->Pos.y + pad + row * ( float( item ) + 0.5f ) } );
            }
        FAIL() << "no menu is open";
    }
    [[nodiscard]] static float menuHeight()
    {
        for ( const ImGuiWindow* menu : ImGui::GetCurrentContext()->Windows )
            if ( menu->Active && ( menu->Flags & ImGuiWindowFlags_Popup ) )
                return menu->Size.y;
        return 0;
    }

    std::string plain_, secret_;
    UI::TextFieldResult result_;
    Vector2f plainAt_, maskedAt_;
    boost::signals2::connection drawing_;
};

class SignedOut : public Testing::SignInFixture
{
};

} // namespace

TEST_F( TextField, UndoesWhatWasTyped )
{
    click( plainAt_ );
    type( "one" );
    press( GLFW_KEY_END );
    type( " two" );
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_NE( plain_, "one two" );
    press( 'Y', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_, "one two" );
    click( maskedAt_ );
    click( plainAt_ );
    type( "!" );
    EXPECT_EQ( plain_.size(), 8u );
}

TEST_F( TextField, HistoryGoesWithATextThatIsChangedWhileTheFieldIsLeft )
{
    click( plainAt_ );
    type( "former text" );
    press( GLFW_KEY_ENTER );
    plain_.clear();
    click( plainAt_ );
    for ( int i = 0; i < 4; ++i )
        press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_, "" );
    type( "x" );
    EXPECT_EQ( plain_, "x" );
}

TEST_F( TextField, TextChangedUnderTheKeyboardIsTakenOver )
{
    click( plainAt_ );
    type( "former text" );
    plain_ = "n\xc3\xa4w";
    (void)frame();
    EXPECT_EQ( plain_, "n\xc3\xa4w" );
    EXPECT_EQ( shownText(), "n\xc3\xa4w" );
    for ( int i = 0; i < 4; ++i )
        press( 'Z', GLFW_MOD_CONTROL );
    type( "x" );
    EXPECT_EQ( plain_, "n\xc3\xa4wx" ) << "the cursor stands at the end";
}

TEST_F( TextField, EscapeLeavesWhatWasTyped )
{
    plain_ = "before";
    (void)frame();
    click( plainAt_ );
    press( GLFW_KEY_END );
    type( " after" );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( plain_, "before after" );
    click( maskedAt_ );
    type( "secret" );
    window().type( "-1" );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( secret_, "secret-1" );
}

TEST_F( TextField, MaskedOneKeepsNoFormerText )
{
    click( maskedAt_ );
    type( "secret-1" );
    EXPECT_TRUE( isHeld( "secret-1" ) );
    press( 'A', GLFW_MOD_CONTROL );
    type( "x" );
    EXPECT_FALSE( isHeld( "ecret" ) ) << "what was typed over";
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( secret_, "x" );
    type( "-another" );
    click( plainAt_ );
    EXPECT_FALSE( isHeld( "another" ) ) << "the next field uses the same memory";
    click( maskedAt_ );
    press( GLFW_KEY_TAB, GLFW_MOD_SHIFT );
    EXPECT_FALSE( isHeld( "another" ) );
    click( maskedAt_ );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isHeld( "another" ) );
    EXPECT_EQ( secret_, "x-another" );
}

TEST_F( TextField, MenuCutsCopiesPastesAndMarks )
{
    plain_ = "word";
    (void)frame();
    clickRight( plainAt_ );
    choose( 3, 4 );
    EXPECT_EQ( state().GetSelectionEnd() - state().GetSelectionStart(), 4 ) << "Select all";
    clickRight( plainAt_ );
    EXPECT_TRUE( result_.menuOpen );
    EXPECT_TRUE( result_.active );
    choose( 1, 4 );
    EXPECT_STREQ( ImGui::GetClipboardText(), "word" );
    EXPECT_EQ( plain_, "word" );
    EXPECT_FALSE( result_.menuOpen );
    clickRight( plainAt_ );
    choose( 0, 4 );
    EXPECT_EQ( plain_, "" );
    ImGui::SetClipboardText( "p\xc3\xa4st\r\n\x07" );
    clickRight( plainAt_ );
    choose( 2, 4 );
    EXPECT_EQ( plain_, "p\xc3\xa4st" ) << "one line, without controls";
    type( "ed" );
    EXPECT_EQ( plain_, "p\xc3\xa4sted" ) << "the field has the keyboard again";
    press( GLFW_KEY_LEFT );
    press( GLFW_KEY_LEFT, GLFW_MOD_SHIFT );
    clickRight( plainAt_ );
    choose( 0, 4 );
    EXPECT_EQ( plain_, "p\xc3\xa4std" ) << "what was marked";
}

TEST_F( TextField, WhatTheMenuDidIsUndoneLikeWhatWasTyped )
{
    click( plainAt_ );
    type( "one two" );
    press( GLFW_KEY_LEFT, GLFW_MOD_SHIFT );
    press( GLFW_KEY_LEFT, GLFW_MOD_SHIFT );
    press( GLFW_KEY_LEFT, GLFW_MOD_SHIFT );
    ImGui::SetClipboardText( "p\xc3\xa4st" );
    clickRight( plainAt_ );
    choose( 2, 4 );
    ASSERT_EQ( plain_, "one p\xc3\xa4st" );
    press( 'A', GLFW_MOD_CONTROL );
    clickRight( plainAt_ );
    choose( 0, 4 );
    ASSERT_EQ( plain_, "" );
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_, "one p\xc3\xa4st" ) << "the cut";
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_, "one two" ) << "the text pasted in place of what was marked";
    press( 'Y', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_, "one p\xc3\xa4st" );
    press( 'Z', GLFW_MOD_CONTROL );
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_, "one tw" ) << "what was typed before it";
}

TEST_F( TextField, HistoryThatHasNoRoomForWhatTheMenuTookAwayBeginsAnew )
{
    click( plainAt_ );
    for ( const int length : { 600, 600, 1500 } )
    {
        ImGui::SetClipboardText( std::string( size_t( length ), 'x' ).c_str() );
        press( 'A', GLFW_MOD_CONTROL );
        clickRight( plainAt_ );
        choose( 2, 4 );
        ASSERT_EQ( plain_.size(), size_t( length ) );
    }
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_.size(), 600u );
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_.size(), 600u ) << "the edits before it are gone";
    ImGui::SetClipboardText( std::string( 1500, 'x' ).c_str() );
    for ( int i = 0; i < 2; ++i )
    {
        press( 'A', GLFW_MOD_CONTROL );
        clickRight( plainAt_ );
        choose( 2, 4 );
    }
    press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( plain_.size(), 1500u ) << "more than a history holds";
}

TEST_F( TextField, MenuOfAMaskedOnePastesOnly )
{
    clickRight( plainAt_ );
    const float four = menuHeight();
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( menuHeight(), 0 );
    secret_ = "old";
    ImGui::SetClipboardText( "from elsewhere" );
    clickRight( maskedAt_ );
    EXPECT_LT( menuHeight(), four / 2 );
    choose( 0, 1 );
    EXPECT_EQ( secret_, "from elsewhere" );
    EXPECT_STREQ( ImGui::GetClipboardText(), "from elsewhere" );
}

TEST_F( TextField, SearchSurvivesUndoAfterATool )
{
    for ( int round = 0; round < 2; ++round )
    {
        press( 'F', GLFW_MOD_CONTROL );
        type( "switch theme" );
        press( GLFW_KEY_ENTER );
        press( 'F', GLFW_MOD_CONTROL );
        for ( int i = 0; i < 4; ++i )
            press( 'Z', GLFW_MOD_CONTROL );
        type( "a" );
        EXPECT_EQ( shownText(), "a" );
        press( GLFW_KEY_ESCAPE );
    }
}

TEST_F( SignedOut, FormHoldsNoPasswordToBeBroughtBack )
{
    settle();
    type( "ann@example.org" );
    press( GLFW_KEY_TAB );
    type( "secret-1" );
    enter();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    EXPECT_FALSE( isHeld( "ecret" ) );
    menu_->signOut();
    settle();
    for ( int i = 0; i < 3; ++i )
        press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( Access::password( auth() ), "" );
    type( "x" );
    EXPECT_EQ( Access::password( auth() ), "x" );
}

TEST_F( SignedOut, FormHoldsNoAddressToBeBroughtBackWithoutRemembering )
{
    Access::rememberMe( auth() ) = false;
    settle();
    press( GLFW_KEY_TAB );
    type( "secret-1" );
    press( GLFW_KEY_TAB, GLFW_MOD_SHIFT );
    type( "ann@example.org" );
    enter();
    answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    menu_->signOut();
    settle();
    for ( int i = 0; i < 3; ++i )
        press( 'Z', GLFW_MOD_CONTROL );
    EXPECT_EQ( Access::email( auth() ), "" );
    type( "b" );
    EXPECT_EQ( Access::email( auth() ), "b" );
}
