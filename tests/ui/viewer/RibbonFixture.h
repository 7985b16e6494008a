#pragma once

#include "support/ui/UiFixture.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/Screenshot.h>

namespace VX::Testing
{

/// The menu over an empty scene, or one with a cube in it.
class RibbonFixture : public UiFixture
{
protected:
    [[nodiscard]] size_t objects() { return viewer().sceneRoot().children().size(); }
    Object& cube() { return *viewer().sceneRoot().children().at( 0 ); }
    /// The part of a frame that a window covers.
    Image windowImage( const std::string& name )
    {
        const Image whole = frame();
        const auto low = windowPointFromTop( name, 0, 0 ), high = windowPoint( name, 0, 0 );
        Image out{ int( high.x - low.x ), int( high.y - low.y ), {} };
        for ( int y = int( low.y ); y < int( high.y ); ++y )
        {
            const auto row = whole.pixels.begin() + ( y * whole.width + int( low.x ) ) * 3;
            out.pixels.insert( out.pixels.end(), row, row + out.width * 3 );
        }
        return out;
    }
    Vector2f cubeOnScreen() { return viewer().camera().project( cube().treeBox().center() ); }
};

} // namespace VX::Testing
