#include "converter/ConversionRunner.h"

#include "log/LogContext.h"
#include "metrics/Measures.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

// Another process may queue a job, of which no hint comes.
constexpr auto cLookAgain = std::chrono::milliseconds( 1000 );

} // namespace

/// An attempt whose lease is extended while this lives.
class ConversionRunner::Registered
{
public:
    Registered( ConversionRunner& runner, Attempt& attempt )
        : runner_( runner )
        , attempt_( attempt )
    {
        const std::lock_guard lock( runner_.mutex_ );
        attempt_.stop = runner_.stopping_.load();
        runner_.running_.push_back( &attempt_ );
    }
    ~Registered()
    {
        const std::lock_guard lock( runner_.mutex_ );
        std::erase( runner_.running_, &attempt_ );
    }
    Registered( const Registered& ) = delete;
    Registered& operator=( const Registered& ) = delete;

private:
    ConversionRunner& runner_;
    Attempt& attempt_;
};

ConversionRunner::ConversionRunner( ConversionJobs& jobs, ObjectStore& store, std::unique_ptr<WorkFolder> folder,
    RunnerOptions options, std::unique_ptr<WorkerProcess> first )
    : jobs_( jobs )
    , store_( store )
    , folder_( std::move( folder ) )
    , options_( std::move( options ) )
    , first_( std::move( first ) )
    , leaps_( options_.clock )
{
    recover_();
    beating_ = std::make_unique<Repeating>( options_.beat, [this] { beat_(); } );
    looking_ = std::make_unique<Repeating>( options_.look, [this] { look_(); } );
    tidying_ = std::make_unique<Repeating>( options_.tidy, [this] { tidy_(); } );
    slotsAtWork_ = options_.slots;
    for ( int i = 0; i < options_.slots; ++i )
        threads_.emplace_back(
            [this]
            {
                runSlot_();
                --slotsAtWork_;
            } );
}

ConversionRunner::~ConversionRunner()
{
    {
        const std::lock_guard lock( mutex_ );
        stopping_ = true;
        for ( auto* attempt : running_ )
            attempt->stop = true;
    }
    stopped_.notify_all();
    jobs_.notifyChange();
    tidying_.reset();
    for ( auto& thread : threads_ )
        thread.join();
}

void ConversionRunner::drain()
{
    draining_ = true;
    jobs_.notifyChange();
}

void ConversionRunner::recover_()
{
    auto dead = folder_->dead();
    // What a version before has taken bears no name.
    dead.emplace_back();
    const auto failed = jobs_.recover( dead );
    // Their folders stay until it is known: a later start finds their names there.
    if ( !failed )
        return spdlog::error( "Conversion: {}", failed.error().text );
    for ( const auto& job : *failed )
        removeResults_( job );
    folder_->sweep();
}

std::vector<ConversionJob> ConversionRunner::runningJobs_()
{
    std::vector<ConversionJob> out;
    const std::lock_guard lock( mutex_ );
    out.reserve( running_.size() );
    for ( const auto* attempt : running_ )
        out.push_back( attempt->job );
    return out;
}

void ConversionRunner::beat_()
{
    if ( const auto jobs = runningJobs_(); !jobs.empty() )
        stop_( jobs_.beat( jobs ) );
}

void ConversionRunner::look_()
{
    if ( const auto jobs = runningJobs_(); !jobs.empty() )
        stop_( jobs_.lost( jobs ) );
}

void ConversionRunner::stop_( const DatabaseResult<std::vector<ConversionJob>>& lost )
{
    if ( !lost )
        return spdlog::error( "Conversion: {}", lost.error().text );
    const std::lock_guard lock( mutex_ );
    for ( const auto& job : *lost )
        for ( auto* attempt : running_ )
            if ( attempt->job.id == job.id && attempt->job.attempt == job.attempt )
                attempt->stop = true;
    stopped_.notify_all();
}

std::unique_ptr<WorkerProcess> ConversionRunner::firstWorker_()
{
    {
        const std::lock_guard lock( mutex_ );
        if ( first_ )
            return std::move( first_ );
    }
    return freshWorker_();
}

std::unique_ptr<WorkerProcess> ConversionRunner::freshWorker_()
{
    if ( !takesMore_() )
        return nullptr;
    auto worker = WorkerProcess::start( folder_->path(), options_.worker );
    if ( worker )
        return std::move( *worker );
    spdlog::error( "Conversion: {}", worker.error() );
    return nullptr;
}

std::optional<ConversionJob> ConversionRunner::take_()
{
    const auto failed = jobs_.reap();
    for ( const auto& job : failed.value_or( std::vector<ConversionJob>() ) )
        removeResults_( job );
    auto taken = failed.and_then( [this]( const auto& ) { return jobs_.take(); } );
    if ( !taken )
        spdlog::error( "Conversion: {}", taken.error().text );
    return taken.value_or( std::nullopt );
}

void ConversionRunner::runSlot_()
{
    auto worker = firstWorker_();
    bool counted = false;
    const auto count = [&]( bool has )
    {
        slotsWithWorker_ += int( has ) - int( counted );
        counted = has;
    };
    while ( takesMore_() )
    {
        const auto seen = jobs_.changes();
        const auto job = take_();
        if ( !job )
        {
            jobs_.waitForChange( seen, cLookAgain );
            // It has had the time to die of what is wrong here.
            count( worker && worker->isAlive() );
            if ( !counted )
                worker = freshWorker_();
            continue;
        }
        const LogContext context( job->request );
        spdlog::info( "Conversion begun, attempt {}", job->attempt );
        Attempt attempt{ *job };
        const Registered registered( *this, attempt );
        if ( !worker || !worker->isAlive() )
            worker = freshWorker_();
        count( worker != nullptr );
        if ( worker )
            run_( attempt, std::move( worker ) );
        else if ( !takesMore_() )
            giveBack_( *job );
        else
            (void)end_( attempt,
                tl::unexpected( std::string( "The conversion service has no resources left; try again later" ) ),
                true );
        worker = freshWorker_();
    }
}

void ConversionRunner::run_( Attempt& attempt, std::unique_ptr<WorkerProcess> worker )
{
    const auto begin = std::chrono::steady_clock::now();
    const auto done = fetch_( attempt, *worker )
                          .and_then( [&] { return worker->convert( attempt.stop ); } )
                          .and_then( [&] { return keepResult_( attempt, worker->resultFile() ); } );
    if ( attempt.stop && !done )
    {
        // That the service stops is no fault of the file's; a lost attempt has nothing to give back, and is told so.
        giveBack_( attempt.job );
        return;
    }
    if ( !done && worker->wasKilled() )
    {
        noteDeath_( attempt.job );
        return;
    }
    if ( !end_( attempt, done, !worker->hasJudged() ) )
        return;
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - begin ).count();
    measures().conversions.add( std::chrono::milliseconds( ms ) );
    spdlog::info( "Conversion {} in {} ms{}", done ? "done" : "failed", ms, done ? "" : ": " + done.error() );
}

tl::expected<void, StoreError> ConversionRunner::patiently_(
    const Attempt& attempt, const std::function<tl::expected<void, StoreError>()>& act )
{
    const auto deadline = std::chrono::steady_clock::now() + options_.worker.limits.time;
    while ( true )
    {
        auto done = act();
        if ( done )
            return done;
        spdlog::error( "Conversion: {}", done.error().text );
        if ( done.error().kind != StoreTrouble::Unavailable || attempt.stop ||
             std::chrono::steady_clock::now() >= deadline )
            return done;
        pause_( options_.retry, &attempt );
    }
}

tl::expected<void, std::string> ConversionRunner::fetch_( const Attempt& attempt, const WorkerProcess& worker )
{
    return patiently_( attempt, [&] { return store_.fetch( attempt.job.uploadKey(), worker.inputFile() ); } )
        .map_error(
            []( const StoreError& error ) -> std::string
            {
                return error.kind == StoreTrouble::Missing
                           ? "The uploaded file is gone; open the file again"
                           : "The uploaded file cannot be read now; open the file again later";
            } );
}

void ConversionRunner::pause_( std::chrono::milliseconds time, const Attempt* attempt )
{
    std::unique_lock lock( mutex_ );
    stopped_.wait_for( lock, time, [&] { return stopping_ || ( attempt && attempt->stop ); } );
}

void ConversionRunner::giveBack_( const ConversionJob& job )
{
    const auto back = jobs_.giveBack( job );
    if ( !back )
        spdlog::error( "Conversion: {}", back.error().text );
    else if ( !*back )
        spdlog::warn( "Conversion: an attempt was stopped, for it had lost its job" );
}

void ConversionRunner::noteDeath_( const ConversionJob& job )
{
    spdlog::warn( "Conversion: somebody has killed the worker" );
    const auto failed = jobs_.die( job );
    // Whoever looks after the leases counts it then.
    if ( !failed )
        spdlog::error( "Conversion: {}", failed.error().text );
    for ( const auto& last : failed.value_or( std::vector<ConversionJob>() ) )
        removeResults_( last );
}

tl::expected<uint64_t, std::string> ConversionRunner::keepResult_(
    const Attempt& attempt, const std::filesystem::path& file )
{
    const auto& job = attempt.job;
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
    return patiently_( attempt, [&] { return store_.store( job.resultKey(), file ); } )
        .map( [&] { return size; } )
        .map_error(
            []( const StoreError& error ) -> std::string
            {
                return error.kind == StoreTrouble::Missing ? "The converter left no result for this file"
                                                           : "The result cannot be stored now; try again later";
            } );
}

bool ConversionRunner::fits_( const ConversionJob& job, uint64_t resultBytes )
{
    return store_.hasRoomFor( resultBytes ) && jobs_.isWithinShare( job, resultBytes ).value_or( true );
}

bool ConversionRunner::end_(
    const Attempt& attempt, const tl::expected<uint64_t, std::string>& done, bool isWorthARetry )
{
    const auto& job = attempt.job;
    const auto stays = isWorthARetry && store_.hasRoomFor( options_.reserve ) ? UploadStays::Yes : UploadStays::No;
    while ( true )
    {
        const auto written = done ? jobs_.finish( job, *done ) : jobs_.fail( job, done.error(), stays );
        if ( written && *written )
        {
            if ( done || stays == UploadStays::No )
                store_.remove( job.uploadKey() );
            // Attempts that died between storing and the end left theirs.
            for ( auto before = job.attempt - 1; before > 0; --before )
                store_.remove( job.resultKey( before ) );
            return true;
        }
        if ( written )
        {
            spdlog::warn( "Conversion: an attempt had lost its job to another; what it made is dropped" );
            store_.remove( job.resultKey() );
            return false;
        }
        spdlog::error( "Conversion: {}", written.error().text );
        if ( stopping_ )
            return false;
        pause_( cLookAgain );
    }
}

void ConversionRunner::tidy_()
{
    if ( removeOver_() )
        makeRoom_();
}

bool ConversionRunner::removeOver_()
{
    // A clock that is set ahead makes nothing old.
    const auto now = leaps_.look();
    const auto expired = jobs_.expireBefore( now - options_.keep - leaps_.excess( options_.keep ) );
    if ( !expired )
    {
        spdlog::error( "Conversion: {}", expired.error().text );
        return false;
    }
    removeObjects_( *expired );
    // A URL outlives its job, so uploads may come for jobs that nobody knows any more.
    store_.removeOlder( 2 * options_.keep + leaps_.excess( 2 * options_.keep ) );
    return true;
}

void ConversionRunner::makeRoom_()
{
    const auto failed =
        store_.hasRoomFor( options_.reserve ) ? DatabaseResult<std::vector<ConversionJob>>() : jobs_.failed();
    for ( const auto& job : failed.value_or( std::vector<ConversionJob>() ) )
    {
        removeObjects_( job );
        jobs_.noteGone( job.id );
    }
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
    removeResults_( job );
}

void ConversionRunner::removeResults_( const ConversionJob& job )
{
    store_.remove( job.resultKey() );
    for ( auto before = job.attempt - 1; before > 0; --before )
        store_.remove( job.resultKey( before ) );
}

void ConversionRunner::removeObjects_( const std::vector<ConversionJob>& jobs )
{
    for ( const auto& job : jobs )
        removeObjects_( job );
}

} // namespace VX::Backend
