#pragma once

#include <memory>

namespace VX
{

class Viewer;

/// Listens to a 3D mouse through spacenavd, when that daemon runs, and tells the viewer's signals on the UI thread.
class SpaceMouse
{
public:
    SpaceMouse();
    ~SpaceMouse();
    SpaceMouse( const SpaceMouse& ) = delete;
    SpaceMouse& operator=( const SpaceMouse& ) = delete;

    /// Does nothing where there is no daemon. The viewer must outlive this object.
    void start( Viewer& viewer );

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace VX
