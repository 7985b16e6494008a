#pragma once

#include <VXViewer/Export.h>

#include <atomic>

namespace VX
{

/// When the loop draws a frame: as often as it was asked to, once after it was woken, and at a time that somebody waits
/// for. In between it sleeps. Times are seconds of one clock. UI thread, except `post`.
class VXVIEWER_API FrameSchedule
{
public:
    /// A window has been opened: so many frames, whatever was asked for before.
    void restart( int frames );
    /// Asks for that many more frames; with `swapOnLastOnly` only the last of them is shown.
    void request( int frames, bool swapOnLastOnly );
    /// Asks for a frame at a time, unless one is asked for earlier.
    void requestAt( double time );
    /// Asks for a frame as soon as the loop turns; any thread.
    void post() { posted_ = true; }

    /// Whether frames are left that were asked for by number.
    [[nodiscard]] bool hasRequests() const { return requested_ > 0; }
    /// How long the loop may sleep: at most that many seconds, for ever when they are negative.
    [[nodiscard]] double waitTime( double most, double now ) const;
    /// Whether a frame is due. A wake and a time that has come count once.
    [[nodiscard]] bool takeDue( double now );
    /// A frame is about to be built, one of those that were asked for.
    void beginFrame();
    /// It has been built, and may have asked for further ones: whether it is to be shown.
    [[nodiscard]] bool isFrameShown() const { return !swapOnLastOnly_ || requested_ == 0; }

private:
    std::atomic<bool> posted_{ false };
    int requested_ = 0;
    bool swapOnLastOnly_ = false;
    double deadline_ = -1;
};

} // namespace VX
