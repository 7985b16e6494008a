#include <VXViewer/core/FrameSchedule.h>

#include <algorithm>

namespace VX
{

void FrameSchedule::restart( int frames )
{
    requested_ = frames;
    swapOnLastOnly_ = false;
}

void FrameSchedule::request( int frames, bool swapOnLastOnly )
{
    requested_ = std::max( requested_, frames );
    swapOnLastOnly_ = swapOnLastOnly;
}

void FrameSchedule::requestAt( double time )
{
    if ( deadline_ < 0 || time < deadline_ )
        deadline_ = time;
}

double FrameSchedule::waitTime( double most, double now ) const
{
    if ( requested_ > 0 || posted_ )
        return 0;
    if ( deadline_ < 0 )
        return most;
    const double left = std::max( deadline_ - now, 0. );
    return most < 0 ? left : std::min( most, left );
}

bool FrameSchedule::takeDue( double now )
{
    const bool posted = posted_.exchange( false );
    const bool timeHasCome = deadline_ >= 0 && now >= deadline_;
    if ( timeHasCome )
        deadline_ = -1;
    return requested_ > 0 || posted || timeHasCome;
}

void FrameSchedule::beginFrame()
{
    requested_ = std::max( requested_ - 1, 0 );
}

} // namespace VX
