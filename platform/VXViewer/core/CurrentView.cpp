#include <VXViewer/core/CurrentView.h>

#include <VXViewer/core/Viewer.h>

namespace VX
{

Camera& viewCamera()
{
    return getViewerInstance().camera();
}

DrawSettings& viewDrawSettings()
{
    return getViewerInstance().drawSettings();
}

const Window* viewWindow()
{
    return getViewerInstance().window();
}

void fitViewToScene()
{
    getViewerInstance().fitScene();
}

void fitViewToBox( const Box3d& box )
{
    getViewerInstance().fitBox( box );
}

float viewScale()
{
    return getViewerInstance().scale();
}

Object* pickInView( Vector2f pixel )
{
    return getViewerInstance().pick( pixel );
}

void setViewOverlays( const std::string& owner, std::vector<Overlay> overlays )
{
    getViewerInstance().setOverlays( owner, std::move( overlays ) );
}

} // namespace VX
