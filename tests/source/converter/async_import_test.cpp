#include "support/TestMeshes.h"
#include "support/service/ImportFixture.h"

#include <VXOrvanta/converter/ConverterService.h>

#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <thread>

using namespace VX;

namespace
{

class AsyncImport : public Testing::ImportFixture
{
protected:
    using Calls = std::vector<std::string>;

    struct Outcome
    {
        Result result;
        std::thread::id thread;
    };

    Outcome run( const ProgressCallback& progress = {} )
    {
        std::promise<Outcome> promise;
        ConverterService::fromStep(
            file_,
            [&]( Result result )
            {
                ++deliveries_;
                promise.set_value( { std::move( result ), std::this_thread::get_id() } );
            },
            progress );
        return promise.get_future().get();
    }
    std::string errorOf( const ProgressCallback& progress = {} )
    {
        const auto outcome = run( progress );
        return outcome.result ? "" : outcome.result.error();
    }
    void TearDown() override
    {
        ImportFixture::TearDown();
        EXPECT_LE( deliveries_, 1 );
    }

    std::atomic<int> deliveries_{ 0 };
};

} // namespace

TEST_F( AsyncImport, DeliversOnAWorkerThreadWithTheSameCallsAndFiles )
{
    scriptSuccess();
    const auto outcome = run();
    ASSERT_TRUE( outcome.result ) << outcome.result.error();
    EXPECT_NE( outcome.thread, std::this_thread::get_id() );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload", "convert", "status", "download" } ) );
    EXPECT_TRUE( std::filesystem::exists( outputFile() ) );
    EXPECT_TRUE( std::filesystem::is_empty( temporaryDir() ) );
    EXPECT_FALSE( std::filesystem::exists( payloadFile() ) );
}

TEST_F( AsyncImport, TransfersReportNoProgress )
{
    scriptSuccess();
    std::mutex mutex;
    std::vector<float> seen;
    ASSERT_TRUE( run(
        [&]( float f )
        {
            const std::lock_guard lock( mutex );
            seen.push_back( f );
            return true;
        } ).result );
    const auto sent = transport_->sent();
    EXPECT_FALSE( sent[1].uploadProgress );
    EXPECT_FALSE( sent[4].downloadProgress );
    EXPECT_EQ(
        std::vector<float>( seen.begin(), seen.begin() + 5 ), ( std::vector<float>{ 0, 0.25f, 0.25f, 0.5f, 0.75f } ) );
    EXPECT_EQ( seen.back(), 1 );
}

TEST_F( AsyncImport, EqualFormatsAreDeliveredDuringTheCall )
{
    file_ = folder_.write( "scene.vxu", "x" );
    const auto outcome = run();
    EXPECT_EQ( outcome.result.error(), "Input and output formats are equal" );
    EXPECT_EQ( outcome.thread, std::this_thread::get_id() );
    EXPECT_TRUE( calls().empty() );
}

TEST_F( AsyncImport, AnExistingResultIsDeliveredDuringTheCall )
{
    std::ofstream( outputFile(), std::ios::binary ) << Testing::cubeFile();
    const auto outcome = run();
    ASSERT_TRUE( outcome.result );
    EXPECT_EQ( outcome.thread, std::this_thread::get_id() );
    EXPECT_TRUE( calls().empty() );
}

TEST_F( AsyncImport, CancelAfterTheContextCopiesNothing )
{
    scriptSuccess();
    EXPECT_EQ( errorOf( []( float ) { return false; } ), "Operation was canceled" );
    EXPECT_EQ( calls(), ( Calls{ "request" } ) );
    EXPECT_FALSE( std::filesystem::exists( temporaryDir() ) );
}

TEST_F( AsyncImport, CancelAtEachLaterBound )
{
    const std::vector<std::pair<float, std::string>> stops = {
        { 0.25f, "upload" }, { 0.5f, "status" }, { 0.75f, "download" } };
    for ( const auto& [limit, last] : stops )
    {
        TearDown();
        deliveries_ = 0;
        SetUp();
        scriptSuccess();
        EXPECT_EQ( errorOf( [limit = limit]( float f ) { return f < limit; } ), "Operation was canceled" );
        EXPECT_EQ( calls().back(), last );
    }
}

TEST_F( AsyncImport, AnUnknownStateEndsItEvenAfterGoodPolls )
{
    script( "status", result( R"({"state": "not_started"})" ) );
    script( "status", result( R"({"state": "in_progress"})" ) );
    script( "status", result( R"({"state": "lost"})" ) );
    scriptSuccess();
    EXPECT_EQ( errorOf(), "Unknown state: lost" );
    EXPECT_EQ( calls(), ( Calls{ "request", "upload", "convert", "status", "status", "status" } ) );
}

TEST_F( AsyncImport, DeliversTheTextOfEveryCallOnce )
{
    const std::vector<std::pair<std::string, std::string>> failures = { { "request", "Connection error" },
        { "upload", "Connection error" }, { "convert", "Connection error" }, { "status", "Connection error" },
        { "download", "Connection error" } };
    for ( const auto& [call, text] : failures )
    {
        TearDown();
        deliveries_ = 0;
        SetUp();
        script( call, ScriptedTransport::response( 0, "", "cut" ) );
        scriptSuccess();
        EXPECT_EQ( errorOf(), text );
        EXPECT_EQ( calls().back(), call );
    }
}

TEST_F( AsyncImport, ReportsFileOperationsByTheirCode )
{
    scriptSuccess();
    std::filesystem::remove( file_ );
    EXPECT_EQ( errorOf(), "errno 2" );
}

TEST_F( AsyncImport, ManyRunSideBySideAndNoneIsLost )
{
    constexpr int cCount = 40;
    std::atomic<int> done{ 0 };
    std::promise<void> all;
    std::vector<std::filesystem::path> outputs;
    for ( int i = 0; i < cCount; ++i )
    {
        script(
            "request", result( R"({"request_id": "id-)" + name_ + "-" + std::to_string( i ) + R"(", "url": "u"})" ) );
        script( "upload", ok( "" ) );
        script( "convert", result( "{}" ) );
        script( "status", result( R"({"state": "finished", "url": "d"})" ) );
        auto download = ok( "" );
        download["file"] = Testing::cubeFile();
        script( "download", download );
    }
    for ( int i = 0; i < cCount; ++i )
    {
        const auto stem = name_ + "-" + std::to_string( i );
        const auto file = folder_.write( stem + ".step", "x" );
        outputs.push_back( outputFile().parent_path() / ( stem + ".vxu" ) );
        ConverterService::fromStep( file,
            [&]( const Result& result )
            {
                EXPECT_TRUE( result ) << result.error();
                if ( ++done == cCount )
                    all.set_value();
            },
            {} );
    }
    all.get_future().wait();
    EXPECT_EQ( done, cCount );
    for ( int i = 0; i < cCount; ++i )
    {
        std::filesystem::remove( outputs[size_t( i )] );
        std::filesystem::remove_all( outputFile().parent_path() / ( "id-" + name_ + "-" + std::to_string( i ) ) );
    }
}
