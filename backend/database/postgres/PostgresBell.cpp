#include "database/postgres/PostgresBell.h"

#include "crypto/Hex.h"
#include "database/postgres/PostgresSession.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

constexpr const char* cChannel = "orvanta";
constexpr size_t cNameBytes = 8;
// More than that is what a crowd would look for anyway.
constexpr size_t cMostWaiting = 1000;
constexpr std::chrono::milliseconds cFirstPause{ 100 }, cLongestPause{ 5000 };
constexpr std::chrono::milliseconds cProof{ 2000 };

} // namespace

PostgresBell::PostgresBell( std::string address, std::string schema )
    : address_( std::move( address ) )
    , schema_( std::move( schema ) )
    , own_( randomHex( cNameBytes ) + " " )
    , wakes_( ::eventfd( 0, EFD_CLOEXEC | EFD_NONBLOCK ) )
{
}

PostgresBell::~PostgresBell()
{
    ending_ = true;
    wake_();
    if ( thread_.joinable() )
        thread_.join();
    ::close( wakes_ );
}

void PostgresBell::wake_() const
{
    constexpr uint64_t cOne = 1;
    // It is full where it wakes already.
    (void)!::write( wakes_, &cOne, sizeof cOne );
}

void PostgresBell::ring( const std::string& word )
{
    {
        const std::lock_guard lock( mutex_ );
        if ( words_.size() == cMostWaiting )
            words_.pop_front();
        words_.push_back( word );
    }
    wake_();
}

void PostgresBell::listen( Heard heard )
{
    heard_ = std::move( heard );
    thread_ = std::thread( [this] { run_(); } );
}

void PostgresBell::run_()
{
    auto pause = cFirstPause;
    bool isKnownLost = false;
    while ( !ending_ )
    {
        const auto session = PostgresSession::open( address_, schema_ );
        const auto listens = session.and_then(
            [&]( const auto& open ) { return open->run( std::string( "LISTEN " ) + cChannel, {} ); } );
        if ( listens )
        {
            pause = cFirstPause;
            if ( std::exchange( isKnownLost, false ) )
                spdlog::info( "Changes by others are heard of again" );
            heard_( {} );
            serve_( **session );
        }
        else if ( !std::exchange( isKnownLost, true ) )
            spdlog::warn( "Changes by others are not heard of at once: {}", listens.error().text );
        if ( ending_ )
            return;
        pollfd waiting{ wakes_, POLLIN, 0 };
        uint64_t count = 0;
        // What wakes it is the end, or a word that can wait.
        if ( poll( &waiting, 1, int( pause.count() ) ) > 0 )
            (void)!::read( wakes_, &count, sizeof count );
        pause = std::min( pause * 2, cLongestPause );
    }
}

void PostgresBell::serve_( PostgresSession& session )
{
    // Nobody waits for the disk: what it tells of was committed.
    if ( !session.run( "SET synchronous_commit TO off", {} ) )
        return;
    if ( !isProved_ )
        look_( session );
    while ( !ending_ )
    {
        hear_( session );
        if ( !tell_( session ) || !session.isConnected() )
            return;
        std::array<pollfd, 2> waiting{ { { session.socket(), POLLIN, 0 }, { wakes_, POLLIN, 0 } } };
        // What came with an answer is heard of at once.
        if ( !session.hasNotices() && poll( waiting.data(), waiting.size(), -1 ) < 0 )
            continue;
        uint64_t count = 0;
        if ( ( waiting[1].revents & POLLIN ) != 0 )
            (void)!::read( wakes_, &count, sizeof count );
    }
}

void PostgresBell::look_( PostgresSession& session )
{
    // Which tells others nothing.
    ring( {} );
    const auto end = std::chrono::steady_clock::now() + cProof;
    while ( !isProved_ && !ending_ && tell_( session ) )
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>( end - std::chrono::steady_clock::now() );
        pollfd waiting{ session.socket(), POLLIN, 0 };
        if ( !session.hasNotices() && ( left.count() <= 0 || poll( &waiting, 1, int( left.count() ) ) == 0 ) )
            break;
        hear_( session );
    }
    if ( !isProved_ && !ending_ )
        spdlog::warn( "The database tells nobody of changes, as behind a pooler that lends connections for a "
                      "transaction: conversions begin and are told up to a second later" );
    isProved_ = true;
}

bool PostgresBell::tell_( PostgresSession& session )
{
    std::deque<std::string> words;
    {
        const std::lock_guard lock( mutex_ );
        words.swap( words_ );
    }
    return std::all_of( words.begin(), words.end(), [&]( const std::string& word )
        { return session.run( "SELECT pg_notify(?, ?)", { std::string( cChannel ), own_ + word } ).has_value(); } );
}

void PostgresBell::hear_( PostgresSession& session )
{
    for ( const auto& text : session.takeNotices() )
    {
        if ( text.starts_with( own_ ) )
            isProved_ = true;
        else if ( const auto word = text.substr( std::min( text.find( ' ' ), text.size() - 1 ) + 1 ); !word.empty() )
            heard_( word );
    }
}

} // namespace VX::Backend
