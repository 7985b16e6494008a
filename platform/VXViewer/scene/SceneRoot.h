#pragma once

#include <VXViewer/Export.h>

namespace VX
{

class Object;

/// The root of the scene of this process's viewer; another one when a viewer has ended. UI thread.
[[nodiscard]] VXVIEWER_API Object& sceneRoot();

} // namespace VX
