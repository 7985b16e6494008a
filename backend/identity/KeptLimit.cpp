#include "identity/KeptLimit.h"

#include "database/Schema.h"

namespace VX::Backend
{
namespace
{

constexpr int64_t cMostKeys = 100'000;

} // namespace

DatabaseResult<void> KeptLimit::prepare( Database& database )
{
    return makeTable( database, { "kept_limits", "name TEXT NOT NULL, key TEXT NOT NULL, events INTEGER NOT NULL, ends "
                                                 "INTEGER NOT NULL, PRIMARY KEY(name, key)" } )
        .and_then(
            [&]
            {
                return executeAll( database, { "CREATE INDEX IF NOT EXISTS kept_limits_ends ON kept_limits(ends)" } );
            } );
}

DatabaseResult<void> KeptLimit::clean( Database& database, std::chrono::sys_seconds now )
{
    return database.execute( "DELETE FROM kept_limits WHERE ends <= ?", { int64_t( now.time_since_epoch().count() ) } )
        .and_then(
            [&]( int )
            {
                return database.execute( "DELETE FROM kept_limits WHERE ends < (SELECT ends FROM kept_limits ORDER BY "
                                         "ends DESC LIMIT 1 OFFSET ?)",
                    { cMostKeys } );
            } )
        .map( []( int ) {} );
}

KeptLimit::KeptLimit( Database& database, std::string name, int64_t most, std::chrono::seconds span, Clock clock )
    : database_( database )
    , name_( std::move( name ) )
    , most_( most )
    , span_( span.count() )
    , clock_( std::move( clock ) )
{
}

DatabaseResult<bool> KeptLimit::isSpent( const std::string& key ) const
{
    if ( key.empty() )
        return false;
    const auto now = now_();
    // One that ends too late is of a clock that was set back.
    return database_
        .query( "SELECT 1 FROM kept_limits WHERE name = ? AND key = ? AND events >= ? AND ends > ? AND ends <= ?",
            { name_, key, most_, now, now + span_ } )
        .map( []( const std::vector<SqlRow>& rows ) { return !rows.empty(); } );
}

DatabaseResult<void> KeptLimit::count( const std::string& key )
{
    if ( key.empty() )
        return {};
    const auto now = now_();
    return database_
        .execute( "INSERT INTO kept_limits VALUES(?1, ?2, 1, ?4) ON CONFLICT(name, key) DO UPDATE SET events = CASE "
                  "WHEN kept_limits.ends > ?3 AND kept_limits.ends <= ?4 THEN kept_limits.events + 1 ELSE 1 END, ends "
                  "= CASE WHEN kept_limits.ends > ?3 AND kept_limits.ends <= ?4 THEN kept_limits.ends ELSE ?4 END",
            { name_, key, now, now + span_ } )
        .map( []( int ) {} );
}

} // namespace VX::Backend
