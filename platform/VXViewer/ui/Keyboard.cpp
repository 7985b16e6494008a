#include <VXViewer/ui/Keyboard.h>

#include <VXViewer/ui/TextField.h>

#include <imgui_internal.h>

#include <algorithm>

namespace VX::UI
{
namespace
{

ImGuiID sPopupBefore = 0;
bool sFocusDrawn = false;

} // namespace

void beforeNewFrame()
{
    const auto& context = *ImGui::GetCurrentContext();
    sPopupBefore = context.OpenPopupStack.empty() ? 0 : context.OpenPopupStack.back().PopupId;
    sFocusDrawn = context.NavId != 0 && context.NavIdIsAlive;
}

void afterNewFrame()
{
    auto& context = *ImGui::GetCurrentContext();
    // Dear ImGui starts anew unless a field of text has the keyboard; Tab goes on from whatever has it.
    if ( ( context.NavMoveFlags & ImGuiNavMoveFlags_Tabbing ) && context.NavTabbingDir == 0 && sFocusDrawn )
        context.NavTabbingDir = 1;
    forgetMaskedText();
}

bool popupClosed()
{
    const auto& popups = ImGui::GetCurrentContext()->OpenPopupStack;
    return sPopupBefore != 0 && std::none_of( popups.begin(), popups.end(),
                                    []( const auto& popup ) { return popup.PopupId == sPopupBefore; } );
}

bool keyPressed( ImGuiKey key )
{
    return ImGui::IsKeyPressed( ImGui::GetKeyIndex( key ), false ) && !popupClosed();
}

TabStop::TabStop()
{
    ImGui::PushItemFlag( ImGuiItemFlags_Inputable, true );
}

TabStop::~TabStop()
{
    ImGui::PopItemFlag();
    auto& context = *ImGui::GetCurrentContext();
    if ( context.NavActivateInputId != 0 && context.NavActivateInputId == context.LastItemData.ID )
        context.NavDisableHighlight = false;
}

} // namespace VX::UI
