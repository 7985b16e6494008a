#include <VXViewer/loop/Wake.h>

#include <atomic>

namespace VX
{
namespace
{

std::atomic<LoopToWake*> sLoop{ nullptr };

} // namespace

void setLoopToWake( LoopToWake* loop )
{
    sLoop = loop;
}

void wake()
{
    if ( LoopToWake* loop = sLoop )
        loop->postEmptyEvent();
}

void redraw( int frames )
{
    if ( LoopToWake* loop = sLoop )
        loop->incrementForceRedrawFrames( frames, false );
}

void redrawIn( double seconds )
{
    if ( LoopToWake* loop = sLoop )
        loop->requestFrameIn( seconds );
}

} // namespace VX
