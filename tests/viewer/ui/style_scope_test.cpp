#include "support/ui/BareInterface.h"

#include <VXViewer/ui/StyleScope.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <optional>

using namespace VX;

namespace
{

/// How much of Dear ImGui's style is pushed, and the values that the tests change.
struct Style
{
    int colors, variables;
    ImU32 text;
    float rounding;
    ImVec2 spacing;

    static Style now()
    {
        const auto& context = *ImGui::GetCurrentContext();
        return { context.ColorStack.Size, context.StyleVarStack.Size,
            ImGui::ColorConvertFloat4ToU32( context.Style.Colors[ImGuiCol_Text] ), context.Style.FrameRounding,
            context.Style.ItemSpacing };
    }
    friend bool operator==( const Style& a, const Style& b )
    {
        return a.colors == b.colors && a.variables == b.variables && a.text == b.text && a.rounding == b.rounding &&
               a.spacing.x == b.spacing.x && a.spacing.y == b.spacing.y;
    }
};

constexpr ImU32 cRed = IM_COL32( 255, 0, 0, 255 ), cBlue = IM_COL32( 0, 0, 255, 255 );

/// Of a function that ends early where it is asked to, the style that stands in it.
Style drawn( bool early )
{
    const StyleScope style( { { ImGuiCol_Text, cRed }, { ImGuiStyleVar_FrameRounding, 7.f } } );
    if ( early )
        return Style::now();
    const StyleScope more( { { ImGuiStyleVar_ItemSpacing, { 3, 5 } } } );
    return Style::now();
}

class StyleScopes : public Testing::BareInterface
{
protected:
    /// In a frame, after which nothing may be left on the stacks.
    void inFrame( std::function<void()> what )
    {
        const auto before = Style::now();
        draw = std::move( what );
        frames( 1 );
        EXPECT_TRUE( Style::now() == before );
    }
};

} // namespace

TEST_F( StyleScopes, ColoursAndMeasuresOfEveryKindStandUntilTheScopeEnds )
{
    inFrame(
        []
        {
            const auto before = Style::now();
            {
                const StyleScope style( { { ImGuiCol_Text, cRed }, { ImGuiStyleVar_FrameRounding, 7.f },
                    { ImGuiCol_Button, ImVec4{ 0, 1, 0, 1 } }, { ImGuiStyleVar_ItemSpacing, { 3, 5 } },
                    { ImGuiCol_Border, cBlue } } );
                const auto within = Style::now();
                EXPECT_EQ( within.colors, before.colors + 3 );
                EXPECT_EQ( within.variables, before.variables + 2 );
                EXPECT_EQ( within.text, cRed );
                EXPECT_EQ( within.rounding, 7 );
                EXPECT_EQ( within.spacing.x, 3 );
                EXPECT_EQ( within.spacing.y, 5 );
                EXPECT_EQ( ImGui::GetStyleColorVec4( ImGuiCol_Button ).y, 1 );
            }
            EXPECT_TRUE( Style::now() == before );
        } );
}

TEST_F( StyleScopes, AnInnerOneEndsWithoutTheOuter )
{
    inFrame(
        []
        {
            const StyleScope outer( { { ImGuiCol_Text, cRed }, { ImGuiStyleVar_FrameRounding, 7.f } } );
            const auto outside = Style::now();
            {
                const StyleScope inner( { { ImGuiCol_Text, cBlue }, { ImGuiStyleVar_FrameRounding, 9.f } } );
                EXPECT_EQ( Style::now().text, cBlue );
                EXPECT_EQ( Style::now().rounding, 9 );
            }
            EXPECT_TRUE( Style::now() == outside );
        } );
}

TEST_F( StyleScopes, AFunctionThatEndsEarlyLeavesNothingBehind )
{
    inFrame(
        []
        {
            const auto before = Style::now();
            const auto early = drawn( true );
            EXPECT_EQ( early.text, cRed );
            EXPECT_EQ( early.variables, before.variables + 1 );
            EXPECT_TRUE( Style::now() == before );
            EXPECT_EQ( drawn( false ).variables, before.variables + 2 );
            EXPECT_TRUE( Style::now() == before );
        } );
}

TEST_F( StyleScopes, OneThatIsBegunLaterOrNotAtAllEndsAllTheSame )
{
    inFrame(
        []
        {
            const auto before = Style::now();
            std::optional<StyleScope> style;
            style.emplace( std::initializer_list<StyleScope::Entry>{ { ImGuiCol_Text, cRed } } );
            EXPECT_EQ( Style::now().colors, before.colors + 1 );
            style.reset();
            EXPECT_TRUE( Style::now() == before );
            const StyleScope none( {} );
            EXPECT_TRUE( Style::now() == before );
        } );
}
