#include "database/sqlite/SqliteSession.h"

#include "database/sqlite/WriteTurn.h"
#include "metrics/Measures.h"

#include <sqlite3.h>

#include <utility>

namespace VX::Backend
{
namespace
{

// Clients give a call up after ten seconds, and should hear before that that it was in vain.
constexpr auto cPatience = std::chrono::milliseconds( 4000 );

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

DatabaseError errorOf( sqlite3* handle, int code )
{
    return { troubleOf( code ), std::string( "Database: " ) + sqlite3_errmsg( handle ) };
}

DatabaseError othersWrite()
{
    return { DatabaseTrouble::Unavailable, "Database: others write for too long" };
}

} // namespace

class SqliteSession::Turn
{
public:
    Turn( SqliteSession& session, bool wanted )
        : session_( session )
        , took_( wanted && !session.hasTurn_ && session.turn_.take( cPatience ) )
        , has_( !wanted || session.hasTurn_ || took_ )
    {
    }
    ~Turn()
    {
        if ( took_ )
            session_.turn_.giveBack();
    }
    Turn( const Turn& ) = delete;
    Turn& operator=( const Turn& ) = delete;
    explicit operator bool() const { return has_; }

private:
    SqliteSession& session_;
    bool took_, has_;
};

DatabaseResult<std::unique_ptr<SqlSession>> SqliteSession::open(
    const std::filesystem::path& file, int flags, WriteTurn& turn )
{
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2( file.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr );
    std::unique_ptr<SqliteSession> session( new SqliteSession( handle, turn ) );
    if ( code != SQLITE_OK )
        return tl::unexpected( DatabaseError{ troubleOf( code ), sqlite3_errstr( code ) } );
    sqlite3_busy_timeout( handle, int( cPatience.count() ) );
    if ( flags & SQLITE_OPEN_READONLY )
        return session;
    // They wait for no other session: the file is in that mode already, unless this is the first one.
    session->hasTurn_ = true;
    // Deleted secrets are overwritten.
    for ( const char* pragma : { "PRAGMA journal_mode=WAL", "PRAGMA synchronous=FULL", "PRAGMA secure_delete=ON" } )
        if ( const auto set = session->run( pragma, {} ); !set )
            return tl::unexpected( set.error() );
    session->hasTurn_ = false;
    return session;
}

SqliteSession::~SqliteSession()
{
    sqlite3_close( handle_ );
}

DatabaseResult<std::vector<SqlRow>> SqliteSession::run_(
    const std::string& sql, const std::vector<SqlValue>& parameters )
{
    sqlite3_stmt* raw = nullptr;
    int code = sqlite3_prepare_v2( handle_, sql.c_str(), int( sql.size() ), &raw, nullptr );
    const Statement statement( raw, &sqlite3_finalize );
    if ( code != SQLITE_OK )
        return tl::unexpected( errorOf( handle_, code ) );
    const bool reads = sqlite3_stmt_readonly( raw ) != 0;
    const Timed timed( reads && !isInTransaction() ? measures().reads : measures().writes );
    const Turn turn( *this, !reads );
    if ( !turn )
        return tl::unexpected( othersWrite() );
    for ( size_t i = 0; i < parameters.size(); ++i )
        bind( raw, int( i + 1 ), parameters[i] );
    std::vector<SqlRow> rows;
    while ( ( code = sqlite3_step( raw ) ) == SQLITE_ROW )
        rows.push_back( readRow( raw ) );
    if ( code == SQLITE_DONE )
        return rows;
    return tl::unexpected( errorOf( handle_, code ) );
}

int SqliteSession::changes() const
{
    return sqlite3_changes( handle_ );
}

DatabaseResult<void> SqliteSession::begin_()
{
    {
        const Timed timed( measures().writes );
        hasTurn_ = turn_.take( cPatience );
    }
    if ( !hasTurn_ )
        return tl::unexpected( othersWrite() );
    return run_( "BEGIN IMMEDIATE", {} ).map( []( const auto& ) {} );
}

DatabaseResult<void> SqliteSession::commit_()
{
    return run_( "COMMIT", {} ).map( []( const auto& ) {} );
}

void SqliteSession::end_()
{
    // Some failures have taken everything back already.
    if ( !sqlite3_get_autocommit( handle_ ) )
        (void)run_( "ROLLBACK", {} );
    if ( std::exchange( hasTurn_, false ) )
        turn_.giveBack();
}

} // namespace VX::Backend
