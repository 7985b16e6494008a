#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/shell/OrvantaWindowTitle.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/ui/ColorTheme.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

using namespace VX;

namespace
{

OrvantaConfig config( const std::string& text )
{
    return createOrvantaConfigFromJson( *deserializeJsonValue( text ) );
}

class Tokens : public testing::Test
{
protected:
    Tokens() { ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 ); }
    [[nodiscard]] static std::filesystem::path file() { return getUserConfigDir() / "Token" / ".token"; }
    void write( const std::string& text )
    {
        std::filesystem::create_directories( file().parent_path() );
        std::ofstream( file() ) << text;
    }
    Testing::ScratchFolder folder_;
};

bool isEmpty( const AuthToken& token )
{
    return token.login.empty() && token.token.empty() && token.endpoint.empty();
}

} // namespace

TEST( OrvantaConfigs, MenuSwitchesAreEngagedByTheirObjectOnly )
{
    EXPECT_FALSE( config( "{}" ).menuUIConfig );
    EXPECT_FALSE( config( R"({"MenuLayout":[]})" ).menuUIConfig );
    EXPECT_FALSE( config( R"({"MenuLayout":null})" ).menuUIConfig );
    const auto all = config( R"({"MenuLayout":{}})" ).menuUIConfig;
    ASSERT_TRUE( all );
    EXPECT_TRUE( all->drawWelcomeWindow && all->allowBaseShortcuts && all->allowHistoryShortcuts );
}

TEST( OrvantaConfigs, OnlyBooleansSwitch )
{
    const auto none = *config( R"({"MenuLayout":{"drawWelcomeWindow":0,"allowBaseShortcuts":"false",
        "allowHistoryShortcuts":null}})" )
                           .menuUIConfig;
    EXPECT_TRUE( none.drawWelcomeWindow && none.allowBaseShortcuts && none.allowHistoryShortcuts );
    const auto two =
        *config( R"({"MenuLayout":{"drawWelcomeWindow":false,"allowHistoryShortcuts":false}})" ).menuUIConfig;
    EXPECT_FALSE( two.drawWelcomeWindow );
    EXPECT_TRUE( two.allowBaseShortcuts );
    EXPECT_FALSE( two.allowHistoryShortcuts );
}

TEST( OrvantaConfigs, FontsMustBeRegularFilesOfTheTwoKinds )
{
    Testing::ScratchFolder folder;
    const auto upper = utf8string( folder.write( "a.TTF", "x" ) ), mixed = utf8string( folder.write( "b.Otf", "x" ) );
    const auto other = utf8string( folder.write( "c.woff", "x" ) );
    std::filesystem::create_directory( folder.path() / "d.ttf" );
    const auto fonts = config( R"({"Fonts":{"Regular":")" + upper + R"(","SemiBold":")" + mixed + R"(","Monospace":")" +
                               other + R"(","Icons":")" + upper + R"("}})" )
                           .fonts;
    EXPECT_EQ( fonts[0], pathFromUtf8( upper ) );
    EXPECT_EQ( fonts[1], pathFromUtf8( mixed ) );
    EXPECT_TRUE( fonts[2].empty() );
    EXPECT_TRUE( fonts[3].empty() );
    for ( const auto& value : { "\"" + utf8string( folder.path() / "d.ttf" ) + "\"",
              "\"" + utf8string( folder.path() / "none.ttf" ) + "\"", std::string( "7" ), std::string( "null" ) } )
        EXPECT_TRUE( config( R"({"Fonts":{"Regular":)" + value + "}}" ).fonts[0].empty() ) << value;
    EXPECT_TRUE( config( R"({"Fonts":"x"})" ).fonts[0].empty() );
}

TEST( OrvantaConfigs, MonospaceFillsItsSlotOnly )
{
    Testing::ScratchFolder folder;
    const auto file = folder.write( "m.ttf", "x" );
    const auto fonts = config( R"({"Fonts":{"Monospace":")" + utf8string( file ) + R"("}})" ).fonts;
    EXPECT_EQ( fonts, ( decltype( fonts ){ "", "", file, "" } ) );
}

TEST( OrvantaConfigs, ForwardsTheFrameworksPart )
{
    const auto all = config( R"({"Schema":{"Items":[]},"Structure":{},"UISettings":{"Theme":"Dark"}})" );
    EXPECT_TRUE( all.schema && all.structure && all.uiSettings );
    const auto none = config( R"({"Schema":5,"Structure":[]})" );
    EXPECT_FALSE( none.schema || none.structure || none.uiSettings );
    for ( const char* text : { "[]", "5", "\"x\"", "null", "true" } )
        EXPECT_FALSE( config( text ).menuUIConfig ) << text;
}

TEST( OrvantaConfigs, WithoutTheMenuNothingIsApplied )
{
    const auto revision = RibbonSchemaHolder::revision();
    const Testing::LogCapture log;
    applyOrvantaConfig(
        config( R"({"MenuLayout":{},"UISettings":{"Theme":"Light"},"Schema":{"Items":[]},"Structure":{"Tabs":[]}})" ) );
    EXPECT_EQ( log.text(), "warning: Cannot apply layout config\n" );
    EXPECT_EQ( ColorTheme::getPreset(), ColorTheme::Preset::Dark );
    EXPECT_EQ( RibbonSchemaHolder::revision(), revision );
}

TEST( OrvantaWindowTitles, ShowTheAddressAfterTheTitle )
{
    OrvantaWindowTitle title;
    title.setEmail( "a@b.org" );
    EXPECT_EQ( title.compose(), "a@b.org" );
    title.setAppName( "Orvanta" );
    EXPECT_EQ( title.compose(), "Orvanta a@b.org" );
    title.setEmail( "" );
    EXPECT_EQ( title.compose(), "Orvanta" );
}

TEST( OrvantaWindowTitles, AreComposedAnewOnlyForANewAddress )
{
    class Counting final : public OrvantaWindowTitle
    {
    public:
        [[nodiscard]] std::string compose() const override
        {
            ++count;
            return OrvantaWindowTitle::compose();
        }
        mutable int count = 0;
    };
    Counting title;
    title.setEmail( "" );
    EXPECT_EQ( title.count, 0 );
    title.setEmail( "a@b.org" );
    title.setEmail( "a@b.org" );
    EXPECT_EQ( title.count, 1 );
    title.setEmail( "" );
    EXPECT_EQ( title.count, 2 );
}

TEST_F( Tokens, AreReadBackAsWritten )
{
    saveAuthToken( { "a@b.org", "refresh", "endpoint" } );
    const auto token = loadAuthToken();
    EXPECT_EQ( token.login, "a@b.org" );
    EXPECT_EQ( token.token, "refresh" );
    EXPECT_EQ( token.endpoint, "endpoint" );
    const auto stored = deserializeJsonValue( file() );
    ASSERT_TRUE( stored );
    EXPECT_EQ( stored->size(), 3u );
}

TEST_F( Tokens, NeedTokenAndEndpointAsTexts )
{
    write( R"({"token":"t","endpoint":"e"})" );
    EXPECT_EQ( loadAuthToken().token, "t" );
    EXPECT_EQ( loadAuthToken().login, "" );
    for ( const char* text : { R"({"login":"l","token":5,"endpoint":"e"})", R"({"login":"l","token":"t"})",
              R"({"login":"l","token":"t","endpoint":null})", "{", "[]", "5", "" } )
    {
        write( text );
        EXPECT_TRUE( isEmpty( loadAuthToken() ) ) << text;
    }
}

TEST_F( Tokens, AreNotWrittenWhereAFileIsInTheWay )
{
    std::ofstream( getUserConfigDir() / "Token" ) << "in the way";
    testing::internal::CaptureStdout();
    saveAuthToken( { "l", "t", "e" } );
    EXPECT_NE( testing::internal::GetCapturedStdout().find( "Cannot create folder..." ), std::string::npos );
    EXPECT_TRUE( isEmpty( loadAuthToken() ) );
}
