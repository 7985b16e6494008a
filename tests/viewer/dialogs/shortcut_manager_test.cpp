#include <VXViewer/dialogs/ShortcutManager.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <utility>

using namespace VX;

namespace
{

using Category = ShortcutManager::Category;

ShortcutManager::Command command( const std::string& name, int& count, bool repeatable = false )
{
    return { Category::Edit, name, [&count] { ++count; }, repeatable };
}

} // namespace

TEST( ShortcutManager, RunsTheCommandOfAKeyWithItsModifiers )
{
    ShortcutManager manager;
    int undo = 0, redo = 0;
    ASSERT_TRUE( manager.setShortcut( { 'Z', GLFW_MOD_CONTROL }, command( "Undo", undo ) ) );
    ASSERT_TRUE( manager.setShortcut( { 'Z', GLFW_MOD_CONTROL | GLFW_MOD_SHIFT }, command( "Redo", redo ) ) );
    EXPECT_TRUE( manager.processShortcut( { 'Z', GLFW_MOD_CONTROL }, false ) );
    EXPECT_FALSE( manager.processShortcut( { 'Z', 0 }, false ) );
    EXPECT_EQ( undo, 1 );
    EXPECT_EQ( redo, 0 );
}

TEST( ShortcutManager, IgnoresLockKeysAmongTheModifiers )
{
    ShortcutManager manager;
    int count = 0;
    ASSERT_TRUE( manager.setShortcut( { 'F', 0 }, command( "Fit", count ) ) );
    EXPECT_TRUE( manager.processShortcut( { 'F', GLFW_MOD_CAPS_LOCK | GLFW_MOD_NUM_LOCK }, false ) );
    EXPECT_EQ( count, 1 );
}

TEST( ShortcutManager, RefusesASecondCommandOnAKeyAndNamesBoth )
{
    ShortcutManager manager;
    int first = 0, second = 0;
    ASSERT_TRUE( manager.setShortcut( { 'F', GLFW_MOD_CONTROL }, command( "Search", first ) ) );
    const auto refused = manager.setShortcut( { 'F', GLFW_MOD_CONTROL }, command( "Fit", second ) );
    ASSERT_FALSE( refused );
    EXPECT_EQ( refused.error(), "Ctrl+F is the key of \"Search\" and cannot be that of \"Fit\", too" );
    manager.processShortcut( { 'F', GLFW_MOD_CONTROL }, false );
    EXPECT_EQ( first, 1 );
    EXPECT_EQ( second, 0 );
}

TEST( ShortcutManager, BindsTheSameCommandAnew )
{
    ShortcutManager manager;
    int before = 0, after = 0;
    ASSERT_TRUE( manager.setShortcut( { 'F', 0 }, command( "Fit", before ) ) );
    ASSERT_TRUE( manager.setShortcut( { 'F', 0 }, command( "Fit", after ) ) );
    manager.processShortcut( { 'F', 0 }, false );
    EXPECT_EQ( before, 0 );
    EXPECT_EQ( after, 1 );
}

TEST( ShortcutManager, RepeatsOnlyWhatMayBeRepeated )
{
    ShortcutManager manager;
    int once = 0, often = 0;
    ASSERT_TRUE( manager.setShortcut( { 'A', 0 }, command( "Once", once ) ) );
    ASSERT_TRUE( manager.setShortcut( { 'B', 0 }, command( "Often", often, true ) ) );
    EXPECT_FALSE( manager.processShortcut( { 'A', 0 }, true ) );
    EXPECT_TRUE( manager.processShortcut( { 'B', 0 }, true ) );
    EXPECT_EQ( once, 0 );
    EXPECT_EQ( often, 1 );
}

TEST( ShortcutManager, ClearKeepsTheBasicSet )
{
    int basic = 0, other = 0;
    ShortcutManager manager( { { { GLFW_KEY_F1, 0 }, command( "Help", basic ) } } );
    ASSERT_TRUE( manager.setShortcut( { 'A', 0 }, command( "Other", other ) ) );
    manager.clear();
    EXPECT_EQ( manager.size(), 1u );
    EXPECT_TRUE( manager.processShortcut( { GLFW_KEY_F1, 0 }, false ) );
    EXPECT_FALSE( manager.processShortcut( { 'A', 0 }, false ) );
}

TEST( ShortcutManager, ACommandMayBindItsOwnKeyAnew )
{
    ShortcutManager manager;
    int count = 0;
    ASSERT_TRUE( manager.setShortcut( { 'A', 0 }, { Category::Edit, "Self", [&]
                                                      {
                                                          manager.clear();
                                                          ++count;
                                                      } } ) );
    EXPECT_TRUE( manager.processShortcut( { 'A', 0 }, false ) );
    EXPECT_EQ( count, 1 );
    EXPECT_EQ( manager.size(), 0u );
}

TEST( ShortcutManager, ListsByCategoryAndName )
{
    ShortcutManager manager;
    int count = 0;
    ASSERT_TRUE( manager.setShortcut( { 'B', 0 }, { Category::View, "Fit", [] {} } ) );
    ASSERT_TRUE( manager.setShortcut( { 'Z', 0 }, command( "Undo", count ) ) );
    ASSERT_TRUE( manager.setShortcut( { 'Y', 0 }, command( "Redo", count ) ) );
    std::vector<std::string> names;
    for ( const auto& entry : manager.getShortcutList() )
        names.push_back( entry.command->name );
    EXPECT_EQ( names, ( std::vector<std::string>{ "Redo", "Undo", "Fit" } ) );
    EXPECT_EQ( manager.findShortcutByName( "Redo" ), ( ShortcutKey{ 'Y', 0 } ) );
    EXPECT_FALSE( manager.findShortcutByName( "None" ) );
}

TEST( ShortcutManager, ASecondKeyActsAndIsListedButTheFirstIsTold )
{
    ShortcutManager manager;
    int count = 0;
    auto second = command( "Redo", count );
    second.another = true;
    ASSERT_TRUE( manager.setShortcut( { 'Y', 2 }, second ) );
    EXPECT_EQ( manager.findShortcutByName( "Redo" ), ( ShortcutKey{ 'Y', 2 } ) );
    ASSERT_TRUE( manager.setShortcut( { 'Z', 3 }, command( "Redo", count ) ) );
    EXPECT_EQ( manager.findShortcutByName( "Redo" ), ( ShortcutKey{ 'Z', 3 } ) );
    EXPECT_EQ( manager.getShortcutList().size(), 2u );
    EXPECT_TRUE( manager.processShortcut( { 'Y', 2 }, false ) );
    EXPECT_EQ( count, 1 );
}

TEST( ShortcutManager, NamesKeysAsTheyAreWrittenOnThem )
{
    const auto name = []( int key, int mod ) { return ShortcutManager::getKeyFullString( { key, mod } ); };
    EXPECT_EQ( name( 'Z', GLFW_MOD_CONTROL | GLFW_MOD_SHIFT ), "Ctrl+Shift+Z" );
    EXPECT_EQ( name( GLFW_KEY_DELETE, 0 ), "Del" );
    EXPECT_EQ( name( GLFW_KEY_F12, GLFW_MOD_ALT ), "Alt+F12" );
    EXPECT_EQ( name( GLFW_KEY_COMMA, GLFW_MOD_SUPER ), "Super+," );
    EXPECT_EQ( name( GLFW_KEY_KP_7, 0 ), "Num 7" );
    EXPECT_EQ( name( 9999, 0 ), "Key 9999" );
}

TEST( ShortcutManager, ReadsKeysAsTheyAreWritten )
{
    for ( const ShortcutKey key :
        { ShortcutKey{ 'Z', GLFW_MOD_CONTROL | GLFW_MOD_SHIFT }, ShortcutKey{ GLFW_KEY_F12, GLFW_MOD_ALT },
            ShortcutKey{ GLFW_KEY_COMMA, GLFW_MOD_SUPER }, ShortcutKey{ GLFW_KEY_DELETE, 0 },
            ShortcutKey{ GLFW_KEY_KP_7, 0 }, ShortcutKey{ GLFW_KEY_PAGE_DOWN, GLFW_MOD_CONTROL } } )
    {
        const auto text = ShortcutManager::getKeyFullString( key );
        EXPECT_EQ( ShortcutManager::parseKey( text ), key ) << text;
    }
    EXPECT_EQ( ShortcutManager::parseKey( "shift+CTRL+n" ), ( ShortcutKey{ 'N', GLFW_MOD_CONTROL | GLFW_MOD_SHIFT } ) );
    for ( const char* text : { "", "Ctrl", "Ctrl+", "+", "Ctrl+Ctrl+N", "Cmd+N", "N+Ctrl", "F99", "Ctrl+NN", " N" } )
        EXPECT_FALSE( ShortcutManager::parseKey( text ) ) << text;
}

TEST( ShortcutManager, TellsByItsRevisionWhenTheKeysHaveChanged )
{
    int count = 0;
    ShortcutManager manager;
    auto last = manager.revision();
    const auto changed = [&] { return std::exchange( last, manager.revision() ) != manager.revision(); };
    EXPECT_NE( last, 0u );
    EXPECT_NE( ShortcutManager().revision(), last ) << "that of another manager";
    ASSERT_TRUE( manager.setShortcut( { 'F', 0 }, command( "Fit", count ) ) );
    EXPECT_TRUE( changed() );
    EXPECT_FALSE( manager.setShortcut( { 'F', 0 }, command( "Find", count ) ) );
    manager.processShortcut( { 'F', 0 }, false );
    EXPECT_FALSE( changed() );
    manager.clear();
    EXPECT_TRUE( changed() );
}
