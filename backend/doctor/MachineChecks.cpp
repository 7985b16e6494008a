#include "doctor/Checks.h"

#include "converter/WorkerTrial.h"
#include "http/Descriptors.h"

#include <VXMesh/io/ScratchFolder.h>

#include <curl/curl.h>
#include <fmt/format.h>

#include <cerrno>
#include <csignal>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cEnoughDescriptors = 8448;

size_t ignore( char*, size_t size, size_t count, void* )
{
    return size * count;
}

/// The address at which this machine itself reaches a service that listens there.
std::string reachedAt( const std::string& address )
{
    if ( address == "0.0.0.0" )
        return "127.0.0.1";
    if ( address == "::" )
        return "[::1]";
    return address.find( ':' ) == std::string::npos ? address : "[" + address + "]";
}

/// What is wrong with the answer of a service; empty where it is alive.
std::string answerProblem( const Patient& patient )
{
    const std::unique_ptr<CURL, decltype( &curl_easy_cleanup )> curl( curl_easy_init(), &curl_easy_cleanup );
    const auto port = std::to_string( patient.port );
    const auto url = "https://localhost:" + port + "/livez";
    // Whatever it listens on, this is a name that its own certificate has.
    const std::unique_ptr<curl_slist, decltype( &curl_slist_free_all )> place(
        curl_slist_append( nullptr, ( "localhost:" + port + ":" + reachedAt( patient.address ) ).c_str() ),
        &curl_slist_free_all );
    const auto authority = ( patient.data / "ca.pem" ).string();
    curl_easy_setopt( curl.get(), CURLOPT_URL, url.c_str() );
    curl_easy_setopt( curl.get(), CURLOPT_RESOLVE, place.get() );
    curl_easy_setopt( curl.get(), CURLOPT_PROXY, "" );
    curl_easy_setopt( curl.get(), CURLOPT_CAINFO, authority.c_str() );
    // Who an operator's certificate is of is asked elsewhere.
    curl_easy_setopt( curl.get(), CURLOPT_SSL_VERIFYPEER, patient.tlsCertificate.empty() ? 1L : 0L );
    curl_easy_setopt( curl.get(), CURLOPT_SSL_VERIFYHOST, patient.tlsCertificate.empty() ? 2L : 0L );
    curl_easy_setopt( curl.get(), CURLOPT_WRITEFUNCTION, &ignore );
    curl_easy_setopt( curl.get(), CURLOPT_TIMEOUT, 5L );
    curl_easy_setopt( curl.get(), CURLOPT_NOSIGNAL, 1L );
    const auto code = curl_easy_perform( curl.get() );
    long status = 0;
    curl_easy_getinfo( curl.get(), CURLINFO_RESPONSE_CODE, &status );
    if ( code != CURLE_OK )
        return curl_easy_strerror( code );
    return status == 200 ? std::string() : fmt::format( "it answers {}", status );
}

/// Why nobody could listen there; 0 where one could.
int listenError( const Patient& patient )
{
    sockaddr_in6 six{};
    sockaddr_in four{};
    const bool isSix = ::inet_pton( AF_INET6, patient.address.c_str(), &six.sin6_addr ) == 1;
    if ( !isSix && ::inet_pton( AF_INET, patient.address.c_str(), &four.sin_addr ) != 1 )
        return EINVAL;
    six.sin6_family = AF_INET6;
    four.sin_family = AF_INET;
    six.sin6_port = four.sin_port = htons( patient.port );
    const int fd = ::socket( isSix ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
    if ( fd < 0 )
        return errno;
    const int on = 1;
    ::setsockopt( fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on );
    const auto* const address =
        isSix ? reinterpret_cast<const sockaddr*>( &six ) : reinterpret_cast<const sockaddr*>( &four );
    const bool bound = ::bind( fd, address, isSix ? sizeof six : sizeof four ) == 0 && ::listen( fd, 1 ) == 0;
    const int error = bound ? 0 : errno;
    ::close( fd );
    return error;
}

} // namespace

Finding checkSandbox( const Patient& patient )
{
    if ( patient.hasBubblewrap )
        return { Verdict::Ok, "sandbox", "bubblewrap can be used" };
    return { Verdict::Warn, "sandbox",
        "bubblewrap cannot be used here, and a service starts with --without-sandbox alone; install it (package "
        "bubblewrap) and allow namespaces of users" };
}

Finding checkWorker( const Patient& patient )
{
    const ScratchFolder scratch( "orvanta-doctor-" );
    if ( scratch.path().empty() )
        return { Verdict::Fail, "worker", "No working folder can be made; set TMPDIR to a folder with space" };
    // Writing to a worker that has ended is to fail, not to end this process.
    std::signal( SIGPIPE, SIG_IGN );
    WorkerSetup setup;
    setup.inBubblewrap = patient.hasBubblewrap;
    setup.program = patient.worker;
    if ( const auto tried = WorkerTrial( scratch.path(), setup ).end(); !tried )
        return { Verdict::Fail, "worker", tried.error() };
    return { Verdict::Ok, "worker", "A worker has converted a cube" };
}

Finding checkDescriptors()
{
    rlimit limit{};
    ::getrlimit( RLIMIT_NOFILE, &limit );
    const auto most = size_t( limit.rlim_max );
    const auto connections = connectionsFor( most );
    if ( most >= cEnoughDescriptors )
        return { Verdict::Ok, "descriptors", fmt::format( "There may be {}", most ) };
    return { Verdict::Warn, "descriptors",
        fmt::format( "A service that is started here may have {} and so {} connections; raise the limit (ulimit -Hn, "
                     "LimitNOFILE) to {}",
            most, connections, cEnoughDescriptors ) };
}

Finding checkPort( const Patient& patient )
{
    const auto place = fmt::format( "port {} of {}", patient.port, patient.address );
    if ( patient.isRunning )
    {
        const auto problem = answerProblem( patient );
        if ( problem.empty() )
            return { Verdict::Ok, "service", "It answers at " + place };
        return { Verdict::Fail, "service",
            fmt::format(
                "A service has the folder, but it does not answer at {} ({}); give its --port and --listen, or "
                "look into its log",
                place, problem ) };
    }
    const int error = listenError( patient );
    if ( error == 0 )
        return { Verdict::Ok, "service", "None is running, and one could listen at " + place };
    return { Verdict::Fail, "service",
        fmt::format( "No service could listen at {}: {}; end who does, or give another --port", place,
            std::generic_category().message( error ) ) };
}

} // namespace VX::Backend
