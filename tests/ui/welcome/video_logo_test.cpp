#include "support/ui/UiFixture.h"

#include <VXOrvanta/welcome/YoutubeLogo.h>

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <cmath>

using namespace VX;

namespace
{

using VideoLogo = Testing::UiFixture;

/// Two control points and an end point, from the end of the curve before.
using Curve = std::array<ImVec2, 3>;

const std::array<Curve, 8> cCurves{ {
    { { { -0.039f, -7.663f }, { 0.8f, -12.14f }, { 2.516f, -13.428f } } },
    { { { 2.574f, -1.933f }, { 9.232f, -2.115f }, { 18.245f, -2.115f } } },
    { { { 9.014f, 0 }, { 18.016f, 0.182f }, { 19.532f, 2.735f } } },
    { { { 1.517f, 2.552f }, { 1.75f, 8.062f }, { 1.7f, 12.808f } } },
    { { { -0.05f, 4.747f }, { -0.05f, 9.966f }, { -2.033f, 12.11f } } },
    // This one counts from the logo's corner.
    { { { 49.98f, 47.795f }, { 42.407f, 48 }, { 32.762f, 48 } } },
    { { { -9.644f, 0 }, { -16.656f, -0.081f }, { -18.545f, -2.348f } } },
    { { { -1.259f, -1.512f }, { -1.997f, -5.548f }, { -2.216f, -12.11f } } },
} };

ImVec2 at( const std::array<ImVec2, 4>& points, float t )
{
    const float u = 1 - t, a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    return { a * points[0].x + b * points[1].x + c * points[2].x + d * points[3].x,
        a * points[0].y + b * points[1].y + c * points[2].y + d * points[3].y };
}

float distance( ImVec2 p, const std::vector<ImVec2>& line )
{
    float least = FLT_MAX;
    for ( size_t i = 0; i + 1 < line.size(); ++i )
    {
        const ImVec2 nearest = ImLineClosestPoint( line[i], line[i + 1], p );
        least = std::min( least, std::hypot( p.x - nearest.x, p.y - nearest.y ) );
    }
    return least;
}

} // namespace

TEST_F( VideoLogo, FollowsEachOfItsCurves )
{
    constexpr float cScale = 1000;
    const ImVec2 cCorner{ 100, 200 };
    std::vector<ImVec2> outline, mark;
    const boost::signals2::scoped_connection connection = viewer().perFrameSignal.connect(
        [&]
        {
            auto& list = *ImGui::GetForegroundDrawList();
            const int before = list.VtxBuffer.Size;
            list.Flags &= ~ImDrawListFlags_AntiAliasedFill;
            drawYoutubePolyBezier( list, { cCorner.x, cCorner.y }, cScale );
            outline.clear();
            for ( int i = before; i < list.VtxBuffer.Size; ++i )
                outline.emplace_back( ( list.VtxBuffer[i].pos.x - cCorner.x ) / cScale,
                    ( list.VtxBuffer[i].pos.y - cCorner.y ) / cScale );
            // The last three are the mark within.
            mark.assign( outline.end() - 3, outline.end() );
            outline.resize( outline.size() - 3 );
        } );
    drawFrames( 1 );
    ASSERT_GT( outline.size(), 40u );
    ImVec2 end{ 12.001f, 33.542f };
    for ( size_t i = 0; i < cCurves.size(); ++i )
    {
        const ImVec2 origin = i == 5 ? ImVec2{ 0, 0 } : end;
        std::array<ImVec2, 4> points{ end };
        for ( size_t k = 0; k < 3; ++k )
            points[k + 1] = { origin.x + cCurves[i][k].x, origin.y + cCurves[i][k].y };
        for ( const float t : { 0.1f, 0.25f, 0.5f, 0.75f, 0.9f, 1.f } )
            EXPECT_LT( distance( at( points, t ), outline ), 0.002f ) << i + 1 << " at " << t;
        end = points[3];
    }
    const ImVec2 corners[] = { { 30, 26 }, { 30, 40 }, { 40, 33 } };
    for ( size_t i = 0; i < 3; ++i )
        EXPECT_LT( std::hypot( mark[i].x - corners[i].x, mark[i].y - corners[i].y ), 0.002f ) << i;
}
