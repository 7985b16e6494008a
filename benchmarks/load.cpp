/// Sends one kind of request at a steady rate over kept connections and tells how long the answers took.
///
///     load URL RATE SECONDS CONNECTIONS FILE [HEADER…]
///
/// Each line of FILE is a body; they are sent in turn. Requests are due at fixed times, and time is counted from there,
/// so that a slow answer is not hidden by the requests that it delays.
#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;

struct Load
{
    std::string url;
    int rate = 0;
    size_t requests = 0;
    std::vector<std::string> bodies;
    curl_slist* headers = nullptr;
    Clock::time_point start;
    std::atomic<size_t> next{ 0 };
    std::atomic<size_t> failed{ 0 };
    std::vector<double> milliseconds;
};

size_t ignore( char*, size_t size, size_t count, void* )
{
    return size * count;
}

void sendInTurn( Load& load )
{
    CURL* curl = curl_easy_init();
    curl_easy_setopt( curl, CURLOPT_URL, load.url.c_str() );
    curl_easy_setopt( curl, CURLOPT_CAINFO, std::getenv( "SSL_CERT_FILE" ) );
    curl_easy_setopt( curl, CURLOPT_HTTPHEADER, load.headers );
    curl_easy_setopt( curl, CURLOPT_WRITEFUNCTION, &ignore );
    curl_easy_setopt( curl, CURLOPT_NOSIGNAL, 1L );
    curl_easy_setopt( curl, CURLOPT_TIMEOUT, 30L );
    for ( size_t i = load.next++; i < load.requests; i = load.next++ )
    {
        const auto due = load.start + std::chrono::nanoseconds( int64_t( i ) * 1'000'000'000 / load.rate );
        std::this_thread::sleep_until( due );
        const auto& body = load.bodies[i % load.bodies.size()];
        curl_easy_setopt( curl, CURLOPT_POSTFIELDS, body.c_str() );
        curl_easy_setopt( curl, CURLOPT_POSTFIELDSIZE, long( body.size() ) );
        long status = 0;
        if ( curl_easy_perform( curl ) == CURLE_OK )
            curl_easy_getinfo( curl, CURLINFO_RESPONSE_CODE, &status );
        load.failed += status != 200;
        load.milliseconds[i] = std::chrono::duration<double, std::milli>( Clock::now() - due ).count();
    }
    curl_easy_cleanup( curl );
}

} // namespace

int main( int argc, char** argv )
{
    if ( argc < 6 )
        return 2;
    curl_global_init( CURL_GLOBAL_DEFAULT );
    Load load;
    load.url = argv[1];
    load.rate = std::atoi( argv[2] );
    load.requests = size_t( load.rate ) * size_t( std::atoi( argv[3] ) );
    load.milliseconds.resize( load.requests );
    std::ifstream in( argv[5] );
    for ( std::string line; std::getline( in, line ); )
        load.bodies.push_back( line );
    for ( int i = 6; i < argc; ++i )
        load.headers = curl_slist_append( load.headers, argv[i] );
    load.start = Clock::now() + std::chrono::milliseconds( 200 );
    std::vector<std::thread> threads;
    for ( int i = 0; i < std::atoi( argv[4] ); ++i )
        threads.emplace_back( [&] { sendInTurn( load ); } );
    for ( auto& thread : threads )
        thread.join();
    const double seconds = std::chrono::duration<double>( Clock::now() - load.start ).count();
    std::sort( load.milliseconds.begin(), load.milliseconds.end() );
    std::printf( "%zu requests in %.1f s: %.0f a second, median %.2f ms, p99 %.2f ms, longest %.0f ms, %zu failed\n",
        load.requests, seconds, double( load.requests ) / seconds, load.milliseconds[load.requests / 2],
        load.milliseconds[load.requests * 99 / 100], load.milliseconds.back(), load.failed.load() );
    return load.failed == 0 ? 0 : 1;
}
