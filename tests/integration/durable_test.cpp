#include "support/Patience.h"
#include "support/service/BackendProcess.h"
#include "support/service/Processes.h"
#include "support/service/TlsClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <iomanip>
#include <map>
#include <set>
#include <thread>

using namespace VX;
using Client = Testing::TlsClient;

namespace
{

std::string post( const std::string& path, const std::string& body, const std::string& operation = {} )
{
    return "POST " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" +
           ( operation.empty() ? "" : "x-amz-target: AWSCognitoIdentityProviderService." + operation + "\r\n" ) +
           "Content-Length: " + std::to_string( body.size() ) + "\r\n\r\n" + body;
}

/// The process that traces another one; 0 where none does.
int tracerOf( int pid )
{
    const auto facts = Testing::factsOfProcess( pid, "status" );
    const auto at = facts.find( "TracerPid:\t" );
    return at == std::string::npos ? 0 : std::stoi( facts.substr( at + 11 ) );
}

/// The back end, and what it flushes and sends, in its order, until `lines` is called.
class TracedBackend
{
public:
    TracedBackend()
        : backend_( { "--allow-anonymous" }, {},
              { "/usr/bin/strace", "-I2", "-D", "-f", "-y", "-ttt", "-e", "trace=fdatasync,fsync,sendto,sendmsg", "-e",
                  "signal=none", "-o", file_.string() } )
    {
    }
    [[nodiscard]] std::vector<std::string> lines() const
    {
        const int tracer = tracerOf( backend_.pid() );
        // Nothing is proved by a trace that there is not.
        if ( tracer == 0 )
            throw std::runtime_error( "the back end cannot be traced here (ptrace)" );
        std::set<std::string> threads;
        for ( const auto& one :
            std::filesystem::directory_iterator( "/proc/" + std::to_string( backend_.pid() ) + "/task" ) )
            threads.insert( one.path().filename() );
        ::kill( tracer, SIGINT );
        // It is nobody's child here, who would have to wait for it.
        for ( const Testing::Patience patience; !Testing::factsOfProcess( tracer, "cmdline" ).empty();
            patience.check( "the tracer does not end" ) )
            std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
        std::vector<std::string> out;
        std::ifstream in( file_ );
        for ( std::string line; std::getline( in, line ); )
            // Not what the sandbox of a worker says to the kernel.
            if ( threads.contains( line.substr( 0, line.find( ' ' ) ) ) )
                out.push_back( line );
        return out;
    }

private:
    Testing::ScratchFolder folder_;
    std::filesystem::path file_ = folder_.path() / "trace";
    Testing::BackendProcess backend_;
};

double now()
{
    return std::chrono::duration<double>( std::chrono::system_clock::now().time_since_epoch() ).count();
}

/// Asks for something that is written, once all that belongs to the connection itself is over; when that was.
double ask( const std::string& request )
{
    Client client( ORVANTA_TEST_PORT );
    client.send( "GET /livez HTTP/1.1\r\nHost: localhost\r\n\r\n" );
    EXPECT_TRUE( client.readOnce().starts_with( "HTTP/1.1 200 OK" ) );
    const auto begin = now();
    client.send( request );
    const auto answer = client.readAll();
    EXPECT_TRUE( answer.starts_with( "HTTP/1.1 200 OK" ) ) << answer;
    return begin;
}

/// Whether a log of a database was flushed after a moment and before the first thing that was sent after it.
bool isFlushedBeforeItsAnswer( const std::vector<std::string>& trace, double begin, const std::string& log )
{
    std::map<std::string, bool> flushing; // by thread
    for ( const auto& line : trace )
    {
        const auto thread = line.substr( 0, line.find( ' ' ) );
        const double time = std::stod( line.substr( line.find_first_not_of( ' ', thread.size() ) ) );
        if ( time < begin )
            continue;
        if ( line.find( " sendto(" ) != line.npos || line.find( " sendmsg(" ) != line.npos )
            return false;
        // Of a service of another user than root's the tracer sees no names.
        if ( line.find( "sync(" ) != line.npos )
            flushing[thread] = line.find( '<' ) == line.npos || line.find( "/" + log + ">" ) != line.npos;
        if ( flushing[thread] && line.ends_with( " = 0" ) )
            return true;
    }
    return false;
}

} // namespace

TEST( Durable, WhatIsAnsweredWasFlushedBefore )
{
    struct Call
    {
        std::string what, request, log;
        double begin = 0;
    };
    std::vector<Call> calls{
        { "conversion", post( "/converter/v2/request", R"({"input_format":"step","compress_input":"zip"})" ),
            "orvanta.db-wal" },
        { "statistics", post( "/stats/log", R"({"type":"createSession","email":"ann@example.org"})" ),
            "statistics.db-wal" },
        { "account", post( "/auth", R"({"Username":"ann@example.org","Password":"long-enough-1"})", "SignUp" ),
            "orvanta.db-wal" },
    };
    const TracedBackend backend;
    for ( auto& call : calls )
        call.begin = ask( call.request );
    const auto trace = backend.lines();
    for ( const auto& call : calls )
    {
        std::string shown;
        for ( const auto& line : trace )
            shown += line + "\n";
        EXPECT_TRUE( isFlushedBeforeItsAnswer( trace, call.begin, call.log ) )
            << call.what << " at " << std::fixed << std::setprecision( 6 ) << call.begin << "\n"
            << shown;
    }
}
