#include "database/postgres/PostgresSession.h"

#include "database/postgres/PostgresText.h"
#include "metrics/Measures.h"

#include <VXMesh/io/Text.h>

#include <libpq-fe.h>

#include <array>
#include <charconv>
#include <string_view>
#include <utility>

#include <poll.h>

namespace VX::Backend
{
namespace
{

using std::chrono::steady_clock;

// Of pg_type, which never change (https://www.postgresql.org/docs/15/datatype-oid.html).
constexpr Oid cBool = 16, cInt8 = 20, cInt2 = 21, cInt4 = 23, cText = 25, cNumeric = 1700;
constexpr int cTries = 4;
// Over that which the server keeps itself, so that it is the one to give up.
constexpr std::chrono::milliseconds cGrace{ 1000 };

/// Parameters as libpq takes them. The values must outlive it.
struct Parameters
{
    explicit Parameters( const std::vector<SqlValue>& values )
    {
        numbers.reserve( values.size() );
        for ( const auto& value : values )
            add( value );
    }
    void add( const SqlValue& value )
    {
        if ( const auto* number = std::get_if<int64_t>( &value ) )
            push( cInt8, numbers.emplace_back( std::to_string( *number ) ), 0 );
        else if ( const auto* text = std::get_if<std::string>( &value ) )
            push( cText, *text, 1 );
        else
        {
            types.push_back( 0 );
            bytes.push_back( nullptr );
            lengths.push_back( 0 );
            formats.push_back( 0 );
        }
    }
    /// A text is sent in the binary format, which has its length: there may be a zero in it, and that is an error.
    void push( Oid type, const std::string& text, int format )
    {
        types.push_back( type );
        bytes.push_back( text.c_str() );
        lengths.push_back( int( text.size() ) );
        formats.push_back( format );
    }

    std::vector<std::string> numbers;
    std::vector<Oid> types;
    std::vector<const char*> bytes;
    std::vector<int> lengths, formats;
};

SqlValue valueOf( const PGresult* result, int row, int column )
{
    if ( PQgetisnull( result, row, column ) )
        return nullptr;
    const std::string_view text( PQgetvalue( result, row, column ), size_t( PQgetlength( result, row, column ) ) );
    const Oid type = PQftype( result, column );
    if ( type == cBool )
        return int64_t( text == "t" );
    int64_t number = 0;
    // Sums of numbers are numeric.
    const bool isNumber = type == cInt8 || type == cInt4 || type == cInt2 || type == cNumeric;
    if ( isNumber &&
         std::from_chars( text.data(), text.data() + text.size(), number ).ptr == text.data() + text.size() )
        return number;
    return std::string( text );
}

std::vector<SqlRow> rowsOf( const PGresult* result )
{
    std::vector<SqlRow> rows( size_t( PQntuples( result ) ) );
    for ( size_t row = 0; row < rows.size(); ++row )
        for ( int column = 0; column < PQnfields( result ); ++column )
            rows[row].push_back( valueOf( result, int( row ), column ) );
    return rows;
}

/// By class (https://www.postgresql.org/docs/15/errcodes-appendix.html).
DatabaseTrouble troubleOf( std::string_view state )
{
    constexpr std::string_view cReadOnly = "25006";
    // Connections, taken back, resources, state of an object such as a lock, an operator's doing, the system.
    constexpr std::array<std::string_view, 6> cUnavailable = { "08", "40", "53", "55", "57", "58" };
    if ( state.starts_with( "23" ) )
        return DatabaseTrouble::Conflict;
    if ( state == cReadOnly )
        return DatabaseTrouble::Unavailable;
    for ( const auto kind : cUnavailable )
        if ( state.starts_with( kind ) )
            return DatabaseTrouble::Unavailable;
    return DatabaseTrouble::Broken;
}

DatabaseError errorOf( const PGresult* result )
{
    const char* state = PQresultErrorField( result, PG_DIAG_SQLSTATE );
    const char* text = PQresultErrorField( result, PG_DIAG_MESSAGE_PRIMARY );
    return { troubleOf( state ? state : "" ),
        std::string( "Database: " ) + ( text ? text : trimmed( PQresultErrorMessage( result ) ) ) };
}

/// Whether somebody else's statement stood in the way of this one, which changed nothing.
bool wasTakenBack( const PGresult* result )
{
    const char* state = PQresultErrorField( result, PG_DIAG_SQLSTATE );
    return state && ( std::string_view( state ) == "40P01" || std::string_view( state ) == "40001" );
}

bool hasFailed( const PGresult* result )
{
    const auto status = PQresultStatus( result );
    return status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK;
}

/// Makes a schema, once: who comes at the same time waits. It has what statements use and the server has not.
std::string schemaOf( const std::string& name )
{
    return "SELECT pg_advisory_xact_lock(hashtext('" + name + "')); CREATE SCHEMA IF NOT EXISTS " + name +
           "; CREATE OR REPLACE FUNCTION " + name +
           ".json_each(list text, OUT value text) RETURNS SETOF text LANGUAGE sql AS $$ SELECT "
           "json_array_elements_text(list::json) $$; ";
}

bool isReading( const std::string& sql )
{
    return sql.starts_with( "SELECT" );
}

} // namespace

void PostgresSession::Free::operator()( pg_conn* connection ) const
{
    PQfinish( connection );
}

void PostgresSession::Free::operator()( pg_result* result ) const
{
    PQclear( result );
}

PostgresSession::PostgresSession( pg_conn* connection, std::chrono::milliseconds patience )
    : connection_( connection )
    , patience_( patience )
{
}

PostgresSession::~PostgresSession() = default;

DatabaseResult<std::unique_ptr<PostgresSession>> PostgresSession::open(
    const std::string& address, const std::string& schema, std::chrono::milliseconds patience )
{
    // What stands behind the address is only for what it does not say.
    constexpr std::array<const char*, 7> cNames = { "dbname", "fallback_application_name", "connect_timeout",
        "tcp_user_timeout", "target_session_attrs", "client_encoding", nullptr };
    const std::array<const char*, 7> values = {
        address.c_str(), "orvanta-backend", "2", "4000", "read-write", "UTF8", nullptr };
    std::unique_ptr<PostgresSession> out(
        new PostgresSession( PQconnectdbParams( cNames.data(), values.data(), 1 ), patience ) );
    if ( PQstatus( out->connection_.get() ) != CONNECTION_OK )
        return tl::unexpected(
            DatabaseError{ DatabaseTrouble::Unavailable, trimmed( PQerrorMessage( out->connection_.get() ) ) } );
    if ( const auto prepared = out->prepare_( schema ); !prepared )
        return tl::unexpected( prepared.error() );
    return out;
}

DatabaseResult<void> PostgresSession::prepare_( const std::string& schema )
{
    // Words about what is there already would go to the standard error.
    PQsetNoticeProcessor( connection_.get(), []( void*, const char* ) {}, nullptr );
    const auto limit = std::to_string( patience_.count() );
    const auto settings = "SET search_path TO " + schema + "; SET lock_timeout TO " + limit +
                          "; SET statement_timeout TO " + limit + "; SET idle_in_transaction_session_timeout TO '60s'";
    const auto there = run_( "SELECT 1 FROM pg_namespace WHERE nspname = ?", { schema } );
    if ( !there )
        return tl::unexpected( there.error() );
    if ( !PQsendQuery( connection_.get(), ( there->empty() ? schemaOf( schema ) + settings : settings ).c_str() ) )
        return tl::unexpected( lost_( PQerrorMessage( connection_.get() ) ) );
    const auto done = answer_();
    if ( !done )
        return tl::unexpected( done.error() );
    return hasFailed( done->get() ) ? DatabaseResult<void>( tl::unexpected( errorOf( done->get() ) ) )
                                    : DatabaseResult<void>();
}

bool PostgresSession::isAlive()
{
    if ( !connection_ || PQstatus( connection_.get() ) != CONNECTION_OK )
        return false;
    // Nothing was asked, so what there is to read is why the server ends the connection, or its end.
    pollfd waiting{ PQsocket( connection_.get() ), POLLIN, 0 };
    return poll( &waiting, 1, 0 ) == 0;
}

void PostgresSession::readNotices_()
{
    const auto free = []( PGnotify* notice ) { PQfreemem( notice ); };
    while ( connection_ )
    {
        const std::unique_ptr<PGnotify, decltype( free )> notice( PQnotifies( connection_.get() ), free );
        if ( !notice )
            return;
        notices_.emplace_back( notice->extra );
    }
}

bool PostgresSession::hasNotices()
{
    readNotices_();
    return !notices_.empty();
}

std::vector<std::string> PostgresSession::takeNotices()
{
    if ( connection_ && !PQconsumeInput( connection_.get() ) )
        (void)lost_( PQerrorMessage( connection_.get() ) );
    readNotices_();
    return std::exchange( notices_, {} );
}

int PostgresSession::socket() const
{
    return connection_ ? PQsocket( connection_.get() ) : -1;
}

DatabaseError PostgresSession::lost_( const std::string& why )
{
    DatabaseError out{ DatabaseTrouble::Unavailable, "Database: " + trimmed( why ) };
    connection_.reset();
    return out;
}

DatabaseResult<void> PostgresSession::wait_( steady_clock::time_point end )
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>( end - steady_clock::now() );
    pollfd waiting{ PQsocket( connection_.get() ), POLLIN, 0 };
    if ( left.count() <= 0 || poll( &waiting, 1, int( left.count() ) ) == 0 )
        return tl::unexpected( lost_( "it does not answer" ) );
    return {};
}

DatabaseResult<PostgresSession::Result> PostgresSession::answer_()
{
    const auto end = steady_clock::now() + patience_ + cGrace;
    Result last;
    while ( true )
    {
        while ( PQisBusy( connection_.get() ) )
        {
            if ( const auto there = wait_( end ); !there )
                return tl::unexpected( there.error() );
            if ( !PQconsumeInput( connection_.get() ) )
                return tl::unexpected( lost_( PQerrorMessage( connection_.get() ) ) );
        }
        Result next( PQgetResult( connection_.get() ) );
        if ( !next )
            break;
        // Of several statements the first failure is the last answer.
        last = std::move( next );
    }
    if ( PQstatus( connection_.get() ) != CONNECTION_OK )
        return tl::unexpected( lost_( PQerrorMessage( connection_.get() ) ) );
    return last;
}

DatabaseResult<PostgresSession::Result> PostgresSession::ask_(
    const std::string& sql, const std::vector<SqlValue>& parameters )
{
    if ( !connection_ )
        return tl::unexpected( DatabaseError{ DatabaseTrouble::Unavailable, "Database: the connection is lost" } );
    const Parameters given( parameters );
    if ( !PQsendQueryParams( connection_.get(), sql.c_str(), int( parameters.size() ), given.types.data(),
             given.bytes.data(), given.lengths.data(), given.formats.data(), 0 ) )
        return tl::unexpected( lost_( PQerrorMessage( connection_.get() ) ) );
    return answer_();
}

DatabaseResult<std::vector<SqlRow>> PostgresSession::run_(
    const std::string& sql, const std::vector<SqlValue>& parameters )
{
    const Timed timed( isReading( sql ) && !isInTransaction() ? measures().reads : measures().writes );
    const auto statement = postgresStatement( sql );
    for ( int tried = 1;; ++tried )
    {
        const auto answer = ask_( statement, parameters );
        if ( !answer )
            return tl::unexpected( answer.error() );
        const auto* result = answer->get();
        if ( !hasFailed( result ) )
        {
            const std::string_view changed = PQcmdTuples( answer->get() );
            changes_ = 0;
            std::from_chars( changed.data(), changed.data() + changed.size(), changes_ );
            return rowsOf( result );
        }
        // All of the transaction is gone, not the statement alone.
        if ( tried == cTries || isInTransaction() || !wasTakenBack( result ) )
            return tl::unexpected( errorOf( result ) );
    }
}

DatabaseResult<void> PostgresSession::begin_()
{
    return run_( "BEGIN", {} )
        .and_then(
            [&]( const auto& ) { return run_( "SELECT pg_advisory_xact_lock(hashtext(current_schema()))", {} ); } )
        .map( []( const auto& ) {} );
}

DatabaseResult<void> PostgresSession::commit_()
{
    // To commit what has failed would be no error to the server; but nobody comes here then.
    return run_( "COMMIT", {} ).map( []( const auto& ) {} );
}

void PostgresSession::end_()
{
    if ( connection_ && PQtransactionStatus( connection_.get() ) != PQTRANS_IDLE )
        (void)ask_( "ROLLBACK", {} );
}

} // namespace VX::Backend
