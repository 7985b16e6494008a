#include <VXViewer/scene/SceneRoot.h>

#include <VXViewer/core/Viewer.h>

namespace VX
{

Object& sceneRoot()
{
    return getViewerInstance().sceneRoot();
}

} // namespace VX
