#include "support/OwnScene.h"

#include <VXMesh/scene/FeatureEdges.h>
#include <VXMesh/scene/Origin.h>
#include <VXViewer/tools/PrimitiveSelection.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

using Numbers = std::vector<size_t>;

/// Over cubes of side 1, whose triangles have an area of a half each.
class MarkedFaces : public testing::Test
{
protected:
    ~MarkedFaces() override { marked_.clear(); }
    void mark( const std::shared_ptr<ObjectMesh>& object, const Numbers& triangles, bool add = false )
    {
        marked_.select( object, triangles, add );
    }
    /// What the viewer does in each frame.
    static void frame() { getViewerInstance().perFrameSignal(); }
    [[nodiscard]] static size_t trianglesOf( const ObjectMesh& object ) { return object.mesh()->triangles.size(); }

    Testing::OwnScene scene_;
    PrimitiveSelection& marked_ = PrimitiveSelection::instance();
    std::shared_ptr<ObjectMesh> cube_ = scene_.addCube( "cube" ), other_ = scene_.addCube( "other" );
};

} // namespace

TEST_F( MarkedFaces, AreCountedWithTheirArea )
{
    EXPECT_TRUE( marked_.empty() );
    EXPECT_EQ( marked_.area(), 0 );
    mark( cube_, { 2, 5, 7 } );
    EXPECT_EQ( marked_.triangleCount(), 3u );
    EXPECT_DOUBLE_EQ( marked_.area(), 1.5 );
    mark( other_, { 0 } );
    EXPECT_EQ( marked_.triangleCount(), 1u ) << "in place of the others";
}

TEST_F( MarkedFaces, AreAddedAndTakenOutWhereAllOfThemAreMarked )
{
    mark( cube_, { 2, 5 } );
    mark( cube_, { 1, 5 }, true );
    EXPECT_EQ( marked_.triangleCount(), 3u ) << "one of them was marked already";
    mark( other_, { 0, 1 }, true );
    EXPECT_EQ( marked_.triangleCount(), 5u );
    EXPECT_DOUBLE_EQ( marked_.area(), 2.5 );
    mark( cube_, { 1, 2 }, true );
    EXPECT_EQ( marked_.triangleCount(), 3u );
    mark( cube_, { 5 }, true );
    mark( other_, { 0, 1 }, true );
    EXPECT_TRUE( marked_.empty() );
    EXPECT_EQ( marked_.area(), 0 );
}

TEST_F( MarkedFaces, HaveTheAreaOfTheSceneNotOfTheObject )
{
    cube_->setXf( { { { 2, 0, 0 }, { 0, 2, 0 }, { 0, 0, 2 } }, {} } );
    mark( cube_, { 0, 1 } );
    EXPECT_DOUBLE_EQ( marked_.area(), 4 );
    const auto group = scene_.addGroup( "group" );
    group->setXf( { { { 3, 0, 0 }, { 0, 3, 0 }, { 0, 0, 3 } }, {} } );
    group->addChild( cube_ );
    frame();
    EXPECT_DOUBLE_EQ( marked_.area(), 36 ) << "it follows what is above the object";
}

TEST_F( MarkedFaces, HaveTheSameAreaFarFromZero )
{
    cube_->setXf( translation( { 55'000'000, -7'000'000, 0 } ) );
    mark( cube_, { 0 } );
    EXPECT_DOUBLE_EQ( marked_.area(), 0.5 );
}

TEST_F( MarkedFaces, GoWithTheirObjectAndItsGeometryAtTheNextFrame )
{
    mark( cube_, { 0 } );
    mark( other_, { 0, 1 }, true );
    cube_->detach();
    frame();
    EXPECT_EQ( marked_.triangleCount(), 2u );
    EXPECT_DOUBLE_EQ( marked_.area(), 1 );
    other_->setMesh( std::make_shared<Mesh>( Testing::cube( 2 ) ) );
    frame();
    EXPECT_TRUE( marked_.empty() );
    EXPECT_EQ( marked_.area(), 0 );
}

TEST_F( MarkedFaces, NumbersOfAFormerGeometryAreNotAddedTo )
{
    mark( cube_, { 0, 1, 2 } );
    cube_->setMesh( std::make_shared<Mesh>( Testing::cube( 2 ) ) );
    mark( cube_, { 5 }, true );
    EXPECT_EQ( marked_.triangleCount(), 1u );
    EXPECT_DOUBLE_EQ( marked_.area(), 2 );
}

TEST_F( MarkedFaces, AreDeletedAsOneStepAndComeBack )
{
    const auto before = cube_->mesh();
    mark( cube_, { 0, 1 } );
    mark( other_, { 4 }, true );
    marked_.deleteMarked();
    EXPECT_TRUE( marked_.empty() );
    EXPECT_EQ( trianglesOf( *cube_ ), 10u );
    EXPECT_EQ( trianglesOf( *other_ ), 11u );
    EXPECT_EQ(
        scene_.history().getActionNames( HistoryAction::Type::Undo ), std::vector<std::string>{ "Delete faces" } );
    EXPECT_TRUE( scene_.history().undo() );
    EXPECT_EQ( cube_->mesh(), before ) << "the very same geometry";
    EXPECT_EQ( trianglesOf( *other_ ), 12u );
    EXPECT_TRUE( scene_.history().redo() );
    EXPECT_EQ( trianglesOf( *cube_ ), 10u );
}

TEST_F( MarkedFaces, DeletingNothingIsNoStep )
{
    marked_.deleteMarked();
    mark( cube_, { 0 } );
    cube_->detach();
    marked_.deleteMarked();
    EXPECT_FALSE( scene_.history().canUndo() );
    EXPECT_EQ( trianglesOf( *cube_ ), 12u );
    EXPECT_TRUE( marked_.empty() );
    EXPECT_EQ( marked_.area(), 0 );
}

TEST_F( MarkedFaces, WhatIsLeftKeepsItsColoursNormalsAndShape )
{
    Mesh mesh;
    mesh.points = { { 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 }, { 5, 0, 0 }, { 6, 0, 0 }, { 5, 1, 0 } };
    mesh.triangles = { { 0, 1, 2 }, { 3, 4, 5 } };
    for ( uint8_t i = 0; i < 6; ++i )
    {
        mesh.normals.push_back( { 0, 0, float( i ) } );
        mesh.vertexColors.push_back( { i, 0, 0, 255 } );
    }
    mesh.faceColors = { { 1, 1, 1, 255 }, { 2, 2, 2, 255 } };
    cube_->setMesh( std::make_shared<Mesh>( mesh ) );
    mark( cube_, { 0 } );
    marked_.deleteMarked();
    const auto& left = *cube_->mesh();
    ASSERT_EQ( left.triangles, ( std::vector<Triangle>{ { 0, 1, 2 } } ) );
    ASSERT_EQ( left.points.size(), 3u ) << "points that nothing uses go, too";
    EXPECT_EQ( left.points[0], ( Vector3f{ 5, 0, 0 } ) );
    EXPECT_EQ( left.normals, ( std::vector<Vector3f>{ { 0, 0, 3 }, { 0, 0, 4 }, { 0, 0, 5 } } ) );
    EXPECT_EQ( left.vertexColors[2], ( Color{ 5, 0, 0, 255 } ) );
    EXPECT_EQ( left.faceColors, ( std::vector<Color>{ { 2, 2, 2, 255 } } ) );
}

TEST_F( MarkedFaces, EdgesAreFoundAnewWhereTheObjectHadSome )
{
    Mesh mesh = Testing::cube();
    mesh.edges = findFeatureEdges( mesh );
    ASSERT_EQ( mesh.edges.size(), 12u );
    cube_->setMesh( std::make_shared<Mesh>( mesh ) );
    mark( cube_, { 0, 1 } );
    mark( other_, { 0, 1 }, true );
    marked_.deleteMarked();
    EXPECT_EQ( cube_->mesh()->edges, findFeatureEdges( *cube_->mesh() ) );
    EXPECT_FALSE( cube_->mesh()->edges.empty() );
    EXPECT_TRUE( other_->mesh()->edges.empty() );
}
