#include "identity/Accounts.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"
#include "database/Schema.h"

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
/// Failures from all addresses together before an account's sign-ins are slowed down, and to what pace.
constexpr int64_t cFreeOfAll = 100, cPaceOfAll = 60;
constexpr int64_t cGuessesADay = 10;
constexpr seconds cGuessMemory = std::chrono::days( 1 );
constexpr seconds cUnconfirmedLife = std::chrono::days( 30 );
/// Sign-ins that an account keeps; the oldest end first.
constexpr int64_t cMostRefreshTokens = 200;
/// Names without an account whose failures are remembered.
constexpr int64_t cMostUnknown = 100000;

constexpr const char* cCount = "INTEGER NOT NULL DEFAULT 0";
constexpr const char* cColumns = "SELECT id, email, password, confirmed, created, generation, blocked FROM accounts ";

int64_t count( std::chrono::sys_seconds time )
{
    return time.time_since_epoch().count();
}

Account accountOf( const SqlRow& row )
{
    return { textOf( row[0] ), textOf( row[1] ), textOf( row[2] ), integerOf( row[3] ) != 0,
        std::chrono::sys_seconds( seconds( integerOf( row[4] ) ) ), integerOf( row[5] ), integerOf( row[6] ) != 0 };
}

/// Seconds that an account is locked for: 1, 2, 4 and so on.
int64_t lockAfter( int64_t failures )
{
    return std::min( int64_t( 1 ) << std::min<int64_t>( failures, 30 ), int64_t( cLongestLock.count() ) );
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
    const auto isThere = hasTable( database, "codes" );
    if ( !isThere )
        return tl::unexpected( isThere.error() );
    if ( !*isThere )
        return {};
    return executeAll(
        database, { "INSERT OR IGNORE INTO mailed_codes SELECT account, purpose, hash, expires, tries FROM codes",
                      "DROP TABLE codes" } );
}

DatabaseResult<void> makeOurTables( Database& database )
{
    return makeTables( database,
        { { "accounts",
              "id TEXT PRIMARY KEY, email TEXT NOT NULL UNIQUE, password TEXT NOT NULL, confirmed INTEGER NOT "
              "NULL, created INTEGER NOT NULL" },
            { "mailed_codes", "account TEXT NOT NULL, purpose TEXT NOT NULL, hash TEXT NOT NULL, expires INTEGER NOT "
                              "NULL, tries INTEGER NOT NULL, PRIMARY KEY(account, purpose, hash)" },
            { "refresh_tokens", "hash TEXT PRIMARY KEY, account TEXT NOT NULL, expires INTEGER NOT NULL" },
            { "sign_in_failures", "email TEXT NOT NULL, address TEXT NOT NULL, failures INTEGER NOT NULL, last INTEGER "
                                  "NOT NULL, PRIMARY KEY(email, address)" },
            { "code_guesses", "account TEXT PRIMARY KEY, wrong INTEGER NOT NULL, since INTEGER NOT NULL" } } )
        .and_then(
            [&]
            {
                return executeAll(
                    database, { "CREATE INDEX IF NOT EXISTS refresh_tokens_account ON refresh_tokens(account)",
                                  "CREATE INDEX IF NOT EXISTS sign_in_failures_last ON sign_in_failures(last)",
                                  "DROP TABLE IF EXISTS failed_sign_ins" } );
            } );
}

const char* nameOf( CodePurpose purpose )
{
    return purpose == CodePurpose::SignUp ? "sign-up" : "reset";
}

} // namespace

DatabaseResult<void> Accounts::prepare( Database& database )
{
    Database::Transaction transaction( database );
    return makeOurTables( database )
        // Accounts of older data folders are of the first generation, and nobody is kept out.
        .and_then( [&] { return addColumn( database, "accounts", "generation", cCount ); } )
        .and_then( [&]( bool ) { return addColumn( database, "accounts", "blocked", cCount ); } )
        .and_then( [&]( bool ) { return takeOverOldCodes( database ); } )
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

bool Accounts::isVisible( const std::string& email )
{
    return visibleText( email ) == email;
}

DatabaseResult<std::optional<Account>> Accounts::add(
    const std::string& email, const std::string& passwordHash, bool confirmed )
{
    const Account account{ randomUuid(), email, passwordHash, confirmed, clock_(), 0, false };
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
    return done( database_.execute( "UPDATE accounts SET password = ?, generation = generation + 1 WHERE id = ?",
                     { passwordHash, id } ) )
        .and_then(
            [&]
            {
                return executeFor( database_, id,
                    { "DELETE FROM refresh_tokens WHERE account = ?", "DELETE FROM mailed_codes WHERE account = ?",
                        "DELETE FROM code_guesses WHERE account = ?",
                        "DELETE FROM sign_in_failures WHERE email = (SELECT email FROM accounts WHERE id = ?)" } );
            } );
}

DatabaseResult<void> Accounts::setBlocked( const std::string& id, bool blocked )
{
    return done( database_.execute( "UPDATE accounts SET blocked = ?1, generation = generation + ?1 WHERE id = ?2",
                     { int64_t( blocked ), id } ) )
        .and_then(
            [&]
            {
                return blocked ? executeFor( database_, id, { "DELETE FROM refresh_tokens WHERE account = ?" } )
                               : DatabaseResult<void>();
            } );
}

DatabaseResult<void> Accounts::remove( const std::string& id )
{
    return executeFor( database_, id,
        { "DELETE FROM refresh_tokens WHERE account = ?", "DELETE FROM mailed_codes WHERE account = ?",
            "DELETE FROM code_guesses WHERE account = ?", "DELETE FROM accounts WHERE id = ?" } );
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
        .execute(
            "INSERT INTO mailed_codes VALUES(?1, ?2, ?3, ?4, 0) ON CONFLICT(account, purpose, hash) DO UPDATE SET "
            "expires = ?4, tries = 0",
            { id, std::string( nameOf( purpose ) ), codeHash_( id, purpose, code ), count( clock_() + life ) } )
        .map( [&]( int ) { return code; } );
}

DatabaseResult<bool> Accounts::hasGuessesLeft_( const std::string& id )
{
    return database_
        .query( "SELECT 1 FROM code_guesses WHERE account = ? AND wrong >= ? AND since > ? AND since <= ?",
            { id, cGuessesADay, count( clock_() - cGuessMemory ), count( clock_() ) } )
        .map( []( const Rows& rows ) { return rows.empty(); } );
}

DatabaseResult<void> Accounts::noteGuess_( const std::string& id )
{
    // A day that is over begins anew, and so does one that a clock set back has put into the future.
    return done( database_.execute(
        "INSERT INTO code_guesses VALUES(?1, 1, ?2) ON CONFLICT(account) DO UPDATE SET wrong = CASE WHEN "
        "code_guesses.since > ?3 AND code_guesses.since <= ?2 THEN code_guesses.wrong + 1 ELSE 1 END, since = CASE "
        "WHEN "
        "code_guesses.since > ?3 AND code_guesses.since <= ?2 THEN code_guesses.since ELSE ?2 END",
        { id, count( clock_() ), count( clock_() - cGuessMemory ) } ) );
}

DatabaseResult<CodeCheck> Accounts::takeCode(
    const std::string& id, std::initializer_list<CodePurpose> purposes, const std::string& code )
{
    const auto mayGuess = hasGuessesLeft_( id );
    if ( !mayGuess )
        return tl::unexpected( mayGuess.error() );
    if ( !*mayGuess )
        return CodeCheck::TooManyTries;
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
    if ( result != CodeCheck::Wrong )
        return result;
    return noteGuess_( id ).map( [&] { return result; } );
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

std::string Accounts::tokenHash_( const std::string& token ) const
{
    return "keyed-" + hex( hmacSha256( codeKey_, "refresh/" + token ) );
}

DatabaseResult<std::string> Accounts::newRefreshToken( const std::string& id, seconds life )
{
    std::string random( 32, '\0' );
    randombytes_buf( random.data(), random.size() );
    const auto token = base64Url( random );
    return database_
        .execute( "INSERT INTO refresh_tokens VALUES(?, ?, ?)", { tokenHash_( token ), id, count( clock_() + life ) } )
        .and_then(
            [&]( int )
            {
                return database_.execute( "DELETE FROM refresh_tokens WHERE account = ?1 AND hash NOT IN (SELECT hash "
                                          "FROM refresh_tokens WHERE account = ?1 ORDER BY expires DESC LIMIT ?2)",
                    { id, cMostRefreshTokens } );
            } )
        .map( [&]( int ) { return token; } );
}

DatabaseResult<RefreshCheck> Accounts::checkRefreshToken( const std::string& token, Account& account )
{
    const auto rows = database_.query(
        "SELECT a.id, a.email, a.password, a.confirmed, a.created, a.generation, a.blocked, t.expires FROM "
        "refresh_tokens t JOIN accounts a ON a.id = t.account WHERE t.hash IN (?, ?)",
        // The second is how older versions kept them.
        { tokenHash_( token ), hex( sha256( token ) ) } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    if ( rows->empty() )
        return RefreshCheck::Invalid;
    const auto& row = rows->front();
    account = accountOf( row );
    return integerOf( row.back() ) > count( clock_() ) ? RefreshCheck::Good : RefreshCheck::Expired;
}

DatabaseResult<void> Accounts::endSignIn( const std::string& refreshToken )
{
    const std::vector<SqlValue> hashes{ tokenHash_( refreshToken ), hex( sha256( refreshToken ) ) };
    // Whoever sends what is none of ours keeps nobody waiting who writes.
    const auto known = database_.query( "SELECT 1 FROM refresh_tokens WHERE hash IN (?, ?)", hashes );
    if ( !known )
        return tl::unexpected( known.error() );
    return known->empty() ? Result<void>()
                          : done( database_.execute( "DELETE FROM refresh_tokens WHERE hash IN (?, ?)", hashes ) );
}

DatabaseResult<bool> Accounts::isLocked( const std::string& email, const std::string& address, Patience patience )
{
    const auto now = count( clock_() );
    // Of a clock that was set back there are failures in the future: they are as good as of now.
    const auto rows =
        database_.execute( "UPDATE sign_in_failures SET last = ?2 WHERE email = ?1 AND last > ?2", { email, now } )
            .and_then(
                [&]( int )
                {
                    return database_.query(
                        "SELECT coalesce(sum(failures), 0), coalesce(max(last), 0), "
                        "coalesce(sum(failures) FILTER (WHERE address = ?2), 0), coalesce(max(last) FILTER (WHERE "
                        "address = ?2), 0) FROM sign_in_failures WHERE email = ?1",
                        { email, address } );
                } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    const auto& row = rows->at( 0 );
    const auto ofAll = integerOf( row[0] ), lastOfAll = integerOf( row[1] ), own = integerOf( row[2] ),
               lastOwn = integerOf( row[3] );
    if ( ofAll >= cFreeOfAll && now < lastOfAll + cPaceOfAll )
        return true;
    if ( patience == Patience::Short && ofAll > 0 && now < lastOfAll + lockAfter( ofAll ) )
        return true;
    return own >= cFreeFailures && now < lastOwn + lockAfter( own - cFreeFailures );
}

DatabaseResult<void> Accounts::noteFailure( const std::string& email, const std::string& address )
{
    return done( database_.execute(
        "INSERT INTO sign_in_failures VALUES(?1, ?2, 1, ?3) ON CONFLICT(email, address) DO UPDATE SET failures = CASE "
        "WHEN sign_in_failures.last > ?4 THEN sign_in_failures.failures + 1 ELSE 1 END, last = ?3",
        { email, address, count( clock_() ), count( clock_() - cFailureMemory ) } ) );
}

DatabaseResult<void> Accounts::forgetFailures( const std::string& email, const std::string& address )
{
    return done(
        database_.execute( "DELETE FROM sign_in_failures WHERE email = ? AND address = ?", { email, address } ) );
}

DatabaseResult<void> Accounts::clean()
{
    struct Deletion
    {
        const char* sql;
        int64_t parameter;
    };
    const auto now = clock_();
    const auto unconfirmed = count( now - cUnconfirmedLife );
    for ( const auto& [sql, parameter] : {
              Deletion{ "DELETE FROM mailed_codes WHERE expires <= ?", count( now ) },
              Deletion{ "DELETE FROM refresh_tokens WHERE expires <= ?", count( now - cExpiredMemory ) },
              Deletion{ "DELETE FROM sign_in_failures WHERE last <= ?", count( now - cFailureMemory ) },
              Deletion{ "DELETE FROM sign_in_failures WHERE email NOT IN (SELECT email FROM accounts) AND last < "
                        "(SELECT last FROM sign_in_failures ORDER BY last DESC LIMIT 1 OFFSET ?)",
                  cMostUnknown },
              Deletion{ "DELETE FROM code_guesses WHERE since <= ?", count( now - cGuessMemory ) },
              Deletion{ "DELETE FROM accounts WHERE confirmed = 0 AND created <= ?", unconfirmed },
          } )
        if ( const auto deleted = database_.execute( sql, { parameter } ); !deleted )
            return tl::unexpected( deleted.error() );
    return {};
}

} // namespace VX::Backend
