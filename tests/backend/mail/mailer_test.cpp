#include "support/ScratchFolder.h"

#include "mail/Mailer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// A mail server for one conversation, which it keeps.
class OneMailServer
{
public:
    explicit OneMailServer( std::string answerToRecipient )
        : answer_( std::move( answerToRecipient ) )
        , listener_( ::socket( AF_INET, SOCK_STREAM, 0 ) )
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
        socklen_t size = sizeof address;
        EXPECT_EQ( ::bind( listener_, reinterpret_cast<sockaddr*>( &address ), size ), 0 );
        EXPECT_EQ( ::listen( listener_, 1 ), 0 );
        ::getsockname( listener_, reinterpret_cast<sockaddr*>( &address ), &size );
        port_ = ntohs( address.sin_port );
        thread_ = std::thread( [this] { serve_(); } );
    }
    ~OneMailServer() { wait(); }
    [[nodiscard]] std::string url() const { return "smtp://127.0.0.1:" + std::to_string( port_ ); }
    /// What the client has said.
    std::string wait()
    {
        if ( thread_.joinable() )
            thread_.join();
        return heard_;
    }

private:
    void serve_()
    {
        const int connection = ::accept( listener_, nullptr, nullptr );
        ::close( listener_ );
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
                say( line.starts_with( "RCPT" ) ? answer_ : "250 ok\r\n" );
            line.clear();
        }
        ::close( connection );
    }

    std::string answer_;
    std::string heard_;
    int listener_;
    int port_ = 0;
    std::thread thread_;
};

const Mail cMail{ "ann@example.org", "Confirm your Orvanta account", "Your code is 123456" };

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
    EXPECT_NE( text.find( "\r\nTo: <ann@example.org>\r\n" ), std::string::npos );
    EXPECT_NE( text.find( "\r\nSubject: Confirm your Orvanta account\r\n" ), std::string::npos );
    EXPECT_NE( text.find( "\r\n\r\nYour code is 123456\r\n" ), std::string::npos );
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
    SmtpOptions options;
    options.url = server.url();
    options.from = "noreply@orvanta.example";
    options.allowPlain = true;
    const auto sent = smtpMailer( options )->send( cMail );
    ASSERT_TRUE( sent ) << sent.error();
    const auto heard = server.wait();
    EXPECT_NE( heard.find( "MAIL FROM:<noreply@orvanta.example>" ), std::string::npos );
    EXPECT_NE( heard.find( "RCPT TO:<ann@example.org>" ), std::string::npos );
    EXPECT_NE( heard.find( "Your code is 123456" ), std::string::npos );
}

TEST( Mailer, RefusalsAreSaidWithoutTheText )
{
    OneMailServer server( "550 no\r\n" );
    SmtpOptions options;
    options.url = server.url();
    options.from = "noreply@orvanta.example";
    options.allowPlain = true;
    const auto sent = smtpMailer( options )->send( cMail );
    ASSERT_FALSE( sent );
    EXPECT_TRUE( sent.error().starts_with( "The mail server refuses: " ) );
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
