#include "statistics/StatsStore.h"

#include "database/Schema.h"

#include <sodium.h>
#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cMostRemembered = 100000;

/// A number that nobody can guess and every JSON reader can hold.
int64_t randomSession()
{
    constexpr uint64_t cLargest = ( uint64_t( 1 ) << 53 ) - 1;
    uint64_t out = 0;
    do
    {
        randombytes_buf( &out, sizeof out );
        out &= cLargest;
    } while ( out == 0 );
    return int64_t( out );
}

} // namespace

StatsStore::StatsStore( Database& database, Clock clock )
    : database_( database )
    , clock_( std::move( clock ) )
{
    const auto made =
        makeTables( database_,
            { { "stats_sessions",
                  "id INTEGER PRIMARY KEY, \"user\" TEXT NOT NULL, created INTEGER NOT NULL, platform TEXT NOT NULL "
                  "DEFAULT '', version TEXT NOT NULL DEFAULT ''",
                  RowNumbers::Kept },
                { "stats_actions",
                    "session INTEGER NOT NULL, name TEXT NOT NULL, at INTEGER NOT NULL, stored INTEGER NOT NULL",
                    RowNumbers::Kept } } )
            .and_then(
                [&] { return addColumn( database_, "stats_sessions", "code_key", "TEXT NOT NULL DEFAULT ''" ); } )
            .and_then(
                [&]( bool )
                {
                    return executeAll( database_,
                        { "CREATE INDEX IF NOT EXISTS stats_sessions_created ON stats_sessions(created)",
                            "CREATE INDEX IF NOT EXISTS stats_actions_stored ON stats_actions(stored)",
                            "CREATE INDEX IF NOT EXISTS stats_sessions_unmarked ON stats_sessions(id) WHERE code_key = "
                            "''" } );
                } );
    if ( !made )
        spdlog::error( "Statistics: {}", made.error().text );
}

void StatsStore::useKey( const std::string& mark )
{
    keyMark_ = mark;
    if ( const auto noted = database_.execute( "UPDATE stats_sessions SET code_key = ? WHERE code_key = ''", { mark } );
        !noted )
        spdlog::error( "Statistics: {}", noted.error().text );
}

uint64_t StatsStore::size()
{
    return uint64_t( sizeOf( database_ ).value_or( 0 ) );
}

std::vector<Stored> StatsStore::store( const std::vector<Report>& reports )
{
    std::vector<Stored> out;
    out.reserve( reports.size() );
    Database::Transaction transaction( database_ );
    for ( const auto& report : reports )
        out.push_back( std::visit( [this]( const auto& value ) { return store_( value ); }, report ) );
    if ( const auto kept = transaction.commit(); !kept )
    {
        // What is remembered of a session that was taken back harms nobody: its number was told to nobody.
        spdlog::error( "Statistics: {}", kept.error().text );
        out.clear();
    }
    return out;
}

Stored StatsStore::store_( const NewSession& report )
{
    const auto id = randomSession();
    // What cannot be written fails the transaction.
    (void)database_.execute( "INSERT INTO stats_sessions(id, \"user\", created, code_key) VALUES(?, ?, ?, ?)",
        { id, report.user, int64_t( clock_().time_since_epoch().count() ), keyMark_ } );
    if ( users_.size() >= cMostRemembered )
        users_.clear();
    users_[id] = report.user;
    return { true, id };
}

const std::string& StatsStore::userOf_( int64_t session )
{
    static const std::string sNobody;
    if ( const auto found = users_.find( session ); found != users_.end() )
        return found->second;
    const auto rows = database_.query( "SELECT \"user\" FROM stats_sessions WHERE id = ?", { session } );
    if ( !rows || rows->empty() )
        return sNobody;
    if ( users_.size() >= cMostRemembered )
        users_.clear();
    return users_[session] = textOf( rows->front()[0] );
}

Stored StatsStore::store_( const ReportedActions& report )
{
    const auto& user = userOf_( report.session );
    if ( user.empty() || user != report.user )
        return { false, 0 };
    const auto now = int64_t( clock_().time_since_epoch().count() );
    for ( const auto& action : report.actions )
        (void)database_.execute(
            "INSERT INTO stats_actions VALUES(?, ?, ?, ?)", { report.session, action.name, action.at, now } );
    return {};
}

Stored StatsStore::store_( const ReportedPlatform& report )
{
    if ( userOf_( report.session ).empty() )
        return { false, 0 };
    (void)database_.execute( "UPDATE stats_sessions SET platform = ?, version = ? WHERE id = ?",
        { report.platform, report.version, report.session } );
    return {};
}

void StatsStore::forget( std::chrono::seconds age )
{
    const auto before = int64_t( ( clock_() - age ).time_since_epoch().count() );
    Database::Transaction transaction( database_ );
    (void)database_.execute( "DELETE FROM stats_actions WHERE stored < ?", { before } );
    (void)database_.execute( "DELETE FROM stats_sessions WHERE created < ?", { before } );
    if ( const auto kept = transaction.commit(); !kept )
        return spdlog::error( "Statistics: {}", kept.error().text );
    users_.clear();
}

} // namespace VX::Backend
