#include "database/Schema.h"
#include "statistics/StatsStore.h"

namespace VX::Backend
{
namespace
{

// Rows that are in memory at a time.
constexpr int64_t cAtOnce = 10000;

/// Copies a table by its row numbers.
DatabaseResult<void> copyTable( Database& from, Database& to, const std::string& select, const std::string& insert )
{
    int64_t last = INT64_MIN;
    while ( true )
    {
        const auto rows = from.query( select, { last, cAtOnce } );
        if ( !rows )
            return tl::unexpected( rows.error() );
        if ( rows->empty() )
            return {};
        for ( const auto& row : *rows )
            if ( const auto kept = to.execute( insert, { row.begin() + 1, row.end() } ); !kept )
                return tl::unexpected( kept.error() );
        last = integerOf( rows->back()[0] );
    }
}

/// Once: the note that it is done is of the same transaction.
DatabaseResult<void> copyAll( Database& from, Database& to )
{
    const auto noted = to.query( "PRAGMA user_version" );
    if ( !noted )
        return tl::unexpected( noted.error() );
    if ( integerOf( noted->front()[0] ) > 0 )
        return {};
    Database::Transaction transaction( to );
    return copyTable( from, to,
        "SELECT rowid, id, user, created, platform, version FROM stats_sessions WHERE rowid > ? ORDER BY rowid LIMIT ?",
        "INSERT OR IGNORE INTO stats_sessions(id, user, created, platform, version) VALUES(?, ?, ?, ?, ?)" )
        .and_then(
            [&]
            {
                return copyTable( from, to,
                    "SELECT rowid, session, name, at, stored FROM stats_actions WHERE rowid > ? ORDER BY rowid LIMIT ?",
                    "INSERT INTO stats_actions VALUES(?, ?, ?, ?)" );
            } )
        .and_then( [&] { return executeAll( to, { "PRAGMA user_version = 1" } ); } )
        .and_then( [&] { return transaction.commit(); } );
}

} // namespace

DatabaseResult<void> StatsStore::takeOver( Database& earlier )
{
    const auto isThere = hasTable( earlier, "stats_sessions" );
    if ( !isThere )
        return tl::unexpected( isThere.error() );
    if ( !*isThere )
        return {};
    return copyAll( earlier, database_ )
        .and_then(
            [&]
            {
                return executeAll(
                    earlier, { "DROP TABLE IF EXISTS stats_actions", "DROP TABLE IF EXISTS stats_sessions" } );
            } );
}

} // namespace VX::Backend
