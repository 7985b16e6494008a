#pragma once

#include "http/connection/ClientConnection.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>

#include <memory>

namespace VX::Backend
{

/// A client without TLS, for a listener that no stranger comes to.
class PlainConnection final : public ClientConnection, public std::enable_shared_from_this<PlainConnection>
{
public:
    explicit PlainConnection( boost::asio::ip::tcp::socket socket )
        : stream_( std::move( socket ) )
    {
    }

    [[nodiscard]] boost::asio::awaitable<bool> open() override;
    [[nodiscard]] boost::asio::awaitable<size_t> read( std::span<char> room ) override;
    [[nodiscard]] boost::asio::awaitable<bool> write( std::string_view bytes ) override;
    [[nodiscard]] boost::asio::awaitable<void> end() override;
    void expireAt( Moment moment ) override;
    [[nodiscard]] std::string peer() const override;
    void cut() override;

private:
    boost::beast::tcp_stream stream_;
};

} // namespace VX::Backend
