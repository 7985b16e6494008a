#include "converter/ConversionJobs.h"

#include "converter/JobRows.h"
#include "converter/JobTables.h"
#include "crypto/Hex.h"
#include "metrics/Measures.h"
#include "text/JsonText.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <iterator>

namespace VX::Backend
{
namespace
{

constexpr int64_t cMaxDeaths = 3;
constexpr size_t cIdBytes = 16;
constexpr size_t cInstanceBytes = 8;
constexpr const char* cCutOff =
    "The conversion service broke down three times during this conversion; the file may be too large";
constexpr const char* cNoTurn = "No converter was free for this file in time; open the file again later";

// What others are told by the bell; behind the second one is the job.
constexpr const char* cQueued = "queued";
constexpr const char* cEnded = "ended ";

/// Holds for the attempt that has a job: ?2 is the job, ?3 the attempt, ?4 the state of one that runs.
const std::string cFence = "id = ?2 AND attempts = ?3 AND state = ?4";

} // namespace

DatabaseResult<void> ConversionJobs::prepare( Database& database )
{
    return prepareJobTables( database );
}

ConversionJobs::ConversionJobs( Database& database, Clock clock, JobLimits limits )
    : database_( database )
    , clock_( std::move( clock ) )
    , limits_( limits )
    , instance_( randomHex( cInstanceBytes ) )
{
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::create(
    const std::string& inputFormat, const std::string& owner )
{
    const ConversionJob job{ randomHex( cIdBytes ), inputFormat, JobState::Created, {}, owner, 0 };
    return database_
        .execute( "INSERT INTO conversions (id, input_format, state, created, owner) SELECT ?1, ?2, ?3, ?4, ?5 WHERE "
                  "NOT EXISTS (SELECT 1 FROM conversion_owners WHERE owner = ?5 AND (active >= ?6 OR jobs >= ?7))",
            { job.id, inputFormat, stateNumber( JobState::Created ), now_(), owner, limits_.atOnce, limits_.kept } )
        .map( [&]( int added ) { return added > 0 ? std::optional( job ) : std::nullopt; } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::find( const std::string& id )
{
    return database_.query( "SELECT " + cJobColumns + " FROM conversions WHERE id = ?", { id } ).map( onlyOf );
}

DatabaseResult<std::map<std::string, ConversionJob>> ConversionJobs::find( const std::set<std::string>& ids )
{
    const auto byId = []( const Rows& rows )
    {
        std::map<std::string, ConversionJob> out;
        for ( const auto& row : rows )
            out.emplace( textOf( row[0] ), toJob( row ) );
        return out;
    };
    return database_
        .query( "SELECT " + cJobColumns + " FROM conversions WHERE id IN (SELECT value FROM json_each(?))",
            { compactList( ids ) } )
        .map( byId );
}

DatabaseResult<bool> ConversionJobs::queue( const std::string& id, const std::string& request )
{
    const auto changed =
        database_.execute( "UPDATE conversions SET state = ?, queued = ?, request = ? WHERE id = ? AND state = ?",
            { stateNumber( JobState::Queued ), now_(), request, id, stateNumber( JobState::Created ) } );
    tellQueued_();
    return changed.map( []( int rows ) { return rows > 0; } );
}

template <typename T>
DatabaseResult<T> ConversionJobs::watched_( DatabaseResult<T> answer )
{
    if ( answer )
        watch_.saw( now_() );
    else
        watch_.missed();
    return answer;
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::take()
{
    const auto waiting = watched_( database_.query( "SELECT 1 FROM conversion_owners WHERE queued > 0 LIMIT 1" ) );
    if ( !waiting )
        return tl::unexpected( waiting.error() );
    if ( waiting->empty() )
        return std::nullopt;
    Database::Transaction transaction( database_ );
    // Who cancels it meanwhile takes no turn: it has to be the same when it is taken.
    const auto job =
        watched_( database_.query( "UPDATE conversions SET state = ?1, attempts = attempts + 1, taker = ?3, "
                                   "lease_until = ?4 WHERE id = (SELECT c.id "
                                   "FROM conversions c WHERE c.state = ?2 AND c.owner = (SELECT o.owner FROM "
                                   "conversion_owners o WHERE o.queued > 0 ORDER BY o.running, o.turn, (SELECT "
                                   "min(w.queued) FROM conversions w WHERE w.owner = o.owner AND w.state = ?2) LIMIT 1)"
                                   " ORDER BY c.queued, c.rowid LIMIT 1) AND state = ?2 RETURNING " +
                                       cJobColumns,
                      { stateNumber( JobState::Running ), stateNumber( JobState::Queued ), instance_,
                          now_() + cLease.count() } ) )
            .map( onlyOf );
    if ( !job || !*job )
        return job;
    if ( ( *job )->attempt == 1 )
        measures().conversionWaits.add( std::chrono::seconds( now_() - ( *job )->queued ) );
    const auto turned = database_.execute(
        "UPDATE conversion_owners SET turn = (SELECT max(turn) FROM conversion_owners) + 1 WHERE owner = ?",
        { ( *job )->owner } );
    return watched_( turned.and_then( [&]( int ) { return transaction.commit(); } ) ).map( [&] { return *job; } );
}

DatabaseResult<StoreSum> ConversionJobs::stored()
{
    return database_.query( "SELECT coalesce(sum(bytes), 0), coalesce(sum(jobs), 0) FROM conversion_owners" )
        .map(
            []( const Rows& rows )
            {
                return StoreSum{ uint64_t( integerOf( rows.front()[0] ) ), uint64_t( integerOf( rows.front()[1] ) ) };
            } );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::beat( const std::vector<ConversionJob>& running )
{
    std::vector<ConversionJob> lost;
    Database::Transaction transaction( database_ );
    for ( const auto& job : running )
    {
        const auto held = watched_( database_.execute( "UPDATE conversions SET lease_until = ?1 WHERE " + cFence,
            { now_() + cLease.count(), job.id, job.attempt, stateNumber( JobState::Running ) } ) );
        if ( !held )
            return tl::unexpected( held.error() );
        if ( *held == 0 )
            lost.push_back( job );
    }
    return watched_( transaction.commit() ).map( [&] { return lost; } );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::lost( const std::vector<ConversionJob>& running )
{
    std::vector<ConversionJob> out;
    for ( const auto& job : running )
    {
        const auto now = find( job.id );
        if ( !now )
            return tl::unexpected( now.error() );
        if ( !*now || ( *now )->attempt != job.attempt || ( *now )->state != JobState::Running )
            out.push_back( job );
    }
    return out;
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::failed()
{
    return database_
        .query( "SELECT " + cJobColumns + " FROM conversions WHERE state = ?", { stateNumber( JobState::Failed ) } )
        .map( toJobs );
}

DatabaseResult<bool> ConversionJobs::giveBack( const ConversionJob& job )
{
    const auto changed =
        database_.execute( "UPDATE conversions SET state = ?1, taker = '', lease_until = 0 WHERE " + cFence,
            { stateNumber( JobState::Queued ), job.id, job.attempt, stateNumber( JobState::Running ) } );
    tellQueued_();
    return changed.map( []( int rows ) { return rows > 0; } );
}

DatabaseResult<bool> ConversionJobs::end_(
    const ConversionJob& job, JobState state, const SqlValue& error, std::optional<uint64_t> bytes )
{
    SqlValue counted;
    if ( bytes )
        counted = int64_t( *bytes );
    const auto changed = database_.execute(
        "UPDATE conversions SET state = ?1, error = ?5, bytes = coalesce(?6, bytes), ended = ?7 WHERE " + cFence,
        { stateNumber( state ), job.id, job.attempt, stateNumber( JobState::Running ), error, counted, now_() } );
    tellEnd_( job.id );
    if ( !changed )
        return tl::unexpected( changed.error() );
    if ( *changed > 0 )
    {
        ++( state == JobState::Finished ? measures().conversionsDone : measures().conversionsFailed );
        return true;
    }
    // It may have been written by a call before, to which the database could not answer any more.
    return find( job.id ).map( [&]( const std::optional<ConversionJob>& now )
        { return now && now->attempt == job.attempt && now->state == state; } );
}

DatabaseResult<bool> ConversionJobs::finish( const ConversionJob& job, uint64_t resultBytes )
{
    return end_( job, JobState::Finished, nullptr, resultBytes );
}

DatabaseResult<bool> ConversionJobs::fail( const ConversionJob& job, const std::string& error, UploadStays stays )
{
    return end_(
        job, JobState::Failed, error, stays == UploadStays::Yes ? std::nullopt : std::optional<uint64_t>( 0 ) );
}

DatabaseResult<bool> ConversionJobs::retry( const std::string& id, uint64_t uploadBytes )
{
    // Attempts are counted on: the next one is another than all before.
    const auto changed = database_.execute(
        "UPDATE conversions SET state = ?1, queued = ?2, created = ?2, ended = NULL, error = NULL, deaths = 0, taker = "
        "'', lease_until = 0, bytes = ?3 WHERE id = ?4 AND state = ?5",
        { stateNumber( JobState::Queued ), now_(), int64_t( uploadBytes ), id, stateNumber( JobState::Failed ) } );
    tellQueued_();
    return changed.map( []( int rows ) { return rows > 0; } );
}

DatabaseResult<bool> ConversionJobs::cancel( const std::string& id, const std::string& reason )
{
    const auto changed = database_.execute(
        "UPDATE conversions SET state = ?1, error = ?2, ended = ?3, taker = '', lease_until = 0 WHERE id = ?4 AND "
        "state IN (?5, ?6)",
        { stateNumber( JobState::Failed ), reason, now_(), id, stateNumber( JobState::Queued ),
            stateNumber( JobState::Running ) } );
    tellEnd_( id );
    return changed.map( []( int rows ) { return rows > 0; } );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::died_( const std::string& condition, const SqlValue& value )
{
    const auto ended = [this]( const Rows& rows )
    {
        if ( !rows.empty() )
            tellQueued_();
        std::vector<ConversionJob> failed;
        for ( const auto& row : rows )
            if ( const auto job = toJob( row ); job.state == JobState::Failed )
                failed.push_back( job );
        measures().conversionsFailed += failed.size();
        tellEnds_( failed );
        return failed;
    };
    return database_
        .query( "UPDATE conversions SET deaths = deaths + 1, taker = '', lease_until = 0, "
                "state = CASE WHEN deaths + 1 < ?1 THEN ?2 ELSE ?3 END, "
                "error = CASE WHEN deaths + 1 < ?1 THEN NULL ELSE ?4 END, "
                "ended = CASE WHEN deaths + 1 < ?1 THEN NULL ELSE ?5 END WHERE state = ?6 AND " +
                    condition + " RETURNING " + cJobColumns,
            { cMaxDeaths, stateNumber( JobState::Queued ), stateNumber( JobState::Failed ), std::string( cCutOff ),
                now_(), stateNumber( JobState::Running ), value } )
        .map( ended );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::die( const ConversionJob& job )
{
    return died_( "id = ?7 AND attempts = " + std::to_string( job.attempt ), job.id );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::reap()
{
    using Jobs = std::vector<ConversionJob>;
    const auto now = now_();
    const auto over =
        watched_( database_.query( "SELECT 1 FROM conversions WHERE state = ? AND lease_until < ? LIMIT 1",
            { stateNumber( JobState::Running ), now } ) );
    if ( !over )
        return tl::unexpected( over.error() );
    if ( over->empty() || !watch_.mayReap( now ) )
        return Jobs{};
    return watched_( died_( "lease_until < ?7", now ) );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::recover( const std::vector<std::string>& dead )
{
    std::vector<ConversionJob> out;
    Database::Transaction transaction( database_ );
    for ( const auto& instance : dead )
    {
        const auto failed = died_( "taker = ?7", instance );
        if ( !failed )
            return failed;
        out.insert( out.end(), failed->begin(), failed->end() );
    }
    return transaction.commit().map( [&] { return out; } );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::expireBefore( std::chrono::sys_seconds then )
{
    const int64_t limit = then.time_since_epoch().count();
    std::vector<ConversionJob> out;
    const auto collect = [&]( const Rows& rows )
    {
        for ( const auto& row : rows )
            out.push_back( toJob( row ) );
    };
    const auto late = database_
                          .query( "UPDATE conversions SET state = ?, error = ?, bytes = 0, ended = ? WHERE state = ? "
                                  "AND created < ? RETURNING " +
                                      cJobColumns,
                              { stateNumber( JobState::Failed ), std::string( cNoTurn ), now_(),
                                  stateNumber( JobState::Queued ), limit } )
                          .map( collect );
    measures().conversionsFailed += out.size();
    tellEnds_( out );
    return late
        .and_then(
            [&]
            {
                return database_.query( "DELETE FROM conversions WHERE state IN (?1, ?2, ?3) AND created < ?4 AND "
                                        "coalesce(ended, created) < ?4 RETURNING " +
                                            cJobColumns,
                    { stateNumber( JobState::Created ), stateNumber( JobState::Finished ),
                        stateNumber( JobState::Failed ), limit } );
            } )
        .map( collect )
        .map(
            [&]
            {
                tellEnds_( out );
                return std::move( out );
            } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::expireOldest( const std::optional<std::string>& owner )
{
    const auto created = stateNumber( JobState::Created ), finished = stateNumber( JobState::Finished ),
               failed = stateNumber( JobState::Failed );
    const auto whose = owner ? DatabaseResult<Rows>( Rows{ { *owner } } )
                             : database_.query( "SELECT owner FROM conversion_owners o WHERE bytes > 0 AND EXISTS "
                                                "(SELECT 1 FROM conversions c WHERE c.owner = o.owner AND c.state IN "
                                                "(?, ?, ?) AND c.bytes > 0) ORDER BY bytes DESC LIMIT 1",
                                   { created, finished, failed } );
    if ( !whose )
        return tl::unexpected( whose.error() );
    if ( whose->empty() )
        return std::nullopt;
    // Why a job has failed stays known.
    const auto left =
        database_
            .query( "UPDATE conversions SET bytes = 0 WHERE id = (SELECT id FROM conversions WHERE owner = ?1 AND "
                    "state = ?2 AND bytes > 0 ORDER BY created, rowid LIMIT 1) RETURNING " +
                        cJobColumns,
                { whose->front()[0], failed } )
            .map( onlyOf );
    if ( !left || *left )
        return left;
    return database_
        .query( "DELETE FROM conversions WHERE id = (SELECT id FROM conversions WHERE owner = ?1 AND state IN (?2, ?3) "
                "AND bytes > 0 ORDER BY state DESC, created, rowid LIMIT 1) RETURNING " +
                    cJobColumns,
            { whose->front()[0], created, finished } )
        .map(
            []( const Rows& rows )
            {
                measures().evictions += rows.size();
                return onlyOf( rows );
            } );
}

uint64_t ConversionJobs::changes()
{
    const std::lock_guard lock( mutex_ );
    return changes_;
}

void ConversionJobs::waitForChange( uint64_t seen, std::chrono::milliseconds most )
{
    std::unique_lock lock( mutex_ );
    changed_.wait_for( lock, most, [&] { return changes_ != seen; } );
}

void ConversionJobs::notifyChange()
{
    {
        const std::lock_guard lock( mutex_ );
        ++changes_;
    }
    changed_.notify_all();
}

void ConversionJobs::listen( const void* who, Ended ended )
{
    const std::lock_guard lock( listenersMutex_ );
    listeners_[who] = std::move( ended );
}

void ConversionJobs::unlisten( const void* who )
{
    const std::lock_guard lock( listenersMutex_ );
    listeners_.erase( who );
}

void ConversionJobs::connect( Bell& bell )
{
    bell_ = &bell;
    bell.listen( [this]( const std::string& word ) { hear_( word ); } );
}

void ConversionJobs::hear_( const std::string& word )
{
    if ( word.starts_with( cEnded ) )
        noteEnd_( word.substr( std::string_view( cEnded ).size() ) );
    else
        notifyChange();
}

void ConversionJobs::tellQueued_()
{
    notifyChange();
    if ( bell_ )
        bell_->ring( cQueued );
}

void ConversionJobs::tellEnd_( const std::string& id )
{
    noteEnd_( id );
    if ( bell_ )
        bell_->ring( cEnded + id );
}

void ConversionJobs::noteEnd_( const std::string& id )
{
    notifyChange();
    const std::lock_guard lock( listenersMutex_ );
    for ( const auto& [who, ended] : listeners_ )
        ended( id );
}

void ConversionJobs::tellEnds_( const std::vector<ConversionJob>& jobs )
{
    for ( const auto& job : jobs )
        tellEnd_( job.id );
}

} // namespace VX::Backend
