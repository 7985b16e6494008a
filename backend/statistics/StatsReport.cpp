#include "statistics/StatsReport.h"

#include "clock/SystemTime.h"
#include "database/Database.h"
#include "identity/gateway/GatewayNames.h"
#include "identity/keys/KeyStores.h"
#include "statistics/ReportReader.h"
#include "statistics/StatsStore.h"
#include "text/ExitStatus.h"

#include <VXMesh/io/Text.h>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <iostream>
#include <map>
#include <unordered_set>

namespace VX::Backend
{
namespace
{

using Rows = std::vector<SqlRow>;

struct Section
{
    const char* name;
    const char* title;
    Rows rows;
};

/// Programs that open the file take what begins like a formula for one.
std::string csvField( std::string text )
{
    if ( text.find_first_of( "=+-@" ) == 0 )
        text.insert( 0, "'" );
    if ( text.find_first_of( ",\"\r\n" ) == std::string::npos )
        return text;
    std::string out = "\"";
    for ( const char c : text )
        out += c == '"' ? std::string( "\"\"" ) : std::string( 1, c );
    return out + "\"";
}

/// Reported texts may hold anything; a terminal gets none of its commands, and a table no lines.
std::string cellText( std::string text )
{
    for ( char& c : text )
        if ( static_cast<unsigned char>( c ) < ' ' || c == 0x7f )
            c = '?';
    return visibleText( text );
}

using Codes = std::unordered_set<std::string>;

/// The codes of all who have an account, here or at another identity service.
tl::expected<Codes, std::string> codesOfAccounts( const DataPlace& place )
{
    const auto database = openExistingMain( place );
    if ( !database )
        return tl::unexpected( database.error() );
    const auto keys = keyStoreOf( place.data, **database )->read();
    if ( !keys )
        return tl::unexpected( keys.error() );
    // A folder of an older version has not all that is looked at.
    const auto rows =
        GatewayNames::prepare( **database )
            .and_then(
                [&]
                {
                    return ( *database )->query( "SELECT email FROM accounts UNION SELECT email FROM gateway_people" );
                } );
    if ( !rows )
        return tl::unexpected( rows.error().text );
    Codes out;
    for ( const auto& row : *rows )
        out.insert( codeOfUser( textOf( row[0] ), keys->codes ) );
    return out;
}

/// What a day has of the sessions of one sort.
struct Day
{
    int64_t sessions = 0, users = 0;
};
using Days = std::map<std::string, Day>;

Section sectionOf( const char* name, const char* title, const Days& days, int64_t Day::* number )
{
    Section out{ name, title, {} };
    for ( const auto& [date, day] : days )
        out.rows.push_back( { date, day.*number } );
    return out;
}

/// As ISO 8601 has it; days are counted from 1970 on.
std::string dateOf( int64_t day )
{
    return fmt::format( "{:%F}", std::chrono::sys_days( std::chrono::days( day ) ) );
}

/// Anybody can open a session for any address, so those for which there is an account stand apart.
DatabaseResult<std::vector<Section>> readDays( Database& database, const Codes& accounts, int64_t since )
{
    const auto rows =
        database.query( "SELECT created / 86400, \"user\", count(*) FROM stats_sessions WHERE created >= ? GROUP BY 1, "
                        "2",
            { since } );
    if ( !rows )
        return tl::unexpected( rows.error() );
    Days known, others;
    for ( const auto& row : *rows )
    {
        auto& day = ( accounts.contains( textOf( row[1] ) ) ? known : others )[dateOf( integerOf( row[0] ) )];
        day.sessions += integerOf( row[2] );
        ++day.users;
    }
    return std::vector<Section>{ sectionOf( "sessions", "Sessions a day", known, &Day::sessions ),
        sectionOf( "users", "Users a day", known, &Day::users ),
        sectionOf(
            "sessions-without-account", "Sessions a day of addresses without an account", others, &Day::sessions ),
        sectionOf( "users-without-account", "Addresses without an account a day", others, &Day::users ) };
}

DatabaseResult<std::vector<Section>> readSections(
    Database& database, const Codes& accounts, const StatsReportOptions& options )
{
    const auto since = int64_t( ( systemTime() - std::chrono::days( options.days ) ).time_since_epoch().count() );
    auto out = readDays( database, accounts, since );
    const auto add = [&](
                         const char* name, const char* title, const char* sql, const std::vector<SqlValue>& parameters )
    {
        if ( !out )
            return;
        auto rows = database.query( sql, parameters );
        if ( rows )
            out->push_back( { name, title, std::move( *rows ) } );
        else
            out = tl::unexpected( rows.error() );
    };
    add( "actions", "Actions",
        "SELECT name, count(*) FROM stats_actions WHERE stored >= ? GROUP BY 1 ORDER BY 2 DESC, 1 LIMIT ?",
        { since, int64_t( options.actions ) } );
    add( "versions", "Versions",
        "SELECT version, count(*) FROM stats_sessions WHERE created >= ? AND version != '' GROUP BY 1 ORDER BY 2 DESC, "
        "1",
        { since } );
    add( "platforms", "Platforms",
        "SELECT platform, count(*) FROM stats_sessions WHERE created >= ? AND platform != '' GROUP BY 1 ORDER BY 2 "
        "DESC, 1",
        { since } );
    return out;
}

void print( const std::vector<Section>& sections, bool csv )
{
    if ( csv )
        std::cout << "section,key,count\n";
    for ( const auto& section : sections )
    {
        if ( !csv )
            std::cout << section.title << "\n";
        for ( const auto& row : section.rows )
        {
            const auto key = cellText( textOf( row[0] ) );
            std::cout << ( csv ? fmt::format( "{},{},{}\n", section.name, csvField( key ), integerOf( row[1] ) )
                               : fmt::format( "{:>10}  {}\n", integerOf( row[1] ), key ) );
        }
        if ( !csv )
            std::cout << "\n";
    }
}

tl::expected<void, std::string> run( const StatsReportOptions& options )
{
    const auto database = openExistingStatistics( options );
    if ( !database )
        return tl::unexpected( database.error() );
    const StatsStore makesTables( **database, &systemTime );
    const auto accounts = codesOfAccounts( options );
    if ( !accounts )
        return tl::unexpected( accounts.error() );
    const auto sections = readSections( **database, *accounts, options );
    if ( !sections )
        return tl::unexpected( sections.error().text );
    print( *sections, options.csv );
    return {};
}

} // namespace

int printStatsReport( const StatsReportOptions& options )
{
    return exitStatusOf( run( options ) );
}

} // namespace VX::Backend
