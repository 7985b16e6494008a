#include <VXOrvanta/converter/ConverterService.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/converter/ImportContext.h>
#include <VXOrvanta/converter/S3.h>
#include <VXOrvanta/deferred/StateMachineExecutor.h>

#include <spdlog/spdlog.h>

#include <chrono>
#include <thread>

namespace VX::ConverterService
{
namespace
{

constexpr auto cPollInterval = std::chrono::seconds( 1 );

/// One import as a resumable state machine: each step that needs an answer sends its request, and the answer resumes
/// the machine at the next step.
class AsyncLoader
{
public:
    AsyncLoader( const std::filesystem::path& path, ImportCallback callback, const ProgressCallback& progress )
        : inputPath_( path )
        , callback_( std::move( callback ) )
        , progress_( progress )
    {
    }

    static std::shared_ptr<ResumableStateMachine> makeStateMachine( const std::shared_ptr<AsyncLoader>& loader )
    {
        const auto step = [&loader]( int ( AsyncLoader::*run )( const Continuation& ) )
        { return [loader, run]( const Continuation& resume ) { return ( *loader.*run )( resume ); }; };
        loader->self_ = loader;
        return std::make_shared<ResumableStateMachine>(
            std::unordered_map<int, ResumableStateMachine::Step>{
                { RequestContext, step( &AsyncLoader::requestContext_ ) },
                { UploadPayload, step( &AsyncLoader::uploadPayload_ ) },
                { StartConversion, step( &AsyncLoader::startConversion_ ) },
                { ConversionStarted, step( &AsyncLoader::conversionStarted_ ) },
                { PollStatus, step( &AsyncLoader::pollStatus_ ) },
                { HandleStatus, step( &AsyncLoader::handleStatus_ ) },
                { LoadResult, step( &AsyncLoader::loadResult_ ) },
            },
            RequestContext, Waiting, Done );
    }

private:
    using Continuation = ResumableStateMachine::Continuation;

    enum State : int
    {
        RequestContext = 0,
        UploadPayload = 1,
        StartConversion = 2,
        ConversionStarted = 3,
        PollStatus = 4,
        HandleStatus = 5,
        LoadResult = 6,
        Waiting = 7,
        Done = 8,
    };

    int requestContext_( const Continuation& resume )
    {
        context_ = Context::fromFilePath( inputPath_, progress_ );
        if ( context_.inputFormat == context_.outputFormat )
            return fail_( "Input and output formats are equal" );
        if ( std::error_code ec; std::filesystem::exists( context_.outputPath, ec ) )
            return deliver_( loadObjectFromFile( context_.outputPath, progress_ ) );
        spdlog::info( "STEP loader: connecting to the converter service" );
        return fetch_( V2::requestConvertContext( context_.inputFormat ), UploadPayload, resume );
    }

    int uploadPayload_( const Continuation& resume )
    {
        auto answer = V2::RequestConvertContextResult::parseResponse( lastResponse_ );
        if ( !answer )
            return fail_( std::move( answer.error() ) );
        if ( auto goOn = checkCanceled( progress_, 0.f ); !goOn )
            return fail_( std::move( goOn.error() ) );
        context_.requestId = std::move( answer->requestId );
        context_.uploadUrl = std::move( answer->url );
        if ( auto packed = packInput( context_ ); !packed )
            return fail_( std::move( packed.error() ) );
        spdlog::info( "STEP loader: uploading the file to the converter service" );
        return fetch_(
            S3::uploadWithPresignedUrl( context_.uploadUrl, context_.payloadPath, {} ), StartConversion, resume );
    }

    int startConversion_( const Continuation& resume )
    {
        if ( auto sent = S3::parseResponse( lastResponse_ ); !sent )
            return fail_( std::move( sent.error() ) );
        if ( auto goOn = checkCanceled( progress_, 0.25f ); !goOn )
            return fail_( std::move( goOn.error() ) );
        if ( auto removed = removePayload( context_ ); !removed )
            return fail_( std::move( removed.error() ) );
        spdlog::info( "STEP loader: waiting for the converter process to finish" );
        return fetch_( V2::startConvert( context_.requestId, context_.inputFormat, context_.outputFormat ),
            ConversionStarted, resume );
    }

    int conversionStarted_( const Continuation& )
    {
        if ( auto started = V2::StartConvertResult::parseResponse( lastResponse_ ); !started )
            return fail_( std::move( started.error() ) );
        if ( auto goOn = checkCanceled( progress_, 0.25f ); !goOn )
            return fail_( std::move( goOn.error() ) );
        return PollStatus;
    }

    int pollStatus_( const Continuation& resume )
    {
        return fetch_( V2::checkConvertStatus( context_.requestId ), HandleStatus, resume );
    }

    int handleStatus_( const Continuation& resume )
    {
        auto status = V2::CheckConvertStatusResult::parseResponse( lastResponse_ );
        if ( !status )
            return fail_( std::move( status.error() ) );
        const bool finished = status->state == V2::CheckConvertStatusResult::State::Finished;
        if ( auto goOn = checkCanceled( progress_, finished ? 0.5f : 0.25f ); !goOn )
            return fail_( std::move( goOn.error() ) );
        if ( !finished )
        {
            std::this_thread::sleep_for( cPollInterval );
            return PollStatus;
        }
        spdlog::info( "STEP loader: downloading the converted file" );
        return fetch_( S3::downloadWithPresignedUrl( *status->url, context_.outputPath, {} ), LoadResult, resume );
    }

    int loadResult_( const Continuation& )
    {
        if ( auto received = S3::parseResponse( lastResponse_ ); !received )
            return fail_( std::move( received.error() ) );
        if ( auto goOn = checkCanceled( progress_, 0.75f ); !goOn )
            return fail_( std::move( goOn.error() ) );
        spdlog::info( "STEP loader: processing the file" );
        return deliver_( loadObjectFromFile( context_.outputPath, subprogress( progress_, 0.75f, 1.f ) ) );
    }

    int fetch_( WebRequest request, int next, const Continuation& resume )
    {
        request.send(
            [loader = self_.lock(), next, resume]( const Json::Value& response )
            {
                loader->lastResponse_ = response;
                resume( next );
            } );
        return Waiting;
    }

    int deliver_( tl::expected<LoadedObjects, std::string> result )
    {
        callback_( std::move( result ) );
        return Done;
    }

    int fail_( std::string text )
    {
        error_( text );
        return Done;
    }

    void error_( std::string& text ) { callback_( tl::unexpected( std::move( text ) ) ); }

    std::filesystem::path inputPath_;
    ImportCallback callback_;
    ProgressCallback progress_;
    Context context_;
    Json::Value lastResponse_;
    std::weak_ptr<AsyncLoader> self_;
};

} // namespace

void fromStep( const std::filesystem::path& path, ImportCallback callback, const ProgressCallback& progress )
{
    const auto loader = std::make_shared<AsyncLoader>( path, std::move( callback ), progress );
    StateMachineExecutor::addStateMachine( AsyncLoader::makeStateMachine( loader ) );
}

} // namespace VX::ConverterService
