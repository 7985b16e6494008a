#include "support/ScratchFolder.h"

#include "crypto/Base64.h"
#include "mail/Mailer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <thread>
#include <utility>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// Takes connections, and says nothing on them.
class SilentListener
{
public:
    SilentListener()
        : socket_( ::socket( AF_INET, SOCK_STREAM, 0 ) )
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
        socklen_t size = sizeof address;
        EXPECT_EQ( ::bind( socket_, reinterpret_cast<sockaddr*>( &address ), size ), 0 );
        EXPECT_EQ( ::listen( socket_, 1 ), 0 );
        ::getsockname( socket_, reinterpret_cast<sockaddr*>( &address ), &size );
        port_ = ntohs( address.sin_port );
    }
    ~SilentListener() { close(); }
    SilentListener( const SilentListener& ) = delete;
    SilentListener& operator=( const SilentListener& ) = delete;

    [[nodiscard]] int port() const { return port_; }
    [[nodiscard]] int accept() const { return ::accept( socket_, nullptr, nullptr ); }
    void close()
    {
        if ( socket_ >= 0 )
            ::close( socket_ );
        socket_ = -1;
    }

private:
    int socket_;
    int port_ = 0;
};

/// A mail server for one conversation, which it keeps.
class OneMailServer
{
public:
    explicit OneMailServer( std::string answerToRecipient )
        : answer_( std::move( answerToRecipient ) )
        , thread_( [this] { serve_(); } )
    {
    }
    ~OneMailServer() { wait(); }
    [[nodiscard]] std::string url() const { return "smtp://127.0.0.1:" + std::to_string( listener_.port() ); }
    /// What the client has said.
    std::string wait()
    {
        if ( thread_.joinable() )
            thread_.join();
        return heard_;
    }

private:
    std::string answerTo_( const std::string& line )
    {
        if ( std::exchange( authenticates_, line.starts_with( "AUTH" ) ) )
            return "235 welcome\r\n";
        if ( authenticates_ )
            return "334 \r\n";
        if ( line.starts_with( "EHLO" ) )
            return "250 AUTH PLAIN\r\n";
        return line.starts_with( "RCPT" ) ? answer_ : "250 ok\r\n";
    }
    void serve_()
    {
        const int connection = listener_.accept();
        listener_.close();
        const auto say = [&]( const std::string& line )
        { EXPECT_EQ( ::send( connection, line.data(), line.size(), MSG_NOSIGNAL ), ssize_t( line.size() ) ); };
        say( "220 here\r\n" );
        bool data = false;
        std::string line;
        for ( char c = 0; ::recv( connection, &c, 1, 0 ) == 1; )
        {
            heard_ += c;
            line += c;
            if ( c != '\n' )
                continue;
            if ( data )
                data = line != ".\r\n";
            else if ( line.starts_with( "DATA" ) )
            {
                data = true;
                say( "354 go on\r\n" );
                line.clear();
                continue;
            }
            else if ( line.starts_with( "QUIT" ) )
            {
                say( "221 bye\r\n" );
                break;
            }
            if ( !data )
                say( answerTo_( line ) );
            line.clear();
        }
        ::close( connection );
    }

    std::string answer_;
    std::string heard_;
    bool authenticates_ = false;
    SilentListener listener_;
    std::thread thread_;
};

const Mail cMail{ "ann@example.org", "Confirm your Orvanta account", "Your code is 123456" };

/// That mail from a sender as it goes out, from the end of its date on.
std::string sentBy( const std::string& from )
{
    return " +0000\r\nFrom: Orvanta <" + from +
           ">\r\nTo: <ann@example.org>\r\nSubject: Confirm your Orvanta account\r\nMIME-Version: 1.0\r\nContent-Type: "
           "text/plain; charset=utf-8\r\n\r\nYour code is 123456\r\n";
}

SmtpOptions optionsFor( const std::string& url )
{
    SmtpOptions out;
    out.url = url;
    out.from = "noreply@orvanta.example";
    out.allowPlain = true;
    return out;
}

} // namespace

TEST( Mailer, WritesEachMailIntoAPrivateFileOfItsOwn )
{
    const Testing::ScratchFolder folder;
    const auto mailer = outboxMailer( folder.path() / "outbox" );
    ASSERT_TRUE( mailer->send( cMail ) );
    ASSERT_TRUE( mailer->send( cMail ) );
    std::vector<std::filesystem::path> files;
    for ( const auto& entry : std::filesystem::directory_iterator( folder.path() / "outbox" ) )
        files.push_back( entry.path() );
    ASSERT_EQ( files.size(), 2u );
    const auto text = Testing::readFile( files[0] );
    tm date{};
    const char* const end = ::strptime( text.c_str(), "Date: %a, %d %b %Y %H:%M:%S", &date );
    ASSERT_TRUE( end ) << text;
    EXPECT_LT( std::abs( std::difftime( ::timegm( &date ), std::time( nullptr ) ) ), 60 );
    EXPECT_EQ( end, sentBy( "noreply@localhost" ) );
    EXPECT_EQ( int( std::filesystem::status( files[0] ).permissions() ), 0600 );
}

TEST( Mailer, ForgetsWhatHasLainForLong )
{
    const Testing::ScratchFolder folder;
    const auto mailer = outboxMailer( folder.path() );
    ASSERT_TRUE( mailer->send( cMail ) );
    const auto old = std::filesystem::directory_iterator( folder.path() )->path();
    std::filesystem::last_write_time( old, std::filesystem::file_time_type::clock::now() - std::chrono::hours( 25 ) );
    ASSERT_TRUE( mailer->send( cMail ) );
    mailer->forget( std::chrono::hours( 24 ) );
    EXPECT_FALSE( std::filesystem::exists( old ) );
    EXPECT_FALSE( std::filesystem::is_empty( folder.path() ) );
}

TEST( Mailer, AFolderThatCannotBeMadeIsSaid )
{
    const Testing::ScratchFolder folder;
    folder.write( "outbox", "a file" );
    EXPECT_FALSE( outboxMailer( folder.path() / "outbox" )->send( cMail ) );
}

TEST( Mailer, SpeaksToAMailServer )
{
    OneMailServer server( "250 ok\r\n" );
    const auto sent = smtpMailer( optionsFor( server.url() ) )->send( cMail );
    ASSERT_TRUE( sent ) << sent.error();
    const auto heard = server.wait();
    EXPECT_NE( heard.find( "MAIL FROM:<noreply@orvanta.example>" ), std::string::npos );
    EXPECT_NE( heard.find( "RCPT TO:<ann@example.org>" ), std::string::npos );
    EXPECT_NE( heard.find( sentBy( "noreply@orvanta.example" ) + ".\r\n" ), std::string::npos ) << heard;
    EXPECT_EQ( heard.find( "AUTH" ), std::string::npos );
}

TEST( Mailer, TellsAMailServerWhoItIsWhereThatIsGiven )
{
    OneMailServer server( "250 ok\r\n" );
    auto options = optionsFor( server.url() );
    options.user = "robot";
    options.password = "pass-word";
    const auto sent = smtpMailer( options )->send( cMail );
    ASSERT_TRUE( sent ) << sent.error();
    EXPECT_NE( server.wait().find( base64( std::string( "\0robot\0pass-word", 16 ) ) + "\r\n" ), std::string::npos );
}

TEST( Mailer, AServerThatSaysNothingIsGivenUp )
{
    const SilentListener silent;
    auto options = optionsFor( "smtp://127.0.0.1:" + std::to_string( silent.port() ) );
    EXPECT_EQ( options.timeout, std::chrono::seconds( 20 ) );
    options.timeout = std::chrono::seconds( 1 );
    const auto sent = smtpMailer( options )->send( cMail );
    ASSERT_FALSE( sent );
    EXPECT_EQ( sent.error(), "The mail server refuses: Timeout was reached" );
}

TEST( Mailer, RefusalsAreSaidWithoutTheText )
{
    OneMailServer server( "550 no\r\n" );
    const auto sent = smtpMailer( optionsFor( server.url() ) )->send( cMail );
    ASSERT_FALSE( sent );
    EXPECT_TRUE( sent.error().starts_with( "The mail server refuses: " ) ) << sent.error();
    EXPECT_EQ( sent.error().find( "123456" ), std::string::npos );
}

TEST( Mailer, SendsNothingWithoutTlsUnlessAllowed )
{
    OneMailServer server( "250 ok\r\n" );
    SmtpOptions options;
    options.url = server.url();
    options.from = "noreply@orvanta.example";
    EXPECT_FALSE( smtpMailer( options )->send( cMail ) );
    EXPECT_EQ( server.wait().find( "RCPT" ), std::string::npos );
}
