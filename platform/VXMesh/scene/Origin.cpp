#include <VXMesh/scene/Origin.h>

#include <VXMesh/scene/Mesh.h>

namespace VX
{
namespace
{

constexpr double cFloatRounding = 1. / ( 1 << 24 ); // of a number's size
constexpr double cMostLost = 1e-6;                  // of the box's diagonal

double largest( const Vector3d& v )
{
    return std::max( { std::abs( v.x ), std::abs( v.y ), std::abs( v.z ) } );
}

} // namespace

Vector3d originFor( const Box3d& box )
{
    if ( !box.valid() )
        return {};
    // A lone point has no size to compare with.
    const double size = box.diagonal() > 0 ? box.diagonal() : 1;
    if ( std::max( largest( box.min ), largest( box.max ) ) * cFloatRounding <= size * cMostLost )
        return {};
    const double unit = size < 1 ? std::exp2( std::floor( std::log2( size ) ) ) : 1;
    const auto rounded = [unit]( double v ) { return std::round( v / unit ) * unit; };
    const Vector3d center = box.center();
    return { rounded( center.x ), rounded( center.y ), rounded( center.z ) };
}

std::vector<Vector3f> relativeTo( const Vector3d& origin, const std::vector<Vector3d>& points )
{
    std::vector<Vector3f> out( points.size() );
    std::transform(
        points.begin(), points.end(), out.begin(), [&]( const Vector3d& p ) { return Vector3f( p - origin ); } );
    return out;
}

Vector3d moveToOrigin( std::vector<Vector3f>& points )
{
    const Vector3d origin = originFor( boxOf( points ) );
    if ( origin != Vector3d{} )
        for ( auto& p : points )
            p = Vector3f( Vector3d( p ) - origin );
    return origin;
}

} // namespace VX
