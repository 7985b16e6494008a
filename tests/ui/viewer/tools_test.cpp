#include "ui/viewer/RibbonFixture.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/tools/PrimitiveSelection.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <set>

using namespace VX;

namespace
{

class Tools : public Testing::RibbonFixture
{
};

} // namespace

TEST_F( Tools, ObjectsAreMadeWithAPreview )
{
    const auto empty = frame();
    pressTool( "Create Simple Objects" );
    EXPECT_GT( difference( empty, frame() ), 50'000u ) << "the preview is seen";
    EXPECT_EQ( objects(), 0u );
    press( GLFW_KEY_ENTER );
    ASSERT_EQ( objects(), 1u );
    EXPECT_EQ( cube().name(), "Cube" );
    EXPECT_FALSE( isActive( "Create Simple Objects" ) );
    EXPECT_EQ( viewer().getHistoryStore()->getLastActionName( HistoryAction::Type::Undo ), "Create Cube" );
}

TEST_F( Tools, MarkedFacesAreDeletedAndComeBack )
{
    openCube();
    pressTool( "Select Primitives" );
    click( cubeOnScreen() );
    EXPECT_EQ( PrimitiveSelection::instance().triangleCount(), 2u );
    press( GLFW_KEY_DELETE );
    const auto& mesh = dynamic_cast<ObjectMesh&>( cube() );
    EXPECT_EQ( mesh.mesh()->triangles.size(), 10u );
    EXPECT_TRUE( PrimitiveSelection::instance().empty() );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( mesh.mesh()->triangles.size(), 12u );
}

TEST_F( Tools, DialogOfMarkedFacesForgetsTheAreaOfDeletedOnes )
{
    openCube();
    pressTool( "Select Primitives" );
    const auto before = windowImage( "Select primitives" );
    click( cubeOnScreen() );
    window().moveMouse( { 700, 780 } );
    EXPECT_GT( difference( before, windowImage( "Select primitives" ) ), 20u );
    EXPECT_NEAR( PrimitiveSelection::instance().area(), 1, 1e-5 );
    press( GLFW_KEY_DELETE );
    EXPECT_EQ( difference( before, windowImage( "Select primitives" ) ), 0u );
    EXPECT_EQ( PrimitiveSelection::instance().area(), 0 );
}

TEST_F( Tools, MarksFollowTheirObjectAndGoWithIt )
{
    openCube();
    pressTool( "Select Primitives" );
    const auto at = cubeOnScreen();
    const auto unmarked = frame();
    click( at );
    window().moveMouse( { 700, 780 } );
    EXPECT_GT( difference( unmarked, frame() ), 1000u );
    AffineXf3d larger;
    larger.A = { { 2, 0, 0 }, { 0, 2, 0 }, { 0, 0, 2 } };
    cube().setXf( larger );
    settle();
    EXPECT_NEAR( PrimitiveSelection::instance().area(), 4, 1e-5 );
    const auto object = cube().detach();
    settle();
    EXPECT_TRUE( PrimitiveSelection::instance().empty() );
}

TEST_F( Tools, MarkedFacesAreLit )
{
    openCube();
    pressTool( "Select Primitives" );
    const auto box = cube().treeBox();
    const auto center = box.center();
    const std::array faces{ Vector3d{ center.x, center.y, box.max.z }, Vector3d{ center.x, box.min.y, center.z },
        Vector3d{ box.max.x, center.y, center.z } };
    for ( const auto& face : faces )
        click( viewer().camera().project( face ), GLFW_MOD_CONTROL );
    EXPECT_EQ( PrimitiveSelection::instance().triangleCount(), 6u );
    const auto image = viewer().sceneImage();
    std::set<std::array<uint8_t, 3>> colors;
    for ( const auto& face : faces )
    {
        const auto at = viewer().camera().project( face );
        const size_t i = ( size_t( at.y ) * size_t( image.width ) + size_t( at.x ) ) * 3;
        colors.insert( { image.pixels[i], image.pixels[i + 1], image.pixels[i + 2] } );
    }
    EXPECT_EQ( colors.size(), faces.size() );
}

TEST_F( Tools, ClearSelectionsUnmarksFaces )
{
    openCube();
    pressTool( "Select Primitives" );
    click( cubeOnScreen() );
    press( GLFW_KEY_X, GLFW_MOD_CONTROL );
    EXPECT_TRUE( PrimitiveSelection::instance().empty() );
}

TEST_F( Tools, DistanceIsMeasuredBetweenCorners )
{
    openCube();
    pressTool( "Measure distance" );
    const auto box = cube().treeBox();
    const auto before = frame();
    click( viewer().camera().project( { box.max.x, box.min.y, box.max.z } ) );
    click( viewer().camera().project( { box.max.x, box.min.y, box.min.z } ) );
    EXPECT_GT( difference( before, frame() ), 500u );
    EXPECT_FALSE( cube().isSelected() ) << "clicks belong to the tool";
}

TEST_F( Tools, UndoTakesMeasuredPointsBackBeforeTheScene )
{
    openCube();
    pressTool( "Measure distance" );
    const auto box = cube().treeBox();
    window().moveMouse( { 700, 780 } );
    const auto before = frame();
    click( viewer().camera().project( { box.max.x, box.min.y, box.max.z } ) );
    click( viewer().camera().project( { box.max.x, box.min.y, box.min.z } ) );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( objects(), 1u );
    window().moveMouse( { 700, 780 } );
    EXPECT_EQ( difference( before, frame() ), 0u );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_EQ( objects(), 0u );
}

TEST_F( Tools, MeasuredPointsGoWithTheirObject )
{
    openCube();
    pressTool( "Measure distance" );
    const auto object = cube().shared_from_this();
    const auto box = cube().treeBox();
    object->detach();
    window().moveMouse( { 700, 780 } );
    const auto empty = frame();
    viewer().sceneRoot().addChild( object );
    click( viewer().camera().project( { box.max.x, box.min.y, box.max.z } ) );
    window().moveMouse( { 700, 780 } );
    settle();
    object->detach();
    EXPECT_EQ( difference( empty, frame() ), 0u );
}
