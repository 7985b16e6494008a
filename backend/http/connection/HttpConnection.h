#pragma once

#include <boost/asio/awaitable.hpp>

#include <chrono>
#include <span>
#include <string_view>

namespace VX::Backend
{

/// The bytes of one client, there and back. Used by one coroutine at a time; every wait ends at the moment that was set
/// last.
class HttpConnection
{
public:
    using Moment = std::chrono::steady_clock::time_point;

    virtual ~HttpConnection() = default;

    /// Agrees on keys and the like; false when the client cannot be spoken with.
    [[nodiscard]] virtual boost::asio::awaitable<bool> open() = 0;
    /// Waits for bytes and returns how many have come; 0 when no more will.
    [[nodiscard]] virtual boost::asio::awaitable<size_t> read( std::span<char> room ) = 0;
    /// Sends all of the bytes, which must stay until then; false when the client has gone.
    [[nodiscard]] virtual boost::asio::awaitable<bool> write( std::string_view bytes ) = 0;
    /// Says goodbye.
    [[nodiscard]] virtual boost::asio::awaitable<void> end() = 0;

    /// When a wait, this one or a later one, has lasted long enough.
    virtual void expireAt( Moment moment ) = 0;
};

} // namespace VX::Backend
