#include <Arguments.h>

#include <gtest/gtest.h>

using namespace VX::App;

namespace
{

tl::expected<Arguments, EarlyEnd> parse( std::vector<const char*> arguments )
{
    arguments.insert( arguments.begin(), "Orvanta" );
    return parseArguments( int( arguments.size() ), arguments.data() );
}

} // namespace

TEST( Arguments, TakesFilesSizeAndScreenshot )
{
    const auto parsed = parse( { "a b.step", "--screenshot", "out.png", "--size", "640x480", "c.stl" } );
    ASSERT_TRUE( parsed );
    EXPECT_EQ( parsed->files, ( std::vector<std::filesystem::path>{ "a b.step", "c.stl" } ) );
    EXPECT_EQ( parsed->screenshot, "out.png" );
    EXPECT_EQ( parsed->width, 640 );
    EXPECT_EQ( parsed->height, 480 );
    EXPECT_EQ( parsed->all.size(), 6u );
    EXPECT_TRUE( parsed->isSizeGiven );
    EXPECT_FALSE( parse( { "c.stl" } )->isSizeGiven );
}

TEST( Arguments, LocalNeedsNoAccountAndTakesNone )
{
    EXPECT_FALSE( parse( { "a.step" } )->local );
    EXPECT_TRUE( parse( { "--local", "a.step", "-noTelemetry" } )->local );
    const auto both = parse( { "--local", "-creds", "me.json" } );
    ASSERT_FALSE( both );
    EXPECT_EQ( both.error().text, "--local needs no account: leave -creds out, or --local\n" );
    EXPECT_EQ( both.error().status, 1 );
}

TEST( Arguments, HelpAndVersionEndWell )
{
    EXPECT_EQ( parse( { "--version" } ).error().status, 0 );
    EXPECT_EQ( parse( { "--version" } ).error().text.substr( 0, 8 ), "Orvanta " );
    const auto help = parse( { "--help" } ).error();
    EXPECT_EQ( help.status, 0 );
    for ( const char* option : { "--screenshot", "--size", "--version", "--help", "files" } )
        EXPECT_NE( help.text.find( option ), std::string::npos ) << option;
}

TEST( Arguments, HelpListsTheLibrarysArgumentsAmongTheOptions )
{
    const auto help = parse( { "--help" } ).error().text;
    const auto options = help.find( "Options:" );
    ASSERT_NE( options, std::string::npos );
    for ( const char* option : { "\n  -creds FILE ", "\n  -noTelemetry " } )
    {
        const auto at = help.find( option );
        ASSERT_NE( at, std::string::npos ) << help;
        EXPECT_GT( at, options );
        EXPECT_EQ( help.find( option, at + 1 ), std::string::npos );
    }
}

TEST( Arguments, PicturesAreCalledWhatTheyAre )
{
    for ( const char* name : { "a.jpg", "a.png.jpeg", "b/c.tif" } )
    {
        const auto parsed = parse( { "--screenshot", name } );
        ASSERT_FALSE( parsed );
        EXPECT_NE( parsed.error().status, 0 );
        EXPECT_NE( parsed.error().text.find( "does not end in .png" ), std::string::npos ) << parsed.error().text;
    }
    for ( const char* name : { "a.png", "a.PNG", "picture" } )
        EXPECT_TRUE( parse( { "--screenshot", name } ) ) << name;
}

TEST( Arguments, UnknownOptionsAreAnErrorWithAHint )
{
    const auto end = parse( { "--screnshot", "a" } ).error();
    EXPECT_NE( end.status, 0 );
    EXPECT_NE( end.text.find( "--screnshot" ), std::string::npos );
    EXPECT_NE( end.text.find( "--help" ), std::string::npos );
}

TEST( Arguments, SaysWhatIsWrongWithoutSteeringTheTerminal )
{
    const auto end = parse( { "--\x1b[2J\nforged" } ).error();
    EXPECT_EQ( end.text.find( '\x1b' ), std::string::npos );
    EXPECT_NE( end.text.find( "␛[2J\n    forged" ), std::string::npos ) << end.text;
}

TEST( Arguments, RefusesSizesThatAreNone )
{
    for ( const char* size : { "640", "640x", "x480", "640x480x2", "10x10", "99999x10", "axb", "640X480" } )
        EXPECT_FALSE( parse( { "--size", size } ) ) << size;
}
