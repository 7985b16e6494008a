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

TEST( Camera, OrbitAboutAPointKeepsItsPlaceOnTheScreen )
{
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        const Vector3f place{ 0.9f, -0.4f, 1 };
        const auto before = camera.project( place );
        for ( int i = 0; i < 20; ++i )
            camera.orbit( { 17, i < 10 ? 30.f : -20.f }, place );
        EXPECT_NEAR( camera.project( place ).x, before.x, 0.05 );
        EXPECT_NEAR( camera.project( place ).y, before.y, 0.05 );
        EXPECT_GT( ( camera.project( {} ) - before ).length(), 20 );
    }
}

TEST( Camera, UnprojectFindsThePointThatWasProjected )
{
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        const Vector3f place{ 0.3f, -0.7f, 0.5f };
        const Vector3f p( camera.view()( place ) );
        const auto m = camera.projection();
        const float depth = ( ( m.at( 2, 2 ) * p.z + m.at( 2, 3 ) ) / ( m.at( 3, 2 ) * p.z + m.at( 3, 3 ) ) + 1 ) / 2;
        EXPECT_LT( ( camera.unproject( camera.project( place ), depth ) - Vector3d( place ) ).length(), 1e-4 );
    }
}

TEST( Camera, CroppedShowsThePartAsItWasInAViewportOfItsOwn )
{
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        // Twice as large, and 100 pixels more at the left and the right.
        const auto part = camera.cropped( { 200, 100 }, { 500, 300 }, 800, 400 );
        const Vector3f place{ 0.3f, -0.7f, 0.5f };
        const auto at = camera.project( place ), there = part.project( place );
        EXPECT_NEAR( there.x, ( at.x - 200 ) * 2 + 100, 0.01 );
        EXPECT_NEAR( there.y, ( at.y - 100 ) * 2, 0.01 );
        const auto ray = part.ray( there ), same = camera.ray( at );
        EXPECT_LT( cross( ray.direction, same.direction ).length(), 1e-4f );
    }
}

TEST( Camera, SeesFarFromZeroWhatItSeesAtZero )
{
    const Vector3d far{ 500'000, 5'500'000, 120 };
    const Box3d box = unitBox(), farBox{ box.min + far, box.max + far };
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted(), farCamera = fitted();
        farCamera.setSceneBox( farBox );
        farCamera.fit( farBox );
        for ( auto* each : { &camera, &farCamera } )
        {
            each->setOrthographic( orthographic );
            each->zoom( 40, { 500, 200 } );
            each->orbit( { 30, 10 } );
            each->pan( { 5, 7 } );
        }
        const auto near = camera.toView( {} ), there = farCamera.toView( { {}, far } );
        EXPECT_EQ( near.A, there.A );
        EXPECT_LT( ( near.b - there.b ).length(), 1e-7f );
        const Vector3d place{ 0.01, -0.02, 0.03 };
        EXPECT_NEAR( camera.project( place ).x, farCamera.project( place + far ).x, 0.01 );
        const auto ray = farCamera.ray( camera.project( place ) );
        const Vector3d along = ray.direction.normalized(), to = place + far - ray.origin;
        EXPECT_LT( ( to - along * dot( to, along ) ).length(), 1e-6 );
    }
}

TEST( Camera, DoesNotCutOffWhatIsNearWhenTheSceneReachesFar )
{
    auto camera = fitted();
    camera.setSceneBox( { { -1, -1, -1 }, { 700'000, 1, 1 } } );
    const auto matrix = camera.projection();
    const Vector3f corner( camera.toView( {} )( Vector3f{ -1, -1, 1 } ) );
    const float depth = ( matrix.at( 2, 2 ) * corner.z + matrix.at( 2, 3 ) ) / -corner.z;
    EXPECT_GT( depth, -1 );
    EXPECT_LT( depth, 1 );
}

TEST( Camera, ComesCloseToSmallThingsInAScene )
{
    auto camera = fitted();
    const Box3d wide{ { -1, -1, -1 }, { 700'000, 1, 1 } };
    camera.setPreset( ViewPreset::Top );
    camera.setSceneBox( wide );
    camera.fit( wide );
    camera.setDetail( 3.5 );
    for ( int i = 0; i < 200; ++i )
        camera.zoom( 1, camera.project( {} ) );
    EXPECT_GT( ( camera.project( { 0.1, 0, 0 } ) - camera.project( {} ) ).length(), 1000 );
}
