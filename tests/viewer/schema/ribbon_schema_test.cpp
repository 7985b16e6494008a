#include <VXMesh/io/Json.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <random>

using namespace VX;

namespace
{

using Texts = std::vector<std::string>;

Json::Value json( const std::string& text )
{
    auto value = deserializeJsonValue( text );
    EXPECT_TRUE( value ) << value.error();
    return value.value_or( Json::Value() );
}

class RibbonSchemas : public testing::Test
{
protected:
    RibbonSchemas()
    {
        for ( const char* name : { "Test cut", "Test copy", "Test paste", "Test measure distance" } )
            RibbonSchemaHolder::addItem( std::make_shared<FunctionItem>( FunctionItemParams{ name, [] {}, {}, {} } ) );
    }
    ~RibbonSchemas() override
    {
        for ( const char* name : { "Test cut", "Test copy", "Test paste", "Test measure distance" } )
            RibbonSchemaHolder::removeItem( name );
    }
    static const MenuItemInfo& info( const std::string& name )
    {
        return RibbonSchemaHolder::schema().items.find( name )->second;
    }
};

} // namespace

TEST_F( RibbonSchemas, AToolIsAddedOnceUnderItsName )
{
    EXPECT_FALSE( RibbonSchemaHolder::addItem(
        std::make_shared<FunctionItem>( FunctionItemParams{ "Test cut", [] {}, {}, {} } ) ) );
    EXPECT_EQ( info( "Test cut" ).caption, "Test cut" );
    EXPECT_EQ( RibbonSchemaHolder::findItem( "Test none" ), nullptr );
}

TEST_F( RibbonSchemas, TakesCaptionsIconsAndLists )
{
    const auto problems = RibbonSchemaHolder::loadSchema( json( R"({"Items":[{"Name":"Test cut","Caption":"Cut",
        "Icon":"cut","Tooltip":"Takes it out","DropList":["Test copy"]}]})" ) );
    EXPECT_EQ( problems, Texts{} );
    EXPECT_EQ( info( "Test cut" ).caption, "Cut" );
    EXPECT_EQ( info( "Test cut" ).icon, "cut" );
    EXPECT_EQ( info( "Test cut" ).tooltip, "Takes it out" );
    EXPECT_EQ( info( "Test cut" ).dropList, Texts{ "Test copy" } );
}

TEST_F( RibbonSchemas, AToolHasItsOwnKeysUnlessItGetsOthers )
{
    using Category = ShortcutManager::Category;
    const auto keys = []
    {
        std::vector<std::tuple<ShortcutKey, Category, bool>> out;
        for ( const auto& [key, category, another] : info( "Test keys" ).shortcuts )
            out.emplace_back( key, category, another );
        return out;
    };
    using Keys = decltype( keys() );
    RibbonSchemaHolder::addItem( std::make_shared<FunctionItem>(
        FunctionItemParams{ "Test keys", [] {}, {}, {}, { { { 'K', ControlModifier }, Category::Edit } } } ) );
    const Keys own{ { { 'K', ControlModifier }, Category::Edit, false } };
    EXPECT_EQ( keys(), own );
    const auto load = []( const std::string& shortcut )
    {
        return RibbonSchemaHolder::loadSchema( json(
            R"({"Items":[{"Name":"Test keys")" + ( shortcut.empty() ? "" : R"(,"Shortcut":)" + shortcut ) + "}]}" ) );
    };
    EXPECT_EQ( load( "" ), Texts{} );
    EXPECT_EQ( keys(), own ) << "nothing was said about them";
    EXPECT_EQ( load( R"("Shift+F4")" ), Texts{} );
    EXPECT_EQ( keys(), ( Keys{ { { GLFW_KEY_F4, ShiftModifier }, Category::Edit, false } } ) );
    EXPECT_EQ( load( R"(["J","Ctrl+J"])" ), Texts{} );
    EXPECT_EQ(
        keys(), ( Keys{ { { 'J', 0 }, Category::Edit, false }, { { 'J', ControlModifier }, Category::Edit, true } } ) );
    const std::string problem = "\"Shortcut\" of the tool \"Test keys\" is not a key such as \"Ctrl+Shift+Z\"";
    EXPECT_EQ( load( R"(["Strg+J",7,"L"])" ), ( Texts{ problem, problem } ) );
    EXPECT_EQ( keys(), ( Keys{ { { 'L', 0 }, Category::Edit, false } } ) );
    EXPECT_EQ( load( "[]" ), Texts{} );
    EXPECT_EQ( keys(), Keys{} );
    RibbonSchemaHolder::removeItem( "Test keys" );
}

TEST_F( RibbonSchemas, ReportsWhatIsWrongByNameAndTakesTheRest )
{
    const auto problems = RibbonSchemaHolder::loadSchema( json( R"({"Items":[7,{"Caption":"x"},
        {"Name":"Test nowhere"},{"Name":"Test cut","Caption":5,"Icon":"cut"},{"Name":"Test cut"},
        {"Name":"Test copy","DropList":"x"},{"Name":"Test paste","DropList":[1,"Test gone","Test cut","Test cut"]}]})" ) );
    EXPECT_EQ(
        problems, ( Texts{ "The schema's \"Items\" hold something without a name",
                      "The schema's \"Items\" hold something without a name",
                      "The schema names the tool \"Test nowhere\", which does not exist",
                      "\"Caption\" of the tool \"Test cut\" is not a text",
                      "The schema has the tool \"Test cut\" twice", "The list of the tool \"Test copy\" is not a list",
                      "The list of the tool \"Test paste\" holds something that is not a name",
                      "The list of the tool \"Test paste\" names the tool \"Test gone\", which does not exist",
                      "The list of the tool \"Test paste\" names the tool \"Test cut\" twice" } ) );
    EXPECT_EQ( info( "Test cut" ).icon, "cut" );
    EXPECT_EQ( info( "Test paste" ).dropList, Texts{ "Test cut" } );
}

TEST_F( RibbonSchemas, CutsListsThatLeadBackToTheirTool )
{
    const auto problems = RibbonSchemaHolder::loadSchema( json( R"({"Items":[
        {"Name":"Test cut","DropList":["Test copy"]},{"Name":"Test copy","DropList":["Test paste"]},
        {"Name":"Test paste","DropList":["Test cut"]}]})" ) );
    ASSERT_FALSE( problems.empty() );
    EXPECT_NE( problems[0].find( "leads back to it" ), std::string::npos );
    size_t lists = 0;
    for ( const char* name : { "Test cut", "Test copy", "Test paste" } )
        lists += info( name ).dropList.size();
    EXPECT_EQ( lists, 2u );
}

TEST_F( RibbonSchemas, AStructureWithoutToolsLeavesTheTabsAsTheyWere )
{
    ASSERT_EQ( RibbonSchemaHolder::loadStructure(
                   json( R"({"Tabs":[{"Name":"Home","Groups":[{"Name":"Edit","List":["Test cut"]}]}]})" ) ),
        Texts{} );
    for ( const char* text : { R"({"Tabs":[]})", R"({"Tabs":"x"})", R"({"Tabs":[{"Name":"A","Groups":[]}]})",
              R"({"Tabs":[{"Name":"A","Groups":[{"Name":"B","List":["Test gone"]}]}]})" } )
    {
        const auto problems = RibbonSchemaHolder::loadStructure( json( text ) );
        ASSERT_FALSE( problems.empty() ) << text;
        EXPECT_EQ( problems.back(), "The structure has no tab with tools, so the tabs stay as they were" );
        ASSERT_EQ( RibbonSchemaHolder::schema().tabs.size(), 1u );
        EXPECT_EQ( RibbonSchemaHolder::schema().tabs[0].name, "Home" );
    }
    EXPECT_EQ( RibbonSchemaHolder::loadStructure( json( "[1]" ) ), Texts{ "The structure is not an object" } );
}

TEST_F( RibbonSchemas, ReportsTabsAndGroupsGivenTwice )
{
    const auto problems = RibbonSchemaHolder::loadStructure(
        json( R"({"Tabs":[{"Name":"Home","Groups":[{"Name":"Edit","List":["Test cut"]},
        {"Name":"Edit","List":["Test copy"]},5]},{"Name":"Home","Groups":[{"Name":"X","List":["Test cut"]}]},{}]})" ) );
    EXPECT_EQ( problems,
        ( Texts{ "The tab \"Home\" has the group \"Edit\" twice", "The tab \"Home\" holds a group without a name",
            "The structure has the tab \"Home\" twice", "The structure holds a tab without a name or groups" } ) );
}

TEST_F( RibbonSchemas, SearchPutsTheBestFitFirst )
{
    ASSERT_EQ( RibbonSchemaHolder::loadSchema( json( R"({"Items":[{"Name":"Test cut","Caption":"Xcut"},
        {"Name":"Test copy","Caption":"Cut and copy"},{"Name":"Test paste","Caption":"Paste","Tooltip":"after a cut"}]})" ) ),
        Texts{} );
    Texts names;
    for ( const auto& result : RibbonSchemaHolder::search( " CUT" ) )
        if ( result.name.starts_with( "Test" ) )
            names.push_back( result.name );
    EXPECT_EQ( names, ( Texts{ "Test copy", "Test cut", "Test paste" } ) );
    EXPECT_TRUE( RibbonSchemaHolder::search( "  " ).empty() );
    EXPECT_TRUE( RibbonSchemaHolder::search( "qqqq" ).empty() );
}

TEST_F( RibbonSchemas, SearchFindsLettersInTheirOrderAndTellsTheTab )
{
    ASSERT_EQ( RibbonSchemaHolder::loadStructure( json(
                   R"({"Tabs":[{"Name":"Home","Groups":[{"Name":"Edit","List":["Test measure distance"]}]}]})" ) ),
        Texts{} );
    const auto found = RibbonSchemaHolder::search( "tmsdst" );
    ASSERT_EQ( found.size(), 1u );
    EXPECT_EQ( found[0].name, "Test measure distance" );
    EXPECT_EQ( found[0].tab, "Home" );
}

TEST_F( RibbonSchemas, SurvivesAnyDocument )
{
    // Documents made of the members it knows in all the wrong places.
    std::mt19937 random( 7 );
    const Texts words{ "Items", "Tabs", "Groups", "List", "Name", "DropList", "QuickAccess", "Version", "SceneButtons",
        "Caption", "Test cut", "Test copy" };
    const std::function<Json::Value( int )> make = [&]( int depth ) -> Json::Value
    {
        switch ( random() % ( depth > 5 ? 4 : 6 ) )
        {
        case 0:
            return words[random() % words.size()];
        case 1:
            return int( random() );
        case 2:
            return Json::Value();
        case 3:
            return bool( random() % 2 );
        case 4:
        {
            Json::Value out( Json::arrayValue );
            for ( size_t i = random() % 5; i > 0; --i )
                out.append( make( depth + 1 ) );
            return out;
        }
        default:
            Json::Value out( Json::objectValue );
            for ( size_t i = random() % 6; i > 0; --i )
                out[words[random() % words.size()]] = make( depth + 1 );
            return out;
        }
    };
    for ( int i = 0; i < 20'000; ++i )
    {
        const auto document = make( 0 );
        (void)RibbonSchemaHolder::loadSchema( document );
        (void)RibbonSchemaHolder::loadStructure( document );
    }
    EXPECT_TRUE( RibbonSchemaHolder::schema().items.contains( "Test cut" ) );
}

static_assert( std::is_constructible_v<ToolRequirement, std::string_view ( * )( const SelectedObjects& )> );
static_assert( !std::is_constructible_v<ToolRequirement, std::string ( * )( const SelectedObjects& )>,
    "the text of a string of its own would be gone when it is looked at" );
