#include <VXViewer/scene/SceneRoot.h>

#include <VXViewer/core/Viewer.h>

namespace VX
{

Object& sceneRoot()
{
    return getViewerInstance().sceneRoot();
}

const std::shared_ptr<HistoryStore>& sceneHistory()
{
    return getViewerInstance().getHistoryStore();
}

} // namespace VX
