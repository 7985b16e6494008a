#include <VXViewer/menu/AxisTriad.h>

#include <VXViewer/ui/RibbonFontManager.h>
#include <VXViewer/ui/Scale.h>

#include <imgui.h>

#include <algorithm>
#include <array>

namespace VX::AxisTriad
{
namespace
{

struct Axis
{
    Vector3f direction;
    const char* name;
    ImU32 color;
};

} // namespace

void draw( const Camera& camera )
{
    const float scale = UI::scale();
    std::array axes{
        Axis{ { 1, 0, 0 }, "X", IM_COL32( 235, 92, 84, 255 ) },
        Axis{ { 0, 1, 0 }, "Y", IM_COL32( 120, 200, 92, 255 ) },
        Axis{ { 0, 0, 1 }, "Z", IM_COL32( 92, 150, 245, 255 ) },
    };
    for ( auto& axis : axes )
        axis.direction = camera.rotation() * axis.direction;
    std::sort( axes.begin(), axes.end(), []( const Axis& a, const Axis& b ) { return a.direction.z < b.direction.z; } );

    const ImVec2 size = ImGui::GetIO().DisplaySize;
    const ImVec2 center{ size.x - 58 * scale, size.y - 58 * scale };
    auto& list = *ImGui::GetBackgroundDrawList();
    ImFont* font = RibbonFontManager::getFontByTypeStatic( RibbonFontManager::FontType::SemiBold );
    if ( !font )
        font = ImGui::GetFont();
    for ( const auto& axis : axes )
    {
        const float length = 34 * scale;
        const ImVec2 tip{ center.x + axis.direction.x * length, center.y - axis.direction.y * length };
        list.AddLine( center, tip, axis.color, 2 * scale );
        const ImVec2 text = font->CalcTextSizeA( font->FontSize, FLT_MAX, 0, axis.name );
        const ImVec2 at{ center.x + axis.direction.x * length * 1.32f - text.x / 2,
            center.y - axis.direction.y * length * 1.32f - text.y / 2 };
        list.AddText( font, font->FontSize, at, axis.color, axis.name );
    }
}

} // namespace VX::AxisTriad
