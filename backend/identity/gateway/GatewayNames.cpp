#include "identity/gateway/GatewayNames.h"

#include "crypto/Hex.h"
#include "database/Schema.h"
#include "identity/Accounts.h"

namespace VX::Backend
{
namespace
{

constexpr int64_t cLife = std::chrono::seconds( std::chrono::days( 400 ) ).count();
// A use is noted once a day: most refreshes only read.
constexpr int64_t cNotedEvery = std::chrono::seconds( std::chrono::days( 1 ) ).count();

} // namespace

DatabaseResult<void> GatewayNames::prepare( Database& database )
{
    return makeTables( database,
        { { "gateway_names", "hash TEXT PRIMARY KEY, name TEXT NOT NULL, expires INTEGER NOT NULL" },
            { "gateway_people",
                "email TEXT NOT NULL, name TEXT NOT NULL, expires INTEGER NOT NULL, PRIMARY KEY(email, name)" } } )
        .and_then(
            [&]
            {
                return executeAll(
                    database, { "CREATE INDEX IF NOT EXISTS gateway_names_expires ON gateway_names(expires)",
                                  "CREATE INDEX IF NOT EXISTS gateway_people_expires ON gateway_people(expires)" } );
            } );
}

DatabaseResult<void> GatewayNames::clean( Database& database, std::chrono::sys_seconds now )
{
    const std::vector<SqlValue> time{ int64_t( now.time_since_epoch().count() ) };
    return database.execute( "DELETE FROM gateway_names WHERE expires <= ?", time )
        .and_then( [&]( int ) { return database.execute( "DELETE FROM gateway_people WHERE expires <= ?", time ); } )
        .map( []( int ) {} );
}

GatewayNames::GatewayNames( Database& database, Clock clock )
    : database_( database )
    , clock_( std::move( clock ) )
{
}

DatabaseResult<void> GatewayNames::remember( const std::string& refreshToken, const std::string& name )
{
    return database_
        .execute(
            "INSERT INTO gateway_names VALUES(?1, ?2, ?3) ON CONFLICT(hash) DO UPDATE SET name = ?2, expires = ?3",
            { hex( sha256( refreshToken ) ), name, now_() + cLife } )
        .map( []( int ) {} );
}

DatabaseResult<void> GatewayNames::forget( const std::string& refreshToken )
{
    return database_.execute( "DELETE FROM gateway_names WHERE hash = ?", { hex( sha256( refreshToken ) ) } )
        .map( []( int ) {} );
}

DatabaseResult<void> GatewayNames::rememberPerson( const std::string& email, const std::string& name )
{
    const auto address = Accounts::normalized( email );
    if ( address.empty() || name.empty() )
        return {};
    const auto expires = now_() + cLife;
    const auto noted = database_.query( "SELECT 1 FROM gateway_people WHERE email = ? AND name = ? AND expires > ?",
        { address, name, expires - cNotedEvery } );
    if ( !noted )
        return tl::unexpected( noted.error() );
    if ( !noted->empty() )
        return {};
    return database_
        .execute( "INSERT INTO gateway_people VALUES(?1, ?2, ?3) ON CONFLICT(email, name) DO UPDATE SET expires = ?3",
            { address, name, expires } )
        .map( []( int ) {} );
}

DatabaseResult<std::string> GatewayNames::nameOf( const std::string& refreshToken )
{
    const auto hash = hex( sha256( refreshToken ) );
    const auto rows = database_.query( "SELECT name, expires FROM gateway_names WHERE hash = ?", { hash } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    if ( rows->empty() )
        return std::string();
    const auto name = textOf( rows->front()[0] );
    const auto expires = now_() + cLife;
    if ( integerOf( rows->front()[1] ) > expires - cNotedEvery )
        return name;
    return database_.execute( "UPDATE gateway_names SET expires = ? WHERE hash = ?", { expires, hash } )
        .map( [&]( int ) { return name; } );
}

} // namespace VX::Backend
