#include "doctor/Checks.h"

#include "clock/SystemTime.h"
#include "database/DatabaseFiles.h"
#include "database/sqlite/DatabaseLook.h"
#include "serve/Foundation.h"

#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <set>

namespace VX::Backend
{
namespace
{

namespace fs = std::filesystem;

constexpr uint64_t cGib = uint64_t( 1 ) << 30;
constexpr int64_t cLongWait = 600;

/// "accounts.email" and all others.
using Columns = std::set<std::string>;

template <typename T>
Columns columnsOf( T& database )
{
    const auto rows =
        database.query( "SELECT t.name || '.' || c.name FROM sqlite_master t, pragma_table_info(t.name) c "
                        "WHERE t.type = 'table'" );
    Columns out;
    for ( const auto& row : rows ? *rows : std::vector<SqlRow>() )
        out.insert( textOf( row[0] ) );
    return out;
}

/// Those that this version has in each of its databases.
std::map<std::string, Columns> columnsOfThisVersion()
{
    // Where none can be made nothing is missed.
    const std::map<std::string, Columns> unknown{ { cMainDatabase, {} }, { cStatisticsDatabase, {} } };
    const ScratchFolder folder( "orvanta-look-" );
    if ( folder.path().empty() )
        return unknown;
    const auto accounts = Database::open( folder.path() / cMainDatabase );
    const auto statistics = Database::open( folder.path() / cStatisticsDatabase );
    if ( !accounts || !statistics || !prepareTables( **accounts, **statistics ) )
        return unknown;
    return { { cMainDatabase, columnsOf( **accounts ) }, { cStatisticsDatabase, columnsOf( **statistics ) } };
}

/// Whether the file says that it is written with a log beside it.
bool isInWalMode( const fs::path& file )
{
    std::array<char, 20> head{};
    std::ifstream in( file, std::ios::binary );
    in.read( head.data(), head.size() );
    return in && head[18] == 2 && head[19] == 2;
}

DatabaseResult<std::string> faultOf( DatabaseLook& look )
{
    return look.query( "PRAGMA quick_check(1)" )
        .map( []( const std::vector<SqlRow>& rows ) { return rows.empty() ? std::string() : textOf( rows[0][0] ); } );
}

/// The first column of this version that is not there; empty where none is missing.
std::string missingIn( DatabaseLook& look, const Columns& wanted )
{
    const auto there = columnsOf( look );
    const auto missing =
        std::find_if( wanted.begin(), wanted.end(), [&]( const std::string& one ) { return !there.contains( one ); } );
    return missing == wanted.end() ? std::string() : *missing;
}

Finding checkDatabase( const Patient& patient, const std::string& name, const Columns& wanted )
{
    const auto file = patient.data / name;
    const auto found = [&]( Verdict verdict, const std::string& text ) { return Finding{ verdict, name, text }; };
    const auto damaged = [&]( const std::string& why )
    {
        return found( Verdict::Fail,
            "It is damaged (" + why + "); stop the service and go back to a backup: orvanta-backend restore" );
    };
    std::error_code ec;
    if ( !fs::exists( file, ec ) )
        return found( Verdict::Warn, "It is missing; the next start of the service makes it" );
    auto look = DatabaseLook::open( file, patient.isRunning );
    if ( !look )
        return found( Verdict::Fail, "It cannot be opened: " + look.error().text );
    const auto fault = faultOf( **look );
    if ( !fault && fault.error().kind == DatabaseTrouble::Unavailable )
        return found( Verdict::Fail, "It cannot be read: " + fault.error().text + "; look again in a moment" );
    if ( !fault || *fault != "ok" )
        return damaged( fault ? *fault : fault.error().text );
    if ( const auto missing = missingIn( **look, wanted ); !missing.empty() )
        return found( Verdict::Warn,
            fmt::format(
                "It is of another version, without \"{}\"; the next start of the service adds that", missing ) );
    if ( !isInWalMode( file ) )
        return found(
            Verdict::Warn, "It is not in WAL mode, as one of a backup; the next start of the service changes that" );
    return found( Verdict::Ok, "It is whole and of this version" );
}

DatabaseResult<int64_t> numberIn( DatabaseLook& look, const std::string& sql )
{
    return look.query( sql ).map(
        []( const std::vector<SqlRow>& rows ) { return rows.empty() ? int64_t( 0 ) : integerOf( rows[0][0] ); } );
}

Finding unknown( const char* about, const DatabaseError& error )
{
    return { Verdict::Warn, about, "It cannot be told: " + error.text };
}

Finding checkMails( DatabaseLook& look )
{
    const auto now = std::to_string( systemTime().time_since_epoch().count() );
    const auto rows = look.query( "SELECT sum(expires <= " + now + "), sum(expires > " + now +
                                  "), (SELECT error FROM mails WHERE sent IS NULL AND attempts > 0 ORDER BY id DESC "
                                  "LIMIT 1) FROM mails WHERE sent IS NULL AND attempts > 0" );
    if ( !rows )
        return unknown( "mails", rows.error() );
    const auto& row = rows->at( 0 );
    const auto lost = integerOf( row[0] ), waiting = integerOf( row[1] );
    if ( lost == 0 && waiting == 0 )
        return { Verdict::Ok, "mails", "None could not be delivered" };
    return { Verdict::Warn, "mails",
        fmt::format( "{} given up and {} tried again, the last for: {}; see \"mails list\" and --smtp-url", lost,
            waiting, printable( textOf( row[2] ), 200 ) ) };
}

Finding checkQueue( const Patient& patient, DatabaseLook& look )
{
    const auto now = systemTime().time_since_epoch().count();
    const auto rows = look.query( "SELECT count(*), min(queued) FROM conversions WHERE state = 1" );
    if ( !rows )
        return unknown( "queue", rows.error() );
    const auto count = integerOf( rows->at( 0 )[0] );
    if ( count == 0 )
        return { Verdict::Ok, "queue", "No conversion waits" };
    const auto waited = now - integerOf( rows->at( 0 )[1] );
    const auto text = fmt::format(
        "{} {}, the oldest for {} s", count, count == 1 ? "conversion waits" : "conversions wait", waited );
    if ( waited < cLongWait )
        return { Verdict::Ok, "queue", text };
    return { Verdict::Warn, "queue",
        text + ( patient.isRunning ? "; give the service more --slots" : "; start the service" ) };
}

Finding checkDisk( const Patient& patient, DatabaseLook& look )
{
    std::error_code ec;
    const auto space = fs::space( patient.data, ec );
    if ( ec )
        return { Verdict::Fail, "disk", "It cannot be told how much is free: " + ec.message() };
    const auto stored = uint64_t( numberIn( look, "SELECT coalesce(sum(bytes), 0) FROM conversions" ).value_or( 0 ) );
    const auto wanted = patient.maxStored - std::min( patient.maxStored, stored );
    const auto free = fmt::format( "{:.1f} GiB are free", double( space.available ) / double( cGib ) );
    if ( space.available < cGib / 4 )
        return { Verdict::Fail, "disk", free + "; make room before the database has none" };
    if ( space.available < wanted )
        return { Verdict::Warn, "disk",
            fmt::format( "{}, but --max-stored promises {:.1f} GiB more; make room, or promise less", free,
                double( wanted ) / double( cGib ) ) };
    return { Verdict::Ok, "disk", free };
}

} // namespace

Findings checkDatabases( const Patient& patient )
{
    Findings out;
    for ( const auto& [name, columns] : columnsOfThisVersion() )
        out.push_back( checkDatabase( patient, name, columns ) );
    return out;
}

Findings checkWork( const Patient& patient )
{
    const auto look = DatabaseLook::open( patient.data / cMainDatabase, patient.isRunning );
    // Why is told already, where the database itself was looked at.
    if ( !look )
        return {};
    return { checkDisk( patient, **look ), checkMails( **look ), checkQueue( patient, **look ) };
}

} // namespace VX::Backend
