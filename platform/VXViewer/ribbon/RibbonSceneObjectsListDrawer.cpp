#include <VXViewer/ribbon/RibbonSceneObjectsListDrawer.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/scene/SceneRoot.h>
#include <VXViewer/ui/Scale.h>
#include <VXViewer/ui/StyleScope.h>

#include <imgui.h>

namespace VX
{
namespace
{

constexpr const char* cId = "##context";

// What is of use where objects are listed.
constexpr const char* cObjectTools[] = { "Fit selected", "Rename", "Hide selected", "Show all", "Delete Selection" };
constexpr const char* cSceneTools[] = { "Open files", "Create Simple Objects", "Select all", "Show all", "Fit all" };

} // namespace

std::span<const char* const> RibbonSceneObjectsListDrawer::contextTools( bool ofObject )
{
    return ofObject ? std::span<const char* const>( cObjectTools ) : cSceneTools;
}

void RibbonSceneObjectsListDrawer::drawContextMenu_( Object* object )
{
    onDrawContextSignal();
    const auto& items = RibbonSchemaHolder::schema().items;
    for ( const char* name : contextTools( object != nullptr ) )
        if ( const auto it = items.find( name ); it != items.end() )
            RibbonItemButton::drawMenuRow( it->second, host_ );
}

void RibbonSceneObjectsListDrawer::drawRowExtras_( Object& object )
{
    const float scale = UI::scale();
    // When the button is let go, as the menu of the list itself: it would open over this one otherwise.
    if ( ImGui::IsItemHovered() && ImGui::IsMouseReleased( ImGuiMouseButton_Right ) )
    {
        // The menu is about what is selected; a row outside of the selection becomes it.
        if ( !object.isSelected() )
            select( sceneRoot(), &object, false );
        ImGui::OpenPopup( cId );
    }
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { 6 * scale, 6 * scale } } } );
    if ( ImGui::BeginPopup( cId ) )
    {
        drawContextMenu_( &object );
        ImGui::EndPopup();
    }
}

void RibbonSceneObjectsListDrawer::drawEmptyExtras_( Object& )
{
    const float scale = UI::scale();
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { 6 * scale, 6 * scale } } } );
    constexpr auto cFlags = ImGuiPopupFlags_MouseButtonRight | ImGuiPopupFlags_NoOpenOverItems;
    if ( ImGui::BeginPopupContextWindow( "##sceneContext", cFlags ) )
    {
        drawContextMenu_( nullptr );
        ImGui::EndPopup();
    }
}

} // namespace VX
