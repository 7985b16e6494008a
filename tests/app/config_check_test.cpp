#include "support/ScratchFolder.h"

#include <AppSetup.h>
#include <ConfigCheck.h>

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::App;

namespace
{

using Problems = std::vector<std::string>;

Json::Value json( const std::string& text )
{
    return deserializeJsonValue( text ).value();
}

} // namespace

TEST( ConfigCheck, HasNothingToSayOfWhatTheProgramBrings )
{
    EXPECT_EQ( configProblems( builtInConfig() ), Problems{} );
    EXPECT_EQ( configProblems( {} ), Problems{} );
    EXPECT_EQ( mergedConfig( builtInConfig() ), builtInConfig() );
}

TEST( ConfigCheck, NamesMembersThatAreNotKnown )
{
    EXPECT_EQ( configProblems( json( R"({"Fonst": {}, "UISettings": {"Tooolbar": true}})" ) ),
        ( Problems{ R"("Fonst" is not known)", R"("Tooolbar" in "UISettings" is not known)" } ) );
}

TEST( ConfigCheck, NamesMembersOfAWrongType )
{
    EXPECT_EQ( configProblems( json( R"({"MenuLayout": {"drawWelcomeWindow": 0}, "Schema": [],
        "Structure": {"Tabs": 5}, "UISettings": {"Theme": 1}})" ) ),
        ( Problems{ R"("drawWelcomeWindow" in "MenuLayout" must be true or false)", R"("Schema" must be an object)",
            R"("Tabs" in "Structure" must be a list)",
            R"("Theme" in "UISettings" must be the name of a theme or an object)" } ) );
}

TEST( ConfigCheck, NamesAThemeThatIsNotThere )
{
    EXPECT_EQ( configProblems( json( R"({"UISettings": {"Theme": "Drak"}})" ) ),
        ( Problems{ R"(There is no theme "Drak"; "Dark" and "Light" are there)" } ) );
    EXPECT_EQ( configProblems( json( R"({"UISettings": {"Theme": "Light"}})" ) ), Problems{} );
}

TEST( ConfigCheck, NamesFontsThatCannotBeUsed )
{
    const Testing::ScratchFolder folder;
    const auto font = folder.write( "a.TTF", "x" );
    EXPECT_EQ( configProblems( json( R"({"Fonts": {"Monospace": "/nowhere/b.otf", "Regular": ")" + font.string() +
                                     R"(", "SemiBold": "c.woff"}})" ) ),
        ( Problems{ R"(There is no font file "/nowhere/b.otf")",
            R"(The font "c.woff" is neither a .ttf nor an .otf file)" } ) );
}

TEST( MergedConfig, MembersOfAWrongTypeLeaveWhatTheProgramBrings )
{
    for ( const char* text : { R"({"Structure": 5})", R"({"Structure": null})", R"({"Structure": "x"})",
              R"({"Structure": [], "Schema": 1, "UISettings": true})", R"([])", R"("text")", "null" } )
        EXPECT_EQ( mergedConfig( json( text ) ), builtInConfig() ) << text;
    const auto merged = mergedConfig( json( R"({"Structure": {"Tabs": 5, "SceneButtons": []}})" ) );
    EXPECT_EQ( merged["Structure"]["Tabs"], builtInConfig()["Structure"]["Tabs"] );
    EXPECT_EQ( merged["Structure"]["SceneButtons"], Json::Value( Json::arrayValue ) );
}

TEST( MergedConfig, MembersOfTheRightTypeReplaceWhatTheProgramBrings )
{
    const auto merged = mergedConfig( json( R"({"UISettings": {"Theme": "Light"}, "MenuLayout": {}})" ) );
    EXPECT_EQ( merged["UISettings"], json( R"({"Theme": "Light"})" ) );
    EXPECT_EQ( merged["Schema"], builtInConfig()["Schema"] );
}
