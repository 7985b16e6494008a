#include "TestPlaces.h"
#include "support/Command.h"
#include "support/ScratchFolder.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/system/ChildProcess.h>

#include <gtest/gtest.h>

#include <filesystem>

using namespace VX;

namespace
{

/// The back end's command for one file, as an operator or the program calls it.
class ConvertCommand : public testing::Test
{
protected:
    ConvertCommand() { std::filesystem::create_directory( temporary() ); }
    [[nodiscard]] std::filesystem::path temporary() const { return folder_.path() / "tmp"; }
    [[nodiscard]] std::filesystem::path result() const { return folder_.path() / "out.vxu"; }
    static std::string sample( const char* name )
    {
        return ( std::filesystem::path( ORVANTA_SAMPLES ) / name ).string();
    }
    /// What it prints to standard error, and its exit status.
    [[nodiscard]] Testing::CommandOutput convert( const std::string& arguments ) const
    {
        return run( arguments + " 2>&1 > /dev/null" );
    }
    [[nodiscard]] Testing::CommandOutput run( const std::string& arguments ) const
    {
        return Testing::runCommand(
            "TMPDIR='" + temporary().string() + "' " + ORVANTA_BACKEND + std::string( " convert " ) + arguments );
    }
    [[nodiscard]] std::string refusal( const std::string& input, const std::string& output ) const
    {
        const auto out = convert( "'" + input + "' '" + output + "'" );
        EXPECT_EQ( out.status, 1 ) << out.text;
        EXPECT_FALSE( std::filesystem::exists( result() ) );
        const auto at = out.text.find( "Cannot convert: " );
        return at == std::string::npos ? out.text : out.text.substr( at );
    }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( ConvertCommand, WritesASceneAndTellsHowFarItIs )
{
    const auto done = convert( "'" + sample( "drive.step" ) + "' '" + result().string() + "'" );
    EXPECT_EQ( done.status, 0 ) << done.text;
    for ( const char* line : { "0 %\n", "20 %\n", "80 %\n", "95 %\n", "100 %\n" } )
        EXPECT_NE( done.text.find( line ), std::string::npos ) << line << done.text;
    const auto scene = loadObjectFromFile( result() );
    ASSERT_TRUE( scene ) << scene.error();
    EXPECT_FALSE( scene->objects.empty() );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) ) << "working files stay behind";
}

TEST_F( ConvertCommand, SaysWhatIsWrongWithTheFiles )
{
    const auto out = result().string(), step = sample( "bracket.step" );
    EXPECT_EQ( refusal( "/nowhere/part.step", out ), "Cannot convert: There is no file \"/nowhere/part.step\"\n" );
    EXPECT_EQ( refusal( folder_.path(), out ), "Cannot convert: \"" + folder_.path().string() + "\" is not a file\n" );
    EXPECT_EQ( refusal( step, "/nowhere/out.vxu" ), "Cannot convert: There is no folder \"/nowhere\"\n" );
    EXPECT_EQ( refusal( step, "out.stl" ),
        "Cannot convert: The result is a scene: let the name of \"out.stl\" end in .vxu\n" );
    EXPECT_EQ( refusal( folder_.write( "part.step", "solid" ), out ), "Cannot convert: This is not a STEP file\n" );
    const auto cut = Testing::readFile( step );
    EXPECT_EQ( refusal( folder_.write( "cut.step", cut.substr( 0, cut.size() / 2 ) ), out ),
        "Cannot convert: The STEP file is cut off: its end is missing\n" );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) );
    EXPECT_GT( convert( "'" + step + "'" ).status, 1 ) << "the output is not named";
}

TEST_F( ConvertCommand, AResultThatWasThereStaysUntilTheNewOneIsWhole )
{
    folder_.write( "out.vxu", "former" );
    EXPECT_EQ(
        convert( "'" + folder_.write( "part.step", "solid" ).string() + "' '" + result().string() + "'" ).status, 1 );
    EXPECT_EQ( Testing::readFile( result() ), "former" );
    EXPECT_EQ( convert( "'" + sample( "bracket.step" ) + "' '" + result().string() + "'" ).status, 0 );
    EXPECT_TRUE( loadObjectFromFile( result() ) );
}

TEST_F( ConvertCommand, ATerminalShowsOneLineThatChanges )
{
    const auto onTerminal = [&]( const std::filesystem::path& input )
    {
        const auto command = std::string( ORVANTA_BACKEND ) + " convert " + input.string() + " " + result().string();
        return Testing::runCommand( "TMPDIR='" + temporary().string() + "' script -qec '" + command + "' /dev/null" );
    };
    const auto done = onTerminal( sample( "bracket.step" ) );
    EXPECT_EQ( done.text, "\r0 %\r20 %\r80 %\r95 %\r100 %\r\n" );
    EXPECT_EQ( done.status, 0 );
    const auto failed = onTerminal( folder_.write( "part.step", "solid" ) );
    EXPECT_EQ( failed.text, "\r0 %\r\nCannot convert: This is not a STEP file\r\n" );
    EXPECT_EQ( failed.status, 1 );
}

TEST_F( ConvertCommand, SpeaksToAProgramThatMayCancel )
{
    const auto arguments = "--for-program '" + sample( "bracket.step" ) + "' '" + result().string() + "' ";
    const auto canceled = run( arguments + "< /dev/null 2> /dev/null" );
    EXPECT_EQ( canceled.status, 130 );
    EXPECT_EQ( canceled.text, "progress 0.000\n" );
    EXPECT_FALSE( std::filesystem::exists( result() ) );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) );
}

TEST_F( ConvertCommand, TellsAProgramHowFarItIsAndThatItIsDone )
{
    auto child = ChildProcess::start(
        { { ORVANTA_BACKEND, "convert", "--for-program", sample( "bracket.step" ), result().string() }, {}, false } );
    ASSERT_TRUE( child ) << child.error();
    std::string text;
    char buffer[256];
    for ( size_t n = 0; ( n = child->read( buffer, sizeof buffer ) ) > 0; )
        text.append( buffer, n );
    EXPECT_EQ( text, "progress 0.000\nprogress 0.200\nprogress 0.800\nprogress 0.950\nprogress 1.000\ndone\n" );
    EXPECT_EQ( child->wait(), 0 );
    EXPECT_TRUE( loadObjectFromFile( result() ) );
}
