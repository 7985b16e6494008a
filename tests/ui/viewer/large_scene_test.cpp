#include "support/TestMeshes.h"
#include "support/ui/UiFixture.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/draw/Camera.h>

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <cstring>

using namespace VX;

namespace
{

/// A scan that a software driver cannot draw in time.
class LargeScene : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        if ( !std::strstr( reinterpret_cast<const char*>( glGetString( GL_RENDERER ) ), "llvmpipe" ) )
            GTEST_SKIP() << "only a software driver draws coarsely";
        const auto scan = std::make_shared<ObjectMesh>();
        scan->setMesh( std::make_shared<Mesh>( Testing::wavySheet( 420 ) ) );
        viewer().sceneRoot().addChild( scan );
        viewer().fitScene();
        settle();
    }
    Image drawMoving()
    {
        viewer().camera().orbit( { 30, 12 } );
        drawFrames( 1 );
        return viewer().frameImage();
    }
    Image drawWhole()
    {
        const Image scene = viewer().sceneImage();
        drawFrames( 1 );
        EXPECT_GT( difference( scene, viewer().frameImage() ), 0u ) << "the interface stands over the scene";
        return viewer().frameImage();
    }
};

} // namespace

TEST_F( LargeScene, IsDrawnCoarselyWhileTheCameraMovesAndWholeWhenItStands )
{
    const auto moving = drawMoving();
    // The loop sleeps, and wakes by itself.
    turnUntil( [&] { return difference( moving, viewer().frameImage() ) > 500; } );
    const auto standing = viewer().frameImage();
    EXPECT_LT( difference( moving, standing ), standing.pixels.size() / 3 / 4 ) << "and of much the same shape";
    const auto settled = viewer().framesDrawn();
    settle();
    EXPECT_EQ( viewer().framesDrawn(), settled ) << "nothing is left to draw";
    EXPECT_EQ( difference( standing, drawWhole() ), 0u );
}

TEST_F( LargeScene, PicturesAreWholeEvenWhileTheCameraMoves )
{
    drawMoving();
    const auto picture = viewer().sceneImage();
    EXPECT_EQ( difference( picture, viewer().sceneImage() ), 0u );
    const auto coarse = drawMoving();
    EXPECT_GT( difference( coarse, drawWhole() ), 500u );
}
