#include "support/LogCapture.h"
#include "support/service/ImportFixture.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXOrvanta/converter/ConverterService.h>

#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <sstream>

#include <unistd.h>

using namespace VX;
using std::filesystem::perms;

namespace
{

/// Puts a folder that cannot be removed where a file is.
void block( const std::filesystem::path& path )
{
    std::filesystem::remove( path );
    std::filesystem::create_directory( path );
    std::ofstream( path / "something" ) << "x";
}

/// A request as one line, without what is in its hands while it is under way.
std::string line( const WebRequestData& request )
{
    std::ostringstream out;
    out << ( request.method == WebMethod::Put      ? "PUT "
               : request.method == WebMethod::Post ? "POST "
                                                   : "GET " )
        << request.url;
    for ( const auto& [name, value] : request.parameters )
        out << " " << name << "=" << value;
    for ( const auto& [name, value] : request.headers )
        out << " " << name << ": " << value;
    if ( !request.inputPath.empty() )
        out << " from " << request.inputPath.string();
    if ( !request.outputPath.empty() )
        out << " to " << request.outputPath.string();
    out << " " << request.logName << " " << request.timeout.count() << " " << request.body;
    return out.str();
}

/// What holds for the import that blocks and for the one that does not.
class ImportForms : public Testing::ImportFixture, public testing::WithParamInterface<bool>
{
protected:
    using Calls = std::vector<std::string>;

    void TearDown() override
    {
        std::error_code ec;
        std::filesystem::remove_all( payloadFile(), ec );
        ImportFixture::TearDown();
    }
    Result run( const ProgressCallback& progress = {} ) const { return import( !GetParam(), progress ); }
    std::string errorOf( const ProgressCallback& progress = {} ) const
    {
        const auto result = run( progress );
        return result ? "" : result.error();
    }
};

} // namespace

TEST_P( ImportForms, SendTheSameFiveRequests )
{
    scriptSuccess();
    ASSERT_EQ( errorOf(), "" );
    Calls sent;
    for ( const auto& request : transport_->sent() )
        sent.push_back( line( request ) );
    const std::string service = ORVANTA_CONVERTER_URL;
    EXPECT_EQ(
        sent, ( Calls{ "POST " + service +
                           "/request ConverterService 10000 {\"compress_input\":\"zip\",\"input_format\":\"step\"}\n",
                  "PUT https://s3/up from " + payloadFile().string() + " S3 600000 ",
                  "POST " + service +
                      "/convert ConverterService 10000 {\"compress_input\":\"zip\",\"input_format\":\"step\",\"output_"
                      "format\":\"vxu\",\"request_id\":\"" +
                      requestId() + "\"}\n",
                  "GET " + service + "/status request_id=" + requestId() + " ConverterService 10000 ",
                  "GET https://s3/down to " + outputFile().string() + " S3 600000 " } ) );
}

TEST_P( ImportForms, LoadingIsTheLastQuarterOfTheProgress )
{
    scriptSuccess();
    std::vector<float> seen, own;
    const auto noteIn = []( std::vector<float>& list )
    {
        return [&list]( float fraction )
        {
            list.push_back( fraction );
            return true;
        };
    };
    ASSERT_EQ( errorOf( noteIn( seen ) ), "" );
    ASSERT_TRUE( loadObjectFromFile( outputFile(), noteIn( own ) ) );
    ASSERT_GT( own.size(), 1u );
    ASSERT_LT( own.front(), 0.9f );
    const std::vector<float> loading( seen.end() - std::ptrdiff_t( own.size() ), seen.end() );
    EXPECT_EQ( seen.at( seen.size() - own.size() - 1 ), 0.75f ) << "the download has ended";
    for ( size_t i = 0; i < own.size(); ++i )
        EXPECT_NEAR( loading[i], 0.75f + own[i] / 4, 1e-6f );
}

TEST_P( ImportForms, AskOnceASecondWhetherTheConversionHasFinished )
{
    script( "status", result( R"({"state": "not_started"})" ) );
    script( "status", result( R"({"state": "in_progress"})" ) );
    scriptSuccess();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ( errorOf(), "" );
    EXPECT_GE( std::chrono::steady_clock::now() - begin, std::chrono::seconds( 2 ) );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload", "convert", "status", "status", "status", "download" } ) );
}

TEST_P( ImportForms, AreCanceledBetweenTwoQuestions )
{
    script( "status", result( R"({"state": "in_progress"})" ) );
    scriptSuccess();
    bool asked = false;
    onRequest_ = [&]( const std::string& kind ) { asked |= kind == "status"; };
    EXPECT_EQ( errorOf( [&]( float ) { return !asked; } ), "Operation was canceled" );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload", "convert", "status" } ) );
}

TEST_P( ImportForms, RefuseRequestIdsThatAreNoFolder )
{
    for ( const char* id : { "", ".", "..", "../etc", "/etc", "a/b", "a/", "a\\u0000b" } )
    {
        script( "request", result( std::string( R"({"request_id": ")" ) + id + R"(", "url": "u"})" ) );
        EXPECT_EQ( errorOf(), "errno 22" ) << id;
        EXPECT_FALSE( std::filesystem::exists( outputFile().parent_path() / "a" ) ) << id;
    }
    for ( const auto& call : calls() )
        EXPECT_EQ( call, "request" );
}

TEST_P( ImportForms, MakeAFolderPrivateThatIsThere )
{
    scriptSuccess();
    std::filesystem::create_directory( temporaryDir() );
    std::filesystem::permissions( temporaryDir(), perms( 0755 ) );
    ASSERT_EQ( errorOf(), "" );
    EXPECT_EQ( std::filesystem::status( temporaryDir() ).permissions(), perms( 0700 ) );
}

TEST_P( ImportForms, CopyNothingIntoAFolderOfSomebodyElse )
{
    if ( ::geteuid() != 0 )
        GTEST_SKIP() << "only root can give a folder away";
    scriptSuccess();
    std::filesystem::create_directory( temporaryDir() );
    ASSERT_EQ( ::chown( temporaryDir().c_str(), 65534, 65534 ), 0 );
    EXPECT_EQ( errorOf(), "errno 1" );
    EXPECT_TRUE( std::filesystem::is_empty( temporaryDir() ) );
    EXPECT_EQ( calls(), Calls{ "request" } );
}

TEST_P( ImportForms, TellWhichFolderTheyAreAboutToMake )
{
    scriptSuccess();
    std::vector<std::filesystem::path> heard;
    bool wasThere = true;
    ConverterService::setFolderObserver(
        [&]( const std::filesystem::path& file, const std::filesystem::path& folder )
        {
            heard = { file, folder };
            wasThere = std::filesystem::exists( folder );
        } );
    EXPECT_EQ( errorOf(), "" );
    ConverterService::setFolderObserver( {} );
    EXPECT_EQ( heard, ( std::vector<std::filesystem::path>{ file_, temporaryDir() } ) );
    EXPECT_FALSE( wasThere ) << "whoever dies now has told of it";
}

TEST_P( ImportForms, ReportACopyThatCannotBeRemoved )
{
    scriptSuccess();
    const Testing::LogCapture log(
        [this]( std::string_view line )
        {
            if ( line == "STEP loader: removing the temporary copy" )
                block( temporaryDir() / "input" );
        } );
    EXPECT_EQ( errorOf(), "errno 39" );
    EXPECT_EQ( calls(), Calls{ "request" } );
}

TEST_P( ImportForms, ReportAnArchiveThatCannotBeRemoved )
{
    scriptSuccess();
    onRequest_ = [this]( const std::string& kind )
    {
        if ( kind == "upload" )
            block( payloadFile() );
    };
    EXPECT_EQ( errorOf(), "errno 39" );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload" } ) );
}

TEST_P( ImportForms, PassOnWhatIsWrongWithTheArchive )
{
    scriptSuccess();
    std::filesystem::create_directory( payloadFile() );
    EXPECT_EQ( errorOf(), "Cannot write \"" + payloadFile().string() + "\": Is a directory" );
    EXPECT_EQ( calls(), Calls{ "request" } );
}

INSTANTIATE_TEST_SUITE_P(
    Both, ImportForms, testing::Bool(), []( const auto& info ) { return info.param ? "Asynchronous" : "Blocking"; } );

TEST( WorkingFiles, AreNamedByTheStemOfTheFile )
{
    const std::filesystem::path folder = "/.service_output_files";
    const std::pair<const char*, const char*> stems[] = { { "/home/ann/part.step", "part" }, { "part.STP", "part" },
        { "a/v1.2.step", "v1.2" }, { "noextension", "noextension" }, { "a b/\u00fc.step", "\u00fc" } };
    for ( const auto& [file, stem] : stems )
    {
        const auto files = ConverterService::workingFiles( file );
        EXPECT_EQ( files.payload, folder / ( std::string( stem ) + ".input.zip" ) );
        EXPECT_EQ( files.converted, folder / ( std::string( stem ) + ".vxu" ) );
    }
}
