#include "monitor/Figures.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

// Each looks at every row of a table that may be large.
constexpr auto cCountEvery = std::chrono::minutes( 1 );

/// The only row of an answer; the log tells why there is none.
std::optional<SqlRow> rowOf( Database& database, const char* sql, std::initializer_list<SqlValue> parameters = {} )
{
    const auto rows = database.query( sql, parameters );
    if ( rows && !rows->empty() )
        return rows->front();
    spdlog::error( "Figures: {}", rows ? "no row" : rows.error().text );
    return {};
}

std::optional<std::chrono::sys_seconds> momentOf( const SqlValue& value )
{
    if ( !std::holds_alternative<int64_t>( value ) )
        return {};
    return std::chrono::sys_seconds( std::chrono::seconds( integerOf( value ) ) );
}

} // namespace

FigureKeeper::FigureKeeper( Database& database, Database& statistics, std::filesystem::path data, Clock clock,
    More more, std::chrono::milliseconds pause )
    : database_( database )
    , statistics_( statistics )
    , data_( std::move( data ) )
    , clock_( std::move( clock ) )
    , more_( std::move( more ) )
    , looking_( pause, [this] { look_(); } )
{
}

FigureKeeper::Kept FigureKeeper::kept() const
{
    const std::lock_guard lock( mutex_ );
    return kept_;
}

void FigureKeeper::look_()
{
    auto [figures, at] = kept();
    const auto now = clock_();
    const bool queues = readQueues_( figures ), sizes = readSizes_( figures );
    if ( more_ )
        more_( figures );
    std::error_code ec;
    const auto space = std::filesystem::space( data_, ec );
    figures.diskFree = ec ? 0 : space.available;
    figures.diskSize = ec ? 0 : space.capacity;
    const std::lock_guard lock( mutex_ );
    kept_ = { figures, queues && sizes ? now : at };
}

bool FigureKeeper::readQueues_( Figures& out )
{
    const auto jobs = rowOf( database_,
        "SELECT count(*) FILTER (WHERE state = 1), count(*) FILTER (WHERE state = 2), min(coalesce(queued, created)) "
        "FILTER (WHERE state = 1) FROM conversions WHERE state IN (1, 2)" );
    const auto mails = rowOf( database_, "SELECT count(*), min(written) FROM mails WHERE sent IS NULL AND expires > ?",
        { clock_().time_since_epoch().count() } );
    if ( jobs )
    {
        out.queued = integerOf( ( *jobs )[0] );
        out.running = integerOf( ( *jobs )[1] );
        out.oldestQueued = momentOf( ( *jobs )[2] );
    }
    if ( mails )
    {
        out.mails = integerOf( ( *mails )[0] );
        out.oldestMail = momentOf( ( *mails )[1] );
    }
    return jobs && mails;
}

bool FigureKeeper::readSizes_( Figures& out )
{
    const auto now = std::chrono::steady_clock::now();
    if ( now < nextCount_ )
        return true;
    const auto accounts = rowOf( database_, "SELECT count(*) FROM accounts" );
    const auto sessions = rowOf( statistics_, "SELECT count(*) FROM stats_sessions" );
    if ( !accounts || !sessions )
        return false;
    out.accounts = integerOf( accounts->front() );
    out.sessions = integerOf( sessions->front() );
    nextCount_ = now + cCountEvery;
    return true;
}

} // namespace VX::Backend
