#include <VXOrvanta/welcome/WelcomeWindow.h>

#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/welcome/SitePages.h>
#include <VXViewer/menu/LinkOpener.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ShapeLooks.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/RibbonIcons.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

namespace VX
{
namespace
{

// All sizes and places at scale 1.
constexpr float cPanelWidth = 425, cPanelHeight = 230, cTallPanelHeight = 476;
constexpr float cLeft = 36, cHeadingTop = 23, cLinesTop = 0.3f * cPanelHeight, cButtonTop = 0.74f * cPanelHeight;
constexpr ImU32 cGrey = 0xff7f7f7f;

// Of the shapes, two beside each other.
constexpr float cShapeColumns[] = { 273, 345 }, cShapeRows[] = { 40.2f, 98.2f, 156.2f };
static_assert( std::size( cShapeColumns ) * std::size( cShapeRows ) == cShapeLooks.size() );

/// A line in the middle of a panel, at the cursor's height.
void centered( const char* text, float width )
{
    ImGui::SetCursorPosX( ( width - ImGui::CalcTextSize( text ).x ) * 0.5f );
    ImGui::TextUnformatted( text );
}

/// A drawing in the colour of icons, made for `nameSize` pixels and shown at another size.
void drawIcon( const char* name, float nameSize, ImVec2 size )
{
    const auto icon = RibbonIcons::findByName(
        name, nameSize, RibbonIcons::ColorType::White, RibbonIcons::IconType::IndependentIcons );
    if ( icon )
        ImGui::Image( icon->texture, size, icon->uv0, icon->uv1, themeVec4( ColorTheme::Icon ) );
}

} // namespace

bool WelcomeWindow::beginSubwindow_( const char* name, Vector2f pos, Vector2f size )
{
    ImGui::SetNextWindowPos( { pos.x, pos.y }, ImGuiCond_Always, { 0, 0 } );
    ImGui::SetNextWindowSize( { size.x, size.y }, ImGuiCond_Always );
    return ImGui::Begin(
        name, &visible_, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoScrollbar );
}

void WelcomeWindow::drawPanels_()
{
    {
        const StyleScope style( { { ImGuiStyleVar_WindowRounding, 8 } } );
        drawDragDropArea_();
        drawQuickstart_();
        drawCreateSimpleObject_();
    }
    drawCheckbox_();
}

void WelcomeWindow::drawDragDropArea_()
{
    const float s = scaling_, width = cPanelWidth * s;
    if ( beginSubwindow_( "##DragDropArea", center_ + Vector2f{ -433, -238 } * s, { width, cTallPanelHeight * s } ) )
    {
        ImGui::SetCursorPos( { 148.5f * s, 102 * s } );
        drawIcon( "DragDrop", 128, { 128 * s, 128 * s } );
        ImGui::SetCursorPosY( 269 * s );
        {
            const FontScope font( RibbonFontManager::FontType::Headline );
            centered( "Drag & Drop Files", width );
            centered( "Anywhere to Open", width );
        }
        ImGui::SetCursorPosY( 361 * s );
        centered( "To open DICOMs, RAW Voxels, TIFF use", width );
        centered( "ribbon menu.", width );
    }
    ImGui::End();
}

void WelcomeWindow::drawTexts_( const char* heading, const std::array<const char*, 3>& lines ) const
{
    const float s = scaling_;
    ImGui::SetCursorPos( { cLeft * s, cHeadingTop * s } );
    UI::text( RibbonFontManager::FontType::Headline, heading );
    ImGui::SetCursorPosY( cLinesTop * s );
    const StyleScope style( { { ImGuiCol_Text, cGrey } } );
    for ( const char* line : lines )
    {
        ImGui::SetCursorPosX( cLeft * s );
        ImGui::TextUnformatted( line );
    }
}

void WelcomeWindow::drawShapes_() const
{
    const StyleScope style( { { ImGuiCol_Button, ImVec4{} }, { ImGuiCol_ButtonHovered, ImVec4{} },
        { ImGuiCol_ButtonActive, ImVec4{} }, { ImGuiCol_Text, cGrey } } );
    for ( size_t i = 0; i < cShapeLooks.size(); ++i )
    {
        const auto& shape = cShapeLooks[i];
        ImGui::SetCursorPos( { cShapeColumns[i % 2] * scaling_, cShapeRows[i / 2] * scaling_ } );
        (void)UI::buttonIconEx( shape.icon, Vector2f{ 16, 16 } * scaling_, shape.name, Vector2f{ 64, 50 } * scaling_ );
    }
}

bool WelcomeWindow::drawButton_( const char* caption ) const
{
    const float s = scaling_;
    ImGui::SetCursorPos( { cLeft * s, cButtonTop * s } );
    return UI::button( caption, { 110 * s, 36 * s } );
}

void WelcomeWindow::drawQuickstart_()
{
    const float s = scaling_;
    if ( beginSubwindow_(
             "##Quickstart", center_ + Vector2f{ 8, -238 } * s, Vector2f{ cPanelWidth, cPanelHeight } * s ) )
    {
        drawTexts_( "Quickstart",
            { "This curated video collection will", "quickly and efficiently guide you", "through the essentials." } );
        ImGui::SetCursorPos( { 308 * s, 95.2f * s } );
        drawIcon( "Youtube", 130, { 130 * s, 128 * s } );
        if ( drawButton_( "Watch Video" ) )
        {
            SessionLogs::logAction( Actions::cWelcomeVideo );
            openLinkOrTell( onboardingVideoPage() );
        }
    }
    ImGui::End();
}

void WelcomeWindow::drawCreateSimpleObject_()
{
    const float s = scaling_;
    if ( beginSubwindow_(
             "##CreateSimpleObject", center_ + Vector2f{ 8, 8 } * s, Vector2f{ cPanelWidth, cPanelHeight } * s ) )
    {
        drawTexts_( "Create Simple Object",
            { "Easily generate basic shapes like", "cubes, spheres, and more using", "default settings." } );
        drawShapes_();
        if ( drawButton_( "Create Object" ) )
        {
            SessionLogs::logAction( Actions::cWelcomeCreate );
            if ( const auto item = RibbonSchemaHolder::findItem( "Create Simple Objects" ) )
                itemPressed_( item, {} );
        }
    }
    ImGui::End();
}

void WelcomeWindow::drawCheckbox_()
{
    const float s = scaling_;
    const float height = ImGui::GetFrameHeight() + 2 * ImGui::GetStyle().WindowPadding.y;
    bool open = false;
    {
        const StyleScope style( { { ImGuiCol_WindowBg, ImVec4{} }, { ImGuiCol_Border, ImVec4{} } } );
        open = beginSubwindow_( "##CheckboxWindow", center_ + Vector2f{ -433, 238 } * s, { cPanelWidth * s, height } );
    }
    if ( open && UI::checkbox( "Show on Startup", &showOnStartup_ ) )
    {
        if ( !showOnStartup_ )
            SessionLogs::logAction( Actions::cWelcomeDisabled );
        Config::instance().setBool( cSettingsKeyShowWindow, showOnStartup_ );
    }
    ImGui::End();
}

} // namespace VX
