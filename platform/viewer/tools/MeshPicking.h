#pragma once

#include <VXMesh/scene/RayCast.h>
#include <VXMesh/scene/VisualObjects.h>

namespace VX
{

/// Where a ray in world space first meets an object's surface; the point of the hit is in the object's own space.
[[nodiscard]] inline std::optional<MeshHit> intersectObject( const ObjectMesh& object, const Ray& ray )
{
    if ( !object.mesh() )
        return {};
    const auto xf = object.worldXf();
    const Matrix3f inverse = xf.A.inverse();
    return intersect( *object.mesh(), { inverse * ( ray.origin - xf.b ), inverse * ray.direction } );
}

} // namespace VX
