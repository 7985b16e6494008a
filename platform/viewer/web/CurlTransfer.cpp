#include <VXViewer/web/CurlTransfer.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/WriteAll.h>

#include <spdlog/spdlog.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX
{
namespace
{

constexpr size_t cMaxTextSize = size_t( 64 ) << 20;
constexpr long cBufferSize = 512L << 10;
constexpr auto cReportInterval = std::chrono::milliseconds( 100 );

constexpr int cInsufficientStorage = 507;

std::string fileFailure( const char* what, const std::filesystem::path& file )
{
    return std::string( what ) + " \"" + utf8string( file ) + "\": " + std::generic_category().message( errno );
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

std::filesystem::path partFileFor( const std::filesystem::path& output )
{
    static std::atomic<unsigned> sCounter{ 0 };
    auto out = output;
    out += "." + std::to_string( getpid() ) + "-" + std::to_string( sCounter++ ) + ".part";
    return out;
}

} // namespace

CurlTransfer::CurlTransfer( WebRequestData request, WebTransport::Done done )
    : request_( std::move( request ) )
    , done_( std::move( done ) )
{
}

CurlTransfer::~CurlTransfer()
{
    discardOutput_();
    if ( input_ >= 0 )
        ::close( input_ );
    curl_slist_free_all( headers_ );
    curl_easy_cleanup( handle_ );
}

void CurlTransfer::discardOutput_()
{
    if ( output_ < 0 )
        return;
    ::close( output_ );
    ::unlink( partFile_.c_str() );
    output_ = -1;
}

tl::expected<void, std::string> CurlTransfer::openFiles_()
{
    if ( !request_.inputPath.empty() )
    {
        input_ = ::open( request_.inputPath.c_str(), O_RDONLY | O_CLOEXEC );
        struct stat info{};
        if ( input_ < 0 || ::fstat( input_, &info ) != 0 )
            return tl::unexpected( fileFailure( "Cannot read", request_.inputPath ) );
        inputSize_ = info.st_size;
    }
    if ( !request_.outputPath.empty() )
    {
        partFile_ = partFileFor( request_.outputPath );
        output_ = ::open( partFile_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666 );
        if ( output_ < 0 )
            return tl::unexpected( fileFailure( "Cannot write", request_.outputPath ) );
    }
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
        headers_ = curl_slist_append( headers_, ( name + ": " + value ).c_str() );
    }
    if ( !typed && input_ < 0 && !request_.body.empty() )
        headers_ = curl_slist_append( headers_, "Content-Type: application/json" );
    // Waiting for "100 Continue" costs a round trip, and a second where a proxy swallows it.
    headers_ = curl_slist_append( headers_, "Expect:" );
    curl_easy_setopt( handle_, CURLOPT_HTTPHEADER, headers_ );
}

void CurlTransfer::configureSecurity_()
{
    curl_easy_setopt( handle_, CURLOPT_PROTOCOLS_STR, "https" );
    curl_easy_setopt( handle_, CURLOPT_REDIR_PROTOCOLS_STR, "https" );
    curl_easy_setopt( handle_, CURLOPT_FOLLOWLOCATION, 1L );
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
    curl_easy_setopt( handle_, CURLOPT_PRIVATE, this );
    return handle_;
}

size_t CurlTransfer::write_( const char* data, size_t size, size_t count, void* self )
{
    auto& t = *static_cast<CurlTransfer*>( self );
    const size_t total = size * count;
    long status = 0;
    curl_easy_getinfo( t.handle_, CURLINFO_RESPONSE_CODE, &status );
    // The body of a refusal is its explanation, not the file that was asked for.
    if ( t.output_ < 0 || status >= 400 )
    {
        if ( t.text_.size() + total > cMaxTextSize )
        {
            t.ownError_ = "The answer is too large";
            return 0;
        }
        t.text_.append( data, total );
        return total;
    }
    if ( writeAll( t.output_, { reinterpret_cast<const std::byte*>( data ), total } ) != 0 )
    {
        t.ownError_ = fileFailure( "Cannot write", t.request_.outputPath );
        t.cannotStore_ = true;
        return 0;
    }
    return total;
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
    t.ownError_ = fileFailure( "Cannot read", t.request_.inputPath );
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
    return curlError_[0] ? curlError_.data() : curl_easy_strerror( result );
}

void CurlTransfer::fail( const std::string& error )
{
    discardOutput_();
    spdlog::debug( "{}: {}", request_.logName, error );
    auto response = failedWebResponse( error );
    if ( cannotStore_ )
        response["code"] = cInsufficientStorage;
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
    if ( output_ >= 0 && status < 400 )
    {
        const bool moved = ::close( output_ ) == 0 && ::rename( partFile_.c_str(), request_.outputPath.c_str() ) == 0;
        output_ = -1;
        if ( !moved )
        {
            const auto error = fileFailure( "Cannot write", request_.outputPath );
            ::unlink( partFile_.c_str() );
            cannotStore_ = true;
            return fail( error );
        }
    }
    Json::Value response;
    response["code"] = Json::Int64( status );
    response["error"] = status >= 400 ? "The server answered with status " + std::to_string( status ) : std::string();
    response["text"] = std::move( text_ );
    spdlog::debug( "{}: status {}", request_.logName, status );
    done_( std::move( response ) );
}

} // namespace VX
