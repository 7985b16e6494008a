#include "http/connection/TlsConnection.h"

#include "http/connection/StreamCalls.h"

#include <boost/asio/post.hpp>

namespace VX::Backend
{

namespace asio = boost::asio;
namespace beast = boost::beast;

TlsConnection::TlsConnection( asio::ip::tcp::socket socket, std::shared_ptr<asio::ssl::context> tls )
    : tls_( std::move( tls ) )
    , stream_( std::move( socket ), *tls_ )
{
}

std::string TlsConnection::peer() const
{
    return StreamCalls::peerOf( beast::get_lowest_layer( stream_ ) );
}

asio::awaitable<bool> TlsConnection::open()
{
    // One that has gone fails at the handshake.
    (void)StreamCalls::hurry( beast::get_lowest_layer( stream_ ) );
    beast::error_code ec;
    co_await stream_.async_handshake( asio::ssl::stream_base::server, asio::redirect_error( asio::use_awaitable, ec ) );
    co_return !ec;
}

asio::awaitable<size_t> TlsConnection::read( std::span<char> room )
{
    return StreamCalls::read( stream_, room );
}

asio::awaitable<bool> TlsConnection::write( std::string_view bytes )
{
    return StreamCalls::write( stream_, bytes );
}

asio::awaitable<void> TlsConnection::end()
{
    beast::error_code ec;
    co_await stream_.async_shutdown( asio::redirect_error( asio::use_awaitable, ec ) );
}

void TlsConnection::expireAt( Moment moment )
{
    StreamCalls::expireAt( beast::get_lowest_layer( stream_ ), moment );
}

void TlsConnection::cut()
{
    asio::post(
        stream_.get_executor(), [self = shared_from_this()] { beast::get_lowest_layer( self->stream_ ).close(); } );
}

} // namespace VX::Backend
