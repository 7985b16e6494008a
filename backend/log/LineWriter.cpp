#include "log/LineWriter.h"

#include "metrics/Measures.h"

#include <VXMesh/io/WriteAll.h>

#include <condition_variable>
#include <mutex>
#include <span>
#include <thread>

namespace VX::Backend
{
namespace
{

constexpr size_t cMostWaiting = size_t( 4 ) << 20;
constexpr auto cLastWait = std::chrono::seconds( 1 );

} // namespace

struct LineWriter::State
{
    std::mutex mutex;
    std::condition_variable arrived, written;
    std::string waiting;
    bool writing = false, ending = false;
};

LineWriter::LineWriter( int descriptor )
    : state_( std::make_shared<State>() )
{
    std::thread(
        [state = state_, descriptor]
        {
            std::unique_lock lock( state->mutex );
            while ( true )
            {
                state->arrived.wait( lock, [&] { return state->ending || !state->waiting.empty(); } );
                if ( state->waiting.empty() )
                    return;
                std::string text;
                text.swap( state->waiting );
                state->writing = true;
                lock.unlock();
                // What the other end does not take is lost: nobody could be told.
                (void)writeAll( descriptor, std::as_bytes( std::span( text ) ) );
                lock.lock();
                state->writing = false;
                state->written.notify_all();
            }
        } )
        .detach();
}

LineWriter::~LineWriter()
{
    std::unique_lock lock( state_->mutex );
    state_->ending = true;
    state_->arrived.notify_all();
    state_->written.wait_for( lock, cLastWait, [this] { return state_->waiting.empty() && !state_->writing; } );
}

void LineWriter::write( const std::string& line )
{
    {
        const std::lock_guard lock( state_->mutex );
        if ( state_->waiting.size() + line.size() > cMostWaiting )
        {
            ++measures().lostLogLines;
            return;
        }
        state_->waiting += line;
    }
    state_->arrived.notify_one();
}

} // namespace VX::Backend
