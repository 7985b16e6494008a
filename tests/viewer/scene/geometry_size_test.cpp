#include "support/TestMeshes.h"

#include <VXViewer/scene/GeometrySize.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr uint64_t cPoint = 12, cTriangle = 12, cSegment = 8, cColor = 4;

template <typename T>
std::shared_ptr<T> below( Object& parent )
{
    auto out = std::make_shared<T>();
    parent.addChild( out );
    return out;
}

} // namespace

TEST( GeometrySize, CountsEverythingThatAMeshHolds )
{
    const auto root = std::make_shared<Object>();
    auto mesh = Testing::cube();
    root->addChild( Testing::meshObject( "plain", mesh ) );
    const uint64_t plain = 8 * cPoint + 12 * cTriangle;
    EXPECT_EQ( geometryBytes( *root ), plain );
    mesh.normals.resize( 8 );
    mesh.vertexColors.resize( 8 );
    mesh.faceColors.resize( 12 );
    mesh.edges.resize( 5 );
    root->addChild( Testing::meshObject( "rich", mesh ) );
    EXPECT_EQ( geometryBytes( *root ), 2 * plain + 8 * cPoint + 8 * cColor + 12 * cColor + 5 * cSegment );
}

TEST( GeometrySize, CountsPointsAndLines )
{
    const auto root = std::make_shared<Object>();
    auto cloud = std::make_shared<PointCloud>();
    cloud->points.resize( 10 );
    cloud->colors.resize( 10 );
    below<ObjectPoints>( *root )->setPoints( cloud );
    EXPECT_EQ( geometryBytes( *root ), 10 * cPoint + 10 * cColor );
    auto lines = std::make_shared<Lines>();
    lines->points.resize( 4 );
    lines->segments.resize( 3, Segment{ 0, 1 } );
    below<ObjectLines>( *root )->setLines( lines );
    EXPECT_EQ( geometryBytes( *root ), 10 * cPoint + 10 * cColor + 4 * cPoint + 3 * cSegment );
}

TEST( GeometrySize, OfWhatIsSharedCountsOnce )
{
    const auto root = std::make_shared<Object>();
    const auto mesh = std::make_shared<const Mesh>( Testing::cube() );
    for ( int i = 0; i < 3; ++i )
        below<ObjectMesh>( *below<Object>( *root ) )->setMesh( mesh );
    EXPECT_EQ( geometryBytes( *root ), 8 * cPoint + 12 * cTriangle ) << "also below groups";
}

TEST( GeometrySize, OfAnEmptySceneIsNothing )
{
    const auto root = std::make_shared<Object>();
    below<Object>( *root );
    below<ObjectMesh>( *root );
    below<ObjectPoints>( *root );
    below<ObjectLines>( *root );
    EXPECT_EQ( geometryBytes( *root ), 0u );
}
