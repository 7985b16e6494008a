#include "serve/Workers.h"

#include "converter/WorkerTrial.h"

#include <algorithm>

namespace VX::Backend
{
namespace
{

WorkerSetup workerSetup( const ServiceOptions& options )
{
    WorkerSetup out;
    out.limits = options.worker;
    out.inBubblewrap = !options.withoutSandbox;
    out.program = options.converter;
    return out;
}

RunnerOptions runnerOptions( const ServiceOptions& options )
{
    RunnerOptions out;
    out.slots = options.slots;
    out.worker = workerSetup( options );
    out.keep = options.keep;
    out.tidy = std::min( out.tidy, options.choresEvery );
    out.reserve = options.maxStored / 4;
    return out;
}

} // namespace

JobLimits jobLimits( const ServiceOptions& options )
{
    JobLimits out;
    out.bytes = std::max( options.maxUpload, options.maxStored / 2 );
    return out;
}

Workers::Workers( const ServiceOptions& options, ConversionJobs& jobs, ObjectStore& store )
    : jobs_( jobs )
    , store_( store )
    , options_( runnerOptions( options ) )
{
}

tl::expected<std::unique_ptr<Workers>, std::string> Workers::prepare(
    const ServiceOptions& options, ConversionJobs& jobs, ObjectStore& store )
{
    std::unique_ptr<Workers> out( new Workers( options, jobs, store ) );
    if ( options.slots == 0 )
        return out;
    auto folder = WorkFolder::make( options.data / "work", jobs.instance() );
    if ( !folder )
        return tl::unexpected( folder.error() );
    auto tried = WorkerTrial( ( *folder )->path(), out->options_.worker ).end();
    if ( !tried )
        return tl::unexpected( tried.error() );
    out->folder_ = std::move( *folder );
    out->first_ = std::move( *tried );
    return out;
}

void Workers::begin()
{
    if ( folder_ )
        runner_ =
            std::make_unique<ConversionRunner>( jobs_, store_, std::move( folder_ ), options_, std::move( first_ ) );
}

void Workers::drain()
{
    if ( runner_ )
        runner_->drain();
}

bool Workers::isDrained() const
{
    return !runner_ || runner_->isDrained();
}

bool Workers::hasWorker() const
{
    return options_.slots == 0 || ( runner_ && runner_->hasWorker() );
}

} // namespace VX::Backend
