#include "mail/MailCommands.h"

#include "clock/SystemTime.h"
#include "database/Database.h"
#include "mail/MailQueue.h"
#include "text/ExitStatus.h"

#include <VXMesh/io/Text.h>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <iostream>

namespace VX::Backend
{
namespace
{

using Result = tl::expected<void, std::string>;

constexpr size_t cLongestReason = 200;

std::string timeOf( const SqlValue& value )
{
    return fmt::format( "{:%Y-%m-%d %H:%M}", std::chrono::sys_seconds( std::chrono::seconds( integerOf( value ) ) ) );
}

/// What has become of a mail: `sent`, `expires`, `due`, `attempts` and `error` of its row.
std::string stateOf( const SqlRow& row, int64_t now )
{
    if ( integerOf( row[3] ) > 0 )
        return "sent " + timeOf( row[3] );
    const auto failures = integerOf( row[6] ) == 0 ? std::string()
                                                   : fmt::format( ", failed {} times: {}", integerOf( row[6] ),
                                                         printable( textOf( row[7] ), cLongestReason ) );
    if ( integerOf( row[4] ) <= now )
        return "given up" + failures;
    return ( integerOf( row[5] ) <= now ? "due" : "next try " + timeOf( row[5] ) ) + failures;
}

Result list( Database& database, int64_t now )
{
    const auto rows =
        database.query( "SELECT id, recipient, subject, sent, expires, due, attempts, error FROM mails ORDER BY id" );
    if ( !rows )
        return tl::unexpected( rows.error().text );
    for ( const auto& row : *rows )
        std::cout << fmt::format( "{:>6} {:<36} {:<30} {}\n", integerOf( row[0] ), visibleText( textOf( row[1] ) ),
            textOf( row[2] ), stateOf( row, now ) );
    return {};
}

Result retry( Database& database, const std::optional<int64_t>& number, int64_t now )
{
    const std::string sql = "UPDATE mails SET due = ?1 WHERE sent IS NULL AND expires > ?1";
    const auto due =
        number ? database.execute( sql + " AND id = ?2", { now, *number } ) : database.execute( sql, { now } );
    if ( !due )
        return tl::unexpected( due.error().text );
    if ( number && *due == 0 )
        return tl::unexpected( fmt::format( "No mail of the number {} waits", *number ) );
    std::cout << fmt::format(
        "{} {} tried again by the running service, or the next one\n", *due, *due == 1 ? "mail is" : "mails are" );
    return {};
}

Result run( const MailCommand& command )
{
    const auto database = openExistingMain( command );
    if ( !database )
        return tl::unexpected( database.error() );
    if ( const auto ready = MailQueue::prepare( **database ); !ready )
        return tl::unexpected( ready.error().text );
    const auto now = int64_t( systemTime().time_since_epoch().count() );
    return command.action == MailCommand::Action::List ? list( **database, now )
                                                       : retry( **database, command.number, now );
}

} // namespace

int runMailCommand( const MailCommand& command )
{
    return exitStatusOf( run( command ) );
}

} // namespace VX::Backend
