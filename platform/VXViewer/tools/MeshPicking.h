#pragma once

#include <VXMesh/scene/RayCast.h>
#include <VXMesh/scene/VisualObjects.h>

namespace VX
{

/// Where a ray in world space first meets an object's surface; the point of the hit is in the object's own space.
[[nodiscard]] inline std::optional<MeshHit> intersectObject( const ObjectMesh& object, const Ray3d& ray )
{
    if ( !object.mesh() )
        return {};
    const auto xf = object.worldXf();
    const Matrix3d inverse = xf.A.inverse();
    Ray3d own{ inverse * ( ray.origin - xf.b ), inverse * ray.direction };
    // A viewer far away is no place to reckon in floats from: the ray begins just before the object.
    const Box3d box = object.localBox();
    const double squared = own.direction.lengthSq();
    const double skipped = squared > 0 ? std::max( dot( box.center() - own.origin, own.direction ) / squared -
                                                       box.diagonal() / std::sqrt( squared ),
                                             0. )
                                       : 0;
    own.origin += own.direction * skipped;
    auto hit = intersect( *object.mesh(), { Vector3f( own.origin ), Vector3f( own.direction ) } );
    if ( hit )
        hit->distance += float( skipped );
    return hit;
}

} // namespace VX
