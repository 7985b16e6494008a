#pragma once

#include <VXViewer/Export.h>

#include <functional>

/// Saving the scene, and asking about it before it goes. All of it needs a viewer with a menu; UI thread.
namespace VX::UnsavedWork
{

using Action = std::function<void()>;

/// Writes the scene to where it belongs, or asks where that is. `then` is called when it has been written, and never
/// when the person gives up or it fails, which is said in a message.
VXVIEWER_API void save( Action then = {} );
VXVIEWER_API void saveAs( Action then = {} );

/// Before the scene is replaced or the window closed: calls `then` at once where nothing is unsaved, else asks, and
/// calls it after "Save" has saved or "Discard" was chosen.
VXVIEWER_API void leave( Action then );

} // namespace VX::UnsavedWork
