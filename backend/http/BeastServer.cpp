#include "http/ConnectionTable.h"
#include "http/HttpServer.h"
#include "http/HttpSession.h"
#include "http/connection/PlainConnection.h"
#include "http/connection/TlsConnection.h"
#include "tls/TlsContext.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/status.hpp>
#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <mutex>
#include <thread>
#include <vector>

namespace VX::Backend
{
namespace
{

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

tl::expected<asio::ip::address, std::string> addressOf( const HttpServerOptions& options )
{
    error_code ec;
    const auto out = asio::ip::make_address( options.address, ec );
    if ( ec )
        return tl::unexpected( fmt::format( "\"{}\" is no address to listen on", options.address ) );
    return out;
}

using Nothing = tl::expected<void, std::string>;

class BeastServer final : public HttpServer
{
public:
    BeastServer( const HttpServerOptions& options, HttpHandler& handler )
        : options_( options )
        , handler_( handler )
        , table_( options.maxConnections )
        , bodies_( options.mostBodies )
        , io_( options.threads )
        , acceptor_( io_ )
        , files_( size_t( options.fileThreads ) )
    {
    }

    ~BeastServer() override { stop(); }

    [[nodiscard]] tl::expected<void, std::string> listen()
    {
        if ( auto loaded = options_.plain ? Nothing() : reloadCertificate(); !loaded )
            return loaded;
        const auto address = addressOf( options_ );
        if ( !address )
            return tl::unexpected( address.error() );
        error_code ec;
        const asio::ip::tcp::endpoint endpoint( *address, options_.port );
        open_( endpoint, ec );
        if ( ec )
            return tl::unexpected( fmt::format( "Cannot listen on port {}: {}", options_.port, ec.message() ) );
        asio::co_spawn( io_, accept_(), asio::detached );
        for ( int i = 0; i < options_.threads; ++i )
            threads_.emplace_back( [this] { work_(); } );
        return {};
    }

    [[nodiscard]] uint16_t port() const override { return acceptor_.local_endpoint().port(); }

    [[nodiscard]] size_t connections() const override { return table_.size(); }

    [[nodiscard]] tl::expected<void, std::string> reloadCertificate() override
    {
        auto made = makeTlsContext( options_.certificateFile, options_.keyFile );
        if ( !made )
            return tl::unexpected( made.error() );
        const std::lock_guard lock( tlsMutex_ );
        tls_ = std::move( *made );
        return {};
    }

    void stop() override
    {
        io_.stop();
        for ( auto& thread : threads_ )
            thread.join();
        threads_.clear();
    }

private:
    void open_( const asio::ip::tcp::endpoint& endpoint, error_code& ec )
    {
        acceptor_.open( endpoint.protocol(), ec );
        if ( !ec )
            acceptor_.set_option( asio::socket_base::reuse_address( true ), ec );
        if ( !ec )
            acceptor_.bind( endpoint, ec );
        if ( !ec )
            acceptor_.listen( 4096, ec );
    }

    /// Whatever one connection throws is no reason to leave the others.
    void work_()
    {
        while ( !io_.stopped() )
        {
            try
            {
                io_.run();
            }
            catch ( const std::exception& e )
            {
                spdlog::error( "A connection failed: {}", e.what() );
            }
        }
    }

    [[nodiscard]] std::shared_ptr<asio::ssl::context> tlsNow_()
    {
        const std::lock_guard lock( tlsMutex_ );
        return tls_;
    }

    asio::awaitable<void> accept_()
    {
        for ( ;; )
        {
            error_code ec;
            auto socket = co_await acceptor_.async_accept(
                asio::make_strand( io_ ), asio::redirect_error( asio::use_awaitable, ec ) );
            if ( !ec )
            {
                serve_( std::move( socket ) );
                continue;
            }
            // Out of descriptors: those in use will be given back.
            asio::steady_timer pause( io_, std::chrono::milliseconds( 50 ) );
            co_await pause.async_wait( asio::redirect_error( asio::use_awaitable, ec ) );
        }
    }

    void serve_( asio::ip::tcp::socket socket )
    {
        try
        {
            auto executor = socket.get_executor();
            auto served = std::make_shared<ServedConnection>(
                connectionOn_( std::move( socket ) ), options_, handler_, files_.get_executor(), bodies_ );
            if ( table_.add( *served ) )
                asio::co_spawn( executor, run_( std::move( served ) ), asio::detached );
        }
        catch ( const std::exception& e )
        {
            spdlog::error( "A connection could not be taken: {}", e.what() );
        }
    }

    [[nodiscard]] std::shared_ptr<ClientConnection> connectionOn_( asio::ip::tcp::socket socket )
    {
        if ( options_.plain )
            return std::make_shared<PlainConnection>( std::move( socket ) );
        return std::make_shared<TlsConnection>( std::move( socket ), tlsNow_() );
    }

    asio::awaitable<void> run_( std::shared_ptr<ServedConnection> served )
    {
        const std::shared_ptr<void> leaving( nullptr, [this, one = served.get()]( void* ) { table_.remove( *one ); } );
        co_await served->session.run();
    }

    HttpServerOptions options_;
    HttpHandler& handler_;
    ConnectionTable table_;
    BodyRoom bodies_;
    std::mutex tlsMutex_;
    std::shared_ptr<asio::ssl::context> tls_;
    asio::io_context io_;
    asio::ip::tcp::acceptor acceptor_;
    std::vector<std::thread> threads_;
    asio::thread_pool files_;
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

tl::expected<void, std::string> HttpServer::check( const HttpServerOptions& options )
{
    if ( const auto address = addressOf( options ); !address )
        return tl::unexpected( address.error() );
    if ( options.certificateFile.empty() )
        return {};
    const auto tls = makeTlsContext( options.certificateFile, options.keyFile );
    return tls ? tl::expected<void, std::string>() : tl::unexpected( tls.error() );
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
