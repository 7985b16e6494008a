#include "support/ui/UiFixture.h"

#include <VXMesh/scene/SimpleShapes.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/draw/DrawSettings.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

class SmallScene : public Testing::UiFixture
{
protected:
    /// What a ball without normals of its own looks like when it fills the view.
    Image ball( float radius )
    {
        auto mesh = std::make_shared<Mesh>( SimpleShapes::makeSphere( radius ) );
        mesh->normals.clear();
        mesh->edges.clear();
        const auto object = std::make_shared<ObjectMesh>();
        object->setMesh( mesh );
        viewer().sceneRoot().addChild( object );
        viewer().fitScene();
        settle();
        auto out = viewer().sceneImage();
        object->detach();
        return out;
    }
};

} // namespace

TEST_F( SmallScene, LooksLikeALargerOneOfTheSameShape )
{
    for ( const auto shading : { Shading::Flat, Shading::Smooth } )
    {
        viewer().drawSettings().shading = shading;
        const auto large = ball( 1 );
        for ( const float radius : { 1e-6f, 1e-9f } )
            EXPECT_LT( difference( large, ball( radius ) ), large.pixels.size() / 3 / 50 ) << radius;
    }
}
