#include "support/LogCapture.h"
#include "support/OwnSettings.h"
#include "support/ParsedJson.h"

#include <VXViewer/ribbon/Toolbar.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/FunctionItem.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

using Items = Toolbar::Items;

/// With twenty tools, of which the first two are the program's own choice, in version 3 of its lists.
class Toolbars : public testing::Test
{
protected:
    Toolbars()
    {
        for ( int i = 0; i < cTools; ++i )
            RibbonSchemaHolder::addItem(
                std::make_shared<FunctionItem>( FunctionItemParams{ name( i ), [] {}, {}, {} } ) );
        EXPECT_EQ( RibbonSchemaHolder::loadStructure(
                       Testing::json( R"({"QuickAccess":{"Version":3,"List":["Tool 0","Tool 1"]}})" ) ),
            Items{} );
    }
    ~Toolbars() override
    {
        (void)RibbonSchemaHolder::loadStructure( Testing::json( R"({"QuickAccess":{"Version":1}})" ) );
        for ( int i = 0; i < cTools; ++i )
            RibbonSchemaHolder::removeItem( name( i ) );
    }
    static std::string name( int i ) { return fmt::format( "Tool {}", i ); }
    Items loaded( const std::string& saved )
    {
        Config::instance().setJsonValue( "quickAccess", Testing::json( saved ) );
        toolbar_.load();
        return toolbar_.items();
    }
    /// Notes each upgrade in the list itself.
    void addUpgrade( int version )
    {
        toolbar_.addUpgrade( version, [version]( Items& items ) { items.push_back( name( 10 + version ) ); } );
    }

    static constexpr int cTools = 20;
    Testing::OwnSettings settings_;
    Toolbar toolbar_;
};

} // namespace

TEST_F( Toolbars, HaveTheProgramsToolsUntilTheUserHasChosen )
{
    toolbar_.load();
    EXPECT_EQ( toolbar_.items(), ( Items{ "Tool 0", "Tool 1" } ) );
    EXPECT_FALSE( Config::instance().hasKey( "quickAccess" ) ) << "reading chooses nothing";
}

TEST_F( Toolbars, KeepWhatIsChosenWithTheVersionOfItsNames )
{
    toolbar_.setItems( { "Tool 5", "Tool 2" } );
    const auto saved = Config::instance().getJsonValue( "quickAccess" );
    EXPECT_EQ( saved["Version"], 3 );
    EXPECT_EQ( saved["List"].size(), 2u );
    Toolbar next;
    next.load();
    EXPECT_EQ( next.items(), ( Items{ "Tool 5", "Tool 2" } ) ) << "in their order";
    toolbar_.setItems( {} );
    next.load();
    EXPECT_EQ( next.items(), Items{} ) << "an empty one is a choice, too";
    next.resetToDefault();
    toolbar_.load();
    EXPECT_EQ( toolbar_.items(), ( Items{ "Tool 0", "Tool 1" } ) );
}

TEST_F( Toolbars, LeaveOutWhatIsNoToolAndWhatStandsTwice )
{
    const Testing::LogCapture log;
    EXPECT_EQ( loaded( R"({"Version":3,"List":["Tool 4","Gone",7,null,"Tool 4","Tool 1"]})" ),
        ( Items{ "Tool 4", "Tool 1" } ) );
    EXPECT_EQ( log.count( "The toolbar names the tool \"Gone\", which does not exist" ), 1u );
}

TEST_F( Toolbars, HaveNoMoreToolsThanThereIsRoomFor )
{
    const Testing::LogCapture log;
    std::string list = "\"Gone\"";
    for ( int i = 0; i < cTools; ++i )
        list += ",\"" + name( i ) + "\"";
    const auto items = loaded( R"({"Version":3,"List":[)" + list + "]}" );
    ASSERT_EQ( items.size(), Toolbar::cMaxItems );
    EXPECT_EQ( items.back(), "Tool 13" ) << "the first ones, and what does not exist takes no place";
}

TEST_F( Toolbars, TakeTheProgramsToolsForWhatIsNoList )
{
    const Items program{ "Tool 0", "Tool 1" };
    for ( const char* saved : { "null", "7", R"("Tool 5")", R"(["Tool 5"])", "{}", R"({"List":"Tool 5"})",
              R"({"Version":3,"List":{"Tool 5":1}})" } )
        EXPECT_EQ( loaded( saved ), program ) << saved;
}

TEST_F( Toolbars, OlderListsAreUpgradedInTheOrderOfVersions )
{
    for ( const int version : { 3, 2, 4 } )
        addUpgrade( version );
    EXPECT_EQ( loaded( R"({"Version":1,"List":["Tool 0"]})" ), ( Items{ "Tool 0", "Tool 12", "Tool 13", "Tool 14" } ) );
    EXPECT_EQ( loaded( R"({"Version":2,"List":["Tool 0"]})" ), ( Items{ "Tool 0", "Tool 13", "Tool 14" } ) );
    EXPECT_EQ( loaded( R"({"Version":4,"List":["Tool 0"]})" ), Items{ "Tool 0" } );
    EXPECT_EQ( loaded( R"({"Version":99,"List":["Tool 0"]})" ), Items{ "Tool 0" } ) << "of a newer program";
}

TEST_F( Toolbars, AListWithoutAVersionIsOfTheFirst )
{
    addUpgrade( 1 );
    addUpgrade( 2 );
    for ( const char* saved :
        { R"({"List":["Tool 0"]})", R"({"Version":"2","List":["Tool 0"]})", R"({"Version":1e99,"List":["Tool 0"]})" } )
        EXPECT_EQ( loaded( saved ), ( Items{ "Tool 0", "Tool 12" } ) ) << saved;
}

TEST_F( Toolbars, AnUpgradeMayRenameAndRemove )
{
    toolbar_.addUpgrade( 2,
        []( Items& items )
        {
            std::erase( items, "Removed" );
            std::replace( items.begin(), items.end(), std::string( "Old name" ), std::string( "Tool 6" ) );
        } );
    const Testing::LogCapture log;
    EXPECT_EQ( loaded( R"({"Version":1,"List":["Removed","Old name","Tool 6"]})" ), Items{ "Tool 6" } );
    EXPECT_FALSE( log.contains( "does not exist" ) );
}
