#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/tools/PrimitiveSelection.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/scene/SceneRoot.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>

#include <algorithm>
#include <unordered_set>

namespace VX
{
namespace
{

SceneEdits::Objects selected()
{
    return SceneCache::getAllObjects<Object, ObjectSelectivityType::Selected>();
}

void selectAll()
{
    forEachObject(
        sceneRoot(), []( Object& object ) { object.select( dynamic_cast<VisualObject*>( &object ) != nullptr ); } );
}

void clearSelections()
{
    PrimitiveSelection::instance().clear();
    forEachObject( sceneRoot(), []( Object& object ) { object.select( false ); } );
}

std::string_view anythingMarked( const SelectedObjects& objects )
{
    if ( !PrimitiveSelection::instance().empty() )
        return {};
    return objects.empty() ? "Nothing is selected" : "";
}

bool isGroup( const Object& object )
{
    return object.parent() && !dynamic_cast<const VisualObject*>( &object );
}

/// Adds the groups of which nothing would be left.
SceneEdits::Objects withEmptiedGroups( SceneEdits::Objects objects )
{
    std::unordered_set<const Object*> going;
    for ( const auto& object : objects )
        going.insert( object.get() );
    const auto isGoing = [&]( const auto& object ) { return going.contains( object.get() ); };
    for ( size_t i = 0; i < objects.size(); ++i )
    {
        Object* group = objects[i]->parent();
        if ( !group || !isGroup( *group ) || going.contains( group ) )
            continue;
        if ( !std::all_of( group->children().begin(), group->children().end(), isGoing ) )
            continue;
        going.insert( group );
        objects.push_back( group->shared_from_this() );
    }
    return objects;
}

/// Marked faces first: they are what the user has just pointed at.
void deleteSelection()
{
    if ( !PrimitiveSelection::instance().empty() )
        return PrimitiveSelection::instance().deleteMarked();
    const auto objects = selected();
    SceneEdits::remove( SceneEdits::nameFor( "Delete", objects ), withEmptiedGroups( objects ) );
}

void hideSelected()
{
    const auto objects = selected();
    SceneEdits::setVisible( SceneEdits::nameFor( "Hide", objects ), objects, false );
}

void showAll()
{
    SceneEdits::setVisible( "Show all", SceneCache::getAllObjects<Object, ObjectSelectivityType::Selectable>(), true );
}

void rename()
{
    const auto* menu = currentRibbonMenu();
    if ( const auto objects = selected(); menu && !objects.empty() )
        menu->getSceneObjectsList()->startRename( *objects.front() );
}

const FunctionItemRegistrar cSelectAll( FunctionItemParams{ "Select all", &selectAll, &Requirements::anyObject, {},
    { { { 'A', ControlModifier }, ShortcutManager::Category::Selection } } } );
const FunctionItemRegistrar cClear( FunctionItemParams{ "Clear Selections", &clearSelections, &anythingMarked, {} } );
const FunctionItemRegistrar cDelete( FunctionItemParams{ "Delete Selection", &deleteSelection, &anythingMarked, {} } );
const FunctionItemRegistrar cHide( FunctionItemParams{ "Hide selected", &hideSelected, &Requirements::anySelected, {},
    { { { 'H', 0 }, ShortcutManager::Category::Objects } } } );
const FunctionItemRegistrar cShow( FunctionItemParams{ "Show all", &showAll, &Requirements::anyObject, {},
    { { { 'H', ShiftModifier }, ShortcutManager::Category::Objects } } } );
const FunctionItemRegistrar cRename( FunctionItemParams{ "Rename", &rename, &Requirements::oneSelected, {},
    { { { GLFW_KEY_F2, 0 }, ShortcutManager::Category::Objects } } } );

} // namespace
} // namespace VX
