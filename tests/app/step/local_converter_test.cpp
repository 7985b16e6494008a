#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include <LocalSetup.h>
#include <NoNetwork.h>
#include <step/LocalConverter.h>

#include <VXMesh/io/Json.h>
#include <VXViewer/web/WebTransport.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

#include <sys/stat.h>

using namespace VX;
using namespace VX::App;

namespace
{

class LocalConverter : public testing::Test
{
protected:
    LocalConverter()
    {
        std::filesystem::create_directory( temporary() );
        ::setenv( "TMPDIR", temporary().c_str(), 1 );
    }
    ~LocalConverter() override { ::unsetenv( "TMPDIR" ); }
    [[nodiscard]] std::filesystem::path temporary() const { return folder_.path() / "tmp"; }
    static std::filesystem::path sample() { return std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step"; }
    /// A program in the converter's place.
    [[nodiscard]] std::filesystem::path impostor(
        const std::string& script, const std::string& name = "converter" ) const
    {
        const auto file = folder_.write( name, "#!/bin/bash\n" + script + "\n" );
        ::chmod( file.c_str(), 0700 );
        return file;
    }
    static std::string problem( const std::filesystem::path& program )
    {
        const auto out = convertHere( program, sample(), {} );
        return out ? "" : out.error();
    }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( LocalConverter, ReadsAStepFileThroughTheBackEndsProgram )
{
    float last = 0;
    bool grows = true;
    const auto loaded = convertHere( ORVANTA_BACKEND, sample(),
        [&]( float fraction )
        {
            grows &= fraction >= last;
            last = fraction;
            return true;
        } );
    ASSERT_TRUE( loaded ) << loaded.error();
    EXPECT_EQ( loaded->objects.at( 0 )->name(), "Bracket" );
    EXPECT_TRUE( grows );
    EXPECT_GT( last, 0.9f );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) );
}

TEST_F( LocalConverter, ACancelLeavesNothingBehind )
{
    const auto canceled = convertHere( ORVANTA_BACKEND, sample(), []( float ) { return false; } );
    ASSERT_FALSE( canceled );
    EXPECT_EQ( canceled.error(), cOperationCanceled );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) );
}

TEST_F( LocalConverter, PassesOnWhatIsWrongWithAFile )
{
    const auto bad = convertHere( ORVANTA_BACKEND, folder_.write( "part.step", "solid" ), {} );
    ASSERT_FALSE( bad );
    EXPECT_EQ( bad.error(), "This is not a STEP file" );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) );
}

TEST_F( LocalConverter, OutlivesAProgramThatIsNoConverter )
{
    constexpr const char* cNoResult = "The converter ended without a result";
    EXPECT_EQ( problem( impostor( "exit 0" ) ), cNoResult );
    EXPECT_EQ( problem( impostor( "echo progress nan; echo; echo what; kill -9 $$" ) ), cNoResult );
    EXPECT_EQ( problem( impostor( "head -c 100000 /dev/zero" ) ), cNoResult );
    EXPECT_EQ( problem( impostor( "printf 'error \\033[31mred\\n'" ) ), "[31mred" );
    EXPECT_NE( problem( impostor( "echo done" ) ), "" ) << "it left no scene";
    EXPECT_NE( problem( folder_.path() / "nothing" ), "" );
    EXPECT_TRUE( std::filesystem::is_empty( temporary() ) );
}

TEST_F( LocalConverter, IsFoundInPathByAbsoluteFoldersAlone )
{
    ::setenv( "PATH", "/nowhere", 1 );
    EXPECT_EQ( converterProgram(), std::filesystem::path() );
    const auto program = impostor( "", "orvanta-backend" );
    ::setenv( "PATH", ( "/nowhere:" + folder_.path().string() ).c_str(), 1 );
    EXPECT_EQ( converterProgram(), program );
    const auto former = std::filesystem::current_path();
    std::filesystem::current_path( folder_.path() );
    ::setenv( "PATH", "/nowhere::.", 1 );
    EXPECT_EQ( converterProgram(), std::filesystem::path() ) << "a file beside the user's files is no program of ours";
    std::filesystem::current_path( former );
}

TEST( LocalSetup, LeavesOutWhatNamesAToolOfTheService )
{
    const auto config = deserializeJsonValue( std::string(
        R"({"Schema":{"Items":[{"Name":"Undo","DropList":["Sign out","Redo"]},{"Name":"Sign out"}]},"Structure":{"Tabs":
        [{"Name":"Privacy tab","Groups":[{"Name":"G","List":["Privacy","Undo"]}]}],"SceneButtons":["Quickstart video"]},
        "MenuLayout":{"drawWelcomeWindow":true},"Odd":7})" ) );
    ASSERT_TRUE( config );
    const auto local = withoutServiceTools( *config );
    EXPECT_EQ( local["Schema"]["Items"].size(), 1u );
    EXPECT_EQ( local["Schema"]["Items"][0]["DropList"], deserializeJsonValue( std::string( R"(["Redo"])" ) ).value() );
    EXPECT_EQ( local["Structure"]["Tabs"][0]["Groups"][0]["List"].size(), 1u );
    EXPECT_EQ( local["Structure"]["SceneButtons"].size(), 0u );
    EXPECT_EQ( local["Odd"], 7 );
}

TEST( NoNetwork, EveryRequestFailsAtOnce )
{
    forbidNetwork();
    std::promise<Json::Value> answer;
    webTransport()->send( {}, [&]( Json::Value response ) { answer.set_value( std::move( response ) ); } );
    EXPECT_EQ( answer.get_future().get()["code"], 0 );
    setWebTransport( nullptr );
}
