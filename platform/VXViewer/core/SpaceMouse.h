#pragma once

#include <memory>

namespace VX
{

struct ViewerSignals;

/// Listens to a 3D mouse through spacenavd, when that daemon runs, and tells them by signals on the UI thread.
class SpaceMouse
{
public:
    SpaceMouse();
    ~SpaceMouse();
    SpaceMouse( const SpaceMouse& ) = delete;
    SpaceMouse& operator=( const SpaceMouse& ) = delete;

    /// Does nothing where there is no daemon. The signals must outlive this object.
    void start( ViewerSignals& signals );

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace VX
