#include "TestPlaces.h"
#include "support/ui/DrawnWindow.h"
#include "support/ui/ShownText.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/telemetry/PageText.h>
#include <VXViewer/ui/ImGuiColor.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <fstream>

using namespace VX;
using Testing::DrawnWindow;

namespace
{

using Face = RibbonFontManager::FontType;
using Kind = PageLine::Kind;

class PrivacyPageTool : public Testing::UiFixture
{
protected:
    static const ImGuiWindow* page()
    {
        return isWindowShown( "Privacy" ) ? ImGui::FindWindowByName( "Privacy" ) : nullptr;
    }
    /// Opens it in a window that is so high that nothing of it has to scroll.
    void openWhole( float scale = 1 )
    {
        window().resize( int( 1280 * scale ), int( 3000 * scale ), scale );
        pressTool( "Privacy" );
        (void)frame();
        EXPECT_EQ( page()->ScrollMax.y, 0 );
    }
    static std::vector<PageLine> lines()
    {
        std::ifstream text( std::filesystem::path( ORVANTA_TEST_DATA ).parent_path() / "PRIVACY.md" );
        return pageLines( text );
    }
    /// The first words of a line, as many as stand on one for sure.
    static std::string firstWords( const std::string& text )
    {
        return text.size() < 30 ? text : text.substr( 0, text.rfind( ' ', 30 ) );
    }
};

/// A text without what depends on where its lines are broken.
std::string withoutSpaces( std::string text )
{
    std::erase_if( text, []( char c ) { return c == ' ' || c == '\n'; } );
    return text;
}

} // namespace

TEST_F( PrivacyPageTool, IsShownAndHiddenByItsTool )
{
    EXPECT_FALSE( isActive( "Privacy" ) );
    SessionLogsTestAccess::take();
    pressTool( "Privacy" );
    EXPECT_TRUE( isActive( "Privacy" ) );
    EXPECT_EQ( SessionLogsTestAccess::take(), std::vector<std::string>{ "Tool Activated: Privacy" } );
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

TEST_F( PrivacyPageTool, SaysEveryWordOfThePageInItsOrder )
{
    openWhole();
    std::string wanted = "Privacy";
    for ( const auto& line : lines() )
        wanted += withoutSpaces( line.text );
    EXPECT_EQ( withoutSpaces( Testing::shownText( "Privacy" ) ), wanted ) << "after the title of the dialog";
}

TEST_F( PrivacyPageTool, SetsHeadingsOffByTheirFaceAndItemsByADot )
{
    for ( const float s : { 1.f, 2.f } )
    {
        openWhole( s );
        const DrawnWindow shown( "Privacy" );
        size_t headings = 0, items = 0;
        float margin = 0;
        for ( const auto& line : lines() )
        {
            if ( line.kind == Kind::Gap )
                continue;
            const bool isHeading = line.kind == Kind::Heading;
            const auto found = shown.text(
                isHeading ? line.text : firstWords( line.text ), isHeading ? Face::SemiBold : Face::Default );
            ASSERT_TRUE( found ) << line.text;
            EXPECT_EQ( found->color, themeU32( ColorTheme::Text ) ) << line.text;
            if ( isHeading )
                margin = found->place.x;
            headings += isHeading;
            const bool hasDot = shown.isFilledWithin(
                { margin, found->place.y }, { found->place.x - 1, found->place.y + found->size.y } );
            EXPECT_EQ( hasDot, line.kind == Kind::Bullet ) << line.text;
            items += line.kind == Kind::Bullet;
            EXPECT_EQ( found->place.x > margin + 5 * s, line.kind == Kind::Bullet ) << line.text;
        }
        EXPECT_GT( headings, 4u );
        EXPECT_GT( items, 8u );
        pressTool( "Privacy" );
    }
}

TEST_F( PrivacyPageTool, LeavesAGapWhereThePageDoes )
{
    for ( const float s : { 1.f, 2.f } )
    {
        openWhole( s );
        const DrawnWindow shown( "Privacy" );
        const auto all = lines();
        ASSERT_EQ( all.at( 1 ).kind, Kind::Gap );
        const auto heading = shown.text( all[0].text, Face::SemiBold ), text = shown.text( firstWords( all[2].text ) );
        ASSERT_TRUE( heading && text );
        EXPECT_NEAR(
            text->place.y - heading->place.y - heading->size.y, 2 * ImGui::GetStyle().ItemSpacing.y + 2 * s, 1 );
        pressTool( "Privacy" );
    }
}
