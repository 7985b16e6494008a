#include <VXViewer/web/CurlTransfer.h>

#include <VXMesh/io/Path.h>
#include <VXViewer/web/TransferFailure.h>

#include <spdlog/spdlog.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX
{
namespace
{

// The answers of services are short; a long one would take many times its size when it is parsed.
constexpr size_t cMaxTextSize = size_t( 1 ) << 20;
// What the program and its neighbours need to go on working beside a download.
constexpr uint64_t cDiskReserve = uint64_t( 256 ) << 20;
constexpr long cBufferSize = 512L << 10;
constexpr auto cReportInterval = std::chrono::milliseconds( 100 );

constexpr int cInsufficientStorage = 507;

std::string cannotRead( const std::filesystem::path& file, const std::string& why )
{
    return "Cannot read \"" + utf8string( file ) + "\": " + why;
}

std::string lastError()
{
    return std::generic_category().message( errno );
}

bool isRedirect( long status )
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Whether a request may be sent again to wherever the server says: one that tells nothing but its address, or a file
/// on its way into a storage. Bodies and headers hold tokens and passwords, which are for the first host alone.
bool mayBeRedirected( const WebRequestData& request )
{
    if ( !request.headers.empty() )
        return false;
    return request.method == WebMethod::Get ? request.body.empty() && request.inputPath.empty()
                                            : request.method == WebMethod::Put && !request.inputPath.empty();
}

const char* methodName( WebMethod method )
{
    switch ( method )
    {
    case WebMethod::Get:
        return "GET";
    case WebMethod::Post:
        return "POST";
    case WebMethod::Put:
        return "PUT";
    case WebMethod::Patch:
        return "PATCH";
    case WebMethod::Delete:
        return "DELETE";
    }
    return "GET";
}

std::string escaped( CURL* handle, const std::string& text )
{
    char* raw = curl_easy_escape( handle, text.data(), int( text.size() ) );
    std::string out = raw ? raw : "";
    curl_free( raw );
    return out;
}

} // namespace

CurlTransfer::CurlTransfer( WebRequestData request, WebTransport::Done done )
    : request_( std::move( request ) )
    , done_( std::move( done ) )
    , follows_( mayBeRedirected( request_ ) )
{
}

CurlTransfer::~CurlTransfer()
{
    if ( input_ >= 0 )
        ::close( input_ );
    curl_slist_free_all( headers_ );
    curl_easy_cleanup( handle_ );
}

tl::expected<void, std::string> CurlTransfer::openInput_()
{
    // Others may put a FIFO there, on which this thread, and with it every other request, would wait for ever.
    input_ = ::open( request_.inputPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    struct stat info{};
    if ( input_ < 0 || ::fstat( input_, &info ) != 0 )
        return tl::unexpected( cannotRead( request_.inputPath, lastError() ) );
    if ( !S_ISREG( info.st_mode ) )
        return tl::unexpected( cannotRead( request_.inputPath, "it is not a regular file" ) );
    inputSize_ = info.st_size;
    return {};
}

tl::expected<void, std::string> CurlTransfer::openFiles_()
{
    if ( !request_.inputPath.empty() )
        if ( auto opened = openInput_(); !opened )
            return opened;
    if ( request_.outputPath.empty() )
        return {};
    auto output = DownloadFile::create( request_.outputPath, { request_.maxOutputSize, cDiskReserve } );
    if ( !output )
        return tl::unexpected( output.error() );
    output_ = std::move( *output );
    return {};
}

void CurlTransfer::configureUrl_()
{
    std::string url = request_.url;
    for ( const auto& [key, value] : request_.parameters )
    {
        url += url.find( '?' ) == std::string::npos ? '?' : '&';
        url += escaped( handle_, key ) + "=" + escaped( handle_, value );
    }
    curl_easy_setopt( handle_, CURLOPT_URL, url.c_str() );
    curl_easy_setopt( handle_, CURLOPT_TIMEOUT_MS, long( request_.timeout.count() ) );
    curl_easy_setopt( handle_, CURLOPT_NOSIGNAL, 1L );
    curl_easy_setopt( handle_, CURLOPT_ERRORBUFFER, curlError_.data() );
    curl_easy_setopt( handle_, CURLOPT_BUFFERSIZE, cBufferSize );
    curl_easy_setopt( handle_, CURLOPT_WRITEFUNCTION, &CurlTransfer::write_ );
    curl_easy_setopt( handle_, CURLOPT_WRITEDATA, this );
    curl_easy_setopt( handle_, CURLOPT_NOPROGRESS, 0L );
    curl_easy_setopt( handle_, CURLOPT_XFERINFOFUNCTION, &CurlTransfer::progress_ );
    curl_easy_setopt( handle_, CURLOPT_XFERINFODATA, this );
}

void CurlTransfer::configureBody_()
{
    curl_easy_setopt( handle_, CURLOPT_CUSTOMREQUEST, methodName( request_.method ) );
    if ( input_ >= 0 )
    {
        curl_easy_setopt( handle_, CURLOPT_UPLOAD, 1L );
        curl_easy_setopt( handle_, CURLOPT_UPLOAD_BUFFERSIZE, cBufferSize );
        curl_easy_setopt( handle_, CURLOPT_INFILESIZE_LARGE, inputSize_ );
        curl_easy_setopt( handle_, CURLOPT_READFUNCTION, &CurlTransfer::read_ );
        curl_easy_setopt( handle_, CURLOPT_READDATA, this );
        curl_easy_setopt( handle_, CURLOPT_SEEKFUNCTION, &CurlTransfer::seek_ );
        curl_easy_setopt( handle_, CURLOPT_SEEKDATA, this );
    }
    else if ( request_.method != WebMethod::Get )
    {
        curl_easy_setopt( handle_, CURLOPT_POSTFIELDS, request_.body.data() );
        curl_easy_setopt( handle_, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t( request_.body.size() ) );
    }
}

void CurlTransfer::configureHeaders_()
{
    bool typed = false;
    for ( const auto& [name, value] : request_.headers )
    {
        typed = typed || curl_strequal( name.c_str(), "content-type" );
        headers_ = curl_slist_append( headers_, std::string( name ).append( ": " ).append( value ).c_str() );
    }
    // Without a word about it libcurl calls a body a form, even one that is empty.
    if ( !typed && input_ < 0 )
        headers_ =
            curl_slist_append( headers_, request_.body.empty() ? "Content-Type:" : "Content-Type: application/json" );
    // Waiting for "100 Continue" costs a round trip, and a second where a proxy swallows it.
    headers_ = curl_slist_append( headers_, "Expect:" );
    curl_easy_setopt( handle_, CURLOPT_HTTPHEADER, headers_ );
}

void CurlTransfer::configureSecurity_()
{
    curl_easy_setopt( handle_, CURLOPT_PROTOCOLS_STR, "https" );
    curl_easy_setopt( handle_, CURLOPT_REDIR_PROTOCOLS_STR, "https" );
    curl_easy_setopt( handle_, CURLOPT_FOLLOWLOCATION, follows_ ? 1L : 0L );
    curl_easy_setopt( handle_, CURLOPT_MAXREDIRS, 5L );
    curl_easy_setopt( handle_, CURLOPT_SSL_VERIFYPEER, 1L );
    curl_easy_setopt( handle_, CURLOPT_SSL_VERIFYHOST, 2L );
    curl_easy_setopt( handle_, CURLOPT_SSLVERSION, long( CURL_SSLVERSION_TLSv1_2 ) );
    curl_easy_setopt( handle_, CURLOPT_HTTP_VERSION, long( CURL_HTTP_VERSION_2TLS ) );
    if ( const char* authorities = std::getenv( "SSL_CERT_FILE" ); authorities && *authorities )
        curl_easy_setopt( handle_, CURLOPT_CAINFO, authorities );
}

tl::expected<CURL*, std::string> CurlTransfer::prepare()
{
    if ( auto opened = openFiles_(); !opened )
        return tl::unexpected( opened.error() );
    handle_ = curl_easy_init();
    if ( !handle_ )
        return tl::unexpected( std::string( "Out of memory" ) );
    configureUrl_();
    configureBody_();
    configureHeaders_();
    configureSecurity_();
    return handle_;
}

bool CurlTransfer::keepText_( std::string_view data )
{
    if ( text_.size() + data.size() <= cMaxTextSize )
    {
        text_ += data;
        return true;
    }
    ownError_ = "The answer of the server is larger than 1 MB";
    cannotKeep_ = true;
    return false;
}

bool CurlTransfer::store_( std::span<const std::byte> data )
{
    tl::expected<void, std::string> stored;
    if ( !std::exchange( storing_, true ) )
    {
        curl_off_t size = 0;
        curl_easy_getinfo( handle_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size );
        stored = output_->expectSize( uint64_t( std::max<curl_off_t>( size, 0 ) ) );
    }
    if ( stored )
        stored = output_->write( data );
    if ( stored )
        return true;
    ownError_ = stored.error();
    cannotKeep_ = true;
    return false;
}

size_t CurlTransfer::write_( const char* data, size_t size, size_t count, void* self )
{
    auto& t = *static_cast<CurlTransfer*>( self );
    const size_t total = size * count;
    long status = 0;
    curl_easy_getinfo( t.handle_, CURLINFO_RESPONSE_CODE, &status );
    // The body of a refusal is its explanation, not the file that was asked for.
    const bool asText = !t.output_ || status >= 400 || isRedirect( status );
    const bool kept =
        asText ? t.keepText_( { data, total } ) : t.store_( { reinterpret_cast<const std::byte*>( data ), total } );
    return kept ? total : 0;
}

size_t CurlTransfer::read_( char* data, size_t size, size_t count, void* self )
{
    auto& t = *static_cast<CurlTransfer*>( self );
    ssize_t n = 0;
    do
        n = ::read( t.input_, data, size * count );
    while ( n < 0 && errno == EINTR );
    if ( n >= 0 )
        return size_t( n );
    t.ownError_ = cannotRead( t.request_.inputPath, lastError() );
    return CURL_READFUNC_ABORT;
}

int CurlTransfer::seek_( void* self, curl_off_t offset, int origin )
{
    const auto& t = *static_cast<CurlTransfer*>( self );
    return ::lseek( t.input_, offset, origin ) < 0 ? CURL_SEEKFUNC_FAIL : CURL_SEEKFUNC_OK;
}

bool CurlTransfer::report_( curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up )
{
    if ( request_.uploadProgress && upTotal > 0 &&
         !request_.uploadProgress( float( double( up ) / double( upTotal ) ) ) )
        return false;
    return !request_.downloadProgress || downTotal <= 0 ||
           request_.downloadProgress( float( double( down ) / double( downTotal ) ) );
}

int CurlTransfer::progress_( void* self, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up )
{
    auto& t = *static_cast<CurlTransfer*>( self );
    const auto now = Clock::now();
    if ( now - t.lastReport_ < cReportInterval )
        return 0;
    t.lastReport_ = now;
    t.canceled_ = !t.report_( downTotal, down, upTotal, up );
    return t.canceled_ ? 1 : 0;
}

std::string CurlTransfer::failureText_( CURLcode result ) const
{
    if ( canceled_ )
        return cOperationCanceled;
    if ( !ownError_.empty() )
        return ownError_;
    if ( auto failure = transferFailure( handle_, result ); !failure.empty() )
        return failure;
    return curlError_[0] ? curlError_.data() : curl_easy_strerror( result );
}

void CurlTransfer::fail( const std::string& error )
{
    output_.reset();
    spdlog::debug( "{}: {}", request_.logName, error );
    auto response = failedWebResponse( error );
    if ( cannotKeep_ )
    {
        response["code"] = cInsufficientStorage;
        response.removeMember( "text" );
    }
    done_( std::move( response ) );
}

void CurlTransfer::failRedirected_( long status )
{
    output_.reset();
    const auto error = "The server sends this request to another address (status " + std::to_string( status ) +
                       "), where it is not sent: it may hold what is for this server alone";
    spdlog::warn( "{}: {}", request_.logName, error );
    auto response = failedWebResponse( error );
    response["code"] = Json::Int64( status );
    response.removeMember( "text" );
    done_( std::move( response ) );
}

void CurlTransfer::finish( CURLcode result )
{
    if ( result == CURLE_OK && !report_( 1, 1, inputSize_ > 0 ? 1 : 0, 1 ) )
        canceled_ = true;
    if ( result != CURLE_OK || canceled_ )
        return fail( failureText_( result ) );

    long status = 0;
    curl_easy_getinfo( handle_, CURLINFO_RESPONSE_CODE, &status );
    if ( isRedirect( status ) && !follows_ )
        return failRedirected_( status );
    if ( output_ && status < 400 )
        if ( const auto moved = output_->finish(); !moved )
        {
            cannotKeep_ = true;
            return fail( moved.error() );
        }
    output_.reset();
    Json::Value response;
    response["code"] = Json::Int64( status );
    response["error"] = status >= 400 ? "The server answered with status " + std::to_string( status ) : std::string();
    response["text"] = text_;
    spdlog::debug( "{}: status {}", request_.logName, status );
    done_( std::move( response ) );
}

} // namespace VX
