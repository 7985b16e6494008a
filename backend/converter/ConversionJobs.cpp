#include "converter/ConversionJobs.h"

#include "converter/JobTables.h"
#include "crypto/Hex.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

constexpr int64_t cMaxDeaths = 3;
constexpr size_t cIdBytes = 16;
constexpr const char* cCutOff =
    "The conversion service broke down three times during this conversion; the file may be too large";
constexpr const char* cNoTurn = "No converter was free for this file in time; open the file again later";

constexpr std::string_view cUploads = "uploads/";
const std::string cColumns = "id, input_format, state, error, owner";

int64_t stateNumber( JobState state )
{
    return int64_t( state );
}

ConversionJob toJob( const SqlRow& row )
{
    return { textOf( row[0] ), textOf( row[1] ), JobState( integerOf( row[2] ) ), textOf( row[3] ), textOf( row[4] ) };
}

using Rows = std::vector<SqlRow>;

std::optional<ConversionJob> onlyOf( const Rows& rows )
{
    return rows.empty() ? std::nullopt : std::optional( toJob( rows.front() ) );
}

Admission unknown( const DatabaseError& error )
{
    spdlog::error( "Conversion: {}", error.text );
    return Admission::Unknown;
}

/// The id of the job whose upload has this key; empty when it is no job's.
std::string jobOf( const std::string& key )
{
    const bool is = key.starts_with( cUploads ) && key.size() == cUploads.size() + 2 * cIdBytes &&
                    key.find_first_not_of( "0123456789abcdef", cUploads.size() ) == std::string::npos;
    return is ? key.substr( cUploads.size() ) : std::string();
}

} // namespace

DatabaseResult<void> ConversionJobs::prepare( Database& database )
{
    return prepareJobTables( database );
}

ConversionJobs::ConversionJobs( Database& database, Clock clock, JobLimits limits )
    : database_( database )
    , clock_( std::move( clock ) )
    , limits_( limits )
{
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::create(
    const std::string& inputFormat, const std::string& owner )
{
    const ConversionJob job{ randomHex( cIdBytes ), inputFormat, JobState::Created, {}, owner };
    return database_
        .execute( "INSERT INTO conversions (id, input_format, state, created, owner) SELECT ?1, ?2, ?3, ?4, ?5 WHERE "
                  "NOT EXISTS (SELECT 1 FROM conversion_owners WHERE owner = ?5 AND (active >= ?6 OR jobs >= ?7))",
            { job.id, inputFormat, stateNumber( JobState::Created ), now_(), owner, limits_.atOnce, limits_.kept } )
        .map( [&]( int added ) { return added > 0 ? std::optional( job ) : std::nullopt; } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::find( const std::string& id )
{
    return database_.query( "SELECT " + cColumns + " FROM conversions WHERE id = ?", { id } ).map( onlyOf );
}

DatabaseResult<bool> ConversionJobs::queue( const std::string& id )
{
    const auto changed = database_.execute( "UPDATE conversions SET state = ?, queued = ? WHERE id = ? AND state = ?",
        { stateNumber( JobState::Queued ), now_(), id, stateNumber( JobState::Created ) } );
    notifyChange();
    return changed.map( []( int rows ) { return rows > 0; } );
}

Admission ConversionJobs::admitUpload( const std::string& key, uint64_t bytes )
{
    const auto id = jobOf( key );
    if ( id.empty() )
        return Admission::Welcome;
    const auto counted =
        database_.execute( "UPDATE conversions SET bytes = bytes + ?1 WHERE id = ?2 AND state < ?3 AND (SELECT o.bytes "
                           "FROM conversion_owners o WHERE o.owner = conversions.owner) <= ?4 - ?1",
            { int64_t( bytes ), id, stateNumber( JobState::Finished ), int64_t( limits_.bytes ) } );
    if ( counted && *counted > 0 )
        return Admission::Welcome;
    return counted ? whileAwaited_( id, Admission::NoRoom ) : unknown( counted.error() );
}

Admission ConversionJobs::whileAwaited_( const std::string& id, Admission answer )
{
    const auto job = find( id );
    if ( !job )
        return unknown( job.error() );
    return *job && ( *job )->state < JobState::Finished ? answer : Admission::Gone;
}

Admission ConversionJobs::noteUpload( const std::string& key, uint64_t replaced )
{
    const auto id = jobOf( key );
    if ( id.empty() )
        return Admission::Welcome;
    if ( replaced > 0 )
        forgetUpload( key, replaced );
    return whileAwaited_( id, Admission::Welcome );
}

void ConversionJobs::forgetUpload( const std::string& key, uint64_t bytes )
{
    const auto forgotten =
        database_.execute( "UPDATE conversions SET bytes = max(bytes - ?, 0) WHERE id = ? AND state < ?",
            { int64_t( bytes ), jobOf( key ), stateNumber( JobState::Finished ) } );
    if ( !forgotten )
        spdlog::error( "Conversion: {}", forgotten.error().text );
}

DatabaseResult<bool> ConversionJobs::isWithinShare( const ConversionJob& job, uint64_t resultBytes )
{
    return database_
        .query( "SELECT 1 FROM conversion_owners o JOIN conversions c ON c.owner = o.owner WHERE c.id = ?1 AND "
                "o.bytes - c.bytes <= ?2 - ?3",
            { job.id, int64_t( limits_.bytes ), int64_t( resultBytes ) } )
        .map( []( const Rows& rows ) { return !rows.empty(); } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::take()
{
    const auto waiting = database_.query( "SELECT 1 FROM conversion_owners WHERE queued > 0 LIMIT 1" );
    if ( !waiting )
        return tl::unexpected( waiting.error() );
    if ( waiting->empty() )
        return std::nullopt;
    Database::Transaction transaction( database_ );
    const auto job = database_
                         .query( "UPDATE conversions SET state = ?1, attempts = attempts + 1 WHERE id = (SELECT c.id "
                                 "FROM conversions c WHERE c.state = ?2 AND c.owner = (SELECT o.owner FROM "
                                 "conversion_owners o WHERE o.queued > 0 ORDER BY o.running, o.turn, (SELECT "
                                 "min(w.queued) FROM conversions w WHERE w.owner = o.owner AND w.state = ?2) LIMIT 1) "
                                 "ORDER BY c.queued, c.rowid LIMIT 1) RETURNING " +
                                     cColumns,
                             { stateNumber( JobState::Running ), stateNumber( JobState::Queued ) } )
                         .map( onlyOf );
    if ( !job || !*job )
        return job;
    const auto turned = database_.execute(
        "UPDATE conversion_owners SET turn = (SELECT max(turn) FROM conversion_owners) + 1 WHERE owner = ?",
        { ( *job )->owner } );
    return turned.and_then( [&]( int ) { return transaction.commit(); } ).map( [&] { return *job; } );
}

DatabaseResult<void> ConversionJobs::giveBack( const std::string& id )
{
    const auto changed =
        database_.execute( "UPDATE conversions SET state = ?, attempts = attempts - 1 WHERE id = ? AND state = ?",
            { stateNumber( JobState::Queued ), id, stateNumber( JobState::Running ) } );
    notifyChange();
    return changed.map( []( int ) {} );
}

DatabaseResult<void> ConversionJobs::end_(
    const std::string& id, JobState state, const SqlValue& error, uint64_t bytes )
{
    const auto changed =
        database_.execute( "UPDATE conversions SET state = ?, error = ?, bytes = ?, ended = ? WHERE id = ?",
            { stateNumber( state ), error, int64_t( bytes ), now_(), id } );
    notifyChange();
    return changed.map( []( int ) {} );
}

DatabaseResult<void> ConversionJobs::finish( const std::string& id, uint64_t resultBytes )
{
    return end_( id, JobState::Finished, nullptr, resultBytes );
}

DatabaseResult<void> ConversionJobs::fail( const std::string& id, const std::string& error )
{
    return end_( id, JobState::Failed, error, 0 );
}

DatabaseResult<void> ConversionJobs::recover()
{
    return database_
        .execute( "UPDATE conversions SET state = ?, error = ?, bytes = 0, ended = ? WHERE state = ? AND attempts >= ?",
            { stateNumber( JobState::Failed ), std::string( cCutOff ), now_(), stateNumber( JobState::Running ),
                cMaxDeaths } )
        .and_then(
            [&]( int )
            {
                return database_.execute( "UPDATE conversions SET state = ? WHERE state = ?",
                    { stateNumber( JobState::Queued ), stateNumber( JobState::Running ) } );
            } )
        .map( []( int ) {} );
}

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::expire( std::chrono::seconds age )
{
    const int64_t limit = now_() - age.count();
    std::vector<ConversionJob> out;
    const auto collect = [&]( const Rows& rows )
    {
        for ( const auto& row : rows )
            out.push_back( toJob( row ) );
    };
    const auto late = database_
                          .query( "UPDATE conversions SET state = ?, error = ?, bytes = 0, ended = ? WHERE state = ? "
                                  "AND created < ? RETURNING " +
                                      cColumns,
                              { stateNumber( JobState::Failed ), std::string( cNoTurn ), now_(),
                                  stateNumber( JobState::Queued ), limit } )
                          .map( collect );
    if ( late && !out.empty() )
        notifyChange();
    return late
        .and_then(
            [&]
            {
                return database_.query( "DELETE FROM conversions WHERE state IN (?1, ?2, ?3) AND created < ?4 AND "
                                        "coalesce(ended, created) < ?4 RETURNING " +
                                            cColumns,
                    { stateNumber( JobState::Created ), stateNumber( JobState::Finished ),
                        stateNumber( JobState::Failed ), limit } );
            } )
        .map( collect )
        .map( [&] { return std::move( out ); } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::expireOldest( const std::optional<std::string>& owner )
{
    const auto created = stateNumber( JobState::Created ), finished = stateNumber( JobState::Finished );
    const auto whose = owner ? DatabaseResult<Rows>( Rows{ { *owner } } )
                             : database_.query( "SELECT owner FROM conversion_owners o WHERE bytes > 0 AND EXISTS "
                                                "(SELECT 1 FROM conversions c WHERE c.owner = o.owner AND c.state IN "
                                                "(?, ?) AND c.bytes > 0) ORDER BY bytes DESC LIMIT 1",
                                   { created, finished } );
    if ( !whose )
        return tl::unexpected( whose.error() );
    if ( whose->empty() )
        return std::nullopt;
    return database_
        .query( "DELETE FROM conversions WHERE id = (SELECT id FROM conversions WHERE owner = ?1 AND state IN (?2, ?3) "
                "AND bytes > 0 ORDER BY state DESC, created, rowid LIMIT 1) RETURNING " +
                    cColumns,
            { whose->front()[0], created, finished } )
        .map( onlyOf );
}

void ConversionJobs::waitForChange( std::chrono::milliseconds most )
{
    std::unique_lock lock( mutex_ );
    const auto seen = changes_;
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

} // namespace VX::Backend
