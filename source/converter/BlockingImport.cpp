#include <VXOrvanta/converter/ConverterService.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/converter/Fetch.h>
#include <VXOrvanta/converter/ImportContext.h>
#include <VXOrvanta/converter/S3.h>
#include <VXViewer/work/ProgressBar.h>

#include <spdlog/spdlog.h>

#include <chrono>
#include <thread>

namespace VX::ConverterService
{
namespace
{

using Step = tl::expected<void, std::string>;

constexpr auto cPollInterval = std::chrono::seconds( 1 );

/// Gives the progress bar its own stage back, however the import ends.
class TaskNameReset
{
public:
    TaskNameReset() = default;
    TaskNameReset( const TaskNameReset& ) = delete;
    TaskNameReset& operator=( const TaskNameReset& ) = delete;
    ~TaskNameReset() { ProgressBar::resetTaskName(); }
};

Step connect( Context& context )
{
    spdlog::info( "STEP loader: connecting to the converter service" );
    ProgressBar::forceSetTaskName( "Connecting to the converter service" );
    auto answer = fetch( V2::requestConvertContext( context.inputFormat ) )
                      .and_then( &V2::RequestConvertContextResult::parseResponse );
    if ( !answer )
        return tl::unexpected( answer.error() );
    if ( auto goOn = checkCanceled( context.progress, 0.f ); !goOn )
        return goOn;
    context.requestId = std::move( answer->requestId );
    context.uploadUrl = std::move( answer->url );
    return {};
}

Step upload( const Context& context )
{
    ProgressBar::forceSetTaskName( "Uploading the file to the converter service" );
    if ( auto packed = packInput( context ); !packed )
        return packed;
    spdlog::info( "STEP loader: uploading the file to the converter service" );
    auto sent = fetch( S3::uploadWithPresignedUrl(
                           context.uploadUrl, context.payloadPath, subprogress( context.progress, 0.f, 0.25f ) ) )
                    .and_then( &S3::parseResponse );
    if ( !sent )
        return sent;
    if ( auto goOn = checkCanceled( context.progress, 0.25f ); !goOn )
        return goOn;
    return removePayload( context );
}

/// Asks until the conversion has finished; returns the URL of the result.
tl::expected<std::string, std::string> waitUntilFinished( const Context& context )
{
    using Status = V2::CheckConvertStatusResult;
    ProgressBar::forceSetTaskName( "Converting the file" );
    for ( ;; )
    {
        if ( auto goOn = checkCanceled( context.progress, 0.25f ); !goOn )
            return tl::unexpected( goOn.error() );
        const auto status = fetch( V2::checkConvertStatus( context.requestId ) ).and_then( &Status::parseResponse );
        if ( !status )
            return tl::unexpected( status.error() );
        if ( status->state == Status::State::Finished )
            return *status->url;
        std::this_thread::sleep_for( cPollInterval );
    }
}

tl::expected<std::string, std::string> convert( const Context& context )
{
    spdlog::info( "STEP loader: waiting for the converter process to finish" );
    ProgressBar::forceSetTaskName( "Converting the file" );
    const auto started = fetch( V2::startConvert( context.requestId, context.inputFormat, context.outputFormat ) )
                             .and_then( &V2::StartConvertResult::parseResponse );
    if ( !started )
        return tl::unexpected( started.error() );
    auto url = waitUntilFinished( context );
    if ( !url )
        return url;
    if ( auto goOn = checkCanceled( context.progress, 0.5f ); !goOn )
        return tl::unexpected( goOn.error() );
    return url;
}

Step download( const Context& context, const std::string& url )
{
    spdlog::info( "STEP loader: downloading the converted file" );
    ProgressBar::forceSetTaskName( "Downloading the converted file" );
    auto received =
        fetch( S3::downloadWithPresignedUrl( url, context.outputPath, subprogress( context.progress, 0.5f, 0.75f ) ) )
            .and_then( &S3::parseResponse );
    if ( !received )
        return received;
    return checkCanceled( context.progress, 0.75f );
}

tl::expected<LoadedObjects, std::string> importThroughService( Context& context )
{
    const TaskNameReset reset;
    if ( auto connected = connect( context ); !connected )
        return tl::unexpected( connected.error() );
    if ( auto uploaded = upload( context ); !uploaded )
        return tl::unexpected( uploaded.error() );
    const auto url = convert( context );
    if ( !url )
        return tl::unexpected( url.error() );
    if ( auto downloaded = download( context, *url ); !downloaded )
        return tl::unexpected( downloaded.error() );
    spdlog::info( "STEP loader: processing the file" );
    ProgressBar::forceSetTaskName( "Processing the file" );
    return loadObjectFromFile( context.outputPath, subprogress( context.progress, 0.75f, 1.f ) );
}

} // namespace

tl::expected<LoadedObjects, std::string> fromStep( const std::filesystem::path& path, const ProgressCallback& progress )
{
    auto context = Context::fromFilePath( path, progress );
    if ( context.inputFormat == context.outputFormat )
        return tl::unexpected( std::string( "Input and output formats are equal" ) );
    // The converted file answers for every later file of the same name.
    if ( std::error_code ec; std::filesystem::exists( context.outputPath, ec ) )
        return loadObjectFromFile( context.outputPath, progress );
    return importThroughService( context );
}

} // namespace VX::ConverterService
