#include <VXViewer/ui/ImGuiContextOwner.h>

#include <VXViewer/ui/Fonts.h>
#include <VXViewer/ui/Theme.h>

#include <imgui.h>
#include <imgui_impl_opengl3.h>

namespace VX
{

ImGuiContextOwner::ImGuiContextOwner()
{
    ImGui::CreateContext();
    auto& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.ConfigFlags |= ImGuiConfigFlags_NavEnableKeyboard;
    io.ConfigWindowsMoveFromTitleBarOnly = true;
}

ImGuiContextOwner::~ImGuiContextOwner()
{
    if ( rendererReady_ )
        ImGui_ImplOpenGL3_Shutdown();
    ImGui::DestroyContext();
}

void ImGuiContextOwner::setScale( float scale )
{
    scale_ = scale;
    fontsOutdated_ = true;
    Theme::apply( scale );
}

void ImGuiContextOwner::updateFonts()
{
    if ( !rendererReady_ )
        rendererReady_ = ImGui_ImplOpenGL3_Init( "#version 330 core" );
    if ( fontsOutdated_ )
    {
        fontsOutdated_ = false;
        Fonts::build( scale_ );
        ImGui_ImplOpenGL3_DestroyFontsTexture();
        ImGui_ImplOpenGL3_CreateFontsTexture();
    }
    ImGui_ImplOpenGL3_NewFrame();
}

void ImGuiContextOwner::drawInterface()
{
    ImGui_ImplOpenGL3_RenderDrawData( ImGui::GetDrawData() );
}

} // namespace VX
