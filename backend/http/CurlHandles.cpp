#include "http/CurlHandles.h"

#include <curl/curl.h>

#include <cstdlib>

namespace VX::Backend
{

class CurlHandles::Handle
{
public:
    [[nodiscard]] CURL* get() const { return curl_.get(); }

private:
    std::unique_ptr<CURL, decltype( &curl_easy_cleanup )> curl_{ curl_easy_init(), &curl_easy_cleanup };
};

CurlHandles::CurlHandles() = default;
CurlHandles::~CurlHandles() = default;

CurlHandles::Loan::Loan( CurlHandles& handles )
    : handles_( handles )
{
    {
        const std::lock_guard lock( handles.mutex_ );
        if ( !handles.idle_.empty() )
        {
            handle_ = std::move( handles.idle_.back() );
            handles.idle_.pop_back();
        }
    }
    if ( !handle_ )
        handle_ = std::make_unique<Handle>();
    curl_easy_setopt( handle_->get(), CURLOPT_NOSIGNAL, 1L );
    curl_easy_setopt( handle_->get(), CURLOPT_SSLVERSION, long( CURL_SSLVERSION_TLSv1_2 ) );
    if ( const char* authorities = std::getenv( "SSL_CERT_FILE" ) )
        curl_easy_setopt( handle_->get(), CURLOPT_CAINFO, authorities );
}

CurlHandles::Loan::~Loan()
{
    curl_easy_reset( handle_->get() );
    const std::lock_guard lock( handles_.mutex_ );
    handles_.idle_.push_back( std::move( handle_ ) );
}

void* CurlHandles::Loan::get() const
{
    return handle_->get();
}

} // namespace VX::Backend
