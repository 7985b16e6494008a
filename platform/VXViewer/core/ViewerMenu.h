#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/Export.h>

#include <chrono>

namespace VX
{

class Object;
class RibbonFontManager;
class Viewer;

/// What a viewer asks of its menu. UI thread.
class VXVIEWER_API ViewerMenu
{
public:
    virtual ~ViewerMenu();

    /// Before the window is opened, on a screen of this scale: fonts may be rasterised on another thread.
    virtual void loadFontsAhead( float screenScale ) = 0;
    [[nodiscard]] virtual RibbonFontManager& fontManager() = 0;
    /// How much larger than at 96 dots an inch the interface is drawn.
    [[nodiscard]] virtual float menu_scaling() const = 0;

    /// The window stands, no frame has been drawn yet.
    virtual void init( Viewer* viewer ) = 0;
    /// Draws one frame of the interface.
    virtual void draw() = 0;
    /// Before the window goes.
    virtual void shutdown() = 0;
    /// After `shutdown`: ends what still works in the background; false when that did not end in time.
    virtual bool finish( std::chrono::milliseconds patience ) = 0;

    /// A click in the scene that nobody else wanted: on an object or null, adding to the selection where asked.
    virtual void onSceneClick( Object* object, bool add ) = 0;
    /// What the interface takes from the scene at the left and at the upper edge, in pixels.
    [[nodiscard]] virtual Vector2f coveredPixels() const = 0;
};

} // namespace VX
