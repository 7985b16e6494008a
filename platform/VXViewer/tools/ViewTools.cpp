#include <VXViewer/core/CurrentView.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/window/Window.h>

namespace VX
{
namespace
{

void fitSelected()
{
    Box3d box;
    for ( const auto& object : SceneCache::getAllObjects<Object, ObjectSelectivityType::Selected>() )
        box.include( object->treeBox( true ) );
    fitViewToBox( box );
}

/// The keys of views and of how they are drawn.
std::vector<ToolShortcut> viewKey( int key )
{
    return { { { key, 0 }, ShortcutManager::Category::View } };
}

FunctionItemParams preset( const char* name, ViewPreset preset, std::vector<ToolShortcut> keys = {} )
{
    return { name,
        [preset]
        {
            viewCamera().setPreset( preset );
            fitViewToScene();
        },
        &Requirements::anyObject, {}, std::move( keys ) };
}

FunctionItemParams shading( const char* name, Shading shading )
{
    return { name, [shading] { viewDrawSettings().shading = shading; }, {},
        [shading] { return viewDrawSettings().shading == shading; } };
}

FunctionItemParams drawSwitch( const char* name, bool DrawSettings::* member, int key )
{
    return { name, [member] { viewDrawSettings().*member = !( viewDrawSettings().*member ); }, {},
        [member] { return viewDrawSettings().*member; }, viewKey( key ) };
}

const FunctionItemRegistrar cFit(
    FunctionItemParams{ "Fit all", [] { fitViewToScene(); }, &Requirements::anyObject, {}, viewKey( 'F' ) } );
const FunctionItemRegistrar cFitSelected( FunctionItemParams{ "Fit selected", &fitSelected, &Requirements::anySelected,
    {}, { { { 'F', ShiftModifier }, ShortcutManager::Category::View } } } );
const FunctionItemRegistrar cIsometric( preset( "Isometric view", ViewPreset::Isometric, viewKey( '0' ) ) );
const FunctionItemRegistrar cFront( preset( "Front view", ViewPreset::Front, viewKey( '1' ) ) );
const FunctionItemRegistrar cBack( preset( "Back view", ViewPreset::Back ) );
const FunctionItemRegistrar cLeft( preset( "Left view", ViewPreset::Left ) );
const FunctionItemRegistrar cRight( preset( "Right view", ViewPreset::Right, viewKey( '3' ) ) );
const FunctionItemRegistrar cTop( preset( "Top view", ViewPreset::Top, viewKey( '7' ) ) );
const FunctionItemRegistrar cBottom( preset( "Bottom view", ViewPreset::Bottom ) );
const FunctionItemRegistrar cOrthographic(
    FunctionItemParams{ "Orthographic", [] { viewCamera().setOrthographic( !viewCamera().isOrthographic() ); }, {},
        [] { return viewCamera().isOrthographic(); }, viewKey( '5' ) } );
const FunctionItemRegistrar cAutomatic( shading( "Automatic shading", Shading::Automatic ) );
const FunctionItemRegistrar cSmooth( shading( "Smooth shading", Shading::Smooth ) );
const FunctionItemRegistrar cFlat( shading( "Flat shading", Shading::Flat ) );
const FunctionItemRegistrar cEdges( drawSwitch( "Edges", &DrawSettings::edges, 'E' ) );
const FunctionItemRegistrar cWireframe( drawSwitch( "Wireframe", &DrawSettings::wireframe, 'W' ) );

} // namespace
} // namespace VX
