#include "serve/WorkService.h"

#include "clock/SystemTime.h"
#include "monitor/HealthApi.h"
#include "monitor/LivenessApi.h"
#include "serve/Foundation.h"
#include "serve/MonitorListener.h"
#include "serve/Storage.h"
#include "serve/Workers.h"

namespace VX::Backend
{
namespace
{

tl::expected<void, std::string> checkPlaces( const ServiceOptions& options )
{
    if ( options.database.empty() || options.store.endpoint.empty() )
        return tl::unexpected( std::string(
            "Those who work for services elsewhere share their database and their store: give --database and "
            "--store-endpoint" ) );
    if ( options.slots == 0 )
        return tl::unexpected( std::string( "Nobody would work: give --slots 1 or more" ) );
    return {};
}

} // namespace

class WorkService::Parts
{
public:
    Parts( Foundation foundation, const ServiceOptions& options )
        : foundation_( std::move( foundation ) )
        , jobs_( *foundation_.database, &systemTime, jobLimits( options ) )
        , bell_( foundation_.database->engine().bell() )
        , storage_( foundation_, options, jobs_ )
        , health_( *foundation_.database )
    {
        if ( bell_ )
            jobs_.connect( *bell_ );
    }

    [[nodiscard]] tl::expected<void, std::string> open( const ServiceOptions& options )
    {
        auto workers = Workers::prepare( options, jobs_, storage_.objects() );
        if ( !workers )
            return tl::unexpected( workers.error() );
        workers_ = std::move( *workers );
        workers_->begin();
        health_.askForWorkers( [this] { return workers_->hasWorker(); } );
        if ( options.monitor.empty() )
            return {};
        const auto more = [this]( Figures& figures ) { storage_.tell( figures ); };
        monitor_ = std::make_unique<MonitorListener>( health_, liveness_, counts_,
            std::make_unique<FigureKeeper>(
                *foundation_.database, *foundation_.statistics, options.data, &systemTime, more ) );
        return monitor_->listen( options.monitor );
    }
    [[nodiscard]] uint16_t monitorPort() const { return monitor_ ? monitor_->port() : uint16_t( 0 ); }
    [[nodiscard]] Workers& workers() { return *workers_; }
    void drain()
    {
        health_.drain();
        workers_->drain();
    }

private:
    Foundation foundation_;
    ConversionJobs jobs_;
    /// Goes before they do, and after all who change them.
    std::unique_ptr<Bell> bell_;
    Storage storage_;
    RequestMeasures counts_;
    LivenessApi liveness_;
    HealthApi health_;
    /// May wait for a worker.
    std::unique_ptr<Workers> workers_;
    /// Asks all others.
    std::unique_ptr<MonitorListener> monitor_;
};

tl::expected<std::unique_ptr<WorkService>, std::string> WorkService::start( const ServiceOptions& options )
{
    auto foundation = checkPlaces( options ).and_then( [&] { return Foundation::layShared( options ); } );
    if ( !foundation )
        return tl::unexpected( foundation.error() );
    auto parts = std::make_unique<Parts>( std::move( *foundation ), options );
    if ( const auto opened = parts->open( options ); !opened )
        return tl::unexpected( opened.error() );
    return std::unique_ptr<WorkService>( new WorkService( std::move( parts ) ) );
}

WorkService::WorkService( std::unique_ptr<Parts> parts )
    : parts_( std::move( parts ) )
{
}

WorkService::~WorkService() = default;

std::string WorkService::greeting() const
{
    return "Orvanta workers are ready";
}

uint16_t WorkService::monitorPort() const
{
    return parts_->monitorPort();
}

void WorkService::drain()
{
    parts_->drain();
}

bool WorkService::isDrained() const
{
    return parts_->workers().isDrained();
}

} // namespace VX::Backend
