#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/menu/SavedNotice.h>
#include <VXViewer/menu/UnsavedWork.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/window/Window.h>

namespace VX
{
namespace
{

Viewer& viewer()
{
    return getViewerInstance();
}

ImGuiMenu* menu()
{
    return viewer().getMenuPlugin().get();
}

void newScene()
{
    UnsavedWork::leave(
        []
        {
            sceneDocument().clear();
            redraw();
        } );
}

bool hasSelectedAncestor( const Object& object )
{
    for ( const Object* parent = object.parent(); parent; parent = parent->parent() )
        if ( parent->isSelected() )
            return true;
    return false;
}

void saveSelected()
{
    // Copies where they stand in the scene: the dialog stays open while that may change.
    std::vector<std::shared_ptr<Object>> objects;
    for ( const auto& object : SceneCache::getAllObjects<Object, ObjectSelectivityType::Selected>() )
        if ( !hasSelectedAncestor( *object ) )
        {
            objects.push_back( cloneTree( *object ) );
            objects.back()->setXf( object->worldXf() );
        }
    if ( objects.empty() )
        return;
    const auto name = objects.front()->name();
    menu()->saveFileDialog( name.empty() ? "objects" : name, ".vxu",
        [objects]( const std::filesystem::path& file ) { tellSaved( saveVxu( file, objects ), file ); } );
}

const FunctionItemRegistrar cNew( FunctionItemParams{
    "New scene", &newScene, {}, {}, { { { 'N', ControlModifier }, ShortcutManager::Category::Scene } } } );
const FunctionItemRegistrar cOpen( FunctionItemParams{ "Open files", [] { menu()->openFileDialog(); }, {}, {},
    { { { 'O', ControlModifier }, ShortcutManager::Category::Scene } } } );
const FunctionItemRegistrar cSave( FunctionItemParams{ "Save scene", [] { UnsavedWork::save(); },
    &Requirements::anyObject, {}, { { { 'S', ControlModifier }, ShortcutManager::Category::Scene } } } );
const FunctionItemRegistrar cSaveAs(
    FunctionItemParams{ "Save scene as", [] { UnsavedWork::saveAs(); }, &Requirements::anyObject, {},
        { { { 'S', ControlModifier | ShiftModifier }, ShortcutManager::Category::Scene } } } );
const FunctionItemRegistrar cSaveSelected(
    FunctionItemParams{ "Save selected", &saveSelected, &Requirements::anySelected, {} } );
const FunctionItemRegistrar cQuit( FunctionItemParams{ "Quit", [] { viewer().requestClose(); }, {}, {},
    { { { 'Q', ControlModifier }, ShortcutManager::Category::Scene } } } );

} // namespace
} // namespace VX
