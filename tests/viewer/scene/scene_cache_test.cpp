#include "support/SceneFixture.h"

using namespace VX;

namespace
{

using enum ObjectSelectivityType;

template <typename T>
std::string namesOf( const std::vector<std::shared_ptr<T>>& objects )
{
    std::string out;
    for ( const auto& object : objects )
        out += object->name() + " ";
    return out;
}

/// "group" with "inner" below it, "after" behind it, and "cloud" of another kind.
class Cache : public Testing::SceneFixture
{
protected:
    Cache()
    {
        group_->setName( "group" );
        inner_->setName( "inner" );
        after_->setName( "after" );
        cloud_->setName( "cloud" );
        group_->addChild( inner_ );
        for ( const auto& object : std::initializer_list<std::shared_ptr<Object>>{ group_, after_, cloud_ } )
            root().addChild( object );
    }
    std::shared_ptr<Object> group_ = std::make_shared<Object>();
    std::shared_ptr<ObjectMesh> inner_ = std::make_shared<ObjectMesh>(), after_ = std::make_shared<ObjectMesh>();
    std::shared_ptr<ObjectPoints> cloud_ = std::make_shared<ObjectPoints>();
};

} // namespace

TEST_F( Cache, ListsByTypeWithParentsBeforeTheirChildren )
{
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<Object, Selectable>() ), "group inner after cloud " );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<ObjectMesh, Selectable>() ), "inner after " );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<VisualObject, Selectable>() ), "inner after cloud " );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<ObjectLines, Selectable>() ), "" );
}

TEST_F( Cache, OnlyAnyHoldsTheRoot )
{
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<Object, Any>() ), "Scene group inner after cloud " );
    root().select( true );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<Object, Selected>() ), "" );
    root().select( false );
}

TEST_F( Cache, ListsWhatIsSelectedWhereverItStands )
{
    inner_->select( true );
    cloud_->select( true );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<Object, Selected>() ), "inner cloud " );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<ObjectMesh, Selected>() ), "inner " );
    inner_->select( false );
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<ObjectMesh, Selected>() ), "" );
}

TEST_F( Cache, NumbersStandForTheSelectivities )
{
    after_->select( true );
    EXPECT_EQ( ( namesOf( SceneCache::getAllObjects<ObjectMesh, 0>() ) ), "inner after " );
    EXPECT_EQ( ( namesOf( SceneCache::getAllObjects<ObjectMesh, 1>() ) ), "after " );
    EXPECT_EQ( ( namesOf( SceneCache::getAllObjects<Object, 2>() ) ), "Scene group inner after cloud " );
}

TEST_F( Cache, AListIsMadeOnceUntilTheSceneChanges )
{
    const auto* list = &SceneCache::getAllObjects<ObjectMesh, Selectable>();
    EXPECT_EQ( &( SceneCache::getAllObjects<Object, Selectable>() ), &( SceneCache::getAllObjects<Object, 0>() ) );
    EXPECT_EQ( &( SceneCache::getAllObjects<ObjectMesh, Selectable>() ), list );
    EXPECT_EQ( list->size(), 2u );
    after_->detach();
    EXPECT_EQ( namesOf( SceneCache::getAllObjects<ObjectMesh, Selectable>() ), "inner " );
}

TEST_F( Cache, HoldsNothingOnceTheSceneIsClosed )
{
    const std::weak_ptr<Object> watch = cloud_;
    EXPECT_EQ( ( SceneCache::getAllObjects<Object, Selectable>().size() ), 4u );
    cloud_->detach();
    cloud_.reset();
    EXPECT_FALSE( watch.expired() ) << "the list still holds it";
    viewer().sceneClosedSignal();
    EXPECT_TRUE( watch.expired() );
}
