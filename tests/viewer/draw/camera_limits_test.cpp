#include <VXViewer/draw/Camera.h>

#include <gtest/gtest.h>

#include <limits>

using namespace VX;

namespace
{

constexpr Box3d cBox{ { -1, -1, -1 }, { 1, 1, 1 } };

Camera fitted( int width = 800, int height = 600 )
{
    Camera camera;
    camera.setViewport( width, height );
    camera.setSceneBox( cBox );
    camera.fit( cBox );
    return camera;
}

double away( const Camera& camera )
{
    return ( camera.eye() - cBox.center() ).length();
}

/// The depth of a point between -1 and 1, the near and the far plane.
float depthOf( const Camera& camera, const Vector3d& point )
{
    const Vector3f p( camera.view()( point ) );
    const auto m = camera.projection();
    return ( m.at( 2, 2 ) * p.z + m.at( 2, 3 ) ) / ( m.at( 3, 2 ) * p.z + m.at( 3, 3 ) );
}

} // namespace

TEST( CameraLimits, EveryPresetLooksFromItsSideWithTheVerticalUpright )
{
    struct Side
    {
        ViewPreset preset;
        Vector3f towardsViewer, up;
    };
    const Side sides[] = { { ViewPreset::Front, { 0, -1, 0 }, { 0, 0, 1 } },
        { ViewPreset::Back, { 0, 1, 0 }, { 0, 0, 1 } }, { ViewPreset::Left, { -1, 0, 0 }, { 0, 0, 1 } },
        { ViewPreset::Right, { 1, 0, 0 }, { 0, 0, 1 } }, { ViewPreset::Top, { 0, 0, 1 }, { 0, 1, 0 } },
        { ViewPreset::Bottom, { 0, 0, -1 }, { 0, -1, 0 } } };
    auto camera = fitted();
    for ( const auto& side : sides )
    {
        camera.setPreset( side.preset );
        EXPECT_LT( ( camera.rotation().z - side.towardsViewer ).length(), 1e-6f ) << int( side.preset );
        // From above and below it is the drawing's, as on a sheet that is tipped over.
        const float upright = std::abs( dot( camera.rotation().y, side.up ) );
        EXPECT_NEAR( upright, 1, 1e-6 ) << int( side.preset );
        EXPECT_NEAR( camera.rotation().determinant(), 1, 1e-6 ) << int( side.preset );
    }
    camera.setPreset( ViewPreset::Isometric );
    const auto& from = camera.rotation().z;
    EXPECT_TRUE( from.x > 0.3f && from.y < -0.3f && from.z > 0.3f ) << "from the front, the right and above";
}

TEST( CameraLimits, APresetKeepsWhatIsLookedAt )
{
    auto camera = fitted();
    camera.pan( { 40, 10 } );
    const auto where = camera.unproject( { 400, 300 }, 0.5f );
    const auto before = ( camera.eye() - where ).length();
    camera.setPreset( ViewPreset::Isometric );
    EXPECT_NEAR( ( camera.eye() - where ).length(), before, 1e-4 );
}

TEST( CameraLimits, AViewportIsNeverLessThanAPixel )
{
    Camera camera;
    camera.setViewport( 0, -5 );
    EXPECT_EQ( camera.width(), 1 );
    EXPECT_EQ( camera.height(), 1 );
    camera.setSceneBox( cBox );
    camera.fit( cBox );
    EXPECT_TRUE( camera.eye().isFinite() );
    camera.orbit( { 1, 1 } );
    EXPECT_TRUE( std::isfinite( camera.project( {} ).x ) );
}

TEST( CameraLimits, FittingAnEmptySceneChangesNothing )
{
    auto camera = fitted();
    const auto before = camera.eye();
    const auto revision = camera.revision();
    camera.fit( Box3d{} );
    EXPECT_EQ( camera.eye(), before );
    EXPECT_EQ( camera.revision(), revision );
}

TEST( CameraLimits, FittingASinglePointLooksAtItFromAsFarAsBefore )
{
    const Vector3d point{ 3, 4, 5 };
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        const auto target = camera.unproject( { 400, 300 }, 0.5f );
        const auto direction = ( camera.eye() - target ).normalized();
        camera.setSceneBox( { { -1, -1, -1 }, point } );
        camera.fit( { point, point }, { 200, 0 } );
        EXPECT_NEAR( camera.project( point ).x, 500, 0.5 ) << "in the middle of what is free";
        EXPECT_NEAR( camera.project( point ).y, 300, 0.5 );
        EXPECT_GT( dot( camera.eye() - point, direction ), 4 );
        EXPECT_LT( dot( camera.eye() - point, direction ), 10 );
        const auto beside = camera.project( point + Vector3d{ 0, 0, 0.1 } );
        EXPECT_GT( 300 - beside.y, 5 ) << "what is beside it is seen, too";
        EXPECT_LT( 300 - beside.y, 50 );
    }
}

TEST( CameraLimits, FittingALineThatIsSeenFromItsEndStaysBeforeIt )
{
    const Box3d line{ { 0, 0, -5 }, { 0, 0, 5 } };
    for ( const bool orthographic : { false, true } )
    {
        Camera camera;
        camera.setViewport( 800, 600 );
        camera.setSceneBox( line );
        camera.setPreset( ViewPreset::Top );
        camera.setOrthographic( orthographic );
        camera.fit( line );
        for ( const auto& end : { line.min, line.max } )
        {
            EXPECT_NEAR( camera.project( end ).x, 400, 0.5 ) << orthographic;
            EXPECT_LE( std::abs( depthOf( camera, end ) ), 1.0001f ) << "neither end is cut off: " << orthographic;
        }
        camera.zoom( -1, { 400, 300 } );
        EXPECT_TRUE( camera.eye().isFinite() );
    }
}

TEST( CameraLimits, FittingWhereAlmostAllIsCoveredUsesATenth )
{
    auto camera = fitted();
    camera.fit( cBox, { 5000, 0 } );
    EXPECT_TRUE( camera.eye().isFinite() );
    EXPECT_NEAR( camera.project( cBox.center() ).x, 760, 10 ) << "the middle of the last tenth on the right";
    camera.fit( cBox, { -300, -300 } );
    EXPECT_NEAR( camera.project( cBox.center() ).x, 400, 25 ) << "what covers less than nothing covers nothing";
}

TEST( CameraLimits, ZoomEndsBeforeTheSceneIsLostInEitherDirection )
{
    auto camera = fitted();
    for ( int i = 0; i < 500; ++i )
        camera.zoom( 1, { 400, 300 } );
    const double nearest = away( camera );
    EXPECT_GT( nearest, 0 );
    camera.zoom( 1, { 400, 300 } );
    EXPECT_NEAR( away( camera ), nearest, 1e-9 );
    for ( int i = 0; i < 500; ++i )
        camera.zoom( -1, { 400, 300 } );
    EXPECT_NEAR( away( camera ), cBox.diagonal() * 100, 0.1 );
    camera.zoom( 1e6f, { 400, 300 } );
    EXPECT_NEAR( away( camera ), nearest, 1e-6 ) << "however far the wheel is said to have turned";
}

TEST( CameraLimits, ADetailLargerThanTheSceneIsTakenForTheScene )
{
    auto camera = fitted(), other = fitted();
    other.setDetail( 1e9 );
    for ( auto* each : { &camera, &other } )
        for ( int i = 0; i < 500; ++i )
            each->zoom( 1, { 400, 300 } );
    EXPECT_EQ( camera.eye(), other.eye() );
}

TEST( CameraLimits, AnEmptySceneCanBeTurnedMovedAndZoomed )
{
    Camera camera;
    camera.setViewport( 800, 600 );
    for ( const bool orthographic : { false, true } )
    {
        camera.setOrthographic( orthographic );
        camera.orbit( { 50, 20 } );
        camera.pan( { 50, 20 } );
        camera.zoom( 3, { 10, 10 } );
        camera.zoom( -3, { 10, 10 } );
        EXPECT_TRUE( camera.eye().isFinite() );
        for ( const float value : camera.projection().m )
            EXPECT_TRUE( std::isfinite( value ) );
    }
}

TEST( CameraLimits, ThePlanesHugTheScene )
{
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        float least = 1, most = -1;
        for ( const auto& corner : cBox.corners() )
        {
            least = std::min( least, depthOf( camera, corner ) );
            most = std::max( most, depthOf( camera, corner ) );
        }
        EXPECT_GE( least, -1 ) << orthographic;
        EXPECT_LE( most, 1 ) << orthographic;
        EXPECT_GT( most - least, 1.5f ) << "most of the precision is for the scene: " << orthographic;
    }
}

TEST( CameraLimits, InsideTheSceneNothingInFrontIsCutOff )
{
    auto camera = fitted();
    camera.setPreset( ViewPreset::Front );
    for ( int i = 0; i < 12; ++i )
        camera.zoom( 1, { 400, 300 } );
    ASSERT_GT( camera.eye().y, -1 ) << "the viewer is within the box";
    EXPECT_GT( depthOf( camera, {} ), -1 );
    EXPECT_LT( depthOf( camera, { 0, 1, 0 } ), 1 );
    camera.setOrthographic( true );
    EXPECT_GT( depthOf( camera, { 0, -1, 0 } ), -1 ) << "without perspective what is behind the viewer is seen, too";
}

TEST( CameraLimits, ProjectionsAgreeAtTheTarget )
{
    auto camera = fitted();
    const auto& right = camera.rotation().x;
    const Vector3d beside = cBox.center() + Vector3d( right ) * 0.5;
    const auto perspective = camera.project( beside );
    camera.setOrthographic( true );
    EXPECT_NEAR( camera.project( beside ).x, perspective.x, 1 );
    EXPECT_TRUE( camera.isOrthographic() );
}

TEST( CameraLimits, ARayGoesThroughWhatIsSeenAtItsPixel )
{
    for ( const bool orthographic : { false, true } )
    {
        auto camera = fitted();
        camera.setOrthographic( orthographic );
        for ( const auto& place : cBox.corners() )
        {
            const auto ray = camera.ray( camera.project( place ) );
            const auto along = ray.direction.normalized(), to = place - ray.origin;
            EXPECT_GT( dot( to, along ), 0 ) << "from before the scene";
            EXPECT_LT( ( to - along * dot( to, along ) ).length(), 1e-5 );
        }
    }
}

TEST( CameraLimits, AViewportOfNoSizeMovesNothing )
{
    auto camera = fitted();
    const auto before = camera.revision();
    const Camera::Area whole{ { 800, 600 }, {} }, none{ { 0, 600 }, {} }, flat{ { 800, 0 }, {} };
    for ( const auto& area : { none, flat } )
    {
        camera.keepInMiddle( whole, area );
        camera.keepInMiddle( area, whole );
    }
    EXPECT_EQ( camera.revision(), before );
}

TEST( CameraLimits, ACropOfNoSizeShowsAPixel )
{
    const auto camera = fitted();
    const auto crop = camera.cropped( { 400, 300 }, { 400, 300 }, 100, 100 );
    const auto center = crop.project( camera.unproject( { 400, 300 }, 0.5f ) );
    EXPECT_NEAR( center.x, 50, 0.1 );
    const auto beside = crop.project( camera.unproject( { 401, 300 }, 0.5f ) );
    EXPECT_NEAR( beside.x - center.x, 100, 1 );
    EXPECT_GT( crop.revision(), camera.revision() );
}

TEST( CameraLimits, EachChangeOfWhatIsSeenCounts )
{
    auto camera = fitted();
    auto last = camera.revision();
    const auto changed = [&] { return camera.revision() > std::exchange( last, camera.revision() ); };
    camera.orbit( { 1, 0 } );
    EXPECT_TRUE( changed() );
    camera.zoom( 1, {} );
    EXPECT_TRUE( changed() );
    camera.fit( cBox );
    EXPECT_TRUE( changed() );
    camera.setPreset( ViewPreset::Top );
    EXPECT_TRUE( changed() );
    camera.setOrthographic( true );
    EXPECT_TRUE( changed() );
    camera.setSceneBox( {} );
    EXPECT_TRUE( changed() );
    camera.setViewport( 801, 600 );
    EXPECT_TRUE( changed() );
    camera.keepInMiddle( { { 800, 600 }, {} }, { { 801, 600 }, {} } );
    EXPECT_TRUE( changed() );
    EXPECT_FALSE( changed() );
}
