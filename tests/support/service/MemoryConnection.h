#pragma once

#include "http/HttpService.h"
#include "http/HttpSession.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>

namespace VX::Testing
{

/// A client that has said everything already, and hears everything.
class MemoryConnection final : public Backend::HttpConnection
{
public:
    /// `piece` bytes come at a time.
    MemoryConnection( std::string says, size_t piece )
        : says_( std::move( says ) )
        , piece_( piece )
    {
    }
    boost::asio::awaitable<bool> open() override { co_return true; }
    boost::asio::awaitable<size_t> read( std::span<char> room ) override
    {
        if ( std::chrono::steady_clock::now() >= expires_ )
            co_return 0;
        const size_t count = std::min( { room.size(), piece_, says_.size() - at_ } );
        std::copy_n( says_.data() + at_, count, room.data() );
        at_ += count;
        if ( count == 0 && whenDone )
            whenDone();
        co_return count;
    }
    boost::asio::awaitable<bool> write( std::string_view bytes ) override
    {
        heard_ += bytes;
        co_return true;
    }
    boost::asio::awaitable<void> end() override
    {
        ended_ = true;
        co_return;
    }
    void expireAt( Moment moment ) override { expires_ = moment; }

    [[nodiscard]] const std::string& heard() const { return heard_; }
    [[nodiscard]] bool ended() const { return ended_; }
    /// Called when more is awaited of it than it says.
    std::function<void()> whenDone;

private:
    std::string says_, heard_;
    size_t piece_, at_ = 0;
    bool ended_ = false;
    Moment expires_ = Moment::max();
};

/// What a client hears on one connection that says all this, `piece` bytes at a time.
[[nodiscard]] inline std::string converse( const std::string& says, Backend::HttpHandler& handler,
    const Backend::HttpServerOptions& options = {}, size_t piece = SIZE_MAX, const std::string& peer = "127.0.0.1" )
{
    boost::asio::io_context io;
    MemoryConnection connection( says, piece );
    Backend::BodyRoom bodies( options.mostBodies );
    Backend::HttpSession session( connection, options, handler, peer, io.get_executor(), bodies );
    boost::asio::co_spawn( io, session.run(), boost::asio::detached );
    io.run();
    return connection.heard();
}

} // namespace VX::Testing
