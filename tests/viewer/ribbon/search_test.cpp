#include "support/ParsedJson.h"
#include "support/ui/BareInterface.h"

#include <VXViewer/ribbon/RibbonMenuSearch.h>
#include <VXViewer/tools/FunctionItem.h>

#include <GLFW/glfw3.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;

namespace
{

using Texts = std::vector<std::string>;

/// Tools of the test's own, whose names and captions begin with "zq", which no other's do.
class ToolSearch : public Testing::BareInterface, public RibbonItemHost
{
protected:
    ToolSearch()
    {
        draw = [this]
        {
            ImGui::SetNextWindowPos( { 100, 50 } );
            ImGui::SetNextWindowSize( { 500, 60 } );
            ImGui::Begin( "Panel", nullptr, ImGuiWindowFlags_NoTitleBar );
            search_.draw( *this, 300 );
            ImGui::End();
        };
        connections_[0] = search_.onFocus.connect( [this] { told_ += "focus "; } );
        connections_[1] =
            search_.onToolActivate.connect( [this]( const auto& item ) { told_ += "activate " + item->name() + " "; } );
    }
    ~ToolSearch() override
    {
        (void)RibbonSchemaHolder::loadStructure(
            Testing::json( R"({"Tabs":[{"Name":"Tab","Groups":[{"Name":"Group","List":["Undo"]}]}]})" ) );
        for ( const auto& name : names_ )
            RibbonSchemaHolder::removeItem( name );
    }
    void press( const std::shared_ptr<RibbonMenuItem>& item ) override { told_ += "press " + item->name() + " "; }
    std::string_view requirements( const std::shared_ptr<RibbonMenuItem>& ) override { return {}; }
    std::string shortcut( const std::string& name ) override { return name == shortcutOf_ ? "Ctrl+K" : ""; }
    using BareInterface::press;

    void add( const std::string& name, const std::string& caption = {}, const std::string& tooltip = {} )
    {
        names_.push_back( name );
        RibbonSchemaHolder::addItem( std::make_shared<FunctionItem>( FunctionItemParams{ name, [] {}, {}, {} } ) );
        Json::Value item;
        item["Name"] = name;
        item["Caption"] = caption.empty() ? name : caption;
        item["Tooltip"] = tooltip;
        Json::Value schema;
        schema["Items"].append( item );
        EXPECT_EQ( RibbonSchemaHolder::loadSchema( schema ), Texts{} );
    }
    static Texts found( const std::string& text )
    {
        Texts out;
        for ( const auto& result : RibbonSchemaHolder::search( text ) )
            out.push_back( result.name );
        return out;
    }
    void lookFor( const std::string& text )
    {
        search_.activate();
        settle();
        told_.clear();
        type( text );
    }
    static std::string results() { return said( "##searchResults" ); }

    RibbonMenuSearch search_;
    std::string told_, shortcutOf_;

private:
    Texts names_;
    boost::signals2::scoped_connection connections_[2];
};

} // namespace

TEST_F( ToolSearch, RanksTheWholeThenTheBeginningThenAWordThenAPartThenTheTooltipThenLetters )
{
    add( "1", "z-x-q-x-y" );
    add( "2", "Other", "does the zqy" );
    add( "3", "azqyx" );
    add( "4", "a zqyx" );
    add( "5", "zqyx" );
    add( "6", "ZQY" );
    EXPECT_EQ( found( "zqy" ), ( Texts{ "6", "5", "4", "3", "2", "1" } ) );
}

TEST_F( ToolSearch, FindsAToolByItsNameWhereThatFitsBetter )
{
    add( "zqflat shading", "Flat" );
    add( "zqother", "A zqflat thing" );
    EXPECT_EQ( found( "zqflat" ), ( Texts{ "zqflat shading", "zqother" } ) );
    EXPECT_EQ( found( "zqflat sh" ), Texts{ "zqflat shading" } );
}

TEST_F( ToolSearch, EqualOnesStandByTheirCaptions )
{
    add( "1", "zqc" );
    add( "2", "zqa" );
    add( "3", "zqb" );
    EXPECT_EQ( found( "zq" ), ( Texts{ "2", "3", "1" } ) );
}

TEST_F( ToolSearch, OneLetterIsNoAbbreviationAndAnotherOrderIsNone )
{
    add( "1", "zqx" );
    EXPECT_EQ( found( "zx" ), Texts{ "1" } );
    EXPECT_EQ( found( "xqz" ), Texts{} );
    EXPECT_EQ( found( "zqxx" ), Texts{} );
    for ( const auto& result : RibbonSchemaHolder::search( "q" ) )
        EXPECT_TRUE( result.name == "1" || result.name.find_first_of( "qQ" ) != std::string::npos ||
                     RibbonSchemaHolder::schema().items.at( result.name ).tooltip.find( 'q' ) != std::string::npos )
            << result.name;
}

TEST_F( ToolSearch, TellsTheTabAlsoOfAToolInAList )
{
    add( "zqmain" );
    add( "zqbelow" );
    add( "zqnowhere" );
    EXPECT_EQ(
        RibbonSchemaHolder::loadSchema( Testing::json( R"({"Items":[{"Name":"zqmain","DropList":["zqbelow"]}]})" ) ),
        Texts{} );
    EXPECT_EQ( RibbonSchemaHolder::loadStructure(
                   Testing::json( R"({"Tabs":[{"Name":"Tab","Groups":[{"Name":"Group","List":["zqmain"]}]}]})" ) ),
        Texts{} );
    const auto tab = []( const char* name ) { return RibbonSchemaHolder::search( name ).at( 0 ).tab; };
    EXPECT_EQ( tab( "zqmain" ), "Tab" );
    EXPECT_EQ( tab( "zqbelow" ), "Tab" );
    EXPECT_EQ( tab( "zqnowhere" ), "" );
}

TEST_F( ToolSearch, EnterPressesTheFirstAndTheFieldIsEmptyAgain )
{
    add( "zqone" );
    add( "zqtwo" );
    lookFor( "zq" );
    EXPECT_TRUE( search_.isOpen() );
    EXPECT_EQ( results(), "zqone\nzqtwo\n" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "activate zqone press zqone " );
    EXPECT_FALSE( search_.isOpen() );
    EXPECT_FALSE( says( "Panel", "zq" ) );
    EXPECT_FALSE( isShown( "##searchResults" ) );
}

TEST_F( ToolSearch, TheArrowsGoRoundThroughTheResults )
{
    for ( const char* name : { "zqa", "zqb", "zqc" } )
        add( name );
    lookFor( "zq" );
    for ( int i = 0; i < 4; ++i )
        press( GLFW_KEY_DOWN );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "activate zqb press zqb " );
    lookFor( "zq" );
    press( GLFW_KEY_UP );
    press( GLFW_KEY_KP_ENTER );
    EXPECT_EQ( told_, "activate zqc press zqc " );
}

TEST_F( ToolSearch, AnotherLetterBeginsAtTheFirstAgain )
{
    add( "zqa" );
    add( "zqxb" );
    add( "zqxc" );
    lookFor( "zq" );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_DOWN );
    type( "x" );
    EXPECT_EQ( results(), "zqxb\nzqxc\n" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "activate zqxb press zqxb " );
}

TEST_F( ToolSearch, NineAreShownAndNoMoreAreReached )
{
    for ( int i = 0; i < 12; ++i )
        add( fmt::format( "zq{:02}", i ) );
    lookFor( "zq" );
    EXPECT_TRUE( says( "##searchResults", "zq08" ) );
    EXPECT_FALSE( says( "##searchResults", "zq09" ) );
    press( GLFW_KEY_UP );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "activate zq08 press zq08 " );
}

TEST_F( ToolSearch, NothingFoundIsSaidAndPressesNothing )
{
    lookFor( "zqzq" );
    EXPECT_EQ( results(), "No tool is called so\n" );
    press( GLFW_KEY_DOWN );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "" );
}

TEST_F( ToolSearch, EscapeLeavesItAndTellsNobody )
{
    add( "zqone" );
    lookFor( "zq" );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( search_.isOpen() );
    EXPECT_EQ( told_, "" );
    search_.activate();
    settle();
    EXPECT_EQ( told_, "focus " ) << "it can be asked for again";
    EXPECT_FALSE( isShown( "##searchResults" ) ) << "with nothing in it";
}

TEST_F( ToolSearch, AResultIsTakenByTheMouse )
{
    add( "zqone" );
    add( "zqtwo" );
    lookFor( "zq" );
    clickText( "##searchResults", "zqtwo" );
    EXPECT_EQ( told_, "activate zqtwo press zqtwo " );
}

TEST_F( ToolSearch, AResultTellsItsKeyElseItsTab )
{
    add( "zqone" );
    add( "zqtwo" );
    EXPECT_EQ( RibbonSchemaHolder::loadStructure( Testing::json(
                   R"({"Tabs":[{"Name":"Tab","Groups":[{"Name":"Group","List":["zqone","zqtwo"]}]}]})" ) ),
        Texts{} );
    shortcutOf_ = "zqtwo";
    lookFor( "zq" );
    EXPECT_EQ( results(), "zqone\nTab\nzqtwo\nCtrl+K\n" );
}

TEST_F( ToolSearch, AToolThatHasGoneMeanwhileIsNotPressed )
{
    add( "zqone" );
    lookFor( "zq" );
    RibbonSchemaHolder::removeItem( "zqone" );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "" );
    EXPECT_FALSE( search_.isOpen() );
}

TEST_F( ToolSearch, TheHintStandsInTheEmptyFieldAlone )
{
    search_.setHint( "Find it here" );
    settle();
    EXPECT_TRUE( says( "Panel", "Find it here" ) );
    lookFor( "zq" );
    EXPECT_FALSE( says( "Panel", "Find it here" ) );
}
