#include <VXViewer/window/WindowPlace.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace VX
{
namespace
{

constexpr int cLeastSide = 64, cMostSide = 16384;

int64_t overlap( const ScreenRect& a, const ScreenRect& b )
{
    const int64_t width = std::min( a.x + a.width, b.x + b.width ) - std::max( a.x, b.x );
    const int64_t height = std::min( a.y + a.height, b.y + b.height ) - std::max( a.y, b.y );
    return std::max<int64_t>( width, 0 ) * std::max<int64_t>( height, 0 );
}

ScreenRect within( const ScreenRect& screen, const FrameSize& frame )
{
    return { screen.x + frame.left, screen.y + frame.top, std::max( screen.width - frame.left - frame.right, 1 ),
        std::max( screen.height - frame.top - frame.bottom, 1 ) };
}

bool isBetween( const Json::Value& value, int least, int most )
{
    return value.isInt() && value.asInt() >= least && value.asInt() <= most;
}

} // namespace

ScreenRect placeWindow( const std::optional<WindowPlace>& remembered, int width, int height,
    const std::vector<ScreenRect>& screens, const FrameSize& frame, float scale )
{
    const auto scaled = [&]( int size ) { return std::max( int( std::lround( float( size ) * scale ) ), 1 ); };
    ScreenRect out{
        0, 0, scaled( remembered ? remembered->width : width ), scaled( remembered ? remembered->height : height ) };
    if ( remembered )
        out.x = remembered->x, out.y = remembered->y;
    if ( screens.empty() )
        return out;
    const auto screen = std::max_element( screens.begin(), screens.end(),
        [&]( const ScreenRect& a, const ScreenRect& b ) { return overlap( a, out ) < overlap( b, out ); } );
    const bool seen = remembered && overlap( *screen, out ) > 0;
    const auto free = within( seen ? *screen : screens.front(), frame );
    out.width = std::min( out.width, free.width );
    out.height = std::min( out.height, free.height );
    if ( !seen )
        out.x = free.x + ( free.width - out.width ) / 2, out.y = free.y + ( free.height - out.height ) / 2;
    out.x = std::clamp( out.x, free.x, free.x + free.width - out.width );
    out.y = std::clamp( out.y, free.y, free.y + free.height - out.height );
    return out;
}

std::optional<WindowPlace> windowPlaceFromJson( const Json::Value& value )
{
    constexpr int cFarthest = 1 << 20;
    if ( !value.isObject() || !isBetween( value["x"], -cFarthest, cFarthest ) ||
         !isBetween( value["y"], -cFarthest, cFarthest ) || !isBetween( value["width"], cLeastSide, cMostSide ) ||
         !isBetween( value["height"], cLeastSide, cMostSide ) )
        return {};
    return WindowPlace{ value["x"].asInt(), value["y"].asInt(), value["width"].asInt(), value["height"].asInt(),
        value["maximized"].isBool() && value["maximized"].asBool() };
}

Json::Value toJson( const WindowPlace& place )
{
    Json::Value out;
    out["x"] = place.x;
    out["y"] = place.y;
    out["width"] = place.width;
    out["height"] = place.height;
    out["maximized"] = place.maximized;
    return out;
}

} // namespace VX
