#include "converter/JobRows.h"

#include <spdlog/spdlog.h>

#include <string_view>

/// Which uploads are welcome, and what they count: the part of the list of conversions that the store asks.
namespace VX::Backend
{
namespace
{

constexpr size_t cIdLength = 32;
constexpr std::string_view cUploads = "uploads/";

Admission unknown( const DatabaseError& error )
{
    spdlog::error( "Conversion: {}", error.text );
    return Admission::Unknown;
}

/// The id of the job whose upload has this key; empty when it is no job's.
std::string jobOf( const std::string& key )
{
    const bool is = key.starts_with( cUploads ) && key.size() == cUploads.size() + cIdLength &&
                    key.find_first_not_of( "0123456789abcdef", cUploads.size() ) == std::string::npos;
    return is ? key.substr( cUploads.size() ) : std::string();
}

/// Asks once more where what failed jobs of the owner have left could go for it.
Admission withRoomMade( ObjectStore& store, ConversionJobs& jobs, const std::string& key, uint64_t bytes,
    const std::function<Admission()>& ask )
{
    const auto answer = ask();
    if ( answer != Admission::NoRoom )
        return answer;
    const auto left = jobs.giveUpFailed( key, bytes );
    if ( !left )
        return unknown( left.error() );
    for ( const auto& job : *left )
        store.remove( job.uploadKey() );
    return left->empty() ? answer : ask();
}

} // namespace

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

Admission ConversionJobs::countUpload( const std::string& id, uint64_t bytes )
{
    const auto counted =
        database_.execute( "UPDATE conversions SET bytes = ?1 WHERE id = ?2 AND state = ?3 AND (SELECT o.bytes FROM "
                           "conversion_owners o WHERE o.owner = conversions.owner) - bytes <= ?4 - ?1",
            { int64_t( bytes ), id, stateNumber( JobState::Created ), int64_t( limits_.bytes ) } );
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

DatabaseResult<std::vector<ConversionJob>> ConversionJobs::giveUpFailed( const std::string& key, uint64_t bytes )
{
    // Nothing goes where that would not be enough.
    return database_
        .query( "UPDATE conversions SET bytes = 0 WHERE state = ?1 AND bytes > 0 AND owner = (SELECT c.owner FROM "
                "conversions c WHERE c.id = ?2) AND (SELECT o.bytes - (SELECT sum(f.bytes) FROM conversions f WHERE "
                "f.owner = o.owner AND f.state = ?1) FROM conversion_owners o WHERE o.owner = conversions.owner) <= "
                "?3 - ?4 RETURNING " +
                    cJobColumns,
            { stateNumber( JobState::Failed ), jobOf( key ), int64_t( limits_.bytes ), int64_t( bytes ) } )
        .map( toJobs );
}

Admission ConversionJobs::noteUpload( const std::string& key, uint64_t replaced )
{
    const auto id = jobOf( key );
    if ( id.empty() )
        return Admission::Welcome;
    if ( replaced > 0 )
        forgetUpload( key, replaced );
    const auto answer = whileAwaited_( id, Admission::Welcome );
    // It goes, and with it what lay there for a job that has failed meanwhile.
    if ( answer == Admission::Gone )
        noteGone( id );
    return answer;
}

void ConversionJobs::forgetUpload( const std::string& key, uint64_t bytes )
{
    // What a job that has failed has left counts, too.
    const auto forgotten = database_.execute(
        "UPDATE conversions SET bytes = CASE WHEN bytes > ?1 THEN bytes - ?1 ELSE 0 END WHERE id = ?2 AND "
        "state <> ?3",
        { int64_t( bytes ), jobOf( key ), stateNumber( JobState::Finished ) } );
    if ( !forgotten )
        spdlog::error( "Conversion: {}", forgotten.error().text );
}

void ConversionJobs::noteGone( const std::string& id )
{
    const auto noted = database_.execute( "UPDATE conversions SET bytes = 0 WHERE id = ? AND state = ? AND bytes > 0",
        { id, stateNumber( JobState::Failed ) } );
    if ( !noted )
        spdlog::error( "Conversion: {}", noted.error().text );
}

DatabaseResult<bool> ConversionJobs::isWithinShare( const ConversionJob& job, uint64_t resultBytes )
{
    return database_
        .query( "SELECT 1 FROM conversion_owners o JOIN conversions c ON c.owner = o.owner WHERE c.id = ?1 AND "
                "o.bytes - c.bytes <= ?2 - ?3",
            { job.id, int64_t( limits_.bytes ), int64_t( resultBytes ) } )
        .map( []( const Rows& rows ) { return !rows.empty(); } );
}

Admission admitUploadInto( ObjectStore& store, ConversionJobs& jobs, const std::string& key, uint64_t bytes )
{
    return withRoomMade( store, jobs, key, bytes, [&] { return jobs.admitUpload( key, bytes ); } );
}

Admission countUploadInto( ObjectStore& store, ConversionJobs& jobs, const ConversionJob& job, uint64_t bytes )
{
    return withRoomMade( store, jobs, job.uploadKey(), bytes, [&] { return jobs.countUpload( job.id, bytes ); } );
}

} // namespace VX::Backend
