#include "converter/JobTables.h"

namespace VX::Backend
{
namespace
{

constexpr const char* cTable = "conversions";

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
                           : executeAll( database, { "UPDATE conversions SET deaths = max(attempts - (state = 2), 0)",
                                                       "UPDATE conversions SET attempts = 0 WHERE state > 2" } );
            } );
}

// The states by their numbers: 0 created, 1 queued, 2 running.
constexpr std::initializer_list<const char*> cTables = {
    "CREATE TABLE IF NOT EXISTS conversions (id TEXT PRIMARY KEY, input_format TEXT NOT NULL, state INTEGER NOT NULL, "
    "error TEXT, attempts INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL, queued INTEGER)",
    "CREATE TABLE IF NOT EXISTS conversion_owners (owner TEXT PRIMARY KEY, jobs INTEGER NOT NULL DEFAULT 0, active "
    "INTEGER NOT NULL DEFAULT 0, queued INTEGER NOT NULL DEFAULT 0, running INTEGER NOT NULL DEFAULT 0, bytes INTEGER "
    "NOT NULL DEFAULT 0, turn INTEGER NOT NULL DEFAULT 0) WITHOUT ROWID",
};

constexpr std::initializer_list<const char*> cIndexesAndSums = {
    "DROP INDEX IF EXISTS conversions_by_state",
    "CREATE INDEX IF NOT EXISTS conversions_by_age ON conversions (state, created)",
    "CREATE INDEX IF NOT EXISTS conversions_by_owner ON conversions (owner, state, queued)",
    "CREATE INDEX IF NOT EXISTS conversion_owners_queued ON conversion_owners (running, turn) WHERE queued > 0",
    "CREATE INDEX IF NOT EXISTS conversion_owners_turn ON conversion_owners (turn)",
    "CREATE TRIGGER IF NOT EXISTS conversion_added AFTER INSERT ON conversions BEGIN "
    "INSERT INTO conversion_owners (owner) VALUES (new.owner) ON CONFLICT DO NOTHING; "
    "UPDATE conversion_owners SET jobs = jobs + 1, active = active + (new.state < 3), queued = queued + (new.state = "
    "1), running = running + (new.state = 2), bytes = bytes + new.bytes WHERE owner = new.owner; END",
    "CREATE TRIGGER IF NOT EXISTS conversion_changed AFTER UPDATE ON conversions BEGIN "
    "UPDATE conversion_owners SET active = active + (new.state < 3) - (old.state < 3), queued = queued + (new.state = "
    "1) - (old.state = 1), running = running + (new.state = 2) - (old.state = 2), bytes = bytes + new.bytes - "
    "old.bytes WHERE owner = new.owner; END",
    "CREATE TRIGGER IF NOT EXISTS conversion_removed AFTER DELETE ON conversions BEGIN "
    "UPDATE conversion_owners SET jobs = jobs - 1, active = active - (old.state < 3), queued = queued - (old.state = "
    "1), running = running - (old.state = 2), bytes = bytes - old.bytes WHERE owner = old.owner; "
    "DELETE FROM conversion_owners WHERE owner = old.owner AND jobs = 0; END",
    "DELETE FROM conversion_owners",
    "INSERT INTO conversion_owners (owner, jobs, active, queued, running, bytes) SELECT owner, count(*), sum(state < "
    "3), sum(state = 1), sum(state = 2), sum(bytes) FROM conversions GROUP BY owner",
};

} // namespace

DatabaseResult<void> prepareJobTables( Database& database )
{
    Database::Transaction transaction( database );
    return executeAll( database, cTables )
        .and_then( [&] { return addColumn( database, cTable, "owner", "TEXT NOT NULL DEFAULT ''" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "bytes", "INTEGER NOT NULL DEFAULT 0" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "ended", "INTEGER" ); } )
        .and_then( [&]( bool ) { return addColumn( database, cTable, "request", "TEXT" ); } )
        .and_then( [&]( bool ) { return addLeases( database ); } )
        .and_then( [&] { return executeAll( database, cIndexesAndSums ); } )
        .and_then( [&] { return transaction.commit(); } );
}

} // namespace VX::Backend
