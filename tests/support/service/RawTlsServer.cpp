#include "support/service/RawTlsServer.h"

#include "tls/Certificates.h"

#include <openssl/ssl.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace VX::Testing
{
namespace
{

/// Head and body of the next request; empty when the client has gone.
std::string readRequest( SSL* ssl, std::string& pending )
{
    char buffer[65536];
    for ( ;; )
    {
        const auto end = pending.find( "\r\n\r\n" );
        if ( end != std::string::npos )
        {
            const auto mark = pending.find( "Content-Length: " );
            const size_t body = mark < end ? std::strtoull( pending.c_str() + mark + 16, nullptr, 10 ) : 0;
            if ( pending.size() >= end + 4 + body )
            {
                auto request = pending.substr( 0, end + 4 + body );
                pending.erase( 0, request.size() );
                return request;
            }
        }
        const int n = SSL_read( ssl, buffer, sizeof buffer );
        if ( n <= 0 )
            return {};
        pending.append( buffer, size_t( n ) );
    }
}

} // namespace

RawTlsServer::RawTlsServer( Script script )
    : script_( std::move( script ) )
    , context_( SSL_CTX_new( TLS_server_method() ) )
{
    std::signal( SIGPIPE, SIG_IGN );
    const auto certificate = Backend::ensureCertificate( folder_.path() ).value();
    SSL_CTX_use_certificate_chain_file( context_, certificate.chain.c_str() );
    SSL_CTX_use_PrivateKey_file( context_, certificate.key.c_str(), SSL_FILETYPE_PEM );
    ::setenv( "SSL_CERT_FILE", certificate.authority.c_str(), 1 );

    listener_ = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
    const int on = 1;
    ::setsockopt( listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on );
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons( ORVANTA_TEST_PORT );
    address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
    if ( ::bind( listener_, reinterpret_cast<sockaddr*>( &address ), sizeof address ) != 0 ||
         ::listen( listener_, 100 ) != 0 )
        throw std::runtime_error( "cannot listen" );
    threads_.emplace_back( [this] { accept_(); } );
}

RawTlsServer::~RawTlsServer()
{
    stopping_ = true;
    ::shutdown( listener_, SHUT_RDWR );
    std::vector<std::thread> threads;
    {
        const std::lock_guard lock( mutex_ );
        for ( const int socket : sockets_ )
            ::shutdown( socket, SHUT_RDWR );
        threads.swap( threads_ );
    }
    for ( auto& thread : threads )
        thread.join();
    for ( auto& thread : threads_ )
        thread.join();
    ::close( listener_ );
    for ( const int socket : sockets_ )
        ::close( socket );
    SSL_CTX_free( context_ );
}

void RawTlsServer::accept_()
{
    while ( !stopping_ )
    {
        const int socket = ::accept4( listener_, nullptr, nullptr, SOCK_CLOEXEC );
        if ( socket < 0 )
            continue;
        const std::lock_guard lock( mutex_ );
        sockets_.push_back( socket );
        if ( stopping_ )
            ::shutdown( socket, SHUT_RDWR );
        threads_.emplace_back( [this, socket] { serve_( socket ); } );
    }
}

void RawTlsServer::serve_( int socket )
{
    SSL* ssl = SSL_new( context_ );
    SSL_set_fd( ssl, socket );
    std::string pending;
    bool open = SSL_accept( ssl ) == 1;
    while ( open )
    {
        const auto request = readRequest( ssl, pending );
        if ( request.empty() )
            break;
        {
            const std::lock_guard lock( mutex_ );
            requests_.push_back( request );
        }
        const auto reply = script_( request );
        if ( !reply.bytes.empty() )
            SSL_write( ssl, reply.bytes.data(), int( reply.bytes.size() ) );
        if ( reply.goodbye )
            SSL_shutdown( ssl );
        open = !reply.close;
        char byte = 0;
        while ( reply.hang && !stopping_ && SSL_read( ssl, &byte, 1 ) > 0 )
            ;
    }
    ::shutdown( socket, SHUT_RDWR );
    SSL_free( ssl );
}

std::vector<std::string> RawTlsServer::requests() const
{
    const std::lock_guard lock( mutex_ );
    return requests_;
}

size_t RawTlsServer::connections() const
{
    const std::lock_guard lock( mutex_ );
    return sockets_.size();
}

RawReply RawTlsServer::answer( const std::string& body, const std::string& status )
{
    return { "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string( body.size() ) + "\r\n\r\n" + body, false,
        false };
}

std::string RawTlsServer::url( const std::string& path )
{
    return "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + path;
}

} // namespace VX::Testing
