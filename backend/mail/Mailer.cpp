#include "mail/Mailer.h"

#include "crypto/Hex.h"

#include <VXMesh/io/AtomicFile.h>

#include <curl/curl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace VX::Backend
{
namespace
{

std::string message( const Mail& mail, const std::string& from )
{
    const auto now = std::chrono::system_clock::to_time_t( std::chrono::system_clock::now() );
    return fmt::format( "Date: {:%a, %d %b %Y %H:%M:%S +0000}\r\nFrom: Orvanta <{}>\r\nTo: <{}>\r\nSubject: "
                        "{}\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n{}\r\n",
        fmt::gmtime( now ), from, mail.to, mail.subject, mail.text );
}

class OutboxMailer final : public Mailer
{
public:
    explicit OutboxMailer( std::filesystem::path folder )
        : folder_( std::move( folder ) )
    {
    }
    tl::expected<void, std::string> send( const Mail& mail ) override
    {
        std::error_code ec;
        std::filesystem::create_directories( folder_, ec );
        const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now().time_since_epoch() );
        const auto file = folder_ / fmt::format( "{}-{}.eml", now.count(), randomHex( 4 ) );
        return writeFileAtomically( file, message( mail, "noreply@localhost" ), { .mode = 0600 } );
    }
    void forget( std::chrono::seconds age ) override
    {
        const auto limit = std::filesystem::file_time_type::clock::now() - age;
        std::error_code ec;
        for ( const auto& entry : std::filesystem::directory_iterator( folder_, ec ) )
            if ( const auto written = entry.last_write_time( ec ); !ec && written <= limit )
                std::filesystem::remove( entry.path(), ec );
    }

private:
    std::filesystem::path folder_;
};

struct Outgoing
{
    std::string text;
    size_t sent = 0;
};

size_t readMore( char* buffer, size_t size, size_t count, void* context )
{
    auto& mail = *static_cast<Outgoing*>( context );
    const size_t amount = std::min( size * count, mail.text.size() - mail.sent );
    mail.text.copy( buffer, amount, mail.sent );
    mail.sent += amount;
    return amount;
}

class SmtpMailer final : public Mailer
{
public:
    explicit SmtpMailer( SmtpOptions options )
        : options_( std::move( options ) )
    {
    }
    tl::expected<void, std::string> send( const Mail& mail ) override
    {
        const std::unique_ptr<CURL, decltype( &curl_easy_cleanup )> curl( curl_easy_init(), &curl_easy_cleanup );
        const std::unique_ptr<curl_slist, decltype( &curl_slist_free_all )> to(
            curl_slist_append( nullptr, ( "<" + mail.to + ">" ).c_str() ), &curl_slist_free_all );
        Outgoing outgoing{ message( mail, options_.from ) };
        curl_easy_setopt( curl.get(), CURLOPT_URL, options_.url.c_str() );
        curl_easy_setopt( curl.get(), CURLOPT_PROTOCOLS_STR, "smtp,smtps" );
        curl_easy_setopt( curl.get(), CURLOPT_USE_SSL, long( options_.allowPlain ? CURLUSESSL_TRY : CURLUSESSL_ALL ) );
        curl_easy_setopt( curl.get(), CURLOPT_MAIL_FROM, ( "<" + options_.from + ">" ).c_str() );
        curl_easy_setopt( curl.get(), CURLOPT_MAIL_RCPT, to.get() );
        if ( !options_.user.empty() )
        {
            curl_easy_setopt( curl.get(), CURLOPT_USERNAME, options_.user.c_str() );
            curl_easy_setopt( curl.get(), CURLOPT_PASSWORD, options_.password.c_str() );
        }
        curl_easy_setopt( curl.get(), CURLOPT_UPLOAD, 1L );
        curl_easy_setopt( curl.get(), CURLOPT_READFUNCTION, &readMore );
        curl_easy_setopt( curl.get(), CURLOPT_READDATA, &outgoing );
        curl_easy_setopt( curl.get(), CURLOPT_TIMEOUT, long( options_.timeout.count() ) );
        curl_easy_setopt( curl.get(), CURLOPT_NOSIGNAL, 1L );
        const auto code = curl_easy_perform( curl.get() );
        if ( code == CURLE_OK )
            return {};
        return tl::unexpected( std::string( "The mail server refuses: " ) + curl_easy_strerror( code ) );
    }

private:
    SmtpOptions options_;
};

} // namespace

std::unique_ptr<Mailer> outboxMailer( const std::filesystem::path& folder )
{
    return std::make_unique<OutboxMailer>( folder );
}

std::unique_ptr<Mailer> smtpMailer( SmtpOptions options )
{
    return std::make_unique<SmtpMailer>( std::move( options ) );
}

} // namespace VX::Backend
