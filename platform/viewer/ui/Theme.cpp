#include <VXViewer/ui/Theme.h>

namespace VX::Theme
{
namespace
{

ImVec4 gray( float v, float alpha = 1 )
{
    return { v * 0.95f, v, v * 1.08f, alpha };
}

ImVec4 accent( float alpha )
{
    return { cAccent.x, cAccent.y, cAccent.z, alpha };
}

void setColors( ImVec4* colors )
{
    colors[ImGuiCol_Text] = gray( 0.90f );
    colors[ImGuiCol_TextDisabled] = cDimText;
    colors[ImGuiCol_WindowBg] = gray( 0.135f, 0.97f );
    colors[ImGuiCol_ChildBg] = gray( 0.105f );
    colors[ImGuiCol_PopupBg] = gray( 0.155f, 0.99f );
    colors[ImGuiCol_Border] = gray( 0.26f );
    colors[ImGuiCol_FrameBg] = gray( 0.20f );
    colors[ImGuiCol_FrameBgHovered] = gray( 0.25f );
    colors[ImGuiCol_FrameBgActive] = gray( 0.29f );
    colors[ImGuiCol_TitleBg] = colors[ImGuiCol_TitleBgActive] = colors[ImGuiCol_TitleBgCollapsed] = gray( 0.155f );
    colors[ImGuiCol_MenuBarBg] = gray( 0.155f );
    colors[ImGuiCol_ScrollbarBg] = gray( 0, 0 );
    colors[ImGuiCol_ScrollbarGrab] = gray( 0.32f );
    colors[ImGuiCol_ScrollbarGrabHovered] = gray( 0.42f );
    colors[ImGuiCol_ScrollbarGrabActive] = gray( 0.50f );
    colors[ImGuiCol_CheckMark] = colors[ImGuiCol_SliderGrab] = colors[ImGuiCol_SliderGrabActive] = cAccent;
    colors[ImGuiCol_Button] = gray( 0.25f );
    colors[ImGuiCol_ButtonHovered] = gray( 0.32f );
    colors[ImGuiCol_ButtonActive] = gray( 0.38f );
    colors[ImGuiCol_Header] = accent( 0.24f );
    colors[ImGuiCol_HeaderHovered] = gray( 0.27f );
    colors[ImGuiCol_HeaderActive] = accent( 0.36f );
    colors[ImGuiCol_Separator] = gray( 0.24f );
    colors[ImGuiCol_PlotHistogram] = cAccent;
    colors[ImGuiCol_TextSelectedBg] = accent( 0.35f );
    colors[ImGuiCol_NavHighlight] = accent( 0.9f );
    colors[ImGuiCol_ModalWindowDimBg] = gray( 0.03f, 0.55f );
}

} // namespace

void apply( float scale )
{
    ImGuiStyle style;
    ImGui::StyleColorsDark( &style );
    style.WindowPadding = { 16, 14 };
    style.FramePadding = { 12, 7 };
    style.ItemSpacing = { 10, 8 };
    style.ItemInnerSpacing = { 8, 6 };
    style.CellPadding = { 8, 5 };
    style.ScrollbarSize = 12;
    style.IndentSpacing = 18;
    style.WindowRounding = 8;
    style.ChildRounding = style.PopupRounding = 6;
    style.FrameRounding = style.GrabRounding = 5;
    style.ScrollbarRounding = 6;
    style.WindowBorderSize = 1;
    style.PopupBorderSize = 1;
    style.WindowTitleAlign = { 0, 0.5f };
    style.WindowMenuButtonPosition = ImGuiDir_None;
    setColors( style.Colors );
    style.ScaleAllSizes( scale );
    ImGui::GetStyle() = style;
}

} // namespace VX::Theme
