#include <VXOrvanta/welcome/YoutubeLogo.h>

#include <imgui.h>

#include <array>

namespace VX
{
namespace
{

constexpr ImU32 cRed = 0xff0000ff, cWhite = 0xffffffff;
constexpr Vector2f cStart{ 12.001f, 33.542f };

/// Two control points and an end point, counted from the end of the segment before.
using Segment = std::array<Vector2f, 3>;

constexpr std::array<Segment, 8> cSegments{ {
    { { { -0.039f, -7.663f }, { 0.8f, -12.14f }, { 2.516f, -13.428f } } },
    { { { 2.574f, -1.933f }, { 9.232f, -2.115f }, { 18.245f, -2.115f } } },
    { { { 9.014f, 0 }, { 18.016f, 0.182f }, { 19.532f, 2.735f } } },
    { { { 1.517f, 2.552f }, { 1.75f, 8.062f }, { 1.7f, 12.808f } } },
    { { { -0.05f, 4.747f }, { -0.05f, 9.966f }, { -2.033f, 12.11f } } },
    { { { 49.98f, 47.795f }, { 42.407f, 48 }, { 32.762f, 48 } } },
    { { { -9.644f, 0 }, { -16.656f, -0.081f }, { -18.545f, -2.348f } } },
    { { { -1.259f, -1.512f }, { -1.997f, -5.548f }, { -2.216f, -12.11f } } },
} };
/// This one is counted from the logo's own corner.
constexpr size_t cAbsoluteSegment = 5;

ImVec2 toImVec2( Vector2f v )
{
    return { v.x, v.y };
}

} // namespace

void drawYoutubePolyBezier( ImDrawList& list, const Vector2f& pos, float scale )
{
    Vector2f end = pos + cStart * scale;
    list.PathClear();
    list.PathLineTo( toImVec2( end ) );
    for ( size_t i = 0; i < cSegments.size(); ++i )
    {
        const Vector2f origin = i == cAbsoluteSegment ? pos : end;
        const auto& [first, second, last] = cSegments[i];
        end = origin + last * scale;
        list.PathBezierCubicCurveTo(
            toImVec2( origin + first * scale ), toImVec2( origin + second * scale ), toImVec2( end ) );
    }
    list.PathFillConvex( cRed );
    list.PathClear();
    list.AddTriangleFilled( toImVec2( pos + Vector2f{ 30, 26 } * scale ), toImVec2( pos + Vector2f{ 30, 40 } * scale ),
        toImVec2( pos + Vector2f{ 40, 33 } * scale ), cWhite );
}

} // namespace VX
