#pragma once

#include "http/HttpConnection.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>

#include <memory>
#include <string>

namespace VX::Backend
{

/// A client at the other end of a TCP connection with TLS. On the strand of its socket, but for `cut`.
class TlsConnection final : public HttpConnection, public std::enable_shared_from_this<TlsConnection>
{
public:
    TlsConnection( boost::asio::ip::tcp::socket socket, std::shared_ptr<boost::asio::ssl::context> tls );

    [[nodiscard]] boost::asio::awaitable<bool> open() override;
    [[nodiscard]] boost::asio::awaitable<size_t> read( std::span<char> room ) override;
    [[nodiscard]] boost::asio::awaitable<bool> write( std::string_view bytes ) override;
    [[nodiscard]] boost::asio::awaitable<void> end() override;
    void expireAt( Moment moment ) override;

    /// Address at the other end; empty when it has gone already.
    [[nodiscard]] std::string peer() const;
    /// Ends every wait and the connection, soon. Any thread.
    void cut();

private:
    std::shared_ptr<boost::asio::ssl::context> tls_;
    boost::beast::ssl_stream<boost::beast::tcp_stream> stream_;
};

} // namespace VX::Backend
