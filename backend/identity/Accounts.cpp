#include "identity/Accounts.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"

#include <VXMesh/io/Text.h>

#include <fmt/format.h>
#include <sodium.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

using std::chrono::seconds;

constexpr int cCodeTries = 5;
constexpr int cFreeFailures = 5;
constexpr seconds cLongestLock = std::chrono::minutes( 15 );
/// How long an expired token is told from one that never was.
constexpr seconds cExpiredMemory = std::chrono::days( 30 );
constexpr seconds cFailureMemory = std::chrono::days( 1 );

constexpr const char* cColumns = "SELECT id, email, password, confirmed, created FROM accounts ";

int64_t count( std::chrono::sys_seconds time )
{
    return time.time_since_epoch().count();
}

Account accountOf( const SqlRow& row )
{
    return { textOf( row[0] ), textOf( row[1] ), textOf( row[2] ), integerOf( row[3] ) != 0,
        std::chrono::sys_seconds( seconds( integerOf( row[4] ) ) ) };
}

using Rows = std::vector<SqlRow>;

std::optional<Account> onlyOf( const Rows& rows )
{
    return rows.empty() ? std::nullopt : std::optional( accountOf( rows[0] ) );
}

/// Runs statements that know one thing, until one fails.
DatabaseResult<void> executeFor(
    Database& database, const std::string& parameter, std::initializer_list<const char*> statements )
{
    for ( const char* sql : statements )
        if ( const auto done = database.execute( sql, { parameter } ); !done )
            return tl::unexpected( done.error() );
    return {};
}

/// Whether it was done, where how much does not matter.
DatabaseResult<void> done( const DatabaseResult<int>& changed )
{
    if ( !changed )
        return tl::unexpected( changed.error() );
    return {};
}

// In the table of older data folders there is one code of a purpose, and only one can be.
DatabaseResult<void> takeOverOldCodes( Database& database )
{
    const auto old = database.query( "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'codes'" );
    if ( !old )
        return tl::unexpected( old.error() );
    if ( old->empty() )
        return {};
    return executeAll(
        database, { "INSERT OR IGNORE INTO mailed_codes SELECT account, purpose, hash, expires, tries FROM codes",
                      "DROP TABLE codes" } );
}

const char* nameOf( CodePurpose purpose )
{
    return purpose == CodePurpose::SignUp ? "sign-up" : "reset";
}

} // namespace

DatabaseResult<void> Accounts::prepare( Database& database )
{
    Database::Transaction transaction( database );
    return executeAll( database,
        {
            "CREATE TABLE IF NOT EXISTS accounts(id TEXT PRIMARY KEY, email TEXT NOT NULL UNIQUE, password TEXT NOT "
            "NULL, confirmed INTEGER NOT NULL, created INTEGER NOT NULL)",
            "CREATE TABLE IF NOT EXISTS mailed_codes(account TEXT NOT NULL, purpose TEXT NOT NULL, hash TEXT NOT "
            "NULL, expires INTEGER NOT NULL, tries INTEGER NOT NULL, PRIMARY KEY(account, purpose, hash))",
            "CREATE TABLE IF NOT EXISTS refresh_tokens(hash TEXT PRIMARY KEY, account TEXT NOT NULL, expires INTEGER "
            "NOT NULL) WITHOUT ROWID",
            "CREATE INDEX IF NOT EXISTS refresh_tokens_account ON refresh_tokens(account)",
            "CREATE TABLE IF NOT EXISTS failed_sign_ins(email TEXT PRIMARY KEY, failures INTEGER NOT NULL, last "
            "INTEGER NOT NULL) WITHOUT ROWID",
        } )
        .and_then( [&] { return takeOverOldCodes( database ); } )
        .and_then( [&] { return transaction.commit(); } );
}

Accounts::Accounts( Database& database, std::string codeKey, Clock clock )
    : database_( database )
    , codeKey_( std::move( codeKey ) )
    , clock_( std::move( clock ) )
{
}

std::string Accounts::normalized( const std::string& email )
{
    constexpr size_t cLongest = 254; // of RFC 5321
    const auto at = email.find( '@' );
    const bool plain = std::all_of( email.begin(), email.end(),
        []( unsigned char c ) { return c > ' ' && c != 0x7f && c != '<' && c != '>' && c != '\\' && c != '/'; } );
    if ( email.size() > cLongest || !plain || at == std::string::npos || at == 0 || email.rfind( '@' ) != at )
        return {};
    const auto dot = email.rfind( '.' );
    return dot != std::string::npos && dot > at + 1 && dot + 1 < email.size() ? toLower( email ) : std::string();
}

DatabaseResult<std::optional<Account>> Accounts::add(
    const std::string& email, const std::string& passwordHash, bool confirmed )
{
    const Account account{ randomHex( 16 ), email, passwordHash, confirmed, clock_() };
    return database_
        .execute( "INSERT INTO accounts(id, email, password, confirmed, created) VALUES(?, ?, ?, ?, ?) ON "
                  "CONFLICT(email) DO NOTHING",
            { account.id, email, passwordHash, int64_t( confirmed ), count( account.created ) } )
        .map( [&]( int added ) { return added == 1 ? std::optional( account ) : std::nullopt; } );
}

DatabaseResult<std::optional<Account>> Accounts::find( const std::string& email )
{
    return database_.query( std::string( cColumns ) + "WHERE email = ?", { email } ).map( onlyOf );
}

DatabaseResult<std::optional<Account>> Accounts::findById( const std::string& id )
{
    return database_.query( std::string( cColumns ) + "WHERE id = ?", { id } ).map( onlyOf );
}

DatabaseResult<std::vector<Account>> Accounts::list()
{
    return database_.query( std::string( cColumns ) + "ORDER BY email" )
        .map(
            []( const Rows& rows )
            {
                std::vector<Account> out;
                for ( const auto& row : rows )
                    out.push_back( accountOf( row ) );
                return out;
            } );
}

DatabaseResult<void> Accounts::confirm( const std::string& id )
{
    return executeFor( database_, id,
        { "UPDATE accounts SET confirmed = 1 WHERE id = ?",
            "DELETE FROM mailed_codes WHERE account = ? AND purpose = 'sign-up'" } );
}

DatabaseResult<void> Accounts::setPassword( const std::string& id, const std::string& passwordHash )
{
    return done( database_.execute( "UPDATE accounts SET password = ? WHERE id = ?", { passwordHash, id } ) )
        .and_then(
            [&]
            {
                return executeFor( database_, id,
                    { "DELETE FROM refresh_tokens WHERE account = ?", "DELETE FROM mailed_codes WHERE account = ?",
                        "DELETE FROM failed_sign_ins WHERE email = (SELECT email FROM accounts WHERE id = ?)" } );
            } );
}

DatabaseResult<void> Accounts::remove( const std::string& id )
{
    return executeFor( database_, id,
        { "DELETE FROM refresh_tokens WHERE account = ?", "DELETE FROM mailed_codes WHERE account = ?",
            "DELETE FROM accounts WHERE id = ?" } );
}

std::string Accounts::codeHash_( const std::string& id, CodePurpose purpose, const std::string& code ) const
{
    const auto text = id + "/" + nameOf( purpose ) + "/" + code;
    std::string out( crypto_generichash_BYTES, '\0' );
    crypto_generichash( reinterpret_cast<unsigned char*>( out.data() ), out.size(),
        reinterpret_cast<const unsigned char*>( text.data() ), text.size(),
        reinterpret_cast<const unsigned char*>( codeKey_.data() ), codeKey_.size() );
    return hex( out );
}

DatabaseResult<std::string> Accounts::newCode( const std::string& id, CodePurpose purpose, seconds life )
{
    const auto code = fmt::format( "{:06}", randombytes_uniform( 1000000 ) );
    return database_
        .execute( "INSERT OR REPLACE INTO mailed_codes VALUES(?, ?, ?, ?, 0)",
            { id, std::string( nameOf( purpose ) ), codeHash_( id, purpose, code ), count( clock_() + life ) } )
        .map( [&]( int ) { return code; } );
}

DatabaseResult<CodeCheck> Accounts::takeCode(
    const std::string& id, std::initializer_list<CodePurpose> purposes, const std::string& code )
{
    auto result = CodeCheck::Expired;
    for ( const auto purpose : purposes )
    {
        const auto check = takeCodeOf_( id, purpose, code );
        if ( !check || *check == CodeCheck::Good )
            return check;
        // Where codes of one purpose may still be tried it is this code that is wrong.
        if ( result == CodeCheck::Expired || *check == CodeCheck::Wrong )
            result = *check;
    }
    return result;
}

DatabaseResult<CodeCheck> Accounts::takeCodeOf_( const std::string& id, CodePurpose purpose, const std::string& code )
{
    const std::string name = nameOf( purpose );
    const auto rows = database_.query( "SELECT hash, tries FROM mailed_codes WHERE account = ? AND purpose = ? AND "
                                       "expires > ?",
        { id, name, count( clock_() ) } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    if ( rows->empty() )
        return CodeCheck::Expired;
    const auto given = codeHash_( id, purpose, code );
    bool alive = false, good = false;
    for ( const auto& row : *rows )
    {
        const auto wanted = textOf( row[0] );
        const bool tried = integerOf( row[1] ) >= cCodeTries;
        alive |= !tried;
        good |=
            !tried && wanted.size() == given.size() && sodium_memcmp( wanted.data(), given.data(), given.size() ) == 0;
    }
    if ( !alive )
        return CodeCheck::TooManyTries;
    const auto* noted = good ? "DELETE FROM mailed_codes WHERE account = ? AND purpose = ?"
                             : "UPDATE mailed_codes SET tries = tries + 1 WHERE account = ? AND purpose = ?";
    return database_.execute( noted, { id, name } )
        .map( [&]( int ) { return good ? CodeCheck::Good : CodeCheck::Wrong; } );
}

DatabaseResult<std::string> Accounts::newRefreshToken( const std::string& id, seconds life )
{
    std::string random( 32, '\0' );
    randombytes_buf( random.data(), random.size() );
    const auto token = base64Url( random );
    return database_
        .execute(
            "INSERT INTO refresh_tokens VALUES(?, ?, ?)", { hex( sha256( token ) ), id, count( clock_() + life ) } )
        .map( [&]( int ) { return token; } );
}

DatabaseResult<RefreshCheck> Accounts::checkRefreshToken( const std::string& token, Account& account )
{
    const auto rows = database_.query( "SELECT a.id, a.email, a.password, a.confirmed, a.created, t.expires FROM "
                                       "refresh_tokens t JOIN accounts a ON a.id = t.account WHERE t.hash = ?",
        { hex( sha256( token ) ) } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    if ( rows->empty() )
        return RefreshCheck::Invalid;
    const auto& row = rows->front();
    account = accountOf( row );
    return integerOf( row.back() ) > count( clock_() ) ? RefreshCheck::Good : RefreshCheck::Expired;
}

DatabaseResult<bool> Accounts::isLocked( const std::string& email )
{
    const auto rows = database_.query( "SELECT failures, last FROM failed_sign_ins WHERE email = ?", { email } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    if ( rows->empty() || integerOf( rows->front()[0] ) < cFreeFailures )
        return false;
    const auto beyond = std::min<int64_t>( integerOf( rows->front()[0] ) - cFreeFailures, 30 );
    const auto lock = std::min( seconds( int64_t( 1 ) << beyond ), cLongestLock );
    return count( clock_() ) < integerOf( rows->front()[1] ) + lock.count();
}

DatabaseResult<void> Accounts::noteFailure( const std::string& email )
{
    return done( database_.execute( "INSERT INTO failed_sign_ins VALUES(?1, 1, ?2) ON CONFLICT(email) DO UPDATE SET "
                                    "failures = failures + 1, last = ?2",
        { email, count( clock_() ) } ) );
}

DatabaseResult<void> Accounts::forgetFailures( const std::string& email )
{
    return done( database_.execute( "DELETE FROM failed_sign_ins WHERE email = ?", { email } ) );
}

DatabaseResult<void> Accounts::clean()
{
    const auto now = clock_();
    return done( database_.execute( "DELETE FROM mailed_codes WHERE expires <= ?", { count( now ) } ) )
        .and_then(
            [&]
            {
                return database_.execute(
                    "DELETE FROM refresh_tokens WHERE expires <= ?", { count( now - cExpiredMemory ) } );
            } )
        .and_then(
            [&]( int )
            {
                return done( database_.execute(
                    "DELETE FROM failed_sign_ins WHERE last <= ?", { count( now - cFailureMemory ) } ) );
            } );
}

} // namespace VX::Backend
