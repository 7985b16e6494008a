#include "http/HttpServer.h"

#include <VXMesh/io/Text.h>
#include <VXMesh/io/WriteAll.h>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using Stream = beast::ssl_stream<beast::tcp_stream>;
using beast::error_code;

constexpr size_t cChunk = size_t( 1 ) << 20;

/// A file descriptor that is closed, and its file removed unless kept.
class UploadFile
{
public:
    explicit UploadFile( std::filesystem::path path )
        : path_( std::move( path ) )
        , fd_( ::open( path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600 ) )
    {
    }
    UploadFile( const UploadFile& ) = delete;
    UploadFile& operator=( const UploadFile& ) = delete;
    ~UploadFile()
    {
        if ( fd_ < 0 )
            return;
        ::close( fd_ );
        if ( !kept_ )
            ::unlink( path_.c_str() );
    }
    [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
    [[nodiscard]] bool write( const char* data, size_t size ) const
    {
        return writeAll( fd_, { reinterpret_cast<const std::byte*>( data ), size } ) == 0;
    }
    void keep() { kept_ = true; }

private:
    std::filesystem::path path_;
    int fd_;
    bool kept_ = false;
};

HttpResponse plainFailure( int status )
{
    HttpResponse out;
    out.status = status;
    out.body = fmt::format( R"({{"error":{{"message":"{}"}}}})", statusText( status ) );
    out.close = true;
    return out;
}

std::string headOf( const HttpResponse& response, uint64_t length, bool keepAlive )
{
    std::string head =
        fmt::format( "HTTP/1.1 {} {}\r\nContent-Type: {}\r\nContent-Length: {}\r\nConnection: {}\r\n", response.status,
            statusText( response.status ), response.contentType, length, keepAlive ? "keep-alive" : "close" );
    for ( const auto& [name, value] : response.headers )
        head += fmt::format( "{}: {}\r\n", name, value );
    return head + "\r\n";
}

HttpRequest toRequest( const http::request_header<>& header, const std::string& remote )
{
    HttpRequest out;
    out.method = std::string( header.method_string() );
    const std::string target( header.target() );
    const auto mark = target.find( '?' );
    out.path = target.substr( 0, mark );
    if ( mark != std::string::npos )
        out.query = target.substr( mark + 1 );
    for ( const auto& field : header )
    {
        const std::string_view name( field.name_string().data(), field.name_string().size() );
        out.headers[toLower( name )] = std::string( field.value() );
    }
    out.remoteAddress = remote;
    return out;
}

/// One connection. A coroutine on its own strand; every wait has a limit.
class Session : public std::enable_shared_from_this<Session>
{
public:
    Session(
        asio::ip::tcp::socket socket, asio::ssl::context& tls, const HttpServerOptions& options, HttpHandler& handler )
        : stream_( std::move( socket ), tls )
        , options_( options )
        , handler_( handler )
    {
    }

    asio::awaitable<void> run()
    {
        auto self = shared_from_this();
        error_code ec;
        auto& socket = beast::get_lowest_layer( stream_ ).socket();
        socket.set_option( asio::ip::tcp::no_delay( true ), ec );
        remote_ = socket.remote_endpoint( ec ).address().to_string();
        expireAfter_( options_.headerPatience );
        co_await stream_.async_handshake(
            asio::ssl::stream_base::server, asio::redirect_error( asio::use_awaitable, ec ) );
        bool again = !ec;
        while ( again )
            again = co_await serveOne_();
        expireAfter_( std::chrono::milliseconds( 1000 ) );
        co_await stream_.async_shutdown( asio::redirect_error( asio::use_awaitable, ec ) );
    }

private:
    using Parser = http::request_parser<http::string_body>;

    void expireAfter_( std::chrono::milliseconds time ) { beast::get_lowest_layer( stream_ ).expires_after( time ); }

    using Moment = std::chrono::steady_clock::time_point;

    /// Before each part of a body: time to wait, but never so much that a byte now and then holds the connection.
    void expireBodyAfter_( Moment begin, uint64_t received )
    {
        const auto earned = std::chrono::milliseconds( received * 1000 / std::max<uint64_t>( options_.leastRate, 1 ) );
        const Moment now = std::chrono::steady_clock::now();
        beast::get_lowest_layer( stream_ ).expires_at(
            std::min( now + options_.patience, begin + options_.patience + earned ) );
    }

    /// Reads and answers one request; false ends the connection.
    asio::awaitable<bool> serveOne_()
    {
        Parser parser;
        parser.header_limit( std::uint32_t( options_.maxHeaderSize ) );
        parser.body_limit( boost::none );
        error_code ec;
        // A connection may rest between two requests, but a request that has begun must not dawdle.
        if ( buffer_.size() == 0 )
        {
            expireAfter_( options_.keepAlive );
            const size_t n = co_await stream_.async_read_some(
                buffer_.prepare( 4096 ), asio::redirect_error( asio::use_awaitable, ec ) );
            if ( ec )
                co_return false;
            buffer_.commit( n );
        }
        expireAfter_( options_.headerPatience );
        co_await http::async_read_header( stream_, buffer_, parser, asio::redirect_error( asio::use_awaitable, ec ) );
        if ( ec == http::error::header_limit )
            co_return co_await send_( plainFailure( 431 ), false, false );
        if ( ec && ec.category() == http::make_error_code( http::error::bad_version ).category() &&
             ec != http::error::end_of_stream && ec != http::error::partial_message )
            co_return co_await send_( plainFailure( 400 ), false, false );
        if ( ec )
            co_return false;
        co_return co_await serveParsed_( parser );
    }

    asio::awaitable<bool> serveParsed_( Parser& parser )
    {
        HttpRequest request = toRequest( parser.get(), remote_ );
        const bool keepAlive = parser.keep_alive();
        const bool head = request.method == "HEAD";
        BodyPlan plan = handler_.planBody( request );
        const auto length = parser.content_length();
        if ( plan.refusal )
        {
            HttpResponse refusal = std::move( *plan.refusal );
            co_return co_await refuse_( std::move( refusal ), length.value_or( 0 ) );
        }
        if ( length && *length > plan.maxSize )
            co_return co_await refuse_( plainFailure( 413 ), *length );
        if ( request.header( "expect" ) == "100-continue" )
        {
            std::string go = "HTTP/1.1 100 Continue\r\n\r\n";
            const bool sent = co_await writeText_( std::move( go ) );
            if ( !sent )
                co_return false;
        }

        int failure = 0;
        if ( plan.file.empty() )
            failure = co_await readToMemory_( parser, plan, request );
        else if ( !length )
            failure = 411;
        else
        {
            failure = co_await readToFile_( *length, plan );
            request.bodyFile = plan.file;
        }
        if ( failure < 0 )
            co_return false;
        if ( failure > 0 )
        {
            const bool goesOn = co_await send_( plainFailure( failure ), false, false );
            co_await drain_( length.value_or( UINT64_MAX ) );
            co_return goesOn;
        }
        HttpResponse response = co_await answer_( std::move( request ) );
        co_return co_await send_( std::move( response ), keepAlive, head );
    }

    /// 0, the status of a refusal, or -1 when the client has gone.
    asio::awaitable<int> readToMemory_( Parser& parser, const BodyPlan& plan, HttpRequest& request )
    {
        parser.body_limit( plan.maxSize );
        const Moment begin = std::chrono::steady_clock::now();
        while ( !parser.is_done() )
        {
            error_code ec;
            expireBodyAfter_( begin, parser.get().body().size() );
            co_await http::async_read_some( stream_, buffer_, parser, asio::redirect_error( asio::use_awaitable, ec ) );
            if ( ec == http::error::body_limit )
                co_return 413;
            if ( ec )
                co_return -1;
        }
        request.body = std::move( parser.get().body() );
        co_return 0;
    }

    /// Past the head the body is copied as it comes: the parser would move every byte once more.
    asio::awaitable<int> readToFile_( uint64_t length, const BodyPlan& plan )
    {
        UploadFile file( plan.file );
        if ( !file.isOpen() )
            co_return 507;
        const size_t early = size_t( std::min<uint64_t>( buffer_.size(), length ) );
        bool written = file.write( static_cast<const char*>( buffer_.data().data() ), early );
        buffer_.consume( early );
        uint64_t left = length - early;
        std::vector<char> chunk( size_t( std::min<uint64_t>( std::max<uint64_t>( left, 1 ), cChunk ) ) );
        const Moment begin = std::chrono::steady_clock::now();
        while ( written && left > 0 )
        {
            size_t filled = 0;
            const size_t wanted = size_t( std::min<uint64_t>( left, chunk.size() ) );
            while ( filled < wanted )
            {
                error_code ec;
                expireBodyAfter_( begin, length - left + filled );
                filled += co_await stream_.async_read_some( asio::buffer( chunk.data() + filled, wanted - filled ),
                    asio::redirect_error( asio::use_awaitable, ec ) );
                if ( ec )
                    co_return -1;
            }
            written = file.write( chunk.data(), filled );
            left -= filled;
        }
        if ( !written )
            co_return 507;
        file.keep();
        co_return 0;
    }

    /// Waits for the handler, which may answer from another thread.
    asio::awaitable<HttpResponse> answer_( HttpRequest request )
    {
        auto executor = co_await asio::this_coro::executor;
        beast::get_lowest_layer( stream_ ).expires_never();
        const auto initiate = [this, executor, &request]( auto completion )
        {
            auto shared = std::make_shared<decltype( completion )>( std::move( completion ) );
            handler_.handle( std::move( request ),
                [shared, executor]( HttpResponse response )
                {
                    asio::post( executor, [shared, response = std::move( response )]() mutable
                        { ( *shared )( std::move( response ) ); } );
                } );
        };
        co_return co_await asio::async_initiate<decltype( asio::use_awaitable ), void( HttpResponse )>(
            initiate, asio::use_awaitable );
    }

    /// A small unread body is swallowed, so that the client sees the answer; a large one ends the connection.
    asio::awaitable<bool> refuse_( HttpResponse response, uint64_t bodyLength )
    {
        const bool small = bodyLength <= buffer_.size();
        if ( small )
            buffer_.consume( size_t( bodyLength ) );
        const bool goesOn = co_await send_( std::move( response ), small, false );
        if ( !small )
            co_await drain_( bodyLength );
        co_return goesOn;
    }

    /// Closing with unread bytes resets the connection, and the client may lose the answer that explains why.
    asio::awaitable<void> drain_( uint64_t most )
    {
        constexpr uint64_t cPatientFor = uint64_t( 16 ) << 20;
        most = std::min( most, cPatientFor );
        std::vector<char> chunk( 64 * 1024 );
        expireAfter_( std::chrono::milliseconds( 2000 ) );
        for ( uint64_t read = 0; read < most; )
        {
            error_code ec;
            read += co_await stream_.async_read_some(
                asio::buffer( chunk ), asio::redirect_error( asio::use_awaitable, ec ) );
            if ( ec )
                co_return;
        }
    }

    asio::awaitable<bool> writeText_( std::string text )
    {
        error_code ec;
        expireAfter_( options_.patience );
        co_await asio::async_write( stream_, asio::buffer( text ), asio::redirect_error( asio::use_awaitable, ec ) );
        co_return !ec;
    }

    asio::awaitable<bool> send_( HttpResponse response, bool keepAlive, bool headOnly )
    {
        keepAlive = keepAlive && !response.close;
        const uint64_t length = response.file.empty() ? response.body.size() : response.fileLength;
        std::string head = headOf( response, length, keepAlive );
        if ( response.file.empty() || headOnly )
        {
            if ( !headOnly )
                head += response.body;
            const bool sent = co_await writeText_( std::move( head ) );
            co_return sent&& keepAlive;
        }
        bool sent = co_await writeText_( std::move( head ) );
        if ( sent )
            sent = co_await sendFile_( response );
        co_return sent&& keepAlive;
    }

    asio::awaitable<bool> sendFile_( const HttpResponse& response )
    {
        const int fd = ::open( response.file.c_str(), O_RDONLY | O_CLOEXEC );
        if ( fd < 0 )
            co_return false;
        const std::shared_ptr<void> closer( nullptr, [fd]( void* ) { ::close( fd ); } );
        std::vector<char> chunk( size_t( std::min<uint64_t>( std::max<uint64_t>( response.fileLength, 1 ), cChunk ) ) );
        uint64_t offset = response.fileOffset, left = response.fileLength;
        while ( left > 0 )
        {
            const ssize_t n =
                ::pread( fd, chunk.data(), size_t( std::min<uint64_t>( left, chunk.size() ) ), off_t( offset ) );
            if ( n <= 0 )
                co_return false;
            error_code ec;
            expireAfter_( options_.patience );
            co_await asio::async_write(
                stream_, asio::buffer( chunk.data(), size_t( n ) ), asio::redirect_error( asio::use_awaitable, ec ) );
            if ( ec )
                co_return false;
            offset += uint64_t( n );
            left -= uint64_t( n );
        }
        co_return true;
    }

    Stream stream_;
    beast::flat_buffer buffer_;
    const HttpServerOptions& options_;
    HttpHandler& handler_;
    std::string remote_;
};

class BeastServer final : public HttpServer
{
public:
    BeastServer( const HttpServerOptions& options, HttpHandler& handler )
        : options_( options )
        , handler_( handler )
        , io_( options.threads )
        , tls_( asio::ssl::context::tls_server )
        , acceptor_( io_ )
    {
    }

    ~BeastServer() override { stop(); }

    [[nodiscard]] tl::expected<void, std::string> listen()
    {
        try
        {
            tls_.set_options( asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2 |
                              asio::ssl::context::no_sslv3 | asio::ssl::context::no_tlsv1 |
                              asio::ssl::context::no_tlsv1_1 );
            // What a lost key does not open afterwards, and nobody can change on the way.
            SSL_CTX_set_cipher_list( tls_.native_handle(), "ECDHE+AESGCM:ECDHE+CHACHA20" );
            tls_.use_certificate_chain_file( options_.certificateFile.string() );
            tls_.use_private_key_file( options_.keyFile.string(), asio::ssl::context::pem );
            const asio::ip::tcp::endpoint endpoint( asio::ip::address_v4::loopback(), options_.port );
            acceptor_.open( endpoint.protocol() );
            acceptor_.set_option( asio::socket_base::reuse_address( true ) );
            acceptor_.bind( endpoint );
            acceptor_.listen( 4096 );
        }
        catch ( const boost::system::system_error& e )
        {
            return tl::unexpected( fmt::format( "Cannot listen on port {}: {}", options_.port, e.what() ) );
        }
        asio::co_spawn( io_, accept_(), asio::detached );
        for ( int i = 0; i < options_.threads; ++i )
            threads_.emplace_back( [this] { io_.run(); } );
        return {};
    }

    [[nodiscard]] uint16_t port() const override { return acceptor_.local_endpoint().port(); }

    void stop() override
    {
        io_.stop();
        for ( auto& thread : threads_ )
            thread.join();
        threads_.clear();
    }

private:
    asio::awaitable<void> accept_()
    {
        for ( ;; )
        {
            error_code ec;
            auto socket = co_await acceptor_.async_accept(
                asio::make_strand( io_ ), asio::redirect_error( asio::use_awaitable, ec ) );
            if ( ec )
            {
                // Out of descriptors: those in use will be given back.
                asio::steady_timer pause( io_, std::chrono::milliseconds( 50 ) );
                co_await pause.async_wait( asio::redirect_error( asio::use_awaitable, ec ) );
                continue;
            }
            auto executor = socket.get_executor();
            auto session = std::make_shared<Session>( std::move( socket ), tls_, options_, handler_ );
            asio::co_spawn( executor, [session] { return session->run(); }, asio::detached );
        }
    }

    HttpServerOptions options_;
    HttpHandler& handler_;
    asio::io_context io_;
    asio::ssl::context tls_;
    asio::ip::tcp::acceptor acceptor_;
    std::vector<std::thread> threads_;
};

} // namespace

std::string HttpRequest::header( const std::string& name ) const
{
    const auto it = headers.find( name );
    return it == headers.end() ? std::string() : it->second;
}

const char* statusText( int status )
{
    const auto text = http::obsolete_reason( http::int_to_status( unsigned( status ) ) );
    return text.data();
}

tl::expected<std::unique_ptr<HttpServer>, std::string> HttpServer::start(
    const HttpServerOptions& options, HttpHandler& handler )
{
    auto server = std::make_unique<BeastServer>( options, handler );
    if ( auto listening = server->listen(); !listening )
        return tl::unexpected( listening.error() );
    return server;
}

} // namespace VX::Backend
