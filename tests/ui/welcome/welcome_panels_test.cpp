#include "support/ui/DrawnWindow.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/welcome/WelcomeWindow.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/RibbonIcons.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <cstdlib>

#include <sys/stat.h>

using namespace VX;
using Testing::DrawnWindow;

namespace
{

using Face = RibbonFontManager::FontType;

constexpr Face cHeading = Face( 6 );
constexpr ImU32 cGrey = 0xff7f7f7f;

/// What stands where in the panels of the start screen.
class WelcomePanels : public Testing::UiFixture
{
protected:
    [[nodiscard]] std::string settings() const override { return R"({"telemetryDisclaimerModalShowed":0})"; }
    void TearDown() override
    {
        UiFixture::TearDown();
        SessionLogsTestAccess::take();
    }
    void showAt( float scale )
    {
        window().resize( int( 1400 * scale ), int( 900 * scale ), scale );
        settle();
    }
    [[nodiscard]] WelcomeWindow& welcome() { return OrvantaMenuTestAccess::welcomeWindow( *menu_ ); }
    /// Whether the pointer at a place of a window is over an item of it.
    bool isAt( const char* name, Vector2f place, const std::vector<std::string>& item )
    {
        window().moveMouse( DrawnWindow( name ).corner() + place );
        drawFrames( 2 );
        return DrawnWindow( name ).isPointedAt( item );
    }
    /// An item reaches from one place to another, and no pixel farther.
    void expectItem( const char* name, const std::vector<std::string>& item, Vector2f low, Vector2f size )
    {
        const Vector2f high = low + size, inside{ 2, 2 };
        EXPECT_TRUE( isAt( name, low + inside, item ) ) << item[0];
        EXPECT_TRUE( isAt( name, high - inside, item ) ) << item[0];
        for ( const Vector2f place : { Vector2f{ low.x - 2, low.y + 2 }, Vector2f{ low.x + 2, low.y - 2 },
                  Vector2f{ high.x + 2, high.y - 2 }, Vector2f{ high.x - 2, high.y + 2 } } )
            EXPECT_FALSE( isAt( name, place, item ) ) << item[0] << " " << place.x << " " << place.y;
    }
};

void expectText( const DrawnWindow& window, const std::string& line, Face face, Vector2f place )
{
    const auto found = window.text( line, face );
    ASSERT_TRUE( found ) << line;
    EXPECT_NEAR( found->place.x, place.x, 1 ) << line;
    EXPECT_NEAR( found->place.y, place.y, 1 ) << line;
}

/// A line in the middle of a panel.
void expectCentered( const DrawnWindow& window, const std::string& line, Face face, float width, float y )
{
    const auto found = window.text( line, face );
    ASSERT_TRUE( found ) << line;
    expectText( window, line, face, { ( width - found->size.x ) / 2, y } );
}

/// Three grey lines below each other.
void expectGrey( const DrawnWindow& window, const std::array<const char*, 3>& lines, float s )
{
    float y = 0.3f * 230 * s;
    for ( const char* line : lines )
    {
        expectText( window, line, Face::Default, { 36 * s, y } );
        EXPECT_EQ( window.text( line )->color, cGrey ) << line;
        y += window.text( line )->size.y + ImGui::GetStyle().ItemSpacing.y;
    }
}

void expectPicture( const DrawnWindow& window, const std::string& name, float nameSize, Vector2f place, Vector2f size,
    RibbonIcons::IconType type, ImU32 color )
{
    const auto icon = RibbonIcons::findByName( name, nameSize, RibbonIcons::ColorType::White, type );
    ASSERT_TRUE( icon ) << name;
    for ( const auto& picture : window.pictures() )
        if ( picture.texture == icon->texture && picture.uv.x == icon->uv0.x && picture.uv.y == icon->uv0.y )
        {
            EXPECT_NEAR( picture.place.x, place.x, 1 ) << name;
            EXPECT_NEAR( picture.place.y, place.y, 1 ) << name;
            EXPECT_NEAR( picture.size.x, size.x, 0.01f ) << name;
            EXPECT_NEAR( picture.size.y, size.y, 0.01f ) << name;
            EXPECT_EQ( picture.color, color ) << name;
            return;
        }
    ADD_FAILURE() << name << " is not drawn";
}

ImU32 iconColor()
{
    const auto color = ColorTheme::getRibbonColor( ColorTheme::RibbonColorsType( 13 ) );
    return IM_COL32( color.r, color.g, color.b, color.a );
}

struct Shape
{
    const char* icon;
    const char* label;
    Vector2f place;
};

constexpr std::array<Shape, 6> cShapes{
    { { "cube", "Cube", { 273, 40.2f } }, { "cylinder", "Cylinder", { 345, 40.2f } },
        { "sphere", "Sphere", { 273, 98.2f } }, { "prism", "Prism", { 345, 98.2f } },
        { "torus", "Torus", { 273, 156.2f } }, { "arrow", "Arrow", { 345, 156.2f } } } };

} // namespace

TEST_F( WelcomePanels, DragAndDrop )
{
    for ( const float s : { 1.f, 1.5f, 2.f } )
    {
        showAt( s );
        const DrawnWindow panel( "##DragDropArea" );
        expectPicture( panel, "DragDrop", 128, { 148.5f * s, 102 * s }, { 128 * s, 128 * s },
            RibbonIcons::IconType::IndependentIcons, iconColor() );
        const float width = 425 * s, spacing = ImGui::GetStyle().ItemSpacing.y;
        expectCentered( panel, "Drag & Drop Files", cHeading, width, 269 * s );
        expectCentered( panel, "Anywhere to Open", cHeading, width, ( 269 + 22 ) * s + spacing );
        expectCentered( panel, "To open DICOMs, RAW Voxels, TIFF use", Face::Default, width, 361 * s );
        expectCentered( panel, "ribbon menu.", Face::Default, width, ( 361 + 15 ) * s + spacing );
    }
}

TEST_F( WelcomePanels, Quickstart )
{
    for ( const float s : { 1.f, 1.5f, 2.f } )
    {
        showAt( s );
        const DrawnWindow panel( "##Quickstart" );
        expectText( panel, "Quickstart", cHeading, { 36 * s, 23 * s } );
        expectGrey( panel,
            { "This curated video collection will", "quickly and efficiently guide you", "through the essentials." },
            s );
        expectPicture( panel, "Youtube", 130, { 308 * s, 95.2f * s }, { 130 * s, 128 * s },
            RibbonIcons::IconType::IndependentIcons, iconColor() );
        expectItem( "##Quickstart", { "Watch Video" }, Vector2f{ 36, 0.74f * 230 } * s, Vector2f{ 110, 36 } * s );
    }
}

TEST_F( WelcomePanels, CreateSimpleObject )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s );
        const DrawnWindow panel( "##CreateSimpleObject" );
        expectText( panel, "Create Simple Object", cHeading, { 36 * s, 23 * s } );
        expectGrey(
            panel, { "Easily generate basic shapes like", "cubes, spheres, and more using", "default settings." }, s );
        for ( const auto& shape : cShapes )
        {
            // Drawing and caption stand in the middle of the button, one over the other.
            const auto label = panel.text( shape.label );
            ASSERT_TRUE( label ) << shape.label;
            EXPECT_EQ( label->color, cGrey );
            const float gap = 4 * s, high = 16 * s + gap + label->size.y;
            const Vector2f middle = shape.place * s + Vector2f{ 32, 25 } * s;
            expectPicture( panel, shape.icon, 16 * s, { middle.x - 8 * s, middle.y - high / 2 }, { 16 * s, 16 * s },
                RibbonIcons::IconType::RibbonItemIcon, cGrey );
            expectText( panel, shape.label, Face::Default,
                { middle.x - label->size.x / 2, middle.y + high / 2 - label->size.y } );
        }
        expectItem(
            "##CreateSimpleObject", { "Create Object" }, Vector2f{ 36, 0.74f * 230 } * s, Vector2f{ 110, 36 } * s );
    }
}

TEST_F( WelcomePanels, ShapesAreButtonsThatNobodySees )
{
    showAt( 1 );
    for ( const auto& shape : cShapes )
        expectItem( "##CreateSimpleObject", { shape.label, "##icon" }, shape.place, { 64, 50 } );
    const auto place = cShapes[0].place;
    const auto isSeen = [&]
    { return DrawnWindow( "##CreateSimpleObject" ).isFilledWithin( place, place + Vector2f{ 64, 50 } ); };
    window().moveMouse( { 0, 0 } );
    settle();
    EXPECT_FALSE( isSeen() );
    window().moveMouse( DrawnWindow( "##CreateSimpleObject" ).corner() + place + Vector2f{ 30, 30 } );
    settle();
    EXPECT_FALSE( isSeen() ) << "hovered";
    window().pressMouse( MouseButton::Left, true );
    settle();
    EXPECT_FALSE( isSeen() ) << "pressed";
    window().pressMouse( MouseButton::Left, false );
    settle();
}

TEST_F( WelcomePanels, AreRoundedAndCannotBeChanged )
{
    showAt( 2 );
    constexpr auto cFlags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoScrollbar;
    for ( const char* name : { "##DragDropArea", "##Quickstart", "##CreateSimpleObject" } )
    {
        const DrawnWindow panel( name );
        EXPECT_EQ( panel.window().WindowRounding, 8 ) << name;
        EXPECT_EQ( panel.window().Flags & cFlags, cFlags ) << name;
        EXPECT_TRUE( panel.isFilledWithin( { 0, 0 }, { 20, 20 } ) ) << name;
    }
    const DrawnWindow checkbox( "##CheckboxWindow" );
    EXPECT_NE( checkbox.window().WindowRounding, 8 ) << "the theme's own";
    EXPECT_EQ( checkbox.window().Flags & cFlags, cFlags );
}

TEST_F( WelcomePanels, OfTheCheckboxOnlyTheCheckboxIsSeen )
{
    for ( const float s : { 1.f, 2.f } )
    {
        showAt( s );
        const DrawnWindow panel( "##CheckboxWindow" );
        const auto& style = ImGui::GetStyle();
        const auto label = panel.text( "Show on Startup" );
        ASSERT_TRUE( label );
        const float frameHeight = label->size.y + 2 * style.FramePadding.y;
        EXPECT_NEAR( panel.window().Size.y, frameHeight + 2 * style.WindowPadding.y, 1 );
        const Vector2f size{ panel.window().Size.x, panel.window().Size.y };
        EXPECT_TRUE( panel.isFilledWithin( { 0, 0 }, size ) ) << "the box";
        EXPECT_FALSE( panel.isFilledWithin( { 0, 0 }, { 8 * s, size.y } ) ) << "neither background nor border";
        EXPECT_FALSE( panel.isFilledWithin( { size.x - 8 * s, 0 }, size ) );
    }
}

TEST_F( WelcomePanels, NeedTheirRoomAtEveryScale )
{
    for ( const float s : { 1.5f, 2.f } )
    {
        window().resize( int( 1400 * s ), int( 900 * s ), s );
        (void)frame();
        const int left = int( menu_->getSceneListWidth() ), top = int( menu_->getTopPanelHeight() * s );
        const auto shownAt = [&]( float width, float height )
        {
            window().resize( left + int( width ), top + int( height ), s );
            (void)frame();
            return isWindowShown( "##DragDropArea" );
        };
        EXPECT_TRUE( shownAt( 898 * s, 540 * s ) );
        EXPECT_FALSE( shownAt( 898 * s - 1, 540 * s ) );
        EXPECT_FALSE( shownAt( 898 * s, 540 * s - 1 ) );
        EXPECT_TRUE( shownAt( 898 * s, 540 * s ) );
    }
}

TEST_F( WelcomePanels, UntickedTheyAreGoneOnceAToolWasAtWork )
{
    click( DrawnWindow( "##CheckboxWindow" ).middleOf( "Show on Startup" ) );
    EXPECT_TRUE( isWindowShown( "##DragDropArea" ) );
    pressTool( "Privacy" );
    (void)frame();
    EXPECT_FALSE( isWindowShown( "##DragDropArea" ) );
    pressTool( "Privacy" );
    (void)frame();
    EXPECT_FALSE( isWindowShown( "##DragDropArea" ) ) << "for the rest of this run";
    EXPECT_FALSE( welcome().isVisible() );
}

TEST_F( WelcomePanels, EntryOfTheSettingsIsStoredWhenItIsClicked )
{
    pressTool( "Viewer settings" );
    ViewerSettingsPlugin::instance()->setActiveTab( ViewerSettingsPlugin::TabType::Application );
    (void)frame();
    const auto entry = DrawnWindow( "Viewer settings" ).middleOf( "Show Welcome Window" );
    click( entry );
    EXPECT_FALSE( welcome().isShownOnStartup() );
    EXPECT_FALSE( Config::instance().getBool( "cShowWelcomeWindow", true ) );
    EXPECT_TRUE( DrawnWindow( "##Tooltip" ).text( "Show welcome window when application starts." ) );
    click( entry );
    EXPECT_TRUE( welcome().isShownOnStartup() );
    EXPECT_TRUE( Config::instance().getBool( "cShowWelcomeWindow", false ) );
    pressTool( "Viewer settings" );
}

TEST_F( WelcomePanels, WithoutTheSettingsToolOnlyTheEntryIsMissing )
{
    const auto tool = RibbonSchemaHolder::findItem( "Viewer settings" );
    auto& settings = dynamic_cast<ViewerSettingsPlugin&>( *tool );
    constexpr auto cTab = ViewerSettingsPlugin::TabType::Application;
    const auto count = settings.comboSettings( cTab ).size();
    const auto another = std::make_shared<FunctionItem>( FunctionItemParams{ "Viewer settings", [] {}, {}, {} } );
    for ( const auto& item : { std::shared_ptr<RibbonMenuItem>(), std::shared_ptr<RibbonMenuItem>( another ) } )
    {
        RibbonSchemaHolder::removeItem( "Viewer settings" );
        if ( item )
            RibbonSchemaHolder::addItem( item );
        WelcomeWindow own;
        own.init( menu_.get(), []( const auto&, const std::string& ) {} );
        EXPECT_EQ( settings.comboSettings( cTab ).size(), count );
        auto config = menu_->getOrvantaMenuConfig();
        config.drawWelcomeWindow = false;
        menu_->setOrvantaMenuConfig( config );
        const boost::signals2::scoped_connection drawing = viewer().perFrameSignal.connect( [&] { own.draw(); } );
        (void)frame();
        EXPECT_TRUE( isWindowShown( "##DragDropArea" ) );
    }
    RibbonSchemaHolder::removeItem( "Viewer settings" );
    RibbonSchemaHolder::addItem( tool );
    {
        WelcomeWindow own;
        own.init( menu_.get(), []( const auto&, const std::string& ) {} );
        EXPECT_EQ( settings.comboSettings( cTab ).size(), count + 1 );
    }
    EXPECT_EQ( settings.comboSettings( cTab ).size(), count ) << "it goes with its window";
}

TEST_F( WelcomePanels, HeadingsAreInTheCurrentFaceWhereTheirOwnIsMissing )
{
    const auto found = [&]( Face face )
    {
        return DrawnWindow( "##Quickstart" ).text( "Quickstart", face ) &&
               DrawnWindow( "##DragDropArea" ).text( "Drag & Drop Files", face );
    };
    (void)frame();
    EXPECT_TRUE( found( cHeading ) );
    const ImFont* current = RibbonFontManager::getFontByTypeStatic( Face::Default );
    {
        // It becomes the one in use, and has loaded nothing.
        const RibbonFontManager nothing;
        ASSERT_FALSE( RibbonFontManager::getFontByTypeStatic( cHeading ) );
        drawFrames( 2 );
    }
    const auto glyph = current->FindGlyph( 'Q' );
    bool drawn = false;
    for ( const auto& point : DrawnWindow( "##Quickstart" ).window().DrawList->VtxBuffer )
        drawn |= point.uv.x == glyph->U0 && point.uv.y == glyph->V0;
    EXPECT_TRUE( drawn );
}

TEST_F( WelcomePanels, WatchVideoOpensThePageOfTheVideo )
{
    const auto taken = folder_.path() / "taken";
    ::chmod( folder_
                 .write( "xdg-open", "#!/bin/sh\nprintf %s \"$1\" > '" + taken.string() + ".new'; /bin/mv '" +
                                         taken.string() + ".new' '" + taken.string() + "'\n" )
                 .c_str(),
        0700 );
    ::setenv( "PATH", folder_.path().c_str(), 1 );
    SessionLogsTestAccess::take();
    click( DrawnWindow( "##Quickstart" ).middleOf( "Watch Video" ) );
    drawUntil( [&] { return std::filesystem::exists( taken ); } );
    EXPECT_TRUE( Testing::readFile( taken ).ends_with( "/inappvideo/onboarding_first_session" ) );
    EXPECT_EQ( SessionLogsTestAccess::take(), std::vector<std::string>{ "Welcome Screen: \"Watch Video\" Clicked" } );
}
