#include "support/TestMeshes.h"
#include "support/service/ImportFixture.h"

#include <VXOrvanta/converter/ConverterService.h>

#include <gtest/gtest.h>

#include <fstream>

using namespace VX;

namespace
{

class BlockingImport : public Testing::ImportFixture
{
protected:
    [[nodiscard]] Result run( const ProgressCallback& progress = {} ) const
    {
        return ConverterService::fromStep( file_, progress );
    }
    [[nodiscard]] std::string errorOf( const ProgressCallback& progress = {} ) const
    {
        const auto result = run( progress );
        return result ? "" : result.error();
    }
    /// A callback that says no from a fraction on.
    static ProgressCallback stopAt( float limit )
    {
        return [limit]( float fraction ) { return fraction < limit; };
    }
    using Calls = std::vector<std::string>;
};

} // namespace

TEST_F( BlockingImport, GoesThroughAllStagesAndKeepsWhatItShould )
{
    scriptSuccess();
    std::vector<float> seen;
    const auto result = run(
        [&]( float f )
        {
            seen.push_back( f );
            return true;
        } );
    ASSERT_TRUE( result ) << result.error();
    EXPECT_EQ( result->objects.at( 0 )->name(), "Cube" );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload", "convert", "status", "download" } ) );
    EXPECT_EQ(
        std::vector<float>( seen.begin(), seen.begin() + 5 ), ( std::vector<float>{ 0, 0.25f, 0.25f, 0.5f, 0.75f } ) );
    EXPECT_EQ( seen.back(), 1 );
    EXPECT_TRUE( std::filesystem::exists( outputFile() ) );
    EXPECT_TRUE( std::filesystem::is_empty( temporaryDir() ) );
    EXPECT_FALSE( std::filesystem::exists( payloadFile() ) );
}

TEST_F( BlockingImport, KeepsAPrivateFilePrivateOnItsWay )
{
    using std::filesystem::perms;
    scriptSuccess();
    perms folder = perms::unknown, archive = perms::unknown;
    std::filesystem::permissions( file_, perms( 0644 ) );
    ASSERT_TRUE( run(
        [&]( float fraction )
        {
            if ( fraction == 0.25f && archive == perms::unknown )
            {
                folder = std::filesystem::status( temporaryDir() ).permissions();
                archive = std::filesystem::status( payloadFile() ).permissions();
            }
            return true;
        } ) );
    EXPECT_EQ( folder, perms( 0700 ) );
    EXPECT_EQ( archive, perms( 0600 ) );
}

TEST_F( BlockingImport, TheCopyIsPrivateToo )
{
    using std::filesystem::perms;
    scriptSuccess();
    std::filesystem::permissions( file_, perms( 0644 ) );
    // Where the archive cannot be put, the copy stays.
    std::filesystem::create_directory( payloadFile() );
    EXPECT_NE( errorOf(), "" );
    EXPECT_EQ( std::filesystem::status( temporaryDir() / "input" ).permissions(), perms( 0600 ) );
}

TEST_F( BlockingImport, CopiesNothingIntoAFolderThatLeadsElsewhere )
{
    scriptSuccess();
    const Testing::ScratchFolder elsewhere;
    std::filesystem::create_directory_symlink( elsewhere.path(), temporaryDir() );
    EXPECT_EQ( errorOf(), "errno 20" );
    EXPECT_TRUE( std::filesystem::is_empty( elsewhere.path() ) );
}

TEST_F( BlockingImport, RefusesItsOwnOutputFormatBeforeAnyRequest )
{
    file_ = folder_.write( "scene.vxu", "x" );
    EXPECT_EQ( errorOf(), "Input and output formats are equal" );
    EXPECT_TRUE( calls().empty() );
}

TEST_F( BlockingImport, SendsAnEmptyFormatForAFileWithoutExtension )
{
    file_ = folder_.write( name_, "x" );
    EXPECT_EQ( errorOf(), "Connection error" );
    EXPECT_EQ( transport_->sent().at( 0 ).body, "{\"compress_input\":\"zip\",\"input_format\":\"\"}\n" );
}

TEST_F( BlockingImport, AnExistingResultAnswersForEveryFileOfThatName )
{
    std::ofstream( outputFile(), std::ios::binary ) << Testing::cubeFile();
    const auto result = run();
    ASSERT_TRUE( result ) << result.error();
    EXPECT_TRUE( calls().empty() );
    std::filesystem::remove( outputFile() );
    EXPECT_FALSE( run() );
    EXPECT_EQ( calls(), ( Calls{ "request" } ) );
}

TEST_F( BlockingImport, CancelAfterTheFirstRequestCopiesNothing )
{
    scriptSuccess();
    EXPECT_EQ( errorOf( stopAt( 0 ) ), "Operation was canceled" );
    EXPECT_EQ( calls(), ( Calls{ "request" } ) );
    EXPECT_FALSE( std::filesystem::exists( temporaryDir() ) );
}

TEST_F( BlockingImport, CancelAfterTheUploadLeavesTheArchive )
{
    scriptSuccess();
    EXPECT_EQ( errorOf( stopAt( 0.25f ) ), "Operation was canceled" );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload" } ) );
    EXPECT_TRUE( std::filesystem::exists( payloadFile() ) );
}

TEST_F( BlockingImport, CancelWhenFinishedDownloadsNothing )
{
    scriptSuccess();
    EXPECT_EQ( errorOf( stopAt( 0.5f ) ), "Operation was canceled" );
    EXPECT_EQ( calls().back(), "status" );
}

TEST_F( BlockingImport, CancelAfterTheDownloadLoadsNothing )
{
    scriptSuccess();
    EXPECT_EQ( errorOf( stopAt( 0.75f ) ), "Operation was canceled" );
    EXPECT_EQ( calls().back(), "download" );
    EXPECT_TRUE( std::filesystem::exists( outputFile() ) );
}

TEST_F( BlockingImport, CancelDuringATransferLooksLikeOneThatBrokeOff )
{
    struct Row
    {
        const char* call;
        float limit;
    };
    // Each transfer tells that it is 0.4 done, which is 0.1 of the whole for the one and 0.6 for the other.
    for ( const auto& [call, limit] : { Row{ "upload", 0.05f }, Row{ "download", 0.55f } } )
    {
        TearDown();
        SetUp();
        auto halted = ok( "" );
        halted["progress"].append( 0.4 );
        halted["file"] = Testing::cubeFile();
        script( call, halted );
        scriptSuccess();
        EXPECT_EQ( errorOf( stopAt( limit ) ), "Connection error" ) << call;
        EXPECT_EQ( calls().back(), call );
        EXPECT_FALSE( std::filesystem::exists( outputFile() ) ) << call;
    }
}

TEST_F( BlockingImport, PollsOnceASecondUntilItIsStopped )
{
    script( "request", result( R"({"request_id": ")" + requestId() + R"(", "url": "u"})" ) );
    script( "upload", ok( "" ) );
    script( "convert", result( "{}" ) );
    for ( int i = 0; i < 10; ++i )
        script( "status", result( R"({"state": "in_progress"})" ) );
    int asked = 0;
    std::vector<float> seen;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ( errorOf(
                   [&]( float f )
                   {
                       seen.push_back( f );
                       return f < 0.25f || ++asked < 4;
                   } ),
        "Operation was canceled" );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload", "convert", "status", "status" } ) );
    EXPECT_GE( std::chrono::steady_clock::now() - begin, std::chrono::seconds( 2 ) );
    EXPECT_EQ( seen.back(), 0.25f );
}

TEST_F( BlockingImport, ReturnsTheTextOfEveryCall )
{
    const std::vector<std::pair<std::string, Json::Value>> failures = {
        { "request", ok( R"({"error": {"message": "quota"}})" ) },
        { "upload", ScriptedTransport::response( 403, "", "The server answered with status 403" ) },
        { "convert", ok( R"({"error": {"message": "not now"}})" ) },
        { "status", result( R"({"state": "odd"})" ) },
        { "download", ScriptedTransport::response( 0, "", "cut" ) },
    };
    const std::vector<std::string> texts = {
        "quota", "The server answered with status 403", "not now", "Unknown state: odd", "Connection error" };
    for ( size_t i = 0; i < failures.size(); ++i )
    {
        TearDown();
        SetUp();
        script( failures[i].first, failures[i].second );
        scriptSuccess();
        EXPECT_EQ( errorOf(), texts[i] ) << failures[i].first;
        EXPECT_EQ( calls().back(), failures[i].first );
    }
}

TEST_F( BlockingImport, ReturnsTheLoadersText )
{
    auto broken = ok( "" );
    broken["file"] = "not a scene";
    script( "download", broken );
    scriptSuccess();
    EXPECT_EQ( errorOf(), "Cannot read \"" + name_ + ".vxu\": This is not a scene file" );
}

TEST_F( BlockingImport, ReportsFileOperationsByTheirCode )
{
    scriptSuccess();
    std::filesystem::remove( file_ );
    EXPECT_EQ( errorOf(), "errno 2" );

    TearDown();
    SetUp();
    scriptSuccess();
    std::filesystem::create_directories( temporaryDir() );
    std::ofstream( temporaryDir() / "input" ) << "left over";
    EXPECT_EQ( errorOf(), "errno 17" );

    TearDown();
    SetUp();
    scriptSuccess();
    std::ofstream( temporaryDir().parent_path() / requestId() ) << "a file where the folder should be";
    EXPECT_EQ( errorOf(), "errno 20" );
}

TEST_F( BlockingImport, ReportsARequestIdThatCannotBeAFolder )
{
    script( "request", result( R"({"request_id": ")" + std::string( 300, 'x' ) + R"(", "url": "u"})" ) );
    EXPECT_EQ( errorOf(), "errno 36" );
}

TEST_F( BlockingImport, WorksWithSpacesQuotesAndUnicodeInTheName )
{
    scriptSuccess();
    const auto id = requestId();
    name_ += " it's a \"part\" ü 日本";
    file_ = folder_.write( name_ + ".step", "x" );
    const auto result = run();
    ASSERT_TRUE( result ) << result.error();
    EXPECT_TRUE( std::filesystem::exists( outputFile() ) );
    std::filesystem::remove_all( outputFile().parent_path() / id );
}
