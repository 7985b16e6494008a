#pragma once

#include <VXViewer/Export.h>

#include <memory>

namespace VX
{

class HistoryStore;
class Object;

/// The root of the scene of this process's viewer; another one when a viewer has ended. UI thread.
[[nodiscard]] VXVIEWER_API Object& sceneRoot();

/// What has been done to it, to be taken back; null where nobody keeps that. UI thread.
[[nodiscard]] VXVIEWER_API const std::shared_ptr<HistoryStore>& sceneHistory();

} // namespace VX
