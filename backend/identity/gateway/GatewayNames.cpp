#include "identity/gateway/GatewayNames.h"

#include "crypto/Hex.h"

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
    return executeAll( database,
        { "CREATE TABLE IF NOT EXISTS gateway_names(hash TEXT PRIMARY KEY, name TEXT NOT NULL, expires INTEGER NOT "
          "NULL) WITHOUT ROWID",
            "CREATE INDEX IF NOT EXISTS gateway_names_expires ON gateway_names(expires)" } );
}

DatabaseResult<void> GatewayNames::clean( Database& database, std::chrono::sys_seconds now )
{
    return database
        .execute( "DELETE FROM gateway_names WHERE expires <= ?", { int64_t( now.time_since_epoch().count() ) } )
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
