#include "http/TlsConnection.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

namespace VX::Backend
{

namespace asio = boost::asio;
namespace beast = boost::beast;
using beast::error_code;

TlsConnection::TlsConnection( asio::ip::tcp::socket socket, std::shared_ptr<asio::ssl::context> tls )
    : tls_( std::move( tls ) )
    , stream_( std::move( socket ), *tls_ )
{
}

std::string TlsConnection::peer() const
{
    error_code ec;
    const auto end = beast::get_lowest_layer( stream_ ).socket().remote_endpoint( ec );
    return ec ? std::string() : end.address().to_string();
}

asio::awaitable<bool> TlsConnection::open()
{
    error_code ec;
    beast::get_lowest_layer( stream_ ).socket().set_option( asio::ip::tcp::no_delay( true ), ec );
    co_await stream_.async_handshake( asio::ssl::stream_base::server, asio::redirect_error( asio::use_awaitable, ec ) );
    co_return !ec;
}

asio::awaitable<size_t> TlsConnection::read( std::span<char> room )
{
    error_code ec;
    const size_t count = co_await stream_.async_read_some(
        asio::buffer( room.data(), room.size() ), asio::redirect_error( asio::use_awaitable, ec ) );
    co_return ec ? 0 : count;
}

asio::awaitable<bool> TlsConnection::write( std::string_view bytes )
{
    error_code ec;
    co_await asio::async_write(
        stream_, asio::buffer( bytes.data(), bytes.size() ), asio::redirect_error( asio::use_awaitable, ec ) );
    co_return !ec;
}

asio::awaitable<void> TlsConnection::end()
{
    error_code ec;
    co_await stream_.async_shutdown( asio::redirect_error( asio::use_awaitable, ec ) );
}

void TlsConnection::expireAt( Moment moment )
{
    auto& lowest = beast::get_lowest_layer( stream_ );
    if ( moment == Moment::max() )
        lowest.expires_never();
    else
        lowest.expires_at( moment );
}

void TlsConnection::cut()
{
    asio::post(
        stream_.get_executor(), [self = shared_from_this()] { beast::get_lowest_layer( self->stream_ ).close(); } );
}

} // namespace VX::Backend
