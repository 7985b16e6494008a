#include "converter/ConversionRunner.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

// Another process may queue a job, of which no hint comes.
constexpr auto cLookAgain = std::chrono::milliseconds( 1000 );
constexpr auto cTidyEvery = std::chrono::seconds( 60 );

int64_t monotonicSeconds()
{
    return std::chrono::duration_cast<std::chrono::seconds>( std::chrono::steady_clock::now().time_since_epoch() )
        .count();
}

} // namespace

ConversionRunner::ConversionRunner( ConversionJobs& jobs, ObjectStore& store, RunnerOptions options )
    : jobs_( jobs )
    , store_( store )
    , options_( std::move( options ) )
{
    std::error_code ec;
    std::filesystem::remove_all( options_.folder, ec );
    std::filesystem::create_directories( options_.folder, ec );
    if ( const auto recovered = jobs_.recover(); !recovered )
        spdlog::error( "Conversion: {}", recovered.error().text );
    for ( int i = 0; i < options_.slots; ++i )
        threads_.emplace_back( [this] { runSlot_(); } );
}

ConversionRunner::~ConversionRunner()
{
    {
        const std::lock_guard lock( mutex_ );
        stopping_ = true;
    }
    stopped_.notify_all();
    jobs_.notifyChange();
    for ( auto& thread : threads_ )
        thread.join();
}

std::unique_ptr<WorkerProcess> ConversionRunner::freshWorker_()
{
    if ( stopping_ )
        return nullptr;
    auto worker = WorkerProcess::start( options_.folder, options_.limits );
    if ( worker )
        return std::move( *worker );
    spdlog::error( "Conversion: {}", worker.error() );
    return nullptr;
}

void ConversionRunner::runSlot_()
{
    auto worker = freshWorker_();
    while ( !stopping_ )
    {
        tidy_();
        const auto taken = jobs_.take();
        if ( !taken )
            spdlog::error( "Conversion: {}", taken.error().text );
        const auto job = taken.value_or( std::nullopt );
        if ( !job )
        {
            jobs_.waitForChange( cLookAgain );
            continue;
        }
        if ( !worker || !worker->isAlive() )
            worker = freshWorker_();
        if ( worker )
            run_( *job, std::move( worker ) );
        else
            end_( *job,
                tl::unexpected( std::string( "The conversion service has no resources left; try again later" ) ) );
        worker = freshWorker_();
    }
}

void ConversionRunner::run_( const ConversionJob& job, std::unique_ptr<WorkerProcess> worker )
{
    const auto begin = std::chrono::steady_clock::now();
    auto done = store_.fetch( job.uploadKey(), worker->inputFile() );
    if ( !done )
    {
        spdlog::error( "Conversion: {}", done.error() );
        done = tl::unexpected( std::string( "The uploaded file is gone; open the file again" ) );
    }
    else
        done = worker->convert( stopping_ );
    if ( stopping_ && !done )
        return;
    if ( done )
        done = store_.store( job.resultKey(), worker->resultFile() );
    end_( job, done );
    store_.remove( job.uploadKey() );
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - begin ).count();
    spdlog::info( "Conversion {} in {} ms{}", done ? "done" : "failed", ms, done ? "" : ": " + done.error() );
}

void ConversionRunner::end_( const ConversionJob& job, const tl::expected<void, std::string>& done )
{
    while ( true )
    {
        const auto written = done ? jobs_.finish( job.id ) : jobs_.fail( job.id, done.error() );
        if ( written )
            return;
        spdlog::error( "Conversion: {}", written.error().text );
        if ( stopping_ )
            return;
        std::unique_lock lock( mutex_ );
        stopped_.wait_for( lock, cLookAgain, [this] { return stopping_.load(); } );
    }
}

void ConversionRunner::tidy_()
{
    const auto now = monotonicSeconds();
    auto due = nextTidying_.load();
    if ( now < due || !nextTidying_.compare_exchange_strong( due, now + cTidyEvery.count() ) )
        return;
    const auto expired = jobs_.expire( options_.keep );
    if ( !expired )
        return spdlog::error( "Conversion: {}", expired.error().text );
    for ( const auto& job : *expired )
        removeObjects_( job );
    // A URL outlives its job, so uploads may come for jobs that nobody knows any more.
    store_.removeOlder( 2 * options_.keep );
    while ( store_.excess() > 0 )
    {
        const auto oldest = jobs_.expireOldest();
        if ( !oldest )
            return spdlog::error( "Conversion: {}", oldest.error().text );
        if ( !*oldest )
            break;
        spdlog::warn( "Conversion: the store is full, the oldest job is removed" );
        removeObjects_( **oldest );
    }
}

void ConversionRunner::removeObjects_( const ConversionJob& job )
{
    store_.remove( job.uploadKey() );
    store_.remove( job.resultKey() );
}

} // namespace VX::Backend
