#include "database/Database.h"

#include <spdlog/spdlog.h>
#include <sqlite3.h>

namespace VX::Backend
{
namespace
{

using Statement = std::unique_ptr<sqlite3_stmt, decltype( &sqlite3_finalize )>;

void bind( sqlite3_stmt* statement, int index, const SqlValue& value )
{
    if ( const auto* number = std::get_if<int64_t>( &value ) )
        sqlite3_bind_int64( statement, index, *number );
    else if ( const auto* text = std::get_if<std::string>( &value ) )
        sqlite3_bind_text( statement, index, text->data(), int( text->size() ), SQLITE_TRANSIENT );
    else
        sqlite3_bind_null( statement, index );
}

SqlRow readRow( sqlite3_stmt* statement )
{
    SqlRow row;
    for ( int i = 0; i < sqlite3_column_count( statement ); ++i )
    {
        const int type = sqlite3_column_type( statement, i );
        if ( type == SQLITE_INTEGER )
            row.emplace_back( int64_t( sqlite3_column_int64( statement, i ) ) );
        else if ( type == SQLITE_NULL )
            row.emplace_back( nullptr );
        else
            row.emplace_back( std::string( reinterpret_cast<const char*>( sqlite3_column_text( statement, i ) ),
                size_t( sqlite3_column_bytes( statement, i ) ) ) );
    }
    return row;
}

} // namespace

std::string textOf( const SqlValue& value )
{
    const auto* text = std::get_if<std::string>( &value );
    return text ? *text : std::string();
}

int64_t integerOf( const SqlValue& value )
{
    const auto* number = std::get_if<int64_t>( &value );
    return number ? *number : 0;
}

tl::expected<std::unique_ptr<Database>, std::string> Database::open( const std::filesystem::path& file )
{
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(
        file.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr );
    std::unique_ptr<Database> database( new Database( handle ) );
    if ( code != SQLITE_OK )
        return tl::unexpected( "Cannot open the database \"" + file.string() + "\": " + sqlite3_errstr( code ) );
    sqlite3_busy_timeout( handle, 10000 );
    if ( database->execute( "PRAGMA journal_mode=WAL" ) < 0 || database->execute( "PRAGMA synchronous=NORMAL" ) < 0 )
        return tl::unexpected( "The database \"" + file.string() + "\" is damaged" );
    return database;
}

Database::~Database()
{
    sqlite3_close( handle_ );
}

bool Database::run_( const std::string& sql, const std::vector<SqlValue>& parameters, std::vector<SqlRow>& rows )
{
    sqlite3_stmt* raw = nullptr;
    int code = sqlite3_prepare_v2( handle_, sql.c_str(), int( sql.size() ), &raw, nullptr );
    const Statement statement( raw, &sqlite3_finalize );
    if ( code == SQLITE_OK )
    {
        for ( size_t i = 0; i < parameters.size(); ++i )
            bind( raw, int( i + 1 ), parameters[i] );
        while ( ( code = sqlite3_step( raw ) ) == SQLITE_ROW )
            rows.push_back( readRow( raw ) );
    }
    if ( code == SQLITE_DONE )
        return true;
    spdlog::error( "Database: {}", sqlite3_errmsg( handle_ ) );
    return false;
}

Database::Transaction::Transaction( Database& database )
    : database_( database )
    , lock_( database.mutex_ )
    , open_( database.execute( "BEGIN IMMEDIATE" ) >= 0 )
{
}

Database::Transaction::~Transaction()
{
    if ( open_ )
        database_.execute( "ROLLBACK" );
}

bool Database::Transaction::commit()
{
    if ( !open_ )
        return false;
    open_ = database_.execute( "COMMIT" ) < 0;
    return !open_;
}

std::vector<SqlRow> Database::query( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    const std::lock_guard lock( mutex_ );
    std::vector<SqlRow> rows;
    if ( !run_( sql, parameters, rows ) )
        rows.clear();
    return rows;
}

int Database::execute( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    const std::lock_guard lock( mutex_ );
    std::vector<SqlRow> ignored;
    return run_( sql, parameters, ignored ) ? sqlite3_changes( handle_ ) : -1;
}

} // namespace VX::Backend
