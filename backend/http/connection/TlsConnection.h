#pragma once

#include "http/connection/ClientConnection.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>

#include <memory>

namespace VX::Backend
{

/// A client with TLS.
class TlsConnection final : public ClientConnection, public std::enable_shared_from_this<TlsConnection>
{
public:
    TlsConnection( boost::asio::ip::tcp::socket socket, std::shared_ptr<boost::asio::ssl::context> tls );

    [[nodiscard]] boost::asio::awaitable<bool> open() override;
    [[nodiscard]] boost::asio::awaitable<size_t> read( std::span<char> room ) override;
    [[nodiscard]] boost::asio::awaitable<bool> write( std::string_view bytes ) override;
    [[nodiscard]] boost::asio::awaitable<void> end() override;
    void expireAt( Moment moment ) override;
    [[nodiscard]] std::string peer() const override;
    void cut() override;

private:
    std::shared_ptr<boost::asio::ssl::context> tls_;
    boost::beast::ssl_stream<boost::beast::tcp_stream> stream_;
};

} // namespace VX::Backend
