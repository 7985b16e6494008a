#pragma once

#include <VXMesh/math/Box3.h>
#include <VXViewer/Export.h>
#include <VXViewer/draw/Overlay.h>

#include <string>
#include <vector>

namespace VX
{

class Camera;
class Object;
class Window;
struct DrawSettings;

// The view of this process's viewer, for who needs no more of it. UI thread.

[[nodiscard]] VXVIEWER_API Camera& viewCamera();
[[nodiscard]] VXVIEWER_API DrawSettings& viewDrawSettings();
/// Null before the viewer is launched and after its end.
[[nodiscard]] VXVIEWER_API const Window* viewWindow();
/// Brings the whole scene into view.
VXVIEWER_API void fitViewToScene();
/// Brings a box, in the scene's coordinates, into view.
VXVIEWER_API void fitViewToBox( const Box3d& box );
/// Pixels for one at 96 dots an inch.
[[nodiscard]] VXVIEWER_API float viewScale();
/// The object at a pixel of the window, or null.
[[nodiscard]] VXVIEWER_API Object* pickInView( Vector2f pixel );
/// Surfaces that a tool shows over the scene, until the owner of this name sets others.
VXVIEWER_API void setViewOverlays( const std::string& owner, std::vector<Overlay> overlays );

} // namespace VX
