#include <VXViewer/ui/ImGuiContextOwner.h>

#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/RibbonFontManager.h>
#include <VXViewer/ui/RibbonIcons.h>
#include <VXViewer/ui/Scale.h>

#include <imgui.h>
#include <imgui_impl_opengl3.h>

#include <utility>

namespace VX
{
namespace
{

float sScale = 1;

} // namespace

float UI::scale()
{
    return sScale;
}

void UI::setScale( float scale )
{
    sScale = scale;
}

ImGuiContextOwner::ImGuiContextOwner()
    : themeChanges_( ColorTheme::onChanged( [this] { themeOutdated_ = true; } ) )
{
    ImGui::CreateContext();
    auto& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.ConfigFlags |= ImGuiConfigFlags_NavEnableKeyboard;
    io.ConfigWindowsMoveFromTitleBarOnly = true;
}

ImGuiContextOwner::~ImGuiContextOwner()
{
    RibbonIcons::clear();
    if ( rendererReady_ )
        ImGui_ImplOpenGL3_Shutdown();
    ImGui::DestroyContext();
}

void ImGuiContextOwner::prepareFrame( RibbonFontManager* fonts, float scale )
{
    if ( !rendererReady_ )
        rendererReady_ = ImGui_ImplOpenGL3_Init( "#version 330 core" );
    UI::setScale( scale );
    const bool rescaled = std::exchange( scale_, scale ) != scale;
    if ( rescaled || fonts_ != fonts || ( fonts && fonts->isOutdated() ) )
    {
        fonts_ = fonts;
        if ( fonts )
            fonts->loadAllFonts( scale );
        ImGui_ImplOpenGL3_DestroyFontsTexture();
        ImGui_ImplOpenGL3_CreateFontsTexture();
    }
    if ( std::exchange( themeOutdated_, false ) || rescaled )
    {
        RibbonIcons::clear();
        ColorTheme::applyToImGui( scale );
    }
    ImGui_ImplOpenGL3_NewFrame();
}

void ImGuiContextOwner::drawInterface()
{
    ImGui_ImplOpenGL3_RenderDrawData( ImGui::GetDrawData() );
}

} // namespace VX
