#include <VXViewer/tools/PointPicking.h>

#include <VXViewer/core/CurrentView.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/tools/MeshPicking.h>

namespace VX
{
namespace
{

constexpr float cSnapPixels = 10;

const std::vector<Vector3f>* pointsOf( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ); mesh && mesh->mesh() )
        return &mesh->mesh()->points;
    if ( const auto* cloud = dynamic_cast<const ObjectPoints*>( &object ); cloud && cloud->points() )
        return &cloud->points()->points;
    const auto* lines = dynamic_cast<const ObjectLines*>( &object );
    return lines && lines->lines() ? &lines->lines()->points : nullptr;
}

/// Where the ray meets an object's surface, in world space.
std::optional<Vector3d> surfacePoint( const Object& object, const Ray3d& ray )
{
    const auto* mesh = dynamic_cast<const ObjectMesh*>( &object );
    const auto hit = mesh ? intersectObject( *mesh, ray ) : std::nullopt;
    if ( !hit )
        return {};
    return mesh->worldXf()( hit->point );
}

/// The object's own point nearest to a pixel, when it is near and not behind the surface that was hit.
std::optional<Vector3d> snapPoint( const Object& object, Vector2f pixel, const std::optional<Vector3d>& surface )
{
    const auto* points = pointsOf( object );
    if ( !points )
        return {};
    const auto& camera = viewCamera();
    const auto xf = object.worldXf();
    const auto view = camera.view();
    const double deepest = surface ? view( *surface ).z : -1e30;
    const double slack = object.treeBox().diagonal() * 0.01;
    std::optional<Vector3d> out;
    float best = cSnapPixels * viewScale();
    for ( const auto& own : *points )
    {
        const Vector3d point = xf( own );
        const float distance = ( camera.project( point ) - pixel ).length();
        if ( distance < best && view( point ).z >= deepest - slack )
        {
            best = distance;
            out = point;
        }
    }
    return out;
}

} // namespace

std::optional<PickedPoint> pickPoint( Vector2f pixel )
{
    Object* object = pickInView( pixel );
    if ( !object )
        return {};
    const auto surface = surfacePoint( *object, viewCamera().ray( pixel ) );
    const auto snapped = snapPoint( *object, pixel, surface );
    if ( !snapped && !surface )
        return {};
    return PickedPoint{ object->shared_from_this(), snapped ? *snapped : *surface };
}

} // namespace VX
