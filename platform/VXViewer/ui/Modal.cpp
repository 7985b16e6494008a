#include <VXViewer/ui/Modal.h>

#include <imgui_internal.h>

#include <algorithm>

namespace VX::UI
{
namespace
{

ImGuiID sTopAtBegin = 0;

bool isModal( const ImGuiPopupData& popup )
{
    if ( popup.Window )
        return ( popup.Window->Flags & ImGuiWindowFlags_Modal ) != 0;
    // Opened and not begun yet: what it becomes is not known before the next frame.
    return ImGui::GetFrameCount() - popup.OpenFrameCount <= 1;
}

/// The modal that is to be answered first; 0 where there is none.
ImGuiID topModal()
{
    const auto& popups = ImGui::GetCurrentContext()->OpenPopupStack;
    for ( int i = popups.Size - 1; i >= 0; --i )
        if ( isModal( popups[i] ) )
            return popups[i].PopupId;
    return 0;
}

} // namespace

bool openModalInTurn( const char* name )
{
    if ( ImGui::IsPopupOpen( name ) )
        return true;
    if ( sTopAtBegin != 0 || topModal() != 0 )
        return false;
    ImGui::OpenPopup( name );
    return true;
}

void beginModals()
{
    const auto& popups = ImGui::GetCurrentContext()->OpenPopupStack;
    const auto abandoned = std::find_if( popups.begin(), popups.end(),
        []( const ImGuiPopupData& popup ) { return popup.Window && isModal( popup ) && !popup.Window->WasActive; } );
    if ( abandoned != popups.end() )
        ImGui::ClosePopupToLevel( int( abandoned - popups.begin() ), false );
    sTopAtBegin = topModal();
}

void keepBehindModals()
{
    if ( !ImGui::IsWindowAppearing() )
        return;
    for ( const auto& popup : ImGui::GetCurrentContext()->OpenPopupStack )
        if ( popup.Window && isModal( popup ) )
            return ImGui::BringWindowToDisplayBehind( ImGui::GetCurrentWindow(), popup.Window );
}

bool endModals()
{
    return topModal() != sTopAtBegin;
}

} // namespace VX::UI
