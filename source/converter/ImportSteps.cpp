#include <VXOrvanta/converter/ImportSteps.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/converter/S3.h>

#include <spdlog/spdlog.h>

#include <utility>

namespace VX::ConverterService
{

ImportSteps::ImportSteps( const std::filesystem::path& path, const ProgressCallback& progress, Manner manner )
    : context_( Context::fromFilePath( path, progress ) )
    , manner_( std::move( manner ) )
{
}

void ImportSteps::stage_( const char* text ) const
{
    if ( manner_.stage )
        manner_.stage( text );
}

ProgressCallback ImportSteps::transferProgress_( float from, float to ) const
{
    return manner_.transfersReport ? subprogress( context_.progress, from, to ) : ProgressCallback();
}

std::optional<ImportSteps::Result> ImportSteps::withoutService() const
{
    if ( context_.inputFormat == context_.outputFormat )
        return tl::unexpected( std::string( "Input and output formats are equal" ) );
    // The converted file answers for every later file of the same name.
    if ( std::error_code ec; std::filesystem::exists( context_.outputPath, ec ) )
        return loadObjectFromFile( context_.outputPath, context_.progress );
    return {};
}

WebRequest ImportSteps::requestContext() const
{
    spdlog::info( "STEP loader: connecting to the converter service" );
    stage_( "Connecting to the converter service" );
    return V2::requestConvertContext( context_.inputFormat );
}

ImportSteps::Next ImportSteps::uploadPayload( const Json::Value& contextResponse )
{
    auto answer = V2::RequestConvertContextResult::parseResponse( contextResponse );
    if ( !answer )
        return tl::unexpected( std::move( answer.error() ) );
    if ( auto goOn = checkCanceled( context_.progress, 0.f ); !goOn )
        return tl::unexpected( std::move( goOn.error() ) );
    context_.requestId = std::move( answer->requestId );
    context_.uploadUrl = std::move( answer->url );
    stage_( "Uploading the file to the converter service" );
    if ( auto packed = packInput( context_ ); !packed )
        return tl::unexpected( std::move( packed.error() ) );
    spdlog::info( "STEP loader: uploading the file to the converter service" );
    return S3::uploadWithPresignedUrl( context_.uploadUrl, context_.payloadPath, transferProgress_( 0.f, 0.25f ) );
}

ImportSteps::Next ImportSteps::startConversion( const Json::Value& uploadResponse ) const
{
    if ( auto sent = S3::parseResponse( uploadResponse ); !sent )
        return tl::unexpected( std::move( sent.error() ) );
    if ( auto goOn = checkCanceled( context_.progress, 0.25f ); !goOn )
        return tl::unexpected( std::move( goOn.error() ) );
    if ( auto removed = removePayload( context_ ); !removed )
        return tl::unexpected( std::move( removed.error() ) );
    spdlog::info( "STEP loader: waiting for the converter process to finish" );
    stage_( "Converting the file" );
    return V2::startConvert( context_.requestId, context_.inputFormat, context_.outputFormat );
}

tl::expected<void, std::string> ImportSteps::conversionStarted( const Json::Value& startResponse ) const
{
    if ( auto started = V2::StartConvertResult::parseResponse( startResponse ); !started )
        return tl::unexpected( std::move( started.error() ) );
    stage_( "Converting the file" );
    return goOn();
}

WebRequest ImportSteps::pollStatus() const
{
    return V2::checkConvertStatus( context_.requestId );
}

tl::expected<std::optional<WebRequest>, std::string> ImportSteps::handleStatus(
    const Json::Value& statusResponse ) const
{
    using Status = V2::CheckConvertStatusResult;
    auto status = Status::parseResponse( statusResponse );
    if ( !status )
        return tl::unexpected( std::move( status.error() ) );
    if ( status->state != Status::State::Finished )
        return std::nullopt;
    if ( auto goOn = checkCanceled( context_.progress, 0.5f ); !goOn )
        return tl::unexpected( std::move( goOn.error() ) );
    spdlog::info( "STEP loader: downloading the converted file" );
    stage_( "Downloading the converted file" );
    return S3::downloadWithPresignedUrl( *status->url, context_.outputPath, transferProgress_( 0.5f, 0.75f ) );
}

ImportSteps::Result ImportSteps::loadResult( const Json::Value& downloadResponse ) const
{
    if ( auto received = S3::parseResponse( downloadResponse ); !received )
        return tl::unexpected( std::move( received.error() ) );
    if ( auto goOn = checkCanceled( context_.progress, 0.75f ); !goOn )
        return tl::unexpected( std::move( goOn.error() ) );
    spdlog::info( "STEP loader: processing the file" );
    stage_( "Processing the file" );
    return loadObjectFromFile( context_.outputPath, subprogress( context_.progress, 0.75f, 1.f ) );
}

tl::expected<void, std::string> ImportSteps::goOn() const
{
    return checkCanceled( context_.progress, 0.25f );
}

} // namespace VX::ConverterService
