#pragma once

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace VX::Testing
{

/// A connection to the server that sends what it is told to, at the pace it is told to.
class TlsClient
{
public:
    explicit TlsClient( uint16_t port )
        : context_( SSL_CTX_new( TLS_client_method() ), SSL_CTX_free )
        , bio_( BIO_new_ssl_connect( context_.get() ), BIO_free_all )
    {
        BIO_set_conn_hostname( bio_.get(), ( "localhost:" + std::to_string( port ) ).c_str() );
        EXPECT_EQ( BIO_do_handshake( bio_.get() ), 1 );
    }
    bool send( const std::string& text ) { return BIO_write( bio_.get(), text.data(), int( text.size() ) ) > 0; }
    /// What the server says until it ends the connection.
    std::string readAll()
    {
        std::string out;
        char buffer[4096];
        for ( int n = 0; ( n = BIO_read( bio_.get(), buffer, sizeof buffer ) ) > 0; )
            out.append( buffer, size_t( n ) );
        return out;
    }
    /// The next piece of what it says.
    std::string readOnce()
    {
        char buffer[4096];
        const int count = BIO_read( bio_.get(), buffer, sizeof buffer );
        return count > 0 ? std::string( buffer, size_t( count ) ) : std::string();
    }
    /// Sends a text over and over until the server has enough, or so many bytes have gone; how many have.
    size_t flood( const std::string& text, size_t most )
    {
        size_t sent = 0;
        while ( sent < most && send( text ) )
            sent += text.size();
        return sent;
    }
    /// Sends a text byte by byte, over and over, until the server has enough; seconds until then.
    double trickle( const std::string& text )
    {
        const auto begin = std::chrono::steady_clock::now();
        const auto passed = [&]
        { return std::chrono::duration<double>( std::chrono::steady_clock::now() - begin ).count(); };
        for ( size_t i = 0; passed() < 30 && send( text.substr( i % text.size(), 1 ) ); ++i )
            std::this_thread::sleep_for( std::chrono::milliseconds( 10 ) ); // the pace of a rude client
        return passed();
    }

private:
    std::unique_ptr<SSL_CTX, decltype( &SSL_CTX_free )> context_;
    std::unique_ptr<BIO, decltype( &BIO_free_all )> bio_;
};

} // namespace VX::Testing
