#include "support/ui/BareInterface.h"

#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/KeyMap.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/Modal.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <set>

using namespace VX;

namespace
{

/// Modals by their names, which Enter answers.
class ModalsInTurn : public Testing::BareInterface
{
protected:
    ModalsInTurn()
    {
        draw = [this]
        {
            for ( auto& modal : modals_ )
                drawModal( modal );
        };
    }
    struct Modal
    {
        const char* name;
        bool wanted = true;
        bool drawn = true;
    };
    void drawModal( Modal& modal )
    {
        if ( !modal.drawn )
            return;
        if ( modal.wanted )
            UI::openModalInTurn( modal.name );
        if ( !ImGui::BeginModalNoAnimation( modal.name ) )
            return;
        ImGui::TextUnformatted( modal.name );
        if ( UI::keyPressed( ImGuiKey_Enter ) )
        {
            answered_ += modal.name;
            modal.wanted = false;
            ImGui::CloseCurrentPopup();
        }
        ImGui::EndPopup();
    }
    [[nodiscard]] std::string standing() const
    {
        std::string out;
        for ( const auto& modal : modals_ )
            out += isShown( modal.name ) ? modal.name : "";
        return out;
    }

    std::vector<Modal> modals_{ { "first" }, { "second" }, { "third" } };
    std::string answered_;
};

} // namespace

TEST_F( ModalsInTurn, OneStandsAtATimeAndEachKeyAnswersOne )
{
    settle();
    EXPECT_EQ( standing(), "first" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( answered_, "first" );
    EXPECT_EQ( standing(), "second" );
    press( GLFW_KEY_ENTER );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( answered_, "firstsecondthird" );
    EXPECT_EQ( standing(), "" );
}

TEST_F( ModalsInTurn, OneThatIsDrawnNoMoreMakesRoom )
{
    const auto inTurn = draw;
    draw = [inTurn]
    {
        inTurn();
        ImGui::Begin( "panel", nullptr, ImGuiWindowFlags_NoFocusOnAppearing );
        ImGui::End();
    };
    settle();
    modals_[0].drawn = false;
    settle();
    EXPECT_EQ( standing(), "second" );
    EXPECT_EQ( answered_, "" );
}

TEST_F( ModalsInTurn, OneOfSomebodyElseTakesThePlaceAndTheOtherComesBack )
{
    settle();
    const auto inTurn = draw;
    bool open = true;
    draw = [&, inTurn]
    {
        if ( open )
            ImGui::OpenPopup( "rude" );
        inTurn();
        if ( ImGui::BeginModalNoAnimation( "rude" ) )
        {
            if ( !open )
                ImGui::CloseCurrentPopup();
            ImGui::EndPopup();
        }
    };
    frames( 2 );
    EXPECT_TRUE( isShown( "rude" ) );
    EXPECT_EQ( standing(), "" );
    open = false;
    settle();
    EXPECT_FALSE( isShown( "rude" ) );
    EXPECT_EQ( standing(), "first" );
}

TEST_F( ModalsInTurn, AFrameIsDueWhenOneHasComeOrGone )
{
    const auto inTurn = draw;
    std::string due;
    draw = [&, inTurn]
    {
        inTurn();
        due += UI::endModals() ? "+" : "-";
    };
    frames( 3 );
    EXPECT_EQ( due, "+--" );
    for ( auto& modal : modals_ )
        modal.wanted = modal.drawn = false;
    due.clear();
    frames( 3 );
    EXPECT_EQ( due.substr( 1 ), "--" ) << "and it is quiet when none stands";
}

TEST_F( ModalsInTurn, AWindowThatComesLaterStaysBehind )
{
    const auto inTurn = draw;
    bool noted = false;
    draw = [&, inTurn]
    {
        inTurn();
        if ( !noted )
            return;
        ImGui::Begin( "note", nullptr, ImGuiWindowFlags_NoFocusOnAppearing );
        UI::keepBehindModals();
        ImGui::End();
    };
    settle();
    noted = true;
    settle();
    const auto& windows = ImGui::GetCurrentContext()->Windows;
    const auto place = [&]( const char* name )
    { return std::find( windows.begin(), windows.end(), ImGui::FindWindowByName( name ) ) - windows.begin(); };
    EXPECT_TRUE( isShown( "note" ) );
    EXPECT_LT( place( "note" ), place( "first" ) );
}

TEST_F( ModalsInTurn, AKeyThatHasClosedAPopupIsHeardByNobodyBelowIt )
{
    modals_.resize( 1 );
    int heard = 0;
    const auto inTurn = draw;
    draw = [&, inTurn]
    {
        inTurn();
        heard += UI::keyPressed( ImGuiKey_Enter );
    };
    settle();
    ImGui::GetIO().KeysDown[GLFW_KEY_ENTER] = true;
    frames( 1 );
    EXPECT_EQ( answered_, "first" );
    EXPECT_EQ( heard, 0 );
    frames( 60 );
    EXPECT_EQ( heard, 0 ) << "nor by its being held";
    ImGui::GetIO().KeysDown[GLFW_KEY_ENTER] = false;
    frames( 1 );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( heard, 1 );
}

TEST( KeyMap, KnowsEveryKeyThatDearImGuiAsksForByACodeOfItsOwn )
{
    ImGui::CreateContext();
    auto& io = ImGui::GetIO();
    fillGlfwKeyMap( io );
    std::set<int> codes;
    for ( int key = 0; key < ImGuiKey_COUNT; ++key )
    {
        EXPECT_GE( io.KeyMap[key], 0 ) << key;
        codes.insert( io.KeyMap[key] );
    }
    EXPECT_EQ( codes.size(), size_t( ImGuiKey_COUNT ) );
    EXPECT_EQ( io.KeyMap[ImGuiKey_Enter], GLFW_KEY_ENTER );
    EXPECT_EQ( io.KeyMap[ImGuiKey_KeyPadEnter], GLFW_KEY_KP_ENTER );
    EXPECT_EQ( io.KeyMap[ImGuiKey_PageUp], GLFW_KEY_PAGE_UP );
    EXPECT_EQ( io.KeyMap[ImGuiKey_Z], GLFW_KEY_Z );
    ImGui::DestroyContext();
}
