#include "database/Database.h"

#include <sqlite3.h>

namespace VX::Backend
{
namespace
{

// Clients give a call up after ten seconds, and should hear before that that it was in vain.
constexpr int cPatienceMilliseconds = 4000;

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

DatabaseTrouble troubleOf( int code )
{
    switch ( code & 0xff )
    {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_NOMEM:
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_INTERRUPT:
    case SQLITE_PROTOCOL:
        return DatabaseTrouble::Unavailable;
    case SQLITE_CONSTRAINT:
        return DatabaseTrouble::Conflict;
    default:
        return DatabaseTrouble::Broken;
    }
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
    return open_( file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE );
}

tl::expected<std::unique_ptr<Database>, std::string> Database::openExisting( const std::filesystem::path& file )
{
    return open_( file, SQLITE_OPEN_READWRITE );
}

tl::expected<std::unique_ptr<Database>, std::string> Database::open_( const std::filesystem::path& file, int flags )
{
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2( file.c_str(), &handle, flags | SQLITE_OPEN_FULLMUTEX, nullptr );
    std::unique_ptr<Database> database( new Database( handle ) );
    if ( code != SQLITE_OK )
        return tl::unexpected( "Cannot open the database \"" + file.string() + "\": " + sqlite3_errstr( code ) );
    sqlite3_busy_timeout( handle, cPatienceMilliseconds );
    // Deleted secrets are overwritten.
    const auto set =
        executeAll( *database, { "PRAGMA journal_mode=WAL", "PRAGMA synchronous=FULL", "PRAGMA secure_delete=ON" } );
    if ( set )
        return database;
    if ( set.error().kind == DatabaseTrouble::Unavailable )
        return tl::unexpected( "Cannot open the database \"" + file.string() + "\": " + set.error().text );
    return tl::unexpected( "The database \"" + file.string() + "\" is damaged" );
}

Database::~Database()
{
    sqlite3_close( handle_ );
}

DatabaseResult<std::vector<SqlRow>> Database::run_( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    if ( failure_ )
        return tl::unexpected( *failure_ );
    std::vector<SqlRow> rows;
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
        return rows;
    const DatabaseError error{ troubleOf( code ), std::string( "Database: " ) + sqlite3_errmsg( handle_ ) };
    if ( inTransaction_ )
        failure_ = error;
    return tl::unexpected( error );
}

Database::Transaction::Transaction( Database& database )
    : database_( database )
    , lock_( database.mutex_ )
{
    database_.inTransaction_ = true;
    // A failure is remembered, and told by what follows.
    (void)database_.run_( "BEGIN IMMEDIATE", {} );
}

Database::Transaction::~Transaction()
{
    database_.failure_.reset();
    // Some failures have taken everything back already.
    if ( !sqlite3_get_autocommit( database_.handle_ ) )
        (void)database_.run_( "ROLLBACK", {} );
    database_.failure_.reset();
    database_.inTransaction_ = false;
}

DatabaseResult<void> Database::Transaction::commit()
{
    const auto kept = database_.run_( "COMMIT", {} );
    if ( !kept )
        return tl::unexpected( kept.error() );
    return {};
}

DatabaseResult<std::vector<SqlRow>> Database::query( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    const std::lock_guard lock( mutex_ );
    return run_( sql, parameters );
}

DatabaseResult<int> Database::execute( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    const std::lock_guard lock( mutex_ );
    const auto done = run_( sql, parameters );
    if ( !done )
        return tl::unexpected( done.error() );
    return sqlite3_changes( handle_ );
}

DatabaseResult<void> executeAll( Database& database, std::initializer_list<const char*> statements )
{
    for ( const char* sql : statements )
        if ( const auto done = database.execute( sql ); !done )
            return tl::unexpected( done.error() );
    return {};
}

} // namespace VX::Backend
