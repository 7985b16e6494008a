#include <VXViewer/ui/ImGuiHelpers.h>

#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/StyleScope.h>

#include <imgui_internal.h>

namespace ImGui
{

bool BeginModalNoAnimation( const char* name, bool* open, ImGuiWindowFlags flags )
{
    // Dear ImGui fades the dimming in over several frames; a viewer that draws only on events would stop in the middle.
    GetCurrentContext()->DimBgRatio = 1;
    const bool begun = BeginPopupModal( name, open, flags );
    // A window that appears after a modal in the modal's first frame is put behind it, and Dear ImGui asserts when it
    // takes the modal for one that has not been drawn yet.
    if ( ImGuiWindow* window = FindWindowByName( name ); window && window->Active )
        window->WasActive = true;
    return begun;
}

bool ModalExitButton( float scale )
{
    const ImVec2 size{ 24 * scale, 24 * scale };
    const VX::StyleScope style( { { ImGuiCol_Button, ImVec4{} } } );
    const bool pressed = Button( "##exit", size );
    const ImVec2 low = GetItemRectMin();
    const ImU32 color = VX::themeU32( VX::ColorTheme::Text );
    const float inset = 8 * scale;
    auto& list = *GetWindowDrawList();
    list.AddLine(
        { low.x + inset, low.y + inset }, { low.x + size.x - inset, low.y + size.y - inset }, color, 1.5f * scale );
    list.AddLine(
        { low.x + size.x - inset, low.y + inset }, { low.x + inset, low.y + size.y - inset }, color, 1.5f * scale );
    return pressed;
}

} // namespace ImGui
