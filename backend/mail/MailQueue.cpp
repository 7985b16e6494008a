#include "mail/MailQueue.h"

#include "database/Schema.h"

#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

using std::chrono::seconds;

// Mails become due while nobody calls.
constexpr std::chrono::milliseconds cLookAgain = seconds( 2 );
constexpr int64_t cFirstPause = 5, cLongestPause = 900;
/// How long a mail is left to the caller who is to send it.
constexpr int64_t cCallersTime = 60;
constexpr seconds cMemory = std::chrono::days( 1 );

int64_t pauseAfter( int64_t attempts )
{
    return std::min( cFirstPause << std::min<int64_t>( attempts, 10 ), cLongestPause );
}

} // namespace

DatabaseResult<void> MailQueue::prepare( Database& database )
{
    return makeTable( database,
        { "mails",
            "id INTEGER PRIMARY KEY AUTOINCREMENT, recipient TEXT NOT NULL, subject TEXT NOT NULL, text TEXT NOT NULL, "
            "due "
            "INTEGER NOT NULL, expires INTEGER NOT NULL, attempts INTEGER NOT NULL DEFAULT 0, sent INTEGER, error TEXT",
            RowNumbers::Kept } )
        .and_then(
            [&]
            {
                return executeAll(
                    database, { "CREATE INDEX IF NOT EXISTS mails_due ON mails(due) WHERE sent IS NULL" } );
            } )
        .and_then( [&] { return addColumn( database, "mails", "written", "INTEGER" ); } )
        .map( []( bool ) {} );
}

MailQueue::MailQueue( Database& database, Mailer& mailer, Delivery delivery, Clock clock )
    : database_( database )
    , mailer_( mailer )
    , delivery_( delivery )
    , clock_( std::move( clock ) )
    , sending_( [this] { return sendNext_() ? std::chrono::milliseconds( 0 ) : cLookAgain; } )
{
}

DatabaseResult<int64_t> MailQueue::add( const Mail& mail, seconds life )
{
    const auto now = int64_t( clock_().time_since_epoch().count() );
    return database_
        .query( "INSERT INTO mails(recipient, subject, text, due, expires, written) VALUES(?, ?, ?, ?, ?, ?) "
                "RETURNING id",
            { mail.to, mail.subject, mail.text, delivery_ == Delivery::AtOnce ? now + cCallersTime : now,
                now + int64_t( life.count() ), now } )
        .map( []( const std::vector<SqlRow>& rows ) { return integerOf( rows.at( 0 )[0] ); } );
}

tl::expected<void, std::string> MailQueue::deliver( int64_t number )
{
    if ( delivery_ == Delivery::Later )
    {
        wake();
        return {};
    }
    const auto waiting = next_( number );
    if ( !waiting )
        return tl::unexpected( waiting.error().text );
    if ( !*waiting )
        return {};
    const auto sent = send_( **waiting );
    note_( **waiting, sent );
    return sent;
}

DatabaseResult<void> MailQueue::discard( int64_t number )
{
    return database_.execute( "DELETE FROM mails WHERE id = ? AND sent IS NULL", { number } ).map( []( int ) {} );
}

DatabaseResult<std::optional<MailQueue::Waiting>> MailQueue::next_( std::optional<int64_t> number )
{
    const auto now = int64_t( clock_().time_since_epoch().count() );
    const std::string columns = "SELECT id, recipient, subject, text, attempts FROM mails WHERE sent IS NULL AND ";
    const auto rows =
        number ? database_.query( columns + "id = ?", { *number } )
               : database_.query( columns + "due <= ? AND expires > ? ORDER BY due, id LIMIT 1", { now, now } );
    return rows.map(
        []( const std::vector<SqlRow>& found ) -> std::optional<Waiting>
        {
            if ( found.empty() )
                return {};
            const auto& row = found[0];
            return Waiting{
                integerOf( row[0] ), { textOf( row[1] ), textOf( row[2] ), textOf( row[3] ) }, integerOf( row[4] ) };
        } );
}

tl::expected<void, std::string> MailQueue::send_( const Waiting& waiting )
{
    {
        const std::lock_guard lock( mutex_ );
        if ( sent_.contains( waiting.number ) )
            return {};
    }
    return mailer_.send( waiting.mail );
}

bool MailQueue::note_( const Waiting& waiting, const tl::expected<void, std::string>& sent )
{
    const auto now = int64_t( clock_().time_since_epoch().count() );
    const auto noted =
        sent ? database_.execute(
                   "UPDATE mails SET sent = ?, text = '', error = NULL WHERE id = ?", { now, waiting.number } )
             : database_.execute( "UPDATE mails SET attempts = attempts + 1, due = ?, error = ? WHERE id = ?",
                   { now + pauseAfter( waiting.attempts ), sent.error(), waiting.number } );
    if ( !noted )
        spdlog::error( "Mails: {}", noted.error().text );
    const std::lock_guard lock( mutex_ );
    if ( noted )
        sent_.erase( waiting.number );
    else if ( sent )
        sent_.insert( waiting.number );
    return noted.has_value();
}

bool MailQueue::sendNext_()
{
    const auto next = next_( {} );
    if ( !next )
        spdlog::error( "Mails: {}", next.error().text );
    if ( !next || !*next )
        return false;
    const auto sent = send_( **next );
    if ( !sent )
        spdlog::error( "A mail is tried again later: {}", sent.error() );
    return note_( **next, sent );
}

DatabaseResult<void> MailQueue::clean()
{
    mailer_.forget( cMemory );
    const auto now = clock_().time_since_epoch().count();
    // What was never sent holds its text up to here.
    return database_.execute( "UPDATE mails SET text = '' WHERE expires <= ? AND text != ''", { int64_t( now ) } )
        .and_then(
            [&]( int )
            {
                return database_.execute(
                    "DELETE FROM mails WHERE coalesce(sent, expires) <= ?", { int64_t( now - cMemory.count() ) } );
            } )
        .map( []( int ) {} );
}

} // namespace VX::Backend
