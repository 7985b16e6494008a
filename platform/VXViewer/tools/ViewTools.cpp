#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX
{
namespace
{

Viewer& viewer()
{
    return getViewerInstance();
}

void fitSelected()
{
    Box3d box;
    for ( const auto& object : SceneCache::getAllObjects<Object, ObjectSelectivityType::Selected>() )
        box.include( object->treeBox( true ) );
    viewer().fitBox( box );
}

FunctionItemParams preset( const char* name, ViewPreset preset )
{
    return { name,
        [preset]
        {
            viewer().camera().setPreset( preset );
            viewer().fitScene();
        },
        &Requirements::anyObject, {} };
}

FunctionItemParams shading( const char* name, Shading shading )
{
    return { name, [shading] { viewer().drawSettings().shading = shading; }, {},
        [shading] { return viewer().drawSettings().shading == shading; } };
}

FunctionItemParams drawSwitch( const char* name, bool DrawSettings::* member )
{
    return { name, [member] { viewer().drawSettings().*member = !( viewer().drawSettings().*member ); }, {},
        [member] { return viewer().drawSettings().*member; } };
}

const FunctionItemRegistrar cFit(
    FunctionItemParams{ "Fit all", [] { viewer().fitScene(); }, &Requirements::anyObject, {} } );
const FunctionItemRegistrar cFitSelected(
    FunctionItemParams{ "Fit selected", &fitSelected, &Requirements::anySelected, {} } );
const FunctionItemRegistrar cIsometric( preset( "Isometric view", ViewPreset::Isometric ) );
const FunctionItemRegistrar cFront( preset( "Front view", ViewPreset::Front ) );
const FunctionItemRegistrar cBack( preset( "Back view", ViewPreset::Back ) );
const FunctionItemRegistrar cLeft( preset( "Left view", ViewPreset::Left ) );
const FunctionItemRegistrar cRight( preset( "Right view", ViewPreset::Right ) );
const FunctionItemRegistrar cTop( preset( "Top view", ViewPreset::Top ) );
const FunctionItemRegistrar cBottom( preset( "Bottom view", ViewPreset::Bottom ) );
const FunctionItemRegistrar cOrthographic( FunctionItemParams{ "Orthographic",
    [] { viewer().camera().setOrthographic( !viewer().camera().isOrthographic() ); }, {},
    [] { return viewer().camera().isOrthographic(); } } );
const FunctionItemRegistrar cAutomatic( shading( "Automatic shading", Shading::Automatic ) );
const FunctionItemRegistrar cSmooth( shading( "Smooth shading", Shading::Smooth ) );
const FunctionItemRegistrar cFlat( shading( "Flat shading", Shading::Flat ) );
const FunctionItemRegistrar cEdges( drawSwitch( "Edges", &DrawSettings::edges ) );
const FunctionItemRegistrar cWireframe( drawSwitch( "Wireframe", &DrawSettings::wireframe ) );

} // namespace
} // namespace VX
