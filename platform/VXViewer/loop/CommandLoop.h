#pragma once

#include <VXViewer/Export.h>

#include <functional>

namespace VX
{

/// Commands for the UI thread: queued from any thread, run in their order between two frames.
class VXVIEWER_API CommandLoop
{
public:
    using Command = std::function<void()>;

    /// Queues a command and wakes the viewer's loop. Without a viewer it runs at the next `processCommands`.
    static void appendCommand( Command command );

    /// Runs a command on the UI thread and waits for it; at once when this is the UI thread.
    /// After `close` it returns without having run it.
    static void runCommandFromGUIThread( Command command );

    /// Runs what was queued before this call; only for the UI thread, which the first caller becomes.
    static void processCommands();

    /// Drops what is queued and whatever comes later, and lets blocked callers go. The UI thread calls it at exit.
    static void close();

    /// Undoes `close`, for a viewer that is started again.
    static void open();

    [[nodiscard]] static bool isEmpty();

private:
    struct Impl;
    static Impl& instance_();
};

} // namespace VX
