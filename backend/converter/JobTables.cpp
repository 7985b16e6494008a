#include "converter/JobTables.h"

#include "database/Schema.h"

#include <string>
#include <utility>

namespace VX::Backend
{
namespace
{

constexpr const char* cTable = "conversions";

// The states by their numbers: 0 created, 1 queued, 2 running.
DatabaseResult<void> makeOurTables( Database& database )
{
    return makeTables(
        database, { { cTable,
                        "id TEXT PRIMARY KEY, input_format TEXT NOT NULL, state INTEGER NOT NULL, error TEXT, "
                        "attempts INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL, queued INTEGER",
                        RowNumbers::Kept },
                      { "conversion_owners",
                          "owner TEXT PRIMARY KEY, jobs INTEGER NOT NULL DEFAULT 0, active INTEGER NOT NULL DEFAULT 0, "
                          "queued INTEGER NOT NULL DEFAULT 0, running INTEGER NOT NULL DEFAULT 0, "
                          "bytes INTEGER NOT NULL DEFAULT 0, turn INTEGER NOT NULL DEFAULT 0" } } );
}

/// Leases, fences and deaths. Before, the count of attempts was that of the deaths and of what ran, and results had no
/// attempt in their keys.
DatabaseResult<void> addLeases( Database& database )
{
    return addColumn( database, cTable, "taker", "TEXT NOT NULL DEFAULT ''" )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "lease_until", "INTEGER NOT NULL DEFAULT 0" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "deaths", "INTEGER NOT NULL DEFAULT 0" ); } )
        .and_then(
            [&]( bool added )
            {
                return !added
                           ? DatabaseResult<void>()
                           : executeAll( database,
                                 { "UPDATE conversions SET deaths = attempts - CASE WHEN state = 2 THEN 1 ELSE 0 END "
                                   "WHERE attempts > 0",
                                     "UPDATE conversions SET attempts = 0 WHERE state > 2" } );
            } );
}

/// 1 where it holds; a condition is no number to all engines.
std::string one( const std::string& condition )
{
    return "CASE WHEN " + condition + " THEN 1 ELSE 0 END";
}

/// What rows put into the sums of their owner, as "+ new" and "- old" of them.
std::string sums( const std::initializer_list<std::pair<const char*, const char*>>& rows )
{
    std::string active = "active = active", queued = ", queued = queued", running = ", running = running",
                bytes = ", bytes = bytes";
    for ( const auto& [sign, row] : rows )
    {
        const std::string of = row;
        active += sign + one( of + ".state < 3" );
        queued += sign + one( of + ".state = 1" );
        running += sign + one( of + ".state = 2" );
        bytes += sign + of + ".bytes";
    }
    return active + queued + running + bytes;
}

DatabaseResult<void> makeTriggers( Database& database )
{
    const std::string of = "UPDATE conversion_owners SET ";
    const auto added = "INSERT INTO conversion_owners (owner) VALUES (new.owner) ON CONFLICT DO NOTHING; " + of +
                       "jobs = jobs + 1, " + sums( { { " + ", "new" } } ) + " WHERE owner = new.owner;";
    const auto changed = of + sums( { { " + ", "new" }, { " - ", "old" } } ) + " WHERE owner = new.owner;";
    const auto removed =
        of + "jobs = jobs - 1, " + sums( { { " - ", "old" } } ) +
        " WHERE owner = old.owner; DELETE FROM conversion_owners WHERE owner = old.owner AND jobs = 0;";
    return makeTrigger( database, { "conversion_added", "INSERT", cTable, added } )
        .and_then( [&]
            { return makeTrigger( database, { "conversion_changed", "UPDATE OF state, bytes", cTable, changed } ); } )
        .and_then( [&] { return makeTrigger( database, { "conversion_removed", "DELETE", cTable, removed } ); } );
}

constexpr std::initializer_list<const char*> cIndexes = {
    "DROP INDEX IF EXISTS conversions_by_state",
    "CREATE INDEX IF NOT EXISTS conversions_by_age ON conversions (state, created)",
    "CREATE INDEX IF NOT EXISTS conversions_by_owner ON conversions (owner, state, queued)",
    "CREATE INDEX IF NOT EXISTS conversion_owners_queued ON conversion_owners (running, turn) WHERE queued > 0",
    "CREATE INDEX IF NOT EXISTS conversion_owners_turn ON conversion_owners (turn)",
};

constexpr std::initializer_list<const char*> cSums = {
    "DELETE FROM conversion_owners",
    "INSERT INTO conversion_owners (owner, jobs, active, queued, running, bytes) SELECT owner, count(*), count(*) "
    "FILTER (WHERE state < 3), count(*) FILTER (WHERE state = 1), count(*) FILTER (WHERE state = 2), sum(bytes) FROM "
    "conversions GROUP BY owner",
};

} // namespace

DatabaseResult<void> prepareJobTables( Database& database )
{
    Database::Transaction transaction( database );
    return makeOurTables( database )
        .and_then( [&] { return addColumn( database, cTable, "owner", "TEXT NOT NULL DEFAULT ''" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "bytes", "INTEGER NOT NULL DEFAULT 0" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "ended", "INTEGER" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "request", "TEXT" ); } )
        .and_then( [&]( bool ) { return addLeases( database ); } )
        .and_then( [&] { return makeTriggers( database ); } )
        .and_then( [&] { return executeAll( database, cIndexes ); } )
        .and_then( [&] { return lockTable( database, cTable ); } )
        .and_then( [&] { return executeAll( database, cSums ); } )
        .and_then( [&] { return transaction.commit(); } );
}

} // namespace VX::Backend
