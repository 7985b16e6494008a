#include "support/TestMeshes.h"

#include <VXViewer/ribbon/RibbonSceneObjectsListDrawer.h>
#include <VXViewer/schema/RibbonSchema.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// A scene of a, group[b c] and d.
class SceneList : public testing::Test
{
protected:
    SceneList()
    {
        group_->setName( "group" );
        root_->addChild( a_ );
        root_->addChild( group_ );
        group_->addChild( b_ );
        group_->addChild( c_ );
        root_->addChild( d_ );
    }
    static std::shared_ptr<Object> cube( const char* name ) { return Testing::meshObject( name, Testing::cube() ); }
    [[nodiscard]] std::string selected() const
    {
        std::string out;
        for ( const auto& object : { a_, group_, b_, c_, d_ } )
            out += object->isSelected() ? object->name() + " " : "";
        return out;
    }
    void select( const std::shared_ptr<Object>& object, bool add = false )
    {
        list_.select( *root_, object.get(), add );
    }
    void selectTo( const std::shared_ptr<Object>& object ) { list_.selectRange( *root_, object.get() ); }

    std::shared_ptr<Object> root_ = std::make_shared<Object>(), group_ = std::make_shared<Object>();
    std::shared_ptr<Object> a_ = cube( "a" ), b_ = cube( "b" ), c_ = cube( "c" ), d_ = cube( "d" );
    SceneObjectsListDrawer list_;
};

} // namespace

TEST_F( SceneList, OneIsSelectedAloneOrBesideTheOthers )
{
    select( a_ );
    select( c_ );
    EXPECT_EQ( selected(), "c " );
    select( d_, true );
    select( group_, true );
    EXPECT_EQ( selected(), "group c d " );
    select( c_, true );
    EXPECT_EQ( selected(), "group d " );
    select( nullptr );
    EXPECT_EQ( selected(), "" );
}

TEST_F( SceneList, AddingNothingSelectsNothing )
{
    select( a_ );
    select( nullptr, true );
    EXPECT_EQ( selected(), "" ) << "a click beside everything";
}

TEST_F( SceneList, ARangeGoesThroughTheRowsInEitherDirection )
{
    select( a_ );
    selectTo( c_ );
    EXPECT_EQ( selected(), "a group b c " );
    selectTo( group_ );
    EXPECT_EQ( selected(), "a group " ) << "from the same end";
    select( d_ );
    selectTo( b_ );
    EXPECT_EQ( selected(), "b c d " );
}

TEST_F( SceneList, ARangeWithoutABeginningIsItsEnd )
{
    selectTo( c_ );
    EXPECT_EQ( selected(), "c " );
    a_->detach();
    select( d_ );
    d_->detach();
    selectTo( b_ );
    EXPECT_EQ( selected(), "b d " ) << "what it began at has gone";
}

TEST_F( SceneList, ARangeOfAnotherSceneIsOfThatOne )
{
    select( a_ );
    selectTo( a_ );
    const auto other = std::make_shared<Object>();
    const auto x = cube( "x" ), y = cube( "y" );
    other->addChild( x );
    other->addChild( y );
    // What tells that a scene has changed does not tell it from another.
    for ( int i = 0; other->revision() != root_->revision() && i < 100; ++i )
        other->setName( std::to_string( i ) );
    ASSERT_EQ( other->revision(), root_->revision() );
    list_.selectRange( *other, y.get() );
    EXPECT_TRUE( y->isSelected() );
    EXPECT_FALSE( x->isSelected() );
    EXPECT_EQ( list_.objectCount(), 2u );
    EXPECT_EQ( selected(), "a " );
}

TEST_F( SceneList, CountsWhatShowsSomethingAndItsTriangles )
{
    selectTo( a_ );
    EXPECT_EQ( list_.objectCount(), 4u ) << "a group is none";
    EXPECT_EQ( list_.triangleCount(), 4 * 12u );
    c_->detach();
    d_->addChild( std::make_shared<ObjectPoints>() );
    d_->addChild( std::make_shared<ObjectMesh>() );
    selectTo( a_ );
    EXPECT_EQ( list_.objectCount(), 5u );
    EXPECT_EQ( list_.triangleCount(), 3 * 12u );
}

TEST_F( SceneList, RenamingEndsWithTheObject )
{
    EXPECT_FALSE( list_.isRenaming() );
    list_.startRename( *b_ );
    selectTo( a_ );
    EXPECT_TRUE( list_.isRenaming() );
    group_->detach();
    selectTo( a_ );
    EXPECT_FALSE( list_.isRenaming() );
}

TEST( ContextMenuOfTheSceneList, EveryNameInItIsATool )
{
    for ( const bool ofObject : { false, true } )
    {
        const auto names = RibbonSceneObjectsListDrawer::contextTools( ofObject );
        EXPECT_EQ( names.size(), 5u );
        for ( const char* name : names )
            EXPECT_TRUE( RibbonSchemaHolder::findItem( name ) ) << name;
    }
}
