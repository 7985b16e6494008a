#include "converter/ConversionJobs.h"

#include "crypto/Hex.h"

namespace VX::Backend
{
namespace
{

constexpr int cMaxAttempts = 2;
constexpr size_t cIdBytes = 16;

int64_t stateNumber( JobState state )
{
    return int64_t( state );
}

ConversionJob toJob( const SqlRow& row )
{
    return { textOf( row[0] ), textOf( row[1] ), JobState( integerOf( row[2] ) ), textOf( row[3] ) };
}

using Rows = std::vector<SqlRow>;

std::optional<ConversionJob> onlyOf( const Rows& rows )
{
    return rows.empty() ? std::nullopt : std::optional( toJob( rows.front() ) );
}

} // namespace

DatabaseResult<void> ConversionJobs::prepare( Database& database )
{
    return executeAll( database,
        { "CREATE TABLE IF NOT EXISTS conversions (id TEXT PRIMARY KEY, input_format TEXT NOT NULL, "
          "state INTEGER NOT NULL, error TEXT, attempts INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL, "
          "queued INTEGER)",
            "CREATE INDEX IF NOT EXISTS conversions_by_state ON conversions (state, queued)" } );
}

ConversionJobs::ConversionJobs( Database& database, Clock clock )
    : database_( database )
    , clock_( std::move( clock ) )
{
}

DatabaseResult<ConversionJob> ConversionJobs::create( const std::string& inputFormat )
{
    const ConversionJob job{ randomHex( cIdBytes ), inputFormat, JobState::Created, {} };
    return database_
        .execute( "INSERT INTO conversions (id, input_format, state, created) VALUES (?, ?, ?, ?)",
            { job.id, inputFormat, stateNumber( JobState::Created ), int64_t( clock_().time_since_epoch().count() ) } )
        .map( [&]( int ) { return job; } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::find( const std::string& id )
{
    return database_.query( "SELECT id, input_format, state, error FROM conversions WHERE id = ?", { id } )
        .map( onlyOf );
}

DatabaseResult<bool> ConversionJobs::queue( const std::string& id )
{
    const auto changed = database_.execute( "UPDATE conversions SET state = ?, queued = ? WHERE id = ? AND state = ?",
        { stateNumber( JobState::Queued ), int64_t( clock_().time_since_epoch().count() ), id,
            stateNumber( JobState::Created ) } );
    notifyChange();
    return changed.map( []( int rows ) { return rows > 0; } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::take()
{
    return database_
        .query( "UPDATE conversions SET state = ?, attempts = attempts + 1 WHERE id = "
                "(SELECT id FROM conversions WHERE state = ? ORDER BY queued, rowid LIMIT 1) "
                "RETURNING id, input_format, state, error",
            { stateNumber( JobState::Running ), stateNumber( JobState::Queued ) } )
        .map( onlyOf );
}

DatabaseResult<void> ConversionJobs::end_( const std::string& id, JobState state, const SqlValue& error )
{
    const auto changed = database_.execute(
        "UPDATE conversions SET state = ?, error = ? WHERE id = ?", { stateNumber( state ), error, id } );
    notifyChange();
    return changed.map( []( int ) {} );
}

DatabaseResult<void> ConversionJobs::finish( const std::string& id )
{
    return end_( id, JobState::Finished, nullptr );
}

DatabaseResult<void> ConversionJobs::fail( const std::string& id, const std::string& error )
{
    return end_( id, JobState::Failed, error );
}

DatabaseResult<void> ConversionJobs::recover()
{
    return database_
        .execute( "UPDATE conversions SET state = ?, error = ? WHERE state = ? AND attempts >= ?",
            { stateNumber( JobState::Failed ),
                std::string( "The conversion was interrupted twice; the file may be too large" ),
                stateNumber( JobState::Running ), int64_t( cMaxAttempts ) } )
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
    return database_
        .query( "DELETE FROM conversions WHERE created < ? AND state != ? RETURNING id, input_format, state, error",
            { int64_t( ( clock_() - age ).time_since_epoch().count() ), stateNumber( JobState::Running ) } )
        .map(
            []( const Rows& rows )
            {
                std::vector<ConversionJob> out;
                for ( const auto& row : rows )
                    out.push_back( toJob( row ) );
                return out;
            } );
}

DatabaseResult<std::optional<ConversionJob>> ConversionJobs::expireOldest()
{
    return database_
        .query( "DELETE FROM conversions WHERE id = (SELECT id FROM conversions WHERE state NOT "
                "IN (?, ?) ORDER BY created, rowid LIMIT 1) RETURNING id, input_format, state, error",
            { stateNumber( JobState::Queued ), stateNumber( JobState::Running ) } )
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
