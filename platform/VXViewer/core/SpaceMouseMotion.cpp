#include <VXViewer/core/SpaceMouseMotion.h>

#include <algorithm>

namespace VX
{
namespace
{

// What the daemon reports of a cap pushed to its stop.
constexpr float cFullDeflection = 350;

float toUnit( int value )
{
    return std::clamp( float( value ) / cFullDeflection, -1.f, 1.f );
}

} // namespace

SpaceMouseMotion motionOf( const SpaceMouseReport& report )
{
    return { { toUnit( report.x ), toUnit( report.y ), -toUnit( report.z ) },
        { toUnit( report.rx ), toUnit( report.ry ), -toUnit( report.rz ) } };
}

} // namespace VX
