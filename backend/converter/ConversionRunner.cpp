#include "converter/ConversionRunner.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

// Another process may queue a job, of which no hint comes.
constexpr auto cLookAgain = std::chrono::milliseconds( 1000 );
constexpr auto cTidyEvery = std::chrono::seconds( 60 );

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
    tidying_ = std::make_unique<Repeating>( cTidyEvery, [this] { tidy_(); } );
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
    tidying_.reset();
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
        else if ( stopping_ )
            giveBack_( *job );
        else
            end_( *job,
                tl::unexpected( std::string( "The conversion service has no resources left; try again later" ) ) );
        worker = freshWorker_();
    }
}

void ConversionRunner::run_( const ConversionJob& job, std::unique_ptr<WorkerProcess> worker )
{
    const auto begin = std::chrono::steady_clock::now();
    auto converted = store_.fetch( job.uploadKey(), worker->inputFile() );
    if ( !converted )
    {
        spdlog::error( "Conversion: {}", converted.error() );
        converted = tl::unexpected( std::string( "The uploaded file is gone; open the file again" ) );
    }
    else
        converted = worker->convert( stopping_ );
    if ( stopping_ && !converted )
    {
        // That the service stops is no fault of the file's.
        giveBack_( job );
        return;
    }
    const auto done = converted.and_then( [&] { return keepResult_( job, worker->resultFile() ); } );
    end_( job, done );
    store_.remove( job.uploadKey() );
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - begin ).count();
    spdlog::info( "Conversion {} in {} ms{}", done ? "done" : "failed", ms, done ? "" : ": " + done.error() );
}

void ConversionRunner::giveBack_( const ConversionJob& job )
{
    if ( const auto back = jobs_.giveBack( job.id ); !back )
        spdlog::error( "Conversion: {}", back.error().text );
}

tl::expected<uint64_t, std::string> ConversionRunner::keepResult_(
    const ConversionJob& job, const std::filesystem::path& file )
{
    std::error_code ec;
    const uint64_t size = std::filesystem::file_size( file, ec );
    while ( !ec && !fits_( job, size ) )
    {
        const auto older = jobs_.expireOldest( job.owner );
        if ( !older )
            spdlog::error( "Conversion: {}", older.error().text );
        if ( !older || !*older )
            break;
        removeObjects_( **older );
    }
    // Over its owner's share it may be: the upload it was made of was within.
    if ( !ec && !store_.hasRoomFor( size ) )
        return tl::unexpected(
            std::string( "The conversion service has no room for the result now; try again later" ) );
    return store_.store( job.resultKey(), file ).map( [&] { return size; } );
}

bool ConversionRunner::fits_( const ConversionJob& job, uint64_t resultBytes )
{
    return store_.hasRoomFor( resultBytes ) && jobs_.isWithinShare( job, resultBytes ).value_or( true );
}

void ConversionRunner::end_( const ConversionJob& job, const tl::expected<uint64_t, std::string>& done )
{
    while ( true )
    {
        const auto written = done ? jobs_.finish( job.id, *done ) : jobs_.fail( job.id, done.error() );
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
        spdlog::warn( "Conversion: there is more than may be stored, the oldest job of who has most is removed" );
        removeObjects_( **oldest );
    }
}

void ConversionRunner::removeObjects_( const ConversionJob& job )
{
    store_.remove( job.uploadKey() );
    store_.remove( job.resultKey() );
}

} // namespace VX::Backend
