#include "TestPlaces.h"
#include "support/service/BackendProcess.h"

#include <VXMesh/io/Zip.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXMesh/system/Sanitizer.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXOrvanta/converter/S3.h>
#include <VXOrvanta/deferred/WebRequestFuture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include <unistd.h>

using namespace VX;
using namespace VX::ConverterService;

namespace
{

using Result = tl::expected<LoadedObjects, std::string>;
const std::filesystem::path cWorkingFolder = "/.service_output_files";

/// Imports through the real back end.
class Imports : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
        std::error_code ec;
        for ( const auto& stem : stems_ )
        {
            std::filesystem::remove( cWorkingFolder / ( stem + ".vxu" ), ec );
            std::filesystem::remove( cWorkingFolder / ( stem + ".input.zip" ), ec );
        }
    }

    std::filesystem::path file( const std::string& stem, const std::string& content )
    {
        stems_.push_back( "orvanta-import-" + std::to_string( ::getpid() ) + "-" + stem );
        return folder_.write( stems_.back() + ".step", content );
    }
    static std::string sample( const char* name )
    {
        return Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / name );
    }
    static std::string errorOf( const std::filesystem::path& path )
    {
        const auto result = fromStep( path );
        return result ? "" : result.error();
    }
    static std::string broken( std::string content, unsigned seed )
    {
        for ( int i = 0; i < 60; ++i )
        {
            seed = seed * 1103515245 + 12345;
            content[2000 + seed / 7 % ( content.size() - 4000 )] = char( 32 + ( seed >> 16 ) % 90 );
        }
        return content;
    }
    static size_t trianglesOf( const LoadedObjects& loaded )
    {
        size_t count = 0;
        for ( const auto& root : loaded.objects )
            forEachObject( *root,
                [&]( const Object& object )
                {
                    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ) )
                        count += mesh->mesh()->triangles.size();
                } );
        return count;
    }

    Testing::ScratchFolder folder_;
    std::vector<std::string> stems_;
};

/// How many objects, whole or not, a back end keeps.
size_t objectsIn( const std::filesystem::path& data )
{
    size_t out = 0;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::recursive_directory_iterator( data / "objects", ec ) )
        out += entry.is_regular_file( ec );
    return out;
}

} // namespace

TEST_F( Imports, BlockingFormBringsTheBracket )
{
    const Testing::BackendProcess backend;
    const auto result = fromStep( file( "bracket", sample( "bracket.step" ) ) );
    ASSERT_TRUE( result ) << result.error();
    EXPECT_EQ( result->objects.at( 0 )->name(), "Bracket" );
    EXPECT_GT( trianglesOf( *result ), 500u );
    EXPECT_TRUE( std::filesystem::exists( cWorkingFolder / ( stems_[0] + ".vxu" ) ) );
    EXPECT_FALSE( std::filesystem::exists( cWorkingFolder / ( stems_[0] + ".input.zip" ) ) );
}

TEST_F( Imports, AsynchronousFormRunsSeveralSideBySide )
{
    const Testing::BackendProcess backend;
    constexpr int cCount = 6;
    std::atomic<int> left{ cCount };
    std::promise<void> all;
    for ( int i = 0; i < cCount; ++i )
        fromStep( file( "drive" + std::to_string( i ), sample( "drive.step" ) ),
            [&]( const Result& result )
            {
                EXPECT_EQ( result ? result->objects.at( 0 )->name() : result.error(), "Drive" );
                if ( --left == 0 )
                    all.set_value();
            },
            {} );
    all.get_future().wait();
}

TEST_F( Imports, NamesWithSpacesQuotesAndUnicode )
{
    const Testing::BackendProcess backend;
    EXPECT_EQ( errorOf( file( "it's a \"part\" ü 日本", sample( "bracket.step" ) ) ), "" );
}

TEST_F( Imports, TellWhatIsWrongWithAFile )
{
    const Testing::BackendProcess backend;
    const auto bracket = sample( "bracket.step" );
    EXPECT_EQ( errorOf( file( "text", "this is a letter" ) ), "This is not a STEP file" );
    EXPECT_EQ( errorOf( file( "half", bracket.substr( 0, bracket.size() / 2 ) ) ),
        "The STEP file is cut off: its end is missing" );
    EXPECT_EQ( errorOf( file( "noSolids",
                   "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
                   "FILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\nENDSEC;\nDATA;\n#1=CARTESIAN_POINT('',(0.,0.,0.));\nENDSEC;"
                   "\nEND-ISO-10303-21;\n" ) ),
        "The STEP file holds no solids or surfaces" );
    EXPECT_EQ(
        errorOf( folder_.write( "part.doc", "x" ) ), "Files of type \"doc\" cannot be converted; STEP files can" );
    EXPECT_EQ(
        errorOf( folder_.write( "part", "x" ) ), "The file has no extension; name it .step or .stp and try again" );
}

TEST_F( Imports, DamagedFilesHarmNoLaterOne )
{
    Testing::BackendProcess backend;
    for ( unsigned seed = 1; seed <= 8; ++seed )
    {
        const auto result =
            fromStep( file( "broken" + std::to_string( seed ), broken( sample( "bracket.step" ), seed ) ) );
        EXPECT_TRUE( result || !result.error().empty() );
    }
    EXPECT_TRUE( backend.isRunning() );
    EXPECT_EQ( errorOf( file( "after", sample( "bracket.step" ) ) ), "" );
}

TEST_F( Imports, WorkerOutOfItsMemoryIsReportedAndTheServiceLives )
{
    if ( cHasSanitizer )
        GTEST_SKIP() << "a sanitizer needs all of it";
    Testing::BackendProcess backend( { "--allow-anonymous", "--worker-memory", "300" } );
    std::string huge = sample( "drive.step" );
    const auto end = huge.rfind( "ENDSEC;" );
    std::string filler;
    for ( int i = 0; i < 500'000; ++i )
        filler += "#" + std::to_string( 1'000'000 + i ) + "=CARTESIAN_POINT('',(0.,1.,2.));\n";
    huge.insert( end, filler );
    EXPECT_EQ( errorOf( file( "huge", huge ) ), "The file needs more memory than a conversion may use" );
    EXPECT_TRUE( backend.isRunning() );
    EXPECT_EQ( errorOf( file( "after", sample( "bracket.step" ) ) ), "" );
}

TEST_F( Imports, ArchiveThatUnpacksToTooMuchIsRefused )
{
    Testing::BackendProcess backend( { "--allow-anonymous", "--max-upload", "4" } );
    EXPECT_EQ( errorOf( file( "bomb", "ISO-10303-21;" + std::string( 20 << 20, ' ' ) ) ),
        "The archive unpacks to more than 4 MB" );
    EXPECT_EQ( errorOf( file( "after", sample( "bracket.step" ) ) ), "" );
}

TEST_F( Imports, CanceledInTheMiddleOfTheUploadLeaveNothingOfItInTheBackEnd )
{
    const Testing::BackendProcess backend;
    const auto large = folder_.write( "large.zip", "" );
    std::filesystem::resize_file( large, 256 << 20 );
    const auto context =
        V2::RequestConvertContextResult::parseResponse( WebRequestFuture( V2::requestConvertContext( "step" ) ).get() )
            .value();
    float reached = 0;
    const auto untilUnderWay = [&]( float fraction )
    {
        reached = fraction;
        return fraction == 0;
    };
    const auto sent =
        S3::parseResponse( WebRequestFuture( S3::uploadWithPresignedUrl( context.url, large, untilUnderWay ) ).get() );
    ASSERT_FALSE( sent );
    EXPECT_EQ( sent.error(), "Connection error" ) << "a transfer that was stopped looks like one that broke off";
    EXPECT_LT( reached, 1 ) << "the upload was still under way";
    const auto kept = [&] { return objectsIn( backend.data() ); };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
    while ( kept() != 0 && std::chrono::steady_clock::now() < deadline )
        std::this_thread::yield();
    EXPECT_EQ( kept(), 0u );
    EXPECT_EQ( errorOf( file( "after", sample( "bracket.step" ) ) ), "" );
}

TEST_F( Imports, CanceledWhenTheDownloadHasBegunLeaveNoResult )
{
    const Testing::BackendProcess backend;
    int calls = 0;
    const auto untilDownload = [&]( float fraction ) { return fraction < 0.5f || ++calls == 1; };
    const auto result = fromStep( file( "canceled-download", sample( "drive.step" ) ), untilDownload );
    ASSERT_FALSE( result );
    // The small file may have come before anybody asked whether to go on; then it stays, as after a success.
    const bool isThere = std::filesystem::exists( cWorkingFolder / ( stems_[0] + ".vxu" ) );
    EXPECT_EQ( result.error(), isThere ? cOperationCanceled : "Connection error" );
    EXPECT_EQ( errorOf( file( "after", sample( "bracket.step" ) ) ), "" );
}

TEST_F( Imports, AJobCutOffByACrashOfTheServiceIsRunAgain )
{
    Testing::BackendProcess backend;
    const auto zip = folder_.path() / "in.zip";
    Testing::ScratchFolder content;
    content.write( "input", sample( "drive.step" ) );
    ASSERT_TRUE( compressZip( zip, content.path() ) );
    const auto context =
        V2::RequestConvertContextResult::parseResponse( WebRequestFuture( V2::requestConvertContext( "step" ) ).get() )
            .value();
    ASSERT_TRUE( S3::parseResponse( WebRequestFuture( S3::uploadWithPresignedUrl( context.url, zip, {} ) ).get() ) );
    ASSERT_TRUE( V2::StartConvertResult::parseResponse(
        WebRequestFuture( V2::startConvert( context.requestId, "step", "vxu" ) ).get() ) );
    backend.restart();
    for ( ;; )
    {
        const auto status = V2::CheckConvertStatusResult::parseResponse(
            WebRequestFuture( V2::checkConvertStatus( context.requestId ) ).get() );
        ASSERT_TRUE( status ) << status.error();
        if ( status->state == V2::CheckConvertStatusResult::State::Finished )
            break;
    }
}

TEST_F( Imports, NeedASignInUnlessAllowed )
{
    const Testing::BackendProcess backend( std::vector<std::string>{} );
    EXPECT_EQ( errorOf( file( "anonymous", sample( "bracket.step" ) ) ), "Sign in to convert files" );
}

TEST_F( Imports, LeaveNothingBehindInTheBackEnd )
{
    const Testing::BackendProcess backend;
    EXPECT_EQ( errorOf( file( "clean", sample( "bracket.step" ) ) ), "" );
    // The upload goes after the result was announced, so that a crash in between never loses both.
    const auto kept = [&] { return objectsIn( backend.data() ); };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
    while ( kept() != 1 && std::chrono::steady_clock::now() < deadline )
        std::this_thread::yield();
    EXPECT_EQ( kept(), 1u ) << "the result";
}
