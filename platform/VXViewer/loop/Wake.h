#pragma once

#include <VXViewer/Export.h>

/// How code below the viewer asks for a frame. Without a viewer nothing happens.
namespace VX
{

/// The loop that is asked; a viewer plugs itself in.
class VXVIEWER_API LoopToWake
{
public:
    virtual void postEmptyEvent() = 0;
    virtual void incrementForceRedrawFrames( int frames, bool swapOnLastOnly ) = 0;
    virtual void requestFrameIn( double seconds ) = 0;

protected:
    ~LoopToWake() = default;
};

/// Says who is asked from now on, null for nobody; it has to live as long as anybody may ask. UI thread.
VXVIEWER_API void setLoopToWake( LoopToWake* loop );

/// Wakes the loop, so that it runs commands and draws a frame. Any thread.
VXVIEWER_API void wake();

/// Draws that many more frames: what changes a layout settles in the second. UI thread.
VXVIEWER_API void redraw( int frames = 2 );

/// Draws a frame in that many seconds from now, unless one is asked for earlier. UI thread.
VXVIEWER_API void redrawIn( double seconds );

} // namespace VX
