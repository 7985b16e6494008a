#include <VXViewer/menu/TurnMark.h>

#include <VXViewer/draw/Camera.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Scale.h>

#include <imgui.h>

namespace VX::TurnMark
{

void draw( const Camera& camera, const std::optional<Vector3d>& point )
{
    const float scale = UI::scale();
    if ( !point )
        return;
    const auto place = camera.project( *point );
    const ImVec2 at{ place.x, place.y };
    auto& list = *ImGui::GetBackgroundDrawList();
    // Dark under light, so that it is seen on every surface.
    list.AddCircle( at, 8 * scale, IM_COL32( 0, 0, 0, 150 ), 0, 4 * scale );
    list.AddCircle( at, 8 * scale, IM_COL32( 255, 255, 255, 230 ), 0, 2 * scale );
    list.AddCircleFilled( at, 3 * scale, IM_COL32( 0, 0, 0, 150 ) );
    list.AddCircleFilled( at, 2 * scale, themeU32( ColorTheme::Accent ) );
}

} // namespace VX::TurnMark
