#include "identity/Accounts.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"

#include <VXMesh/io/Text.h>

#include <fmt/format.h>
#include <sodium.h>
#include <spdlog/spdlog.h>

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

std::optional<Account> onlyOf( const std::vector<SqlRow>& rows )
{
    return rows.empty() ? std::nullopt : std::optional( accountOf( rows[0] ) );
}

const char* nameOf( CodePurpose purpose )
{
    return purpose == CodePurpose::SignUp ? "sign-up" : "reset";
}

} // namespace

Accounts::Accounts( Database& database, std::string codeKey, Clock clock )
    : database_( database )
    , codeKey_( std::move( codeKey ) )
    , clock_( std::move( clock ) )
{
    for ( const char* sql : {
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
        database_.execute( sql );
    takeOverOldCodes_();
}

// In the table of older data folders there is one code of a purpose, and only one can be.
void Accounts::takeOverOldCodes_()
{
    Database::Transaction transaction( database_ );
    if ( database_.query( "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'codes'" ).empty() )
        return;
    database_.execute( "INSERT OR IGNORE INTO mailed_codes SELECT account, purpose, hash, expires, tries FROM codes" );
    database_.execute( "DROP TABLE codes" );
    if ( !transaction.commit() )
        spdlog::error( "Codes that were mailed by an older version cannot be taken over" );
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

std::optional<Account> Accounts::add( const std::string& email, const std::string& passwordHash, bool confirmed )
{
    const Account account{ randomHex( 16 ), email, passwordHash, confirmed, clock_() };
    const int added = database_.execute( "INSERT OR IGNORE INTO accounts VALUES(?, ?, ?, ?, ?)",
        { account.id, email, passwordHash, int64_t( confirmed ), count( account.created ) } );
    return added == 1 ? std::optional( account ) : std::nullopt;
}

std::optional<Account> Accounts::find( const std::string& email )
{
    return onlyOf( database_.query( std::string( cColumns ) + "WHERE email = ?", { email } ) );
}

std::optional<Account> Accounts::findById( const std::string& id )
{
    return onlyOf( database_.query( std::string( cColumns ) + "WHERE id = ?", { id } ) );
}

std::vector<Account> Accounts::list()
{
    std::vector<Account> out;
    for ( const auto& row : database_.query( std::string( cColumns ) + "ORDER BY email" ) )
        out.push_back( accountOf( row ) );
    return out;
}

void Accounts::confirm( const std::string& id )
{
    database_.execute( "UPDATE accounts SET confirmed = 1 WHERE id = ?", { id } );
    database_.execute( "DELETE FROM mailed_codes WHERE account = ? AND purpose = ?",
        { id, std::string( nameOf( CodePurpose::SignUp ) ) } );
}

void Accounts::setPassword( const std::string& id, const std::string& passwordHash )
{
    database_.execute( "UPDATE accounts SET password = ? WHERE id = ?", { passwordHash, id } );
    for ( const char* sql :
        { "DELETE FROM refresh_tokens WHERE account = ?", "DELETE FROM mailed_codes WHERE account = ?" } )
        database_.execute( sql, { id } );
    database_.execute( "DELETE FROM failed_sign_ins WHERE email = (SELECT email FROM accounts WHERE id = ?)", { id } );
}

void Accounts::remove( const std::string& id )
{
    for ( const char* sql : { "DELETE FROM refresh_tokens WHERE account = ?",
              "DELETE FROM mailed_codes WHERE account = ?", "DELETE FROM accounts WHERE id = ?" } )
        database_.execute( sql, { id } );
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

std::string Accounts::newCode( const std::string& id, CodePurpose purpose, seconds life )
{
    const auto code = fmt::format( "{:06}", randombytes_uniform( 1000000 ) );
    database_.execute( "INSERT OR REPLACE INTO mailed_codes VALUES(?, ?, ?, ?, 0)",
        { id, std::string( nameOf( purpose ) ), codeHash_( id, purpose, code ), count( clock_() + life ) } );
    return code;
}

CodeCheck Accounts::takeCode(
    const std::string& id, std::initializer_list<CodePurpose> purposes, const std::string& code )
{
    auto result = CodeCheck::Expired;
    for ( const auto purpose : purposes )
    {
        const auto check = takeCodeOf_( id, purpose, code );
        if ( check == CodeCheck::Good )
            return check;
        // Where codes of one purpose may still be tried it is this code that is wrong.
        if ( result == CodeCheck::Expired || check == CodeCheck::Wrong )
            result = check;
    }
    return result;
}

CodeCheck Accounts::takeCodeOf_( const std::string& id, CodePurpose purpose, const std::string& code )
{
    const std::string name = nameOf( purpose );
    const auto rows = database_.query( "SELECT hash, tries FROM mailed_codes WHERE account = ? AND purpose = ? AND "
                                       "expires > ?",
        { id, name, count( clock_() ) } );
    if ( rows.empty() )
        return CodeCheck::Expired;
    const auto given = codeHash_( id, purpose, code );
    bool alive = false, good = false;
    for ( const auto& row : rows )
    {
        const auto wanted = textOf( row[0] );
        const bool tried = integerOf( row[1] ) >= cCodeTries;
        alive |= !tried;
        good |=
            !tried && wanted.size() == given.size() && sodium_memcmp( wanted.data(), given.data(), given.size() ) == 0;
    }
    if ( good )
        database_.execute( "DELETE FROM mailed_codes WHERE account = ? AND purpose = ?", { id, name } );
    else if ( alive )
        database_.execute(
            "UPDATE mailed_codes SET tries = tries + 1 WHERE account = ? AND purpose = ?", { id, name } );
    return good ? CodeCheck::Good : alive ? CodeCheck::Wrong : CodeCheck::TooManyTries;
}

std::string Accounts::newRefreshToken( const std::string& id, seconds life )
{
    std::string random( 32, '\0' );
    randombytes_buf( random.data(), random.size() );
    auto token = base64Url( random );
    database_.execute(
        "INSERT INTO refresh_tokens VALUES(?, ?, ?)", { hex( sha256( token ) ), id, count( clock_() + life ) } );
    return token;
}

RefreshCheck Accounts::checkRefreshToken( const std::string& token, Account& account )
{
    const auto rows = database_.query( "SELECT a.id, a.email, a.password, a.confirmed, a.created, t.expires FROM "
                                       "refresh_tokens t JOIN accounts a ON a.id = t.account WHERE t.hash = ?",
        { hex( sha256( token ) ) } );
    if ( rows.empty() )
        return RefreshCheck::Invalid;
    account = accountOf( rows[0] );
    return integerOf( rows[0][5] ) > count( clock_() ) ? RefreshCheck::Good : RefreshCheck::Expired;
}

bool Accounts::isLocked( const std::string& email )
{
    const auto rows = database_.query( "SELECT failures, last FROM failed_sign_ins WHERE email = ?", { email } );
    if ( rows.empty() || integerOf( rows[0][0] ) < cFreeFailures )
        return false;
    const auto beyond = std::min<int64_t>( integerOf( rows[0][0] ) - cFreeFailures, 30 );
    const auto lock = std::min( seconds( int64_t( 1 ) << beyond ), cLongestLock );
    return count( clock_() ) < integerOf( rows[0][1] ) + lock.count();
}

void Accounts::noteFailure( const std::string& email )
{
    database_.execute( "INSERT INTO failed_sign_ins VALUES(?1, 1, ?2) ON CONFLICT(email) DO UPDATE SET failures = "
                       "failures + 1, last = ?2",
        { email, count( clock_() ) } );
}

void Accounts::forgetFailures( const std::string& email )
{
    database_.execute( "DELETE FROM failed_sign_ins WHERE email = ?", { email } );
}

void Accounts::clean()
{
    const auto now = clock_();
    database_.execute( "DELETE FROM mailed_codes WHERE expires <= ?", { count( now ) } );
    database_.execute( "DELETE FROM refresh_tokens WHERE expires <= ?", { count( now - cExpiredMemory ) } );
    database_.execute( "DELETE FROM failed_sign_ins WHERE last <= ?", { count( now - cFailureMemory ) } );
}

} // namespace VX::Backend
