#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/Export.h>

namespace VX
{

/// What a 3D mouse reports of its cap, as `ViewerSignals::spaceMouseMove` tells it: right, up and towards the user,
/// each -1 to 1.
struct SpaceMouseMotion
{
    Vector3f shift;
    Vector3f turn;
    bool operator==( const SpaceMouseMotion& ) const = default;
};

/// A report of the daemon, whose third axis points away from the user and whose numbers depend on its settings.
struct SpaceMouseReport
{
    int x = 0, y = 0, z = 0;
    int rx = 0, ry = 0, rz = 0;
};

[[nodiscard]] VXVIEWER_API SpaceMouseMotion motionOf( const SpaceMouseReport& report );

} // namespace VX
