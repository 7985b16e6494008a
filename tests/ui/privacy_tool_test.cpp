#include "support/UiFixture.h"

#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

class PrivacyPageTool : public Testing::UiFixture
{
protected:
    static const ImGuiWindow* page()
    {
        return isWindowShown( "Privacy" ) ? ImGui::FindWindowByName( "Privacy" ) : nullptr;
    }
};

} // namespace

TEST_F( PrivacyPageTool, IsShownAndHiddenByItsTool )
{
    EXPECT_FALSE( isActive( "Privacy" ) );
    pressTool( "Privacy" );
    EXPECT_TRUE( isActive( "Privacy" ) );
    ASSERT_TRUE( page() );
    EXPECT_EQ( page()->Size.x, 460 );
    pressTool( "Privacy" );
    EXPECT_FALSE( isActive( "Privacy" ) );
    EXPECT_FALSE( page() );
}

TEST_F( PrivacyPageTool, HoldsTheWholePageAtAnyScale )
{
    pressTool( "Privacy" );
    ASSERT_TRUE( page() );
    const float height = page()->ContentSize.y;
    EXPECT_GT( height, 40 * ImGui::GetFontSize() ) << "all that is sent takes some lines";
    window().resize( 2000, 1400, 2 );
    settle();
    ASSERT_TRUE( page() );
    EXPECT_EQ( page()->Size.x, 920 );
    EXPECT_NEAR( page()->ContentSize.y / height, 2, 0.2 );
}
