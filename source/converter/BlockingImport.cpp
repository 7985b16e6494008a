#include <VXOrvanta/converter/ConverterService.h>

#include <VXOrvanta/converter/Fetch.h>
#include <VXOrvanta/converter/ImportSteps.h>
#include <VXViewer/work/ProgressBar.h>

#include <thread>

namespace VX::ConverterService
{
namespace
{

/// Gives the progress bar its own stage back, however the import ends.
class TaskNameReset
{
public:
    TaskNameReset() = default;
    TaskNameReset( const TaskNameReset& ) = delete;
    TaskNameReset& operator=( const TaskNameReset& ) = delete;
    ~TaskNameReset() { ProgressBar::resetTaskName(); }
};

/// Asks until the conversion has finished; returns the request for its result.
ImportSteps::Next waitUntilFinished( const ImportSteps& steps, const Json::Value& startResponse )
{
    auto goOn = steps.conversionStarted( startResponse );
    while ( goOn )
    {
        auto next = fetch( steps.pollStatus() )
                        .and_then( [&]( const Json::Value& response ) { return steps.handleStatus( response ); } );
        if ( !next )
            return tl::unexpected( std::move( next.error() ) );
        if ( *next )
            return std::move( **next );
        std::this_thread::sleep_for( cPollInterval );
        goOn = steps.goOn();
    }
    return tl::unexpected( std::move( goOn.error() ) );
}

ImportSteps::Result importThroughService( ImportSteps& steps )
{
    const TaskNameReset reset;
    return fetch( steps.requestContext() )
        .and_then( [&]( const Json::Value& response ) { return steps.uploadPayload( response ); } )
        .and_then( &fetch )
        .and_then( [&]( const Json::Value& response ) { return steps.startConversion( response ); } )
        .and_then( &fetch )
        .and_then( [&]( const Json::Value& response ) { return waitUntilFinished( steps, response ); } )
        .and_then( &fetch )
        .and_then( [&]( const Json::Value& response ) { return steps.loadResult( response ); } );
}

} // namespace

tl::expected<LoadedObjects, std::string> fromStep( const std::filesystem::path& path, const ProgressCallback& progress )
{
    ImportSteps steps( path, progress, { .stage = &ProgressBar::forceSetTaskName, .transfersReport = true } );
    if ( auto result = steps.withoutService() )
        return std::move( *result );
    return importThroughService( steps );
}

} // namespace VX::ConverterService
