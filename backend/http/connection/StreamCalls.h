#pragma once

#include "http/connection/HttpConnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>

#include <span>
#include <string>
#include <string_view>

/// What a connection asks of its stream of bytes, the same with TLS and without.
namespace VX::Backend::StreamCalls
{

/// The number of bytes that have come; 0 at the end, or when the stream is broken.
template <typename Stream>
boost::asio::awaitable<size_t> read( Stream& stream, std::span<char> room )
{
    boost::beast::error_code ec;
    const size_t count = co_await stream.async_read_some( boost::asio::buffer( room.data(), room.size() ),
        boost::asio::redirect_error( boost::asio::use_awaitable, ec ) );
    co_return ec ? 0 : count;
}

/// Whether all bytes were taken.
template <typename Stream>
boost::asio::awaitable<bool> write( Stream& stream, std::string_view bytes )
{
    boost::beast::error_code ec;
    co_await boost::asio::async_write( stream, boost::asio::buffer( bytes.data(), bytes.size() ),
        boost::asio::redirect_error( boost::asio::use_awaitable, ec ) );
    co_return !ec;
}

/// Address at the other end; empty when it has gone already.
inline std::string peerOf( const boost::beast::tcp_stream& stream )
{
    boost::beast::error_code ec;
    const auto end = stream.socket().remote_endpoint( ec );
    return ec ? std::string() : end.address().to_string();
}

/// Sends what is written at once; false when the connection has gone.
inline bool hurry( boost::beast::tcp_stream& stream )
{
    boost::beast::error_code ec;
    stream.socket().set_option( boost::asio::ip::tcp::no_delay( true ), ec );
    return !ec;
}

/// Ends each wait at that moment, or never at the last one there is.
inline void expireAt( boost::beast::tcp_stream& stream, HttpConnection::Moment moment )
{
    if ( moment == HttpConnection::Moment::max() )
        stream.expires_never();
    else
        stream.expires_at( moment );
}

} // namespace VX::Backend::StreamCalls
