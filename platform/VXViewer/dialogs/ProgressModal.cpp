#include <VXViewer/dialogs/ProgressModal.h>

#include <VXViewer/loop/Wake.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/work/ProgressBar.h>

#include <imgui.h>

#include <fmt/format.h>

namespace VX::ProgressModal
{
namespace
{

constexpr const char* cId = "##progress";

void drawContents( const ProgressBar::State& state, float width )
{
    const float scale = UI::scale();
    const float inner = width - 2 * ImGui::GetStyle().WindowPadding.x;
    UI::text( RibbonFontManager::FontType::SemiBold, state.name );
    ImGui::TextColored( themeVec4( ColorTheme::DimText ), "%s", state.task.empty() ? "Working" : state.task.c_str() );
    ImGui::Dummy( { 0, 2 * scale } );
    ImGui::ProgressBar( state.fraction, { inner, 8 * scale }, "" );
    const double seconds = std::chrono::duration<double>( state.elapsed ).count();
    ImGui::AlignTextToFramePadding();
    ImGui::TextColored( themeVec4( ColorTheme::DimText ), "%.0f %%   %s", double( state.fraction ) * 100,
        UI::formatDuration( seconds ).c_str() );
    ImGui::SameLine( width - 96 * scale - ImGui::GetStyle().WindowPadding.x );
}

} // namespace

bool isShown()
{
    return ProgressBar::isOrdered();
}

void draw()
{
    const float scale = UI::scale();
    const auto state = ProgressBar::state();
    if ( state )
        UI::openModalInTurn( cId );
    const float width = std::min( 420 * scale, ImGui::GetIO().DisplaySize.x - 32 * scale );
    UI::centerNextWindow();
    ImGui::SetNextWindowSize( { width, 0 } );
    if ( !ImGui::BeginModalNoAnimation(
             cId, nullptr, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove ) )
        return;
    bool close = !state;
    if ( state )
    {
        drawContents( *state, width );
        if ( UI::dialogButton( "Cancel" ) || ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_Escape ), false ) )
        {
            ProgressBar::cancel();
            close = true;
        }
    }
    if ( close )
    {
        ImGui::CloseCurrentPopup();
        redraw();
    }
    ImGui::EndPopup();
}

} // namespace VX::ProgressModal
