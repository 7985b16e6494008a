#include "support/TestMeshes.h"

#include <VXMesh/scene/VisualObjects.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( Object, KnowsItsPlaceInTheWorld )
{
    const auto root = std::make_shared<Object>(), child = std::make_shared<Object>();
    root->setXf( { {}, { 1, 0, 0 } } );
    child->setXf( { {}, { 0, 2, 0 } } );
    ASSERT_TRUE( root->addChild( child ) );
    EXPECT_EQ( child->worldXf()( Vector3f{} ), ( Vector3f{ 1, 2, 0 } ) );
}

TEST( Object, RefusesACycle )
{
    const auto a = std::make_shared<Object>(), b = std::make_shared<Object>();
    a->addChild( b );
    EXPECT_FALSE( b->addChild( a ) );
    EXPECT_FALSE( a->addChild( a ) );
}

TEST( Object, TellsEveryAncestorOfAChange )
{
    const auto root = std::make_shared<Object>(), middle = std::make_shared<Object>();
    const auto leaf = Testing::meshObject( "leaf", Testing::cube() );
    root->addChild( middle );
    middle->addChild( leaf );
    const auto before = root->revision();
    leaf->setColor( { 1, 2, 3, 255 } );
    EXPECT_GT( root->revision(), before );
    const auto after = root->revision();
    leaf->setColor( { 1, 2, 3, 255 } );
    EXPECT_EQ( root->revision(), after );
}

TEST( Object, OutlivesItsParent )
{
    const auto child = std::make_shared<Object>();
    {
        const auto root = std::make_shared<Object>();
        root->addChild( child );
    }
    EXPECT_EQ( child->parent(), nullptr );
}

TEST( Object, BoxLeavesHiddenBranchesOut )
{
    const auto root = std::make_shared<Object>();
    const auto hidden = Testing::meshObject( "big", Testing::cube( 100 ) );
    root->addChild( hidden );
    root->addChild( Testing::meshObject( "small", Testing::cube( 1 ) ) );
    hidden->setVisible( false );
    EXPECT_EQ( root->treeBox( true ).max.x, 1 );
    EXPECT_EQ( root->treeBox().max.x, 100 );
}

TEST( Object, AChildIsInsertedAtItsPlace )
{
    Object parent;
    std::vector<std::shared_ptr<Object>> children;
    for ( const char* name : { "a", "b", "c" } )
    {
        children.push_back( std::make_shared<Object>() );
        children.back()->setName( name );
    }
    EXPECT_TRUE( parent.addChild( children[1] ) );
    EXPECT_TRUE( parent.insertChild( children[0], 0 ) );
    EXPECT_TRUE( parent.insertChild( children[2], 99 ) );
    EXPECT_EQ( parent.children(), children );
    EXPECT_TRUE( parent.insertChild( children[2], 0 ) );
    EXPECT_EQ( parent.children()[0], children[2] );
    EXPECT_EQ( parent.children().size(), 3u );
}

TEST( Object, ACloneIsATreeOfItsOwnWithTheSameGeometry )
{
    const auto parent = std::make_shared<Object>();
    const auto mesh = std::make_shared<ObjectMesh>();
    mesh->setMesh(
        std::make_shared<Mesh>( Mesh{ { { 0, 0, 0 }, { 1, 0, 0 }, { 0, 1, 0 } }, { { 0, 1, 2 } }, {}, {}, {}, {} } ) );
    mesh->setName( "mesh" );
    mesh->setColor( { 1, 2, 3, 4 } );
    mesh->setXf( { {}, { 5, 6, 7 } } );
    mesh->setVisible( false );
    mesh->select( true );
    parent->addChild( mesh );
    const auto clone = cloneTree( *parent );
    ASSERT_EQ( clone->children().size(), 1u );
    const auto copy = std::dynamic_pointer_cast<ObjectMesh>( clone->children()[0] );
    ASSERT_TRUE( copy );
    EXPECT_NE( copy, mesh );
    EXPECT_EQ( copy->mesh(), mesh->mesh() );
    EXPECT_EQ( copy->name(), "mesh" );
    EXPECT_EQ( copy->color(), mesh->color() );
    EXPECT_EQ( copy->xf(), mesh->xf() );
    EXPECT_FALSE( copy->isVisible() || copy->isSelected() );
    EXPECT_EQ( parent->children().size(), 1u );
}
