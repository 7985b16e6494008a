#include "http/connection/PlainConnection.h"

#include "http/connection/StreamCalls.h"

#include <boost/asio/post.hpp>

namespace VX::Backend
{

namespace asio = boost::asio;

std::string PlainConnection::peer() const
{
    return StreamCalls::peerOf( stream_ );
}

asio::awaitable<bool> PlainConnection::open()
{
    co_return StreamCalls::hurry( stream_ );
}

asio::awaitable<size_t> PlainConnection::read( std::span<char> room )
{
    return StreamCalls::read( stream_, room );
}

asio::awaitable<bool> PlainConnection::write( std::string_view bytes )
{
    return StreamCalls::write( stream_, bytes );
}

asio::awaitable<void> PlainConnection::end()
{
    boost::beast::error_code ec;
    stream_.socket().shutdown( asio::ip::tcp::socket::shutdown_send, ec );
    co_return;
}

void PlainConnection::expireAt( Moment moment )
{
    StreamCalls::expireAt( stream_, moment );
}

void PlainConnection::cut()
{
    asio::post( stream_.get_executor(), [self = shared_from_this()] { self->stream_.close(); } );
}

} // namespace VX::Backend
