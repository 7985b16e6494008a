#include <VXViewer/web/TransferFailure.h>

#include <cerrno>
#include <memory>

namespace VX
{
namespace
{

std::string part( CURLU* url, CURLUPart what )
{
    char* text = nullptr;
    std::string out;
    if ( curl_url_get( url, what, &text, 0 ) == CURLUE_OK )
        out = text;
    curl_free( text );
    return out;
}

/// Host and port as they stand in the URL.
std::string addressOf( CURL* handle )
{
    const char* text = nullptr;
    curl_easy_getinfo( handle, CURLINFO_EFFECTIVE_URL, &text );
    const std::unique_ptr<CURLU, decltype( &curl_url_cleanup )> url( curl_url(), &curl_url_cleanup );
    if ( !text || !url || curl_url_set( url.get(), CURLUPART_URL, text, 0 ) != CURLUE_OK )
        return {};
    const auto port = part( url.get(), CURLUPART_PORT );
    return part( url.get(), CURLUPART_HOST ) + ( port.empty() ? "" : ":" + port );
}

std::string connectionFailure( CURL* handle )
{
    long error = 0;
    curl_easy_getinfo( handle, CURLINFO_OS_ERRNO, &error );
    switch ( error )
    {
    case ECONNREFUSED:
        return "the connection was refused";
    case ENETUNREACH:
    case EHOSTUNREACH:
        return "there is no way to it";
    default:
        return "no connection could be made";
    }
}

std::string reasonOf( CURL* handle, CURLcode result )
{
    switch ( result )
    {
    case CURLE_COULDNT_RESOLVE_HOST:
        return "its name was not found";
    case CURLE_COULDNT_RESOLVE_PROXY:
        return "the name of the proxy was not found";
    case CURLE_COULDNT_CONNECT:
        return connectionFailure( handle );
    case CURLE_OPERATION_TIMEDOUT:
        return "it took too long";
    case CURLE_PEER_FAILED_VERIFICATION:
        return "its certificate is not trusted";
    case CURLE_SSL_CACERT_BADFILE:
        return "the file of trusted certificates cannot be read";
    case CURLE_SSL_CONNECT_ERROR:
        return "no secure connection could be made";
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return "the connection broke off";
    default:
        return {};
    }
}

} // namespace

std::string transferFailure( CURL* handle, CURLcode result )
{
    const auto reason = reasonOf( handle, result );
    const auto address = addressOf( handle );
    return reason.empty() || address.empty() ? std::string() : address + " did not answer: " + reason;
}

} // namespace VX
