#include "converter/JobCommands.h"

#include "clock/SystemTime.h"
#include "converter/ConversionJobs.h"
#include "storage/s3/KeptObjects.h"
#include "text/ExitStatus.h"

#include <VXMesh/io/Text.h>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <iostream>

namespace VX::Backend
{
namespace
{

using Result = tl::expected<void, std::string>;

// What clients are told of a conversion that was canceled.
constexpr const char* cCanceled = "The operator of the conversion service has stopped this conversion";
constexpr const char* cColumns =
    "SELECT id, state, owner, created, bytes, attempts, deaths, input_format, queued, ended, error, taker, lease_until "
    "FROM conversions ";

/// What one command works with.
struct Desk
{
    const JobCommand& command;
    Database& database;
    ConversionJobs& jobs;
    const KeptObjects& objects;
    int64_t now;
};

const char* nameOf( JobState state )
{
    constexpr std::array cNames = { "created", "queued", "running", "finished", "failed" };
    const auto index = size_t( state );
    return index < cNames.size() ? cNames[index] : "unknown";
}

JobState stateOf( const SqlRow& row )
{
    return JobState( integerOf( row[1] ) );
}

std::string ageOf( const SqlRow& row, int64_t now )
{
    const auto seconds = std::max<int64_t>( now - integerOf( row[3] ), 0 );
    return fmt::format( "{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60 );
}

std::string timeOf( const SqlValue& value )
{
    const auto seconds = integerOf( value );
    return seconds == 0
               ? std::string( "-" )
               : fmt::format( "{:%Y-%m-%d %H:%M:%S}", std::chrono::sys_seconds( std::chrono::seconds( seconds ) ) );
}

/// The bytes of the upload that is there still; nothing where there is none.
tl::expected<std::optional<uint64_t>, std::string> inputOf( const Desk& desk, const std::string& id )
{
    ConversionJob job;
    job.id = id;
    return desk.objects.sizeOf( job.uploadKey() );
}

/// What a conversion holds: what is counted for it, or an upload that a failed one has left in the folder.
uint64_t bytesOf( const Desk& desk, const SqlRow& row )
{
    const auto counted = uint64_t( integerOf( row[4] ) );
    if ( desk.objects.inBucket() )
        return counted;
    return std::max( counted, inputOf( desk, textOf( row[0] ) ).value_or( std::nullopt ).value_or( 0 ) );
}

std::string uploadText( const Desk& desk, const std::string& id )
{
    const auto input = inputOf( desk, id );
    if ( !input )
        return "unknown: " + input.error();
    return *input ? "there" : "gone";
}

Result list( const Desk& desk )
{
    const auto rows = desk.database.query( std::string( cColumns ) + "ORDER BY created, rowid" );
    if ( !rows )
        return tl::unexpected( rows.error().text );
    for ( const auto& row : *rows )
        std::cout << fmt::format( "{} {:<8} {:<36} {:>9} {:>12} {:>3}\n", textOf( row[0] ), nameOf( stateOf( row ) ),
            visibleText( textOf( row[2] ) ), ageOf( row, desk.now ), bytesOf( desk, row ), integerOf( row[5] ) );
    return {};
}

tl::expected<SqlRow, std::string> find( const Desk& desk )
{
    const auto rows = desk.database.query( std::string( cColumns ) + "WHERE id = ?", { desk.command.id } );
    if ( !rows )
        return tl::unexpected( rows.error().text );
    if ( rows->empty() )
        return tl::unexpected( "There is no conversion \"" + desk.command.id + "\"" );
    return rows->front();
}

Result show( const Desk& desk )
{
    return find( desk ).map(
        [&]( const SqlRow& row )
        {
            const auto line = []( const char* name, const auto& value )
            { std::cout << fmt::format( "{:<9} {}\n", name, value ); };
            line( "id", textOf( row[0] ) );
            line( "state", nameOf( stateOf( row ) ) );
            line( "owner", visibleText( textOf( row[2] ) ) );
            line( "format", visibleText( textOf( row[7] ) ) );
            line( "created", timeOf( row[3] ) );
            line( "queued", timeOf( row[8] ) );
            line( "ended", timeOf( row[9] ) );
            line( "bytes", bytesOf( desk, row ) );
            line( "upload", uploadText( desk, textOf( row[0] ) ) );
            line( "attempts", integerOf( row[5] ) );
            line( "deaths", integerOf( row[6] ) );
            if ( stateOf( row ) == JobState::Running )
                line( "runs", textOf( row[11] ) + " until " + timeOf( row[12] ) + ", and longer while it lives" );
            if ( stateOf( row ) == JobState::Failed )
                line( "error", visibleText( textOf( row[10] ) ) );
        } );
}

/// What a change has come to; the text is for a job in another state than it needs.
Result doneOr( const Desk& desk, const DatabaseResult<bool>& changed, const char* otherwise )
{
    if ( !changed )
        return tl::unexpected( changed.error().text );
    if ( *changed )
        return {};
    return find( desk ).and_then( [&]( const SqlRow& row )
        { return Result( tl::unexpected( fmt::format( "{}; it is {}", otherwise, nameOf( stateOf( row ) ) ) ) ); } );
}

Result retry( const Desk& desk )
{
    const auto input = inputOf( desk, desk.command.id );
    const auto found = find( desk );
    if ( !found )
        return tl::unexpected( found.error() );
    if ( !input )
        return tl::unexpected( input.error() );
    if ( !*input && stateOf( *found ) == JobState::Failed )
        return tl::unexpected( std::string( "Its upload is gone; the file has to be opened again" ) );
    return doneOr( desk, desk.jobs.retry( desk.command.id, input->value_or( 0 ) ),
        "Only a conversion that has failed can be tried again" )
        .map( [] { std::cout << "It is tried again by the running service, or the next one\n"; } );
}

Result cancel( const Desk& desk )
{
    return doneOr(
        desk, desk.jobs.cancel( desk.command.id, cCanceled ), "Only a conversion that waits or runs can be canceled" )
        .map( [] { std::cout << "It is canceled; a worker that has it ends within a second\n"; } );
}

Result run( const JobCommand& command )
{
    const auto database = openExistingMain( command );
    if ( !database )
        return tl::unexpected( database.error() );
    ConversionJobs jobs( **database, systemTime );
    const KeptObjects objects( command.data, command.bucket );
    const Desk desk{ command, **database, jobs, objects, int64_t( systemTime().time_since_epoch().count() ) };
    switch ( command.action )
    {
    case JobCommand::Action::List:
        return list( desk );
    case JobCommand::Action::Show:
        return show( desk );
    case JobCommand::Action::Retry:
        return retry( desk );
    case JobCommand::Action::Cancel:
        break;
    }
    return cancel( desk );
}

} // namespace

int runJobCommand( const JobCommand& command )
{
    return exitStatusOf( run( command ) );
}

} // namespace VX::Backend
