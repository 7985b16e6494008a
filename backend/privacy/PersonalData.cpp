#include "privacy/PersonalData.h"

#include "clock/SystemTime.h"
#include "converter/ConversionJobs.h"
#include "data/DataFolder.h"
#include "database/Schema.h"
#include "identity/Accounts.h"
#include "identity/RefusalLog.h"
#include "identity/gateway/GatewayNames.h"
#include "identity/keys/KeyStores.h"
#include "statistics/ReportReader.h"
#include "statistics/StatsStore.h"
#include "storage/s3/KeptObjects.h"
#include "text/JsonText.h"

#include <VXMesh/io/Json.h>

#include <fstream>
#include <sstream>

namespace VX::Backend
{
namespace
{

using Result = tl::expected<void, std::string>;

/// What names a person in the tables.
struct Person
{
    std::string email;
    std::vector<std::string> accounts; ///< their ids, here and at another identity service
    std::string code;                  ///< in the statistics
    std::string codeKey;               ///< the mark of its key
    std::string nameInLogs;
};

struct Databases
{
    std::unique_ptr<Database> main, statistics;
};

/// Rows of one kind: ?1 is the address, ?2 a JSON array of the ids of accounts, ?3 the code, ?4 the mark of its key.
struct Kind
{
    const char* name;
    const char* rows;
    /// One for each column.
    std::initializer_list<const char*> members;
};

const Kind cKinds[] = {
    { "account", "SELECT id, email, confirmed, blocked, created FROM accounts WHERE email = ?1",
        { "id", "email", "confirmed", "blocked", "created" } },
    { "signIns",
        "SELECT expires FROM refresh_tokens WHERE account IN (SELECT value FROM json_each(?2)) ORDER BY expires",
        { "expires" } },
    { "codes", "SELECT purpose, expires FROM mailed_codes WHERE account IN (SELECT value FROM json_each(?2))",
        { "purpose", "expires" } },
    { "codeGuesses", "SELECT wrong, since FROM code_guesses WHERE account IN (SELECT value FROM json_each(?2))",
        { "wrong", "since" } },
    { "accountsElsewhere", "SELECT name, expires FROM gateway_people WHERE email = ?1", { "name", "expires" } },
    { "signInsElsewhere",
        "SELECT name, expires FROM gateway_names WHERE name IN (SELECT value FROM json_each(?2)) ORDER BY expires",
        { "name", "expires" } },
    { "failedSignIns", "SELECT address, failures, last FROM sign_in_failures WHERE email = ?1",
        { "address", "failures", "last" } },
    { "mails", "SELECT subject, due, sent, error FROM mails WHERE recipient = ?1 ORDER BY id",
        { "subject", "due", "sent", "error" } },
    { "limits", "SELECT name, events, ends FROM kept_limits WHERE key = ?1", { "name", "events", "ends" } },
    { "conversions",
        "SELECT id, input_format, state, created, ended, bytes, error FROM conversions WHERE owner IN (SELECT value "
        "FROM json_each(?2))",
        { "id", "format", "state", "created", "ended", "bytes", "error" } },
};
const Kind cSessions{ "sessions",
    "SELECT id, created, platform, version FROM stats_sessions WHERE \"user\" = ?3 ORDER BY created, id",
    { "id", "created", "platform", "version" } };
const Kind cActions{ "actions",
    "SELECT session, name, at FROM stats_actions WHERE session IN (SELECT id FROM stats_sessions WHERE \"user\" = ?3) "
    "ORDER BY at, rowid",
    { "session", "name", "at" } };

constexpr const char* cErased[] = {
    "DELETE FROM refresh_tokens WHERE account IN (SELECT value FROM json_each(?2))",
    "DELETE FROM mailed_codes WHERE account IN (SELECT value FROM json_each(?2))",
    "DELETE FROM code_guesses WHERE account IN (SELECT value FROM json_each(?2))",
    "DELETE FROM sign_in_failures WHERE email = ?1",
    "DELETE FROM mails WHERE recipient = ?1",
    "DELETE FROM kept_limits WHERE key = ?1",
    "DELETE FROM conversions WHERE owner IN (SELECT value FROM json_each(?2))",
    "DELETE FROM gateway_names WHERE name IN (SELECT value FROM json_each(?2))",
    "DELETE FROM gateway_people WHERE email = ?1",
    "DELETE FROM accounts WHERE email = ?1",
};
constexpr const char* cErasedStatistics[] = {
    "DELETE FROM stats_actions WHERE session IN (SELECT id FROM stats_sessions WHERE \"user\" = ?3)",
    "DELETE FROM stats_sessions WHERE \"user\" = ?3",
};

std::vector<SqlValue> parametersOf( const Person& person )
{
    return { person.email, compactList( person.accounts ), person.code, person.codeKey };
}

tl::expected<Databases, std::string> openIn( const DataPlace& place )
{
    auto main = openExistingMain( place );
    if ( !main )
        return tl::unexpected( main.error() );
    auto statistics = openExistingStatistics( place );
    if ( !statistics )
        return tl::unexpected( statistics.error() );
    // A folder of an older version has not all that is looked at.
    if ( const auto ready = GatewayNames::prepare( **main ); !ready )
        return tl::unexpected( ready.error().text );
    const StatsStore makesTables( **statistics, &systemTime );
    return Databases{ std::move( *main ), std::move( *statistics ) };
}

tl::expected<Person, std::string> personOf(
    const std::filesystem::path& data, const std::string& address, Database& database )
{
    Person out;
    out.email = Accounts::normalized( address );
    if ( out.email.empty() )
        return tl::unexpected( "\"" + address + "\" is no e-mail address" );
    const auto keys = keyStoreOf( data, database )->ensure( systemTime() );
    if ( !keys )
        return tl::unexpected( keys.error() );
    out.code = codeOfUser( out.email, keys->codes );
    out.codeKey = markOfKey( keys->codes );
    out.nameInLogs = nameInLog( out.email, keys->codes );
    // Another service may know its users by their very addresses.
    out.accounts = { out.email };
    const auto ids = database.query( "SELECT id FROM accounts WHERE email = ?1 UNION SELECT name FROM gateway_people "
                                     "WHERE email = ?1",
        { out.email } );
    if ( !ids )
        return tl::unexpected( ids.error().text );
    for ( const auto& row : *ids )
        out.accounts.push_back( textOf( row[0] ) );
    return out;
}

Json::Value jsonOf( const SqlValue& value )
{
    if ( const auto* number = std::get_if<int64_t>( &value ) )
        return Json::Int64( *number );
    const auto* text = std::get_if<std::string>( &value );
    return text ? Json::Value( *text ) : Json::Value();
}

DatabaseResult<void> collect( Database& database, const Kind& kind, const Person& person, Json::Value& out )
{
    const auto rows = database.query( kind.rows, parametersOf( person ) );
    if ( !rows )
        return tl::unexpected( rows.error() );
    auto& list = out[kind.name] = Json::Value( Json::arrayValue );
    for ( const auto& row : *rows )
    {
        Json::Value one;
        size_t column = 0;
        for ( const char* member : kind.members )
            one[member] = jsonOf( row[column++] );
        list.append( one );
    }
    return {};
}

/// Sessions of the statistics of which nobody can tell any more whose they are.
DatabaseResult<int64_t> countNobodys( Database& statistics, const Person& person )
{
    return statistics
        .query( "SELECT count(*) FROM stats_sessions WHERE code_key NOT IN ('', ?4)", parametersOf( person ) )
        .map( []( const std::vector<SqlRow>& rows ) { return integerOf( rows.front()[0] ); } );
}

template <typename Statements>
DatabaseResult<void> eraseFrom( Database& database, const Statements& statements, const Person& person )
{
    Database::Transaction transaction( database );
    for ( const char* sql : statements )
        if ( const auto erased = database.execute( sql, parametersOf( person ) ); !erased )
            return tl::unexpected( erased.error() );
    if ( const auto kept = transaction.commit(); !kept )
        return kept;
    return {};
}

/// What was deleted stands in the log beside the database until that is written over.
DatabaseResult<void> emptyLog( Database& database )
{
    return overwriteDeleted( database )
        .map_error(
            []( const DatabaseError& error )
            {
                return error.kind != DatabaseTrouble::Unavailable
                           ? error
                           : DatabaseError{ error.kind,
                                 "Everything was deleted, but the service was too busy to write over it; erase again" };
            } );
}

Result eraseObjects( const KeptObjects& objects, Database& database, const Person& person )
{
    const auto jobs =
        database.query( "SELECT id, attempts FROM conversions WHERE owner IN (SELECT value FROM json_each(?2))",
            parametersOf( person ) );
    if ( !jobs )
        return tl::unexpected( jobs.error().text );
    Result done;
    for ( const auto& row : *jobs )
    {
        ConversionJob job;
        job.id = textOf( row[0] );
        done = done.and_then( [&] { return objects.remove( job.uploadKey() ); } );
        for ( int64_t attempt = 0; attempt <= integerOf( row[1] ); ++attempt )
            done = done.and_then( [&] { return objects.remove( job.resultKey( attempt ) ); } );
    }
    return done;
}

void eraseOutbox( const std::filesystem::path& data, const Person& person )
{
    if ( data.empty() )
        return;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( data / "outbox", ec ) )
    {
        std::ostringstream text;
        text << std::ifstream( entry.path() ).rdbuf();
        if ( text.str().find( "\r\nTo: <" + person.email + ">\r\n" ) != std::string::npos )
            std::filesystem::remove( entry.path(), ec );
    }
}

} // namespace

tl::expected<Json::Value, std::string> personalData( const DataPlace& place, const std::string& email )
{
    const auto databases = openIn( place );
    if ( !databases )
        return tl::unexpected( databases.error() );
    const auto person = personOf( place.data, email, *databases->main );
    giveToOwner( place.data );
    if ( !person )
        return tl::unexpected( person.error() );
    Json::Value out;
    out["nameInLogs"] = person->nameInLogs;
    DatabaseResult<void> done;
    for ( const auto& kind : cKinds )
        done = done.and_then( [&] { return collect( *databases->main, kind, *person, out ); } );
    for ( const auto& kind : { cSessions, cActions } )
        done = done.and_then( [&] { return collect( *databases->statistics, kind, *person, out["statistics"] ); } );
    const auto nobodys = done.and_then( [&] { return countNobodys( *databases->statistics, *person ); } );
    if ( !nobodys )
        return tl::unexpected( nobodys.error().text );
    out["statistics"]["sessionsOfKeysThatAreGone"] = Json::Int64( *nobodys );
    return out;
}

tl::expected<Erased, std::string> erasePersonalData(
    const DataPlace& place, const std::string& email, const S3Bucket& bucket )
{
    const auto databases = openIn( place );
    if ( !databases )
        return tl::unexpected( databases.error() );
    auto& main = *databases->main;
    auto& statistics = *databases->statistics;
    const auto person = personOf( place.data, email, main );
    if ( !person )
        return tl::unexpected( person.error() );
    if ( const auto objects = eraseObjects( { place.data, bucket }, main, *person ); !objects )
        return tl::unexpected( objects.error() );
    eraseOutbox( place.data, *person );
    const auto erased = eraseFrom( main, cErased, *person )
                            .and_then( [&] { return eraseFrom( statistics, cErasedStatistics, *person ); } )
                            .and_then( [&] { return emptyLog( main ); } )
                            .and_then( [&] { return emptyLog( statistics ); } )
                            .and_then( [&] { return countNobodys( statistics, *person ); } );
    giveToOwner( place.data );
    if ( !erased )
        return tl::unexpected( erased.error().text );
    return Erased{ *erased };
}

} // namespace VX::Backend
