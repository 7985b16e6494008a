#include "support/database/TestDatabase.h"

#include "crypto/Hex.h"
#include "database/postgres/PostgresEngine.h"
#include "database/postgres/PostgresSession.h"
#include "database/sqlite/SqliteEngine.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace VX::Testing
{

using namespace Backend;

bool isOverPostgres()
{
    return std::getenv( "ORVANTA_TEST_POSTGRES" ) != nullptr;
}

std::string postgresAddress()
{
    const char* address = std::getenv( "ORVANTA_TEST_POSTGRES" );
    return address ? address : "";
}

std::string newPostgresDatabase()
{
    constexpr size_t cBytes = 8;
    const auto name = "t" + randomHex( cBytes );
    auto address = postgresAddress();
    const auto session = PostgresSession::open( address, "public" ).value();
    EXPECT_TRUE( session->run( "CREATE DATABASE " + name, {} ) );
    return address.replace( address.rfind( '/' ) + 1, std::string::npos, name );
}

std::unique_ptr<SqlEngine> testEngine( const std::filesystem::path& file )
{
    constexpr size_t cDigits = 16;
    if ( isOverPostgres() )
        return std::make_unique<PostgresEngine>(
            postgresAddress(), "t" + hex( sha256( file.string() ) ).substr( 0, cDigits ) );
    return std::make_unique<SqliteEngine>( file, true );
}

std::unique_ptr<Database> openTestDatabase( const std::filesystem::path& file )
{
    auto out = Database::open( testEngine( file ) );
    EXPECT_TRUE( out ) << out.error();
    return out ? std::move( *out ) : nullptr;
}

std::string noSuchTable( const std::string& name )
{
    return isOverPostgres() ? "Database: relation \"" + name + "\" does not exist" : "Database: no such table: " + name;
}

void refuseWrites(
    Database& database, const std::string& event, const std::string& table, const std::string& condition )
{
    const auto name = "no_" + event + "_" + table;
    const auto begin = "CREATE TRIGGER " + name + " BEFORE " + event + " ON " + table;
    if ( isOverPostgres() )
    {
        ASSERT_TRUE(
            database.execute( "CREATE OR REPLACE FUNCTION no_room() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                              "RAISE EXCEPTION 'no room' USING ERRCODE = '53100'; END $$" ) );
        ASSERT_TRUE(
            database.execute( begin + " FOR EACH ROW" + ( condition.empty() ? "" : " WHEN (" + condition + ")" ) +
                              " EXECUTE FUNCTION no_room()" ) );
    }
    else
        ASSERT_TRUE( database.execute( begin + ( condition.empty() ? "" : " WHEN " + condition ) +
                                       " BEGIN SELECT RAISE(ABORT, 'no room'); END" ) );
}

void allowWrites( Database& database, const std::string& event, const std::string& table )
{
    ASSERT_TRUE(
        database.execute( "DROP TRIGGER no_" + event + "_" + table + ( isOverPostgres() ? " ON " + table : "" ) ) );
}

} // namespace VX::Testing
