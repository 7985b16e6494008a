#include <VXOrvanta/converter/ConverterService.h>

#include <VXOrvanta/converter/ImportSteps.h>
#include <VXOrvanta/deferred/StateMachineExecutor.h>

#include <optional>
#include <thread>

namespace VX::ConverterService
{
namespace
{

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
        steps_.emplace( inputPath_, progress_, ImportSteps::Manner{} );
        if ( auto result = steps_->withoutService() )
            return deliver_( std::move( *result ) );
        return fetch_( steps_->requestContext(), UploadPayload, resume );
    }

    int uploadPayload_( const Continuation& resume )
    {
        return fetchNext_( steps_->uploadPayload( lastResponse_ ), StartConversion, resume );
    }

    int startConversion_( const Continuation& resume )
    {
        return fetchNext_( steps_->startConversion( lastResponse_ ), ConversionStarted, resume );
    }

    int conversionStarted_( const Continuation& )
    {
        if ( auto started = steps_->conversionStarted( lastResponse_ ); !started )
            return fail_( std::move( started.error() ) );
        return PollStatus;
    }

    int pollStatus_( const Continuation& resume ) { return fetch_( steps_->pollStatus(), HandleStatus, resume ); }

    int handleStatus_( const Continuation& resume )
    {
        auto download = steps_->handleStatus( lastResponse_ );
        if ( !download )
            return fail_( std::move( download.error() ) );
        if ( *download )
            return fetch_( **download, LoadResult, resume );
        if ( auto goOn = steps_->goOn(); !goOn )
            return fail_( std::move( goOn.error() ) );
        std::this_thread::sleep_for( cPollInterval );
        return PollStatus;
    }

    int loadResult_( const Continuation& ) { return deliver_( steps_->loadResult( lastResponse_ ) ); }

    int fetchNext_( ImportSteps::Next request, int next, const Continuation& resume )
    {
        return request ? fetch_( *request, next, resume ) : fail_( std::move( request.error() ) );
    }

    int fetch_( const WebRequest& request, int next, const Continuation& resume )
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
    std::optional<ImportSteps> steps_;
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
