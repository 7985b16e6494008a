#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/shell/VersionCheck.h>
#include <VXOrvanta/welcome/SitePages.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/menu/LinkOpener.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/web/WebRequest.h>

#include <imgui.h>

namespace VX
{
namespace
{

const std::string cVersionUrl = std::string( ORVANTA_API_URL ) + "/version/latesttag";

constexpr ImGuiWindowFlags cFlags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
                                    ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoCollapse |
                                    ImGuiWindowFlags_AlwaysAutoResize;

using FontType = RibbonFontManager::FontType;

} // namespace

void OrvantaRibbonMenu::requestVersion_()
{
    // The menu lives until the program ends, and answers come to its thread.
    WebRequest().send(
        cVersionUrl, "version",
        [this]( const Json::Value& response )
        {
            const auto newer = newerVersion( GetVXVersionString(), response );
            if ( !newer )
                return;
            latestVersion_ = *newer;
            getViewerInstance().incrementForceRedrawFrames( 2, true );
        },
        true );
}

void OrvantaRibbonMenu::drawVersionWindow_()
{
    if ( !versionRequested_ )
    {
        requestVersion_();
        versionRequested_ = true;
    }
    if ( latestVersion_.empty() || isWaitingForSignIn_() )
        return;
    const float s = menu_scaling();
    const StyleScope style(
        { { ImGuiCol_WindowBg, themeVec4( ColorTheme::DialogBackground ) }, { ImGuiStyleVar_WindowRounding, 4 * s },
            { ImGuiStyleVar_WindowPadding, { 9 * s, 8 * s } }, { ImGuiStyleVar_WindowBorderSize, 0 } } );
    ImGui::SetNextWindowPos(
        { float( getViewerInstance().window()->width() ) - 320 * s, 120 * s }, ImGuiCond_Always, { 0, 0 } );
    ImGui::Begin( "##VersionUpdateWindow", nullptr, cFlags );
    drawVersionNotice_();
    ImGui::End();
}

void OrvantaRibbonMenu::drawVersionNotice_()
{
    const float s = menu_scaling();
    if ( ImGui::ModalExitButton( s ) )
        return latestVersion_.clear();
    ImGui::SameLine();
    {
        const FontScope semiBold( FontType::SemiBold );
        const StyleScope style( { { ImGuiCol_Text, themeVec4( ColorTheme::Text ) } } );
        ImGui::AlignTextToFramePadding();
        ImGui::Text( "Version %s is available", latestVersion_.c_str() );
    }
    ImGui::SameLine();
    const FontScope small( FontType::Small );
    if ( UI::button( "Get Update", { 88 * s, 24 * s } ) )
        openLinkOrTell( downloadPage() );
}

} // namespace VX
