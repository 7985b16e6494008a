#include "statistics/StatsReport.h"

#include "clock/SystemTime.h"
#include "database/Database.h"
#include "database/DatabaseFiles.h"
#include "statistics/StatsStore.h"
#include "text/ExitStatus.h"

#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <iostream>

namespace VX::Backend
{
namespace
{

struct Section
{
    const char* name;
    const char* title;
    std::vector<SqlRow> rows;
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

DatabaseResult<std::vector<Section>> readSections( Database& database, const StatsReportOptions& options )
{
    const auto since = int64_t( ( systemTime() - std::chrono::days( options.days ) ).time_since_epoch().count() );
    std::vector<Section> out;
    const auto add = [&](
                         const char* name, const char* title, const char* sql, const std::vector<SqlValue>& parameters )
    {
        return database.query( sql, parameters )
            .map( [&]( std::vector<SqlRow> rows ) { out.push_back( { name, title, std::move( rows ) } ); } );
    };
    return add( "sessions", "Sessions a day",
        "SELECT date(created, 'unixepoch'), count(*) FROM stats_sessions WHERE created >= ? GROUP BY 1 ORDER BY 1",
        { since } )
        .and_then(
            [&]
            {
                return add( "users", "Users a day",
                    "SELECT date(created, 'unixepoch'), count(DISTINCT user) FROM stats_sessions WHERE created >= ? "
                    "GROUP BY 1 ORDER BY 1",
                    { since } );
            } )
        .and_then(
            [&]
            {
                return add( "actions", "Actions",
                    "SELECT name, count(*) FROM stats_actions WHERE stored >= ? GROUP BY 1 ORDER BY 2 DESC, 1 LIMIT ?",
                    { since, int64_t( options.actions ) } );
            } )
        .and_then(
            [&]
            {
                return add( "versions", "Versions",
                    "SELECT version, count(*) FROM stats_sessions WHERE created >= ? AND version != '' GROUP BY 1 "
                    "ORDER BY 2 DESC, 1",
                    { since } );
            } )
        .and_then(
            [&]
            {
                return add( "platforms", "Platforms",
                    "SELECT platform, count(*) FROM stats_sessions WHERE created >= ? AND platform != '' GROUP BY 1 "
                    "ORDER BY 2 DESC, 1",
                    { since } );
            } )
        .map( [&] { return std::move( out ); } );
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
    const auto database = Database::openExisting( options.data / cStatisticsDatabase );
    if ( !database )
        return tl::unexpected( database.error() );
    const StatsStore makesTables( **database, &systemTime );
    const auto sections = readSections( **database, options );
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
