#include "database/postgres/PostgresEngine.h"

#include "database/postgres/PostgresBell.h"
#include "database/postgres/PostgresSession.h"
#include "database/postgres/PostgresText.h"

#include <libpq-fe.h>

#include <cstring>
#include <utility>

namespace VX::Backend
{
namespace
{

// Whoever starts beside a process that brings the tables of an older version up to date waits for it.
constexpr std::chrono::minutes cPatienceForTables{ 5 };

using Options = std::unique_ptr<PQconninfoOption, decltype( &PQconninfoFree )>;

/// What the address says of this, else what the environment or the system does.
std::string optionOf( const PQconninfoOption* options, const char* name )
{
    for ( const auto* option = options; option && option->keyword; ++option )
        if ( std::strcmp( option->keyword, name ) == 0 )
            return option->val ? option->val : "";
    return {};
}

} // namespace

PostgresEngine::PostgresEngine( std::string address, std::string schema )
    : address_( std::move( address ) )
    , schema_( std::move( schema ) )
{
}

tl::expected<void, std::string> PostgresEngine::check( const std::string& address )
{
    const Options options( PQconninfoParse( address.c_str(), nullptr ), &PQconninfoFree );
    // What is neither is the name of a database to the library.
    const bool isAddress = address.find( "://" ) != std::string::npos || address.find( '=' ) != std::string::npos;
    if ( options && isAddress )
        return {};
    // It may have a password in it.
    return tl::unexpected(
        std::string( "--database wants an address such as postgresql://orvanta@db.example.org/orvanta" ) );
}

std::string PostgresEngine::name() const
{
    const Options options( PQconninfoParse( address_.c_str(), nullptr ), &PQconninfoFree );
    const auto host = optionOf( options.get(), "host" );
    const auto database = optionOf( options.get(), "dbname" );
    return ( database.empty() ? "PostgreSQL" : database ) + ( host.empty() ? "" : " at " + host );
}

DatabaseResult<std::unique_ptr<SqlSession>> PostgresEngine::open()
{
    return PostgresSession::open( address_, schema_ )
        .map( []( auto session ) { return std::unique_ptr<SqlSession>( std::move( session ) ); } );
}

std::unique_ptr<Bell> PostgresEngine::bell() const
{
    return std::make_unique<PostgresBell>( address_, schema_ );
}

DatabaseResult<std::shared_ptr<void>> PostgresEngine::holdTables()
{
    auto session = PostgresSession::open( address_, schema_, cPatienceForTables );
    if ( !session )
        return tl::unexpected( session.error() );
    // Goes with the session. The number is another one than that of transactions.
    if ( const auto held = ( *session )->run( "SELECT pg_advisory_lock(hashtext(current_schema()), 1)", {} ); !held )
        return tl::unexpected( held.error() );
    return std::shared_ptr<void>( std::move( *session ) );
}

std::string PostgresEngine::tableOf( const std::string& name, const std::string& columns, RowNumbers numbers ) const
{
    const auto own = postgresColumns( columns );
    const bool isNumbered = own.find( " AS IDENTITY" ) != std::string::npos;
    return "CREATE TABLE IF NOT EXISTS " + name + "(" + own +
           ( numbers == RowNumbers::Kept && !isNumbered ? ", rowid BIGINT GENERATED ALWAYS AS IDENTITY" : "" ) + ")";
}

std::string PostgresEngine::columnOf( const std::string& table, const std::string& name, const std::string& type ) const
{
    return "ALTER TABLE " + table + " ADD COLUMN " + name + " " + postgresColumns( type );
}

std::vector<std::string> PostgresEngine::triggerOf( const Trigger& trigger ) const
{
    return { "CREATE OR REPLACE FUNCTION " + trigger.name + "() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN " +
                 trigger.statements + " RETURN NULL; END $$",
        "CREATE OR REPLACE TRIGGER " + trigger.name + " AFTER " + trigger.event + " ON " + trigger.table +
            " FOR EACH ROW EXECUTE FUNCTION " + trigger.name + "()" };
}

std::string PostgresEngine::lockOf( const std::string& table ) const
{
    return "LOCK TABLE " + table + " IN SHARE ROW EXCLUSIVE MODE";
}

std::string PostgresEngine::tableQuery() const
{
    return "SELECT 1 FROM pg_tables WHERE schemaname = current_schema() AND tablename = ?";
}

std::string PostgresEngine::columnQuery() const
{
    return "SELECT 1 FROM information_schema.columns WHERE table_schema = current_schema() AND table_name = ? AND "
           "column_name = ?";
}

std::string PostgresEngine::sizeQuery() const
{
    return "SELECT coalesce(sum(pg_total_relation_size(c.oid)), 0) FROM pg_class c JOIN pg_namespace n ON n.oid = "
           "c.relnamespace WHERE n.nspname = current_schema() AND c.relkind = 'r'";
}

} // namespace VX::Backend
