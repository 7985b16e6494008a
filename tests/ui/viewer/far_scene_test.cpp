#include "support/TestMeshes.h"
#include "support/ui/UiFixture.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/Origin.h>
#include <VXMesh/scene/SimpleShapes.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/tools/PointPicking.h>
#include <VXViewer/tools/PrimitiveSelection.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// Where a surveyor's grid has its metres.
constexpr Vector3d cFar{ 500'000, 5'500'000, 120 };

class FarScene : public Testing::UiFixture
{
protected:
    void open( const std::string& name, const std::string& bytes )
    {
        const size_t before = viewer().sceneRoot().children().size();
        opener_->open( { folder_.write( name, bytes ) } );
        turnUntil( [this] { return opener_->pending() == 0; } );
        settle();
        ASSERT_EQ( viewer().sceneRoot().children().size(), before + 1 );
    }
    /// A ball of radius 1 about a place.
    void openBall( const Vector3d& center )
    {
        open( "ball.obj", Testing::objText( SimpleShapes::makeSphere( 1, 16 ), center ) );
    }
    void empty()
    {
        press( GLFW_KEY_A, GLFW_MOD_CONTROL );
        press( GLFW_KEY_DELETE );
        ASSERT_TRUE( viewer().sceneRoot().children().empty() );
    }
    Object& object( size_t index = 0 ) { return *viewer().sceneRoot().children().at( index ); }

    /// Pictures of the scene as it is opened, and close to the ball's edge.
    std::vector<Image> pictures()
    {
        viewer().camera().setPreset( ViewPreset::Isometric );
        viewer().fitScene();
        std::vector<Image> out{ viewer().sceneImage() };
        const Vector3d edge = object().treeBox().center() + Vector3d{ 0, 0, 1 };
        viewer().camera().zoom( 40, viewer().camera().project( edge ) );
        out.push_back( viewer().sceneImage() );
        viewer().camera().setOrthographic( true );
        viewer().fitScene();
        out.push_back( viewer().sceneImage() );
        viewer().camera().setOrthographic( false );
        viewer().fitScene();
        return out;
    }
    /// The frame after the distance of the ball's poles was measured, seen from the front.
    Image measured( const Vector3d& center )
    {
        viewer().camera().setPreset( ViewPreset::Front );
        viewer().camera().setOrthographic( true );
        viewer().fitScene();
        pressTool( "Measure distance" );
        for ( const double side : { 1., -1. } )
        {
            const auto pole = center + Vector3d{ 0, 0, side };
            const auto pixel = viewer().camera().project( pole );
            const Vector2f inside{ pixel.x, pixel.y + float( side ) };
            const auto point = pickPoint( inside );
            EXPECT_TRUE( point );
            EXPECT_LT( ( point.value_or( PickedPoint{} ).place - pole ).length(), 1e-6 );
            click( inside );
        }
        window().moveMouse( { 640, 400 } );
        auto out = frame();
        pressTool( "Measure distance" );
        viewer().camera().setOrthographic( false );
        return out;
    }

    /// Pixels of which a channel differs by more than a rounding.
    static size_t differing( const Image& a, const Image& b )
    {
        size_t out = 0;
        for ( size_t i = 0; i < a.pixels.size(); ++i )
            out += std::abs( int( a.pixels[i] ) - int( b.pixels[i] ) ) > 1 ? 1 : 0;
        return out;
    }
};

} // namespace

TEST_F( FarScene, IsDrawnPixelByPixelLikeTheSameAtZero )
{
    openBall( {} );
    const auto near = pictures();
    empty();
    EXPECT_GT( difference( near[0], viewer().sceneImage() ), 50'000u ) << "the ball is in the picture";
    openBall( cFar );
    EXPECT_EQ( object().xf(), translation( cFar ) );
    const auto there = pictures();
    for ( size_t i = 0; i < near.size(); ++i )
        EXPECT_LT( differing( near[i], there[i] ), 10u ) << i;
}

TEST_F( FarScene, IsPickedAndMeasuredLikeTheSameAtZero )
{
    openBall( {} );
    const auto near = measured( {} );
    empty();
    openBall( cFar );
    const auto there = measured( cFar );
    EXPECT_LT( difference( near, there ), 20u ) << "digits and line are the same";
    click( viewer().camera().project( cFar ) );
    EXPECT_TRUE( object().isSelected() );
    click( { 300, 700 } );
    EXPECT_FALSE( object().isSelected() );
}

TEST_F( FarScene, AreaOfMarkedFacesIsRight )
{
    openBall( cFar );
    pressTool( "Select Primitives" );
    viewer().camera().setPreset( ViewPreset::Top );
    click( viewer().camera().project( cFar + Vector3d{ 0.3, 0.1, 0.9 } ) );
    const auto& mesh = *dynamic_cast<ObjectMesh&>( object() ).mesh();
    auto& marked = PrimitiveSelection::instance();
    EXPECT_GT( marked.triangleCount(), 0u );
    EXPECT_LE( marked.area(), computeArea( mesh ) + 1e-4 );
    marked.clear();
    std::vector<size_t> all( mesh.triangles.size() );
    for ( size_t i = 0; i < all.size(); ++i )
        all[i] = i;
    marked.select( std::dynamic_pointer_cast<ObjectMesh>( object().shared_from_this() ), all, false );
    EXPECT_NEAR( marked.area(), computeArea( mesh ), 1e-4 );
    marked.clear();
}

TEST_F( FarScene, IsKeptBySavingUndoAndRedo )
{
    openBall( cFar );
    const auto before = viewer().sceneImage();
    const auto file = folder_.path() / "saved.vxu";
    ASSERT_TRUE( saveVxu( file, viewer().sceneRoot().children() ) );
    empty();
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( object().xf(), translation( cFar ) );
    object().select( false );
    EXPECT_EQ( differing( before, viewer().sceneImage() ), 0u );
    sceneDocument().clear();
    open( "again.vxu", Testing::readFile( file ) );
    EXPECT_EQ( object().xf(), translation( cFar ) );
    object().select( false );
    EXPECT_LT( differing( before, viewer().sceneImage() ), 10u );
}

TEST_F( FarScene, TwoObjectsFarApartAreBothShown )
{
    openBall( { 0, 0, cFar.z } );
    const auto alone = pictures();
    openBall( cFar );
    EXPECT_NEAR( viewer().sceneRoot().treeBox().diagonal(), std::hypot( cFar.x, cFar.y ), 3 );
    for ( const size_t i : { 0u, 1u } )
    {
        viewer().camera().setPreset( ViewPreset::Isometric );
        viewer().fitBox( object( i ).treeBox() );
        const auto center = object( i ).treeBox().center();
        EXPECT_LT( differing( alone[0], viewer().sceneImage() ), 200u ) << "edges may win or lose against a surface";
        EXPECT_EQ( viewer().pick( viewer().camera().project( center ) ), &object( i ) );
        const auto point = pickPoint( viewer().camera().project( center ) );
        ASSERT_TRUE( point );
        EXPECT_NEAR( ( point->place - center ).length(), 1, 0.03 );
    }
    // From above both, the wheel alone leads to one of them.
    viewer().camera().setPreset( ViewPreset::Top );
    viewer().fitScene();
    for ( int i = 0; i < 120; ++i )
        viewer().camera().zoom( 1, viewer().camera().project( cFar ) );
    EXPECT_GT(
        ( viewer().camera().project( cFar + Vector3d{ 0.1, 0, 0 } ) - viewer().camera().project( cFar ) ).length(),
        300 );
}
