/// Transfers of one large file each way through the web layer, beside the curl command, against the same back end.
/// Usage: transfer_benchmark DATA_FOLDER PORT [NGINX_URL] (benchmarks/transfers starts the servers for it)
#include "serve/StoreKeys.h"
#include "storage/Presigner.h"

#include <VXViewer/web/WebRequest.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <future>

#include <sys/resource.h>

namespace
{

using namespace VX;
using Clock = std::chrono::steady_clock;

constexpr uint64_t cSize = uint64_t( 1 ) << 30;

double megabytesPerSecond( Clock::time_point begin )
{
    return double( cSize ) / 1e6 / std::chrono::duration<double>( Clock::now() - begin ).count();
}

long residentKilobytes()
{
    rusage usage{};
    getrusage( RUSAGE_SELF, &usage );
    return usage.ru_maxrss;
}

class Urls
{
public:
    Urls( const std::filesystem::path& data, const std::string& port )
        : keys_( Backend::ensureStoreKeys( data ).value() )
        , endpoint_( "https://localhost:" + port )
    {
    }
    [[nodiscard]] std::string of( const std::string& method ) const
    {
        Backend::PresignRequest request;
        request.method = method;
        request.endpoint = endpoint_;
        request.path = "/" + keys_.bucket + "/benchmark";
        request.time = std::chrono::time_point_cast<std::chrono::seconds>( std::chrono::system_clock::now() );
        return Backend::presign( request, keys_.credentials );
    }

private:
    Backend::StoreKeys keys_;
    std::string endpoint_;
};

double ours( const std::string& url, bool upload, const std::string& file, std::atomic<int>& reports )
{
    WebRequest request( url );
    request.setTimeout( 600'000 );
    const auto progress = [&]( float )
    {
        ++reports;
        return true;
    };
    if ( upload )
    {
        request.setMethod( WebRequest::Method::Put );
        request.setInputPath( file );
        request.setUploadProgressCallback( progress );
    }
    else
    {
        request.setOutputPath( file );
        request.setDownloadProgressCallback( progress );
    }
    std::promise<int> done;
    const auto begin = Clock::now();
    request.send( [&]( const Json::Value& response ) { done.set_value( response["code"].asInt() ); } );
    return done.get_future().get() == 200 ? megabytesPerSecond( begin ) : -1;
}

double curl( const std::string& url, bool upload, const std::string& file )
{
    const auto command =
        fmt::format( "curl -s --cacert \"$SSL_CERT_FILE\" {} '{}' '{}'", upload ? "-o /dev/null -T" : "-o", file, url );
    const auto begin = Clock::now();
    return std::system( command.c_str() ) == 0 ? megabytesPerSecond( begin ) : -1;
}

} // namespace

int main( int argc, char** argv )
{
    if ( argc < 3 )
        return 2;
    spdlog::set_level( spdlog::level::warn );
    const Urls urls( argv[1], argv[2] );
    const std::string in = std::string( argv[1] ) + "/in", out = std::string( argv[1] ) + "/out";
    {
        std::vector<char> block( 1 << 20 );
        for ( size_t i = 0; i < block.size(); ++i )
            block[i] = char( i * 2654435761u >> 24 );
        std::ofstream file( in, std::ios::binary );
        for ( uint64_t written = 0; written < cSize; written += block.size() )
            file.write( block.data(), std::streamsize( block.size() ) );
    }
    const long before = residentKilobytes();
    std::atomic<int> reports{ 0 };
    fmt::print( "{:<10} {:>10} {:>10} {:>7} {:>14} {:>7}\n", "1 GiB", "ours MB/s", "curl MB/s", "ratio", "curl, nginx",
        "ratio" );
    for ( const bool upload : { true, false, true, false } )
    {
        const auto url = urls.of( upload ? "PUT" : "GET" );
        const double a = ours( url, upload, upload ? in : out, reports );
        const double b = curl( url, upload, upload ? in : out );
        const double c = argc > 3 ? curl( argv[3], upload, upload ? in : out ) : std::nan( "" );
        fmt::print(
            "{:<10} {:>10.0f} {:>10.0f} {:>7.2f} {:>14.0f} {:>7.2f}\n", upload ? "up" : "down", a, b, a / b, c, b / c );
    }
    fmt::print( "memory grew by {:.1f} MiB, progress was reported {} times in 4 transfers\n",
        double( residentKilobytes() - before ) / 1024, reports.load() );
    finishWebRequests( std::chrono::seconds( 1 ) );
    return 0;
}
