#include "support/OwnScene.h"

#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/tools/PrimitiveSelection.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

class SelectionTools : public testing::Test
{
protected:
    ~SelectionTools() override { PrimitiveSelection::instance().clear(); }
    static void press( const char* tool ) { EXPECT_TRUE( RibbonSchemaHolder::findItem( tool )->action() ) << tool; }
    /// Why a tool cannot be used with what is selected now.
    static std::string missing( const char* tool )
    {
        return std::string( RibbonSchemaHolder::findItem( tool )->isAvailable(
            SceneCache::getAllObjects<const Object, ObjectSelectivityType::Selected>() ) );
    }
    [[nodiscard]] std::string selected() const
    {
        std::string out;
        for ( const auto& object : SceneCache::getAllObjects<Object, ObjectSelectivityType::Selected>() )
            out += object->name() + " ";
        return out;
    }
    [[nodiscard]] std::string lastStep() const
    {
        return scene_.history().getLastActionName( HistoryAction::Type::Undo );
    }

    Testing::OwnScene scene_;
};

} // namespace

TEST_F( SelectionTools, SayWhatTheyWait )
{
    for ( const char* tool :
        { "Select all", "Show all", "Save scene", "Fit all", "Front view", "Measure distance", "Select Primitives" } )
        EXPECT_EQ( missing( tool ), "Open a file first" ) << tool;
    const auto a = scene_.addCube( "a" ), b = scene_.addCube( "b" );
    for ( const char* tool : { "Select all", "Save scene", "Measure distance", "Select Primitives", "New scene" } )
        EXPECT_EQ( missing( tool ), "" ) << tool;
    for ( const char* tool : { "Hide selected", "Fit selected", "Save selected" } )
        EXPECT_EQ( missing( tool ), "Select at least one object" ) << tool;
    for ( const char* tool : { "Delete Selection", "Clear Selections" } )
        EXPECT_EQ( missing( tool ), "Nothing is selected" ) << tool;
    EXPECT_EQ( missing( "Rename" ), "Select exactly one object" );
    a->select( true );
    for ( const char* tool : { "Hide selected", "Fit selected", "Delete Selection", "Clear Selections", "Rename" } )
        EXPECT_EQ( missing( tool ), "" ) << tool;
    b->select( true );
    EXPECT_EQ( missing( "Rename" ), "Select exactly one object" );
    press( "Clear Selections" );
    PrimitiveSelection::instance().select( a, { 0 }, false );
    EXPECT_EQ( missing( "Delete Selection" ), "" ) << "marked faces are something";
    EXPECT_EQ( missing( "Hide selected" ), "Select at least one object" ) << "but no object";
}

TEST_F( SelectionTools, AllThatShowsSomethingIsSelectedAndNothing )
{
    const auto group = scene_.addGroup( "group" );
    scene_.addCube( "a" );
    scene_.addCube( "b", group.get() );
    group->select( true );
    press( "Select all" );
    EXPECT_EQ( selected(), "b a " );
    PrimitiveSelection::instance().select( scene_.addCube( "c" ), { 0 }, false );
    press( "Clear Selections" );
    EXPECT_EQ( selected(), "" );
    EXPECT_TRUE( PrimitiveSelection::instance().empty() );
}

TEST_F( SelectionTools, DeletingTakesGroupsAlongOfWhichNothingIsLeft )
{
    const auto outer = scene_.addGroup( "outer" ), inner = scene_.addGroup( "inner", outer.get() );
    const auto a = scene_.addCube( "a", inner.get() ), b = scene_.addCube( "b", inner.get() );
    const auto c = scene_.addCube( "c" );
    a->select( true );
    press( "Delete Selection" );
    EXPECT_EQ( scene_.tree(), "outer[inner[b]] c" );
    EXPECT_EQ( lastStep(), "Delete object" );
    scene_.history().undo();
    EXPECT_EQ( scene_.tree(), "outer[inner[a b]] c" );
    b->select( true );
    press( "Delete Selection" );
    EXPECT_EQ( scene_.tree(), "c" ) << "the group that was only in another one, too";
    EXPECT_EQ( lastStep(), "Delete 2 objects" ) << "those that were chosen";
    scene_.history().undo();
    EXPECT_EQ( scene_.tree(), "outer[inner[a b]] c" );
    scene_.history().redo();
    EXPECT_EQ( scene_.tree(), "c" );
}

TEST_F( SelectionTools, AnEmptyGroupOfTheUsersOwnStays )
{
    scene_.addGroup( "empty" );
    const auto mesh = scene_.addCube( "mesh" );
    scene_.addCube( "below", mesh.get() )->select( true );
    press( "Delete Selection" );
    EXPECT_EQ( scene_.tree(), "empty mesh" ) << "and what shows something itself is no group";
}

TEST_F( SelectionTools, MarkedFacesAreDeletedBeforeSelectedObjects )
{
    const auto cube = scene_.addCube( "cube" );
    cube->select( true );
    PrimitiveSelection::instance().select( cube, { 0, 1 }, false );
    press( "Delete Selection" );
    EXPECT_EQ( scene_.tree(), "cube" );
    EXPECT_EQ( cube->mesh()->triangles.size(), 10u );
    press( "Delete Selection" );
    EXPECT_EQ( scene_.tree(), "" );
}

TEST_F( SelectionTools, HidingAndShowingAreSteps )
{
    const auto group = scene_.addGroup( "group" );
    const auto a = scene_.addCube( "a", group.get() ), b = scene_.addCube( "b" );
    a->select( true );
    b->select( true );
    press( "Hide selected" );
    EXPECT_FALSE( a->isVisible() || b->isVisible() );
    EXPECT_EQ( lastStep(), "Hide 2 objects" );
    scene_.history().undo();
    EXPECT_TRUE( a->isVisible() && b->isVisible() );
    group->setVisible( false );
    b->setVisible( false );
    press( "Show all" );
    EXPECT_TRUE( a->isGloballyVisible() && b->isVisible() ) << "groups are shown, too";
    scene_.history().undo();
    EXPECT_FALSE( group->isVisible() || b->isVisible() );
    EXPECT_TRUE( a->isVisible() ) << "as it was";
}

TEST_F( SelectionTools, UndoAndRedoNameTheirStep )
{
    const auto tip = []( const char* tool ) { return RibbonSchemaHolder::findItem( tool )->dynamicTooltip(); };
    EXPECT_EQ( missing( "Undo" ), "There is nothing to undo" );
    EXPECT_EQ( missing( "Redo" ), "There is nothing to redo" );
    EXPECT_FALSE( RibbonSchemaHolder::findItem( "Undo" )->action() );
    SceneEdits::add( "Create Cube", { Testing::meshObject( "new", Testing::cube() ) } );
    EXPECT_EQ( missing( "Undo" ), "" );
    EXPECT_EQ( tip( "Undo" ), "Create Cube" );
    EXPECT_EQ( tip( "Redo" ), "" );
    press( "Undo" );
    EXPECT_EQ( scene_.tree(), "" );
    EXPECT_EQ( missing( "Undo" ), "There is nothing to undo" );
    EXPECT_EQ( tip( "Redo" ), "Create Cube" );
    press( "Redo" );
    EXPECT_EQ( scene_.tree(), "new" );
}

TEST_F( SelectionTools, AToolAtWorkMayKeepUndoForItself )
{
    SceneEdits::add( "Create Cube", { Testing::meshObject( "new", Testing::cube() ) } );
    bool mine = true;
    const boost::signals2::scoped_connection connection =
        getViewerInstance().signals().undo.connect( ToolListeners, [&] { return mine; } );
    press( "Undo" );
    EXPECT_EQ( scene_.tree(), "new" );
    mine = false;
    press( "Undo" );
    EXPECT_EQ( scene_.tree(), "" );
}

TEST( ToolKeys, AreOfOneToolEach )
{
    ShortcutManager keys;
    for ( const auto& [name, info] : RibbonSchemaHolder::schema().items )
        for ( const auto& [key, category, another] : info.item->shortcuts() )
        {
            const auto set = keys.setShortcut( key, { .category = category, .name = name, .action = [] {} } );
            EXPECT_TRUE( set ) << set.error();
        }
    EXPECT_GT( keys.size(), 15u );
}

TEST( StatePlugins, StayAsTheyAreWhenTheyWouldNotStart )
{
    class Tool final : public StatePlugin
    {
    public:
        Tool()
            : StatePlugin( "Test tool" )
        {
        }
        bool willing = false;
        std::string told;

    private:
        bool onEnable_() override
        {
            told += "on ";
            return willing;
        }
        void onDisable_() override { told += "off "; }
    };
    Tool tool;
    EXPECT_FALSE( tool.action() );
    EXPECT_FALSE( tool.isActive() );
    tool.willing = true;
    EXPECT_TRUE( tool.action() );
    EXPECT_TRUE( tool.isActive() );
    EXPECT_TRUE( tool.enable( true ) );
    EXPECT_EQ( tool.told, "on on " ) << "once is enough";
    EXPECT_TRUE( tool.action() );
    EXPECT_FALSE( tool.isActive() );
    EXPECT_TRUE( tool.enable( false ) );
    EXPECT_EQ( tool.told, "on on off " );
}

TEST( FunctionItems, AreSwitchesWhereTheyCanBeOn )
{
    bool on = false;
    FunctionItem plain( { "Plain", [&] { on = !on; }, {}, {} } );
    EXPECT_FALSE( plain.isToggle() || plain.isActive() );
    EXPECT_EQ( plain.isAvailable( {} ), "" );
    FunctionItem toggle( { "Toggle", [&] { on = !on; }, &Requirements::oneSelected, [&] { return on; } } );
    EXPECT_TRUE( toggle.isToggle() );
    EXPECT_FALSE( toggle.isActive() );
    EXPECT_TRUE( toggle.action() );
    EXPECT_TRUE( toggle.isActive() );
    EXPECT_EQ( toggle.isAvailable( {} ), "Select exactly one object" );
    EXPECT_EQ( toggle.isAvailable( { std::make_shared<Object>() } ), "" );
}
