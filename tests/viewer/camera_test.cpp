#include <VXViewer/draw/Camera.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

Box3f unitBox()
{
    Box3f box;
    box.include( Vector3f{ -1, -1, -1 } );
    box.include( Vector3f{ 1, 1, 1 } );
    return box;
}

Camera fitted( int width = 800, int height = 600 )
{
    Camera camera;
    camera.setViewport( width, height );
    camera.setSceneBox( unitBox() );
    camera.fit( unitBox() );
    return camera;
}

} // namespace

TEST( Camera, FitShowsEveryCornerInBothProjections )
{
    for ( const bool orthographic : { false, true } )
        for ( const auto& [width, height] : { std::pair( 800, 600 ), std::pair( 300, 900 ) } )
        {
            auto camera = fitted( width, height );
            camera.setOrthographic( orthographic );
            camera.fit( unitBox() );
            float widest = 0;
            for ( const auto& corner : unitBox().corners() )
            {
                const auto p = camera.project( corner );
                EXPECT_GE( p.x, 0 );
                EXPECT_LE( p.x, float( width ) );
                EXPECT_GE( p.y, 0 );
                EXPECT_LE( p.y, float( height ) );
                widest = std::max(
                    { widest, std::abs( p.x / float( width ) - 0.5f ), std::abs( p.y / float( height ) - 0.5f ) } );
            }
            EXPECT_GT( widest, 0.35f );
        }
}

TEST( Camera, FitKeepsClearOfWhatIsCovered )
{
    auto camera = fitted();
    camera.fit( unitBox(), { 300, 0 } );
    for ( const auto& corner : unitBox().corners() )
        EXPECT_GT( camera.project( corner ).x, 300 );
}

TEST( Camera, KeepsInTheMiddleWhatWasThereWhenTheViewportChanges )
{
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        const Camera::Area former{ { 1000, 800 }, { 300, 100 } }, now{ { 700, 1600 }, { 200, 200 } };
        camera.setViewport( 1000, 800 );
        camera.fit( unitBox(), former.covered );
        const auto before = camera.project( unitBox().center() );
        camera.setViewport( 700, 1600 );
        camera.keepInMiddle( former, now );
        const auto after = camera.project( unitBox().center() );
        EXPECT_NEAR( after.x - 450, before.x - 650, 10 );
        EXPECT_NEAR( after.y - 900, before.y - 450, 10 );
        for ( const auto& corner : unitBox().corners() )
            EXPECT_GT( camera.project( corner ).x, 200 );
        camera.setViewport( 1000, 800 );
        camera.keepInMiddle( now, former );
        EXPECT_NEAR( camera.project( unitBox().center() ).x, before.x, 0.1 );
        EXPECT_NEAR( camera.project( unitBox().center() ).y, before.y, 0.1 );
    }
}

TEST( Camera, ZoomKeepsThePlaceUnderThePointer )
{
    auto camera = fitted();
    camera.setOrthographic( true );
    const Vector3f place{ 0.5f, 0.2f, 0.7f };
    const auto anchor = camera.project( place );
    camera.zoom( 3, anchor );
    EXPECT_NEAR( camera.project( place ).x, anchor.x, 0.5 );
    EXPECT_NEAR( camera.project( place ).y, anchor.y, 0.5 );
}

TEST( Camera, PanMovesTheTargetWithThePointer )
{
    auto camera = fitted();
    const auto before = camera.project( {} );
    camera.pan( { 40, -25 } );
    EXPECT_NEAR( camera.project( {} ).x - before.x, 40, 0.5 );
    EXPECT_NEAR( camera.project( {} ).y - before.y, -25, 0.5 );
}

TEST( Camera, OrbitNeverTipsOver )
{
    auto camera = fitted();
    for ( int i = 0; i < 100; ++i )
        camera.orbit( { 13, 50 } );
    EXPECT_GE( camera.rotation().y.z, -1e-5f );
}

TEST( Camera, FrontLooksAlongY )
{
    auto camera = fitted();
    camera.setPreset( ViewPreset::Front );
    EXPECT_NEAR( camera.rotation().x.x, 1, 1e-6 );
    EXPECT_NEAR( camera.rotation().y.z, 1, 1e-6 );
    camera.setPreset( ViewPreset::Top );
    EXPECT_NEAR( camera.rotation().z.z, 1, 1e-6 );
}

TEST( Camera, RevisionGrowsOnlyWithAChange )
{
    auto camera = fitted();
    const auto before = camera.revision();
    camera.setViewport( 800, 600 );
    EXPECT_EQ( camera.revision(), before );
    camera.pan( { 1, 0 } );
    EXPECT_GT( camera.revision(), before );
}
