#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneEdits.h>

#include <gtest/gtest.h>

#include <random>

using namespace VX;

namespace
{

using Names = std::vector<std::string>;

std::shared_ptr<Object> object( const std::string& name )
{
    auto out = std::make_shared<ObjectMesh>();
    out->setName( name );
    return out;
}

class History : public testing::Test
{
protected:
    History() { reset(); }
    ~History() override { reset(); }

    static void reset()
    {
        while ( !root().children().empty() )
            root().children().back()->detach();
        store().clear();
        SceneCache::invalidateAll();
    }
    static Object& root() { return getViewerInstance().sceneRoot(); }
    static HistoryStore& store() { return *getViewerInstance().getHistoryStore(); }
    static Names names()
    {
        Names out;
        for ( const auto& child : root().children() )
            out.push_back( child->name() );
        return out;
    }
    /// The whole tree in one text: names, visibility and depth.
    static std::string tree( const Object& object )
    {
        std::string out = object.name() + ( object.isVisible() ? "" : "!" ) + "(";
        for ( const auto& child : object.children() )
            out += tree( *child );
        return out + ")";
    }
};

class Step final : public HistoryAction
{
public:
    explicit Step( std::string name )
        : name_( std::move( name ) )
    {
    }
    [[nodiscard]] std::string name() const override { return name_; }
    void action( Type ) override {}

private:
    std::string name_;
};

} // namespace

TEST_F( History, TellsTheNextStepOfEachDirection )
{
    EXPECT_EQ( store().getLastActionName( HistoryAction::Type::Undo ), "" );
    for ( const char* name : { "a", "b", "c" } )
        store().appendAction( std::make_shared<Step>( name ) );
    EXPECT_EQ( store().getLastActionName( HistoryAction::Type::Undo ), "c" );
    EXPECT_TRUE( store().undo() );
    EXPECT_EQ( store().getLastActionName( HistoryAction::Type::Redo ), "c" );
    EXPECT_EQ( store().getActionNames( HistoryAction::Type::Undo ), ( Names{ "b", "a" } ) );
    EXPECT_TRUE( store().redo() );
    EXPECT_FALSE( store().redo() );
}

TEST_F( History, ANewStepReplacesThoseTakenBack )
{
    store().appendAction( std::make_shared<Step>( "a" ) );
    store().appendAction( std::make_shared<Step>( "b" ) );
    store().undo();
    store().appendAction( std::make_shared<Step>( "c" ) );
    EXPECT_EQ( store().getActionNames( HistoryAction::Type::Undo ), ( Names{ "c", "a" } ) );
    EXPECT_FALSE( store().canRedo() );
}

TEST_F( History, KeepsSoManyStepsAndNoMore )
{
    for ( size_t i = 0; i < HistoryStore::cMaxActions + 10; ++i )
        store().appendAction( std::make_shared<Step>( std::to_string( i ) ) );
    const auto names = store().getActionNames( HistoryAction::Type::Undo );
    EXPECT_EQ( names.size(), HistoryStore::cMaxActions );
    EXPECT_EQ( names.back(), "10" );
}

TEST_F( History, SignalTellsWhatHasChanged )
{
    std::vector<HistoryStore::ChangeType> changes;
    const boost::signals2::scoped_connection connection = store().changedSignal.connect(
        [&]( const HistoryStore&, HistoryStore::ChangeType type ) { changes.push_back( type ); } );
    store().undo();
    store().appendAction( std::make_shared<Step>( "a" ) );
    store().undo();
    store().redo();
    store().clear();
    using Type = HistoryStore::ChangeType;
    EXPECT_EQ( changes, ( std::vector{ Type::AppendAction, Type::Undo, Type::Redo, Type::Clear } ) );
    EXPECT_EQ( int( Type::AppendAction ), 0 );
}

TEST_F( History, IsSavedUntilAStepAndAgainWhenItIsTakenBack )
{
    EXPECT_TRUE( store().isSaved() );
    store().appendAction( std::make_shared<Step>( "a" ) );
    EXPECT_FALSE( store().isSaved() );
    store().undo();
    EXPECT_TRUE( store().isSaved() );
    store().redo();
    store().markSaved();
    EXPECT_TRUE( store().isSaved() );
    store().undo();
    EXPECT_FALSE( store().isSaved() );
    store().redo();
    EXPECT_TRUE( store().isSaved() );
}

TEST_F( History, OpeningIsNoUnsavedWorkUnlessThereIsSome )
{
    SceneEdits::addOpened( "Open", { object( "a" ) } );
    SceneEdits::addOpened( "Open", { object( "b" ) } );
    EXPECT_TRUE( store().isSaved() );
    store().undo();
    EXPECT_TRUE( store().isSaved() ) << "what was opened still stands in its file";
    SceneEdits::add( "Make", { object( "c" ) } );
    SceneEdits::addOpened( "Open", { object( "d" ) } );
    EXPECT_FALSE( store().isSaved() );
    store().undo();
    store().undo();
    EXPECT_TRUE( store().isSaved() );
    EXPECT_EQ( names(), Names{ "a" } );
}

TEST_F( History, ASavedPlaceThatWasReplacedIsGone )
{
    store().appendAction( std::make_shared<Step>( "a" ) );
    store().appendAction( std::make_shared<Step>( "b" ) );
    store().markSaved();
    store().undo();
    store().undo();
    store().appendAction( std::make_shared<Step>( "c" ) );
    store().appendAction( std::make_shared<Step>( "d" ) );
    EXPECT_FALSE( store().isSaved() ) << "as many steps as when it was saved, but others";
    while ( store().undo() )
        EXPECT_FALSE( store().isSaved() );
    store().clear();
    EXPECT_TRUE( store().isSaved() );
}

TEST_F( History, TheSavedPlaceMovesWithTheOldestStepsAndGoesWithThem )
{
    store().appendAction( std::make_shared<Step>( "a" ) );
    store().markSaved();
    for ( size_t i = 0; i < HistoryStore::cMaxActions; ++i )
        store().appendAction( std::make_shared<Step>( "b" ) );
    while ( store().undo() )
        continue;
    EXPECT_TRUE( store().isSaved() );
    while ( store().redo() )
        continue;
    store().appendAction( std::make_shared<Step>( "c" ) );
    while ( store().undo() )
        continue;
    EXPECT_FALSE( store().isSaved() );
}

TEST_F( History, AddedObjectsGoAndComeBack )
{
    SceneEdits::add( "Open", { object( "a" ), object( "b" ) } );
    EXPECT_EQ( names(), ( Names{ "a", "b" } ) );
    store().undo();
    EXPECT_EQ( names(), Names{} );
    store().redo();
    EXPECT_EQ( names(), ( Names{ "a", "b" } ) );
}

TEST_F( History, RemovedObjectsComeBackToTheirPlaces )
{
    SceneEdits::add( "Open", { object( "a" ), object( "b" ), object( "c" ), object( "d" ) } );
    const auto all = root().children();
    SceneEdits::remove( "Delete", { all[2], all[0] } );
    EXPECT_EQ( names(), ( Names{ "b", "d" } ) );
    store().undo();
    EXPECT_EQ( names(), ( Names{ "a", "b", "c", "d" } ) );
    EXPECT_EQ( root().children()[2], all[2] );
}

TEST_F( History, AParentTakesItsChildrenAlong )
{
    const auto parent = object( "parent" ), child = object( "child" );
    parent->addChild( child );
    SceneEdits::add( "Open", { parent } );
    SceneEdits::remove( "Delete", { child, parent } );
    EXPECT_EQ( names(), Names{} );
    EXPECT_EQ( child->parent(), parent.get() );
    store().undo();
    EXPECT_EQ( tree( root() ), "Scene(parent(child()))" );
}

TEST_F( History, RemovingNothingIsNoStep )
{
    SceneEdits::remove( "Delete", {} );
    SceneEdits::remove( "Delete", { object( "stranger" ) } );
    EXPECT_FALSE( store().canUndo() );
}

TEST_F( History, NamesAndVisibilityComeBack )
{
    SceneEdits::add( "Open", { object( "a" ), object( "b" ) } );
    const auto all = root().children();
    SceneEdits::rename( all[0], "x" );
    SceneEdits::rename( all[0], "" );
    SceneEdits::rename( all[0], "x" );
    all[1]->setVisible( false );
    SceneEdits::setVisible( "Hide", all, false );
    EXPECT_EQ( tree( root() ), "Scene(x!()b!())" );
    store().undo();
    EXPECT_EQ( tree( root() ), "Scene(x()b!())" );
    store().undo();
    EXPECT_EQ( tree( root() ), "Scene(a()b!())" );
    store().redo();
    store().redo();
    EXPECT_EQ( tree( root() ), "Scene(x!()b!())" );
}

TEST_F( History, WhatChangesNothingIsNoStep )
{
    SceneEdits::add( "Open", { object( "a" ), object( "b" ) } );
    const auto all = root().children();
    store().clear();
    SceneEdits::rename( all[0], "" );
    SceneEdits::rename( all[0], "a" );
    SceneEdits::setVisible( "Show", all, true );
    SceneEdits::setVisible( "Hide", {}, false );
    EXPECT_FALSE( store().canUndo() );
    EXPECT_EQ( tree( root() ), "Scene(a()b())" );
    SceneEdits::rename( all[0], "x" );
    SceneEdits::setVisible( "Hide objects", all, false );
    EXPECT_EQ( store().getActionNames( HistoryAction::Type::Undo ), ( Names{ "Hide objects", "Rename" } ) );
}

TEST_F( History, ShowingTakesBackToHidden )
{
    SceneEdits::add( "Open", { object( "a" ), object( "b" ) } );
    const auto all = root().children();
    all[0]->setVisible( false );
    SceneEdits::setVisible( "Show", all, true );
    EXPECT_EQ( tree( root() ), "Scene(a()b())" );
    store().undo();
    EXPECT_EQ( tree( root() ), "Scene(a!()b())" ) << "the other was shown before";
    store().redo();
    EXPECT_EQ( tree( root() ), "Scene(a()b())" );
}

TEST_F( History, ReplacedObjectsStandWhereTheFirstOfThemStood )
{
    SceneEdits::add( "Open", { object( "a" ), object( "b" ), object( "c" ), object( "d" ) } );
    const auto all = root().children();
    SceneEdits::replace( "Reload", { all[3], all[1] }, { object( "x" ), object( "y" ), object( "z" ) } );
    EXPECT_EQ( names(), ( Names{ "a", "x", "y", "z", "c" } ) );
    EXPECT_EQ( store().getLastActionName( HistoryAction::Type::Undo ), "Reload" );
    store().undo();
    EXPECT_EQ( names(), ( Names{ "a", "b", "c", "d" } ) );
    store().redo();
    EXPECT_EQ( names(), ( Names{ "a", "x", "y", "z", "c" } ) );
}

TEST_F( History, ReplacesWhatHasGoneOrStandsDeeperAtTheEnd )
{
    const auto parent = object( "parent" ), child = object( "child" );
    parent->addChild( child );
    SceneEdits::add( "Open", { parent, object( "b" ) } );
    SceneEdits::replace( "Reload", { child, object( "stranger" ) }, { object( "new" ) } );
    EXPECT_EQ( tree( root() ), "Scene(parent()b()new())" );
    store().undo();
    EXPECT_EQ( tree( root() ), "Scene(parent(child())b())" );
    SceneEdits::replace( "Reload", { object( "stranger" ) }, { object( "new" ) } );
    EXPECT_EQ( tree( root() ), "Scene(parent(child())b()new())" );
}

TEST_F( History, AStepThatIsMadeForAnotherHistoryIsNotInThisOne )
{
    const auto step = SceneEdits::addStep( "Make", { object( "a" ), object( "b" ) } );
    EXPECT_EQ( names(), ( Names{ "a", "b" } ) );
    EXPECT_EQ( step->name(), "Make" );
    EXPECT_FALSE( store().canUndo() );
    step->action( HistoryAction::Type::Undo );
    EXPECT_EQ( names(), Names{} );
    step->action( HistoryAction::Type::Redo );
    EXPECT_EQ( names(), ( Names{ "a", "b" } ) );
}

TEST_F( History, NamesOfStepsTellHowManyAndNoNames )
{
    EXPECT_EQ( SceneEdits::nameFor( "Delete", { object( "secret" ) } ), "Delete object" );
    EXPECT_EQ( SceneEdits::nameFor( "Hide", { object( "a" ), object( "b" ) } ), "Hide 2 objects" );
    SceneEdits::add( "Open", { object( "a" ) } );
    SceneEdits::remove( "Delete object", root().children() );
    EXPECT_EQ( store().getActionNames( HistoryAction::Type::Undo ), ( Names{ "Delete object", "Open" } ) );
}

TEST_F( History, AnySequenceOfStepsCanBeTakenBackToTheStart )
{
    std::mt19937 random( 3 );
    std::vector<std::string> states{ tree( root() ) };
    for ( int i = 0; i < 300; ++i )
    {
        const auto all = SceneCache::getAllObjects<Object, ObjectSelectivityType::Selectable>();
        const auto any = [&] { return all[random() % all.size()]; };
        const size_t before = store().getActionNames( HistoryAction::Type::Undo ).size();
        switch ( all.size() < 4 ? 0 : random() % 4 )
        {
        case 0:
        {
            const auto parent = object( "p" + std::to_string( i ) );
            parent->addChild( object( "c" + std::to_string( i ) ) );
            SceneEdits::add( "Add", { parent } );
            break;
        }
        case 1:
            SceneEdits::remove( "Remove", { any(), any() } );
            break;
        case 2:
            SceneEdits::rename( any(), "n" + std::to_string( i ) );
            break;
        default:
            SceneEdits::setVisible( "Hide", { any(), any() }, random() % 2 );
        }
        if ( store().getActionNames( HistoryAction::Type::Undo ).size() > before )
            states.push_back( tree( root() ) );
    }
    for ( size_t i = states.size() - 1; i > 0; --i )
    {
        ASSERT_EQ( tree( root() ), states[i] );
        ASSERT_TRUE( store().undo() );
    }
    EXPECT_EQ( tree( root() ), states[0] );
    for ( size_t i = 1; i < states.size(); ++i )
    {
        ASSERT_TRUE( store().redo() );
        ASSERT_EQ( tree( root() ), states[i] );
    }
}

TEST_F( History, SceneCacheListsByTypeAndSelection )
{
    SceneEdits::add( "Open", { object( "a" ), std::make_shared<Object>(), object( "b" ) } );
    EXPECT_EQ( ( SceneCache::getAllObjects<VisualObject, 0>().size() ), 2u );
    EXPECT_EQ( ( SceneCache::getAllObjects<const Object, 1>().size() ), 0u );
    EXPECT_EQ( ( SceneCache::getAllObjects<Object, ObjectSelectivityType::Any>().size() ), 4u );
    root().children()[2]->select( true );
    ASSERT_EQ( ( SceneCache::getAllObjects<const Object, 1>().size() ), 1u );
    EXPECT_EQ( ( SceneCache::getAllObjects<const Object, 1>()[0]->name() ), "b" );
    const auto* list = &SceneCache::getAllObjects<VisualObject, 0>();
    EXPECT_EQ( list, ( &SceneCache::getAllObjects<VisualObject, 0>() ) );
}
