#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>

#include <optional>

namespace VX
{

struct PickedPoint
{
    std::shared_ptr<Object> object;
    Vector3d place; ///< in the world
};

/// The place in the scene that a pixel of the window means: a point of the object that is drawn there when one is near
/// the pixel and not hidden, else where its surface is met. Nothing where no object is. UI thread.
[[nodiscard]] VXVIEWER_API std::optional<PickedPoint> pickPoint( Vector2f pixel );

} // namespace VX
