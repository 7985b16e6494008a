#include "support/LogCapture.h"
#include "support/service/ImportFixture.h"

#include <VXOrvanta/converter/ConverterService.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/work/ProgressBar.h>

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <sstream>

using namespace VX;

namespace
{

using Lines = std::vector<std::string>;

/// An import as the job of a progress bar, which notes in the log what the bar shows at each request.
class ImportStages : public Testing::ImportFixture
{
protected:
    void SetUp() override
    {
        ImportFixture::SetUp();
        CommandLoop::open();
        CommandLoop::processCommands();
        onRequest_ = [this]( const std::string& kind ) { note( kind ); };
    }
    void TearDown() override
    {
        EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 10 ) ) );
        ImportFixture::TearDown();
    }
    /// What the bar shows now, asked for on the thread that may know.
    void note( const std::string& event ) const
    {
        std::promise<std::string> task;
        CommandLoop::appendCommand( [&] { task.set_value( ProgressBar::state()->task ); } );
        spdlog::info( "{} under \"{}\"", event, task.get_future().get() );
    }
    /// Runs an import, called "own stage" before it begins, and tells what was logged at level info.
    template <typename Import>
    Lines linesOf( const Import& import ) const
    {
        const Testing::LogCapture log;
        EXPECT_TRUE( ProgressBar::order( "job",
            [&]
            {
                ProgressBar::forceSetTaskName( "own stage" );
                import();
                note( "end" );
            } ) );
        while ( ProgressBar::isOrdered() )
            CommandLoop::processCommands();
        std::istringstream all( log.text() );
        Lines out;
        for ( std::string line; std::getline( all, line ); )
            if ( line.starts_with( "info: " ) )
                out.push_back( line.substr( 6 ) );
        return out;
    }
    Lines blocking( const ProgressCallback& progress = {} ) const
    {
        return linesOf( [&] { (void)ConverterService::fromStep( file_, progress ); } );
    }
};

std::string last( const Lines& lines )
{
    return lines.empty() ? "" : lines.back();
}

} // namespace

TEST_F( ImportStages, AreNamedAndLoggedInTheirOrder )
{
    scriptSuccess();
    bool loading = false;
    const auto lines = blocking(
        [&]( float fraction )
        {
            if ( fraction > 0.75f && !std::exchange( loading, true ) )
                note( "load" );
            return true;
        } );
    EXPECT_EQ( lines,
        ( Lines{ "STEP loader: connecting to the converter service",
            "request under \"Connecting to the converter service\"", "STEP loader: creating a temporary directory",
            "STEP loader: copying the file to the temporary directory", "STEP loader: compressing the file",
            "STEP loader: removing the temporary copy", "STEP loader: uploading the file to the converter service",
            "upload under \"Uploading the file to the converter service\"",
            "STEP loader: removing the temporary payload file",
            "STEP loader: waiting for the converter process to finish", "convert under \"Converting the file\"",
            "status under \"Converting the file\"", "STEP loader: downloading the converted file",
            "download under \"Downloading the converted file\"", "STEP loader: processing the file",
            "load under \"Processing the file\"", "end under \"\"" } ) );
}

TEST_F( ImportStages, AConversionThatHasStartedIsNamedAnew )
{
    scriptSuccess();
    onRequest_ = [this]( const std::string& kind )
    {
        if ( kind == "convert" )
            ProgressBar::forceSetTaskName( "somebody else's stage" );
        note( kind );
    };
    const auto lines = blocking();
    const auto has = [&]( const char* line ) { return std::find( lines.begin(), lines.end(), line ) != lines.end(); };
    EXPECT_TRUE( has( "convert under \"somebody else's stage\"" ) );
    EXPECT_TRUE( has( "status under \"Converting the file\"" ) );
}

TEST_F( ImportStages, AFolderThatIsThereIsNotMadeAgain )
{
    scriptSuccess();
    std::filesystem::create_directory( temporaryDir() );
    for ( const auto& line : blocking() )
        EXPECT_NE( line, "STEP loader: creating a temporary directory" );
}

TEST_F( ImportStages, TheNameIsTakenBackAfterEveryFailure )
{
    for ( const char* call : { "request", "upload", "convert", "status", "download" } )
    {
        TearDown();
        SetUp();
        script( call, ScriptedTransport::response( 0, "", "cut" ) );
        scriptSuccess();
        EXPECT_EQ( last( blocking() ), "end under \"\"" ) << call;
        EXPECT_EQ( calls().back(), call );
    }
}

TEST_F( ImportStages, TheNameIsTakenBackAfterACancel )
{
    for ( const float limit : { 0.f, 0.25f, 0.5f, 0.75f } )
    {
        TearDown();
        SetUp();
        scriptSuccess();
        EXPECT_EQ( last( blocking( [limit]( float fraction ) { return fraction < limit; } ) ), "end under \"\"" );
    }
}

TEST_F( ImportStages, WithoutAConversionNoNameIsSetOrTakenBack )
{
    file_ = folder_.write( "scene.vxu", "x" );
    EXPECT_EQ( blocking(), Lines{ "end under \"own stage\"" } );
    file_ = folder_.write( name_ + ".step", "x" );
    std::ofstream( outputFile() ) << "no scene";
    EXPECT_EQ( blocking(), Lines{ "end under \"own stage\"" } );
}

TEST_F( ImportStages, TheAsynchronousFormLogsTheSameAndNamesNothing )
{
    scriptSuccess();
    Lines shown;
    const auto lines = linesOf(
        [&]
        {
            std::promise<void> done;
            ConverterService::fromStep( file_,
                [&]( const Result& result )
                {
                    EXPECT_TRUE( result );
                    done.set_value();
                },
                {} );
            done.get_future().wait();
        } );
    EXPECT_EQ( lines,
        ( Lines{ "STEP loader: connecting to the converter service", "request under \"own stage\"",
            "STEP loader: creating a temporary directory", "STEP loader: copying the file to the temporary directory",
            "STEP loader: compressing the file", "STEP loader: removing the temporary copy",
            "STEP loader: uploading the file to the converter service", "upload under \"own stage\"",
            "STEP loader: removing the temporary payload file",
            "STEP loader: waiting for the converter process to finish", "convert under \"own stage\"",
            "status under \"own stage\"", "STEP loader: downloading the converted file", "download under \"own stage\"",
            "STEP loader: processing the file", "end under \"own stage\"" } ) );
}

TEST_F( ImportStages, TransfersReportTheirShareOfTheWhole )
{
    scriptSuccess();
    onRequest_ = {}; // there is no bar to note
    std::vector<float> seen;
    bool goOn = true;
    ASSERT_TRUE( ConverterService::fromStep( file_,
        [&]( float fraction )
        {
            seen.push_back( fraction );
            return goOn;
        } ) );
    for ( size_t i = 5; i < seen.size(); ++i )
        EXPECT_GE( seen[i], 0.75f ) << "of loading";
    seen.clear();
    const auto sent = transport_->sent();
    for ( const float fraction : { 0.f, 0.5f, 1.f } )
    {
        EXPECT_TRUE( sent.at( 1 ).uploadProgress( fraction ) );
        EXPECT_TRUE( sent.at( 4 ).downloadProgress( fraction ) );
    }
    EXPECT_EQ( seen, ( std::vector<float>{ 0, 0.5f, 0.125f, 0.625f, 0.25f, 0.75f } ) );
    goOn = false;
    EXPECT_FALSE( sent.at( 1 ).uploadProgress( 0.5f ) ) << "a cancel stops the transfer";
    EXPECT_FALSE( sent.at( 4 ).downloadProgress( 0.5f ) );
}
