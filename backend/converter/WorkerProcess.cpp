#include "converter/WorkerProcess.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/Sanitizer.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cMaxLine = 4096;
constexpr size_t cMaxWords = 300;
constexpr const char* cCouldNotFinish = "The converter could not finish this file";
constexpr const char* cAllocator = "/usr/lib/x86_64-linux-gnu/libmimalloc.so.2.0";

std::filesystem::path ownProgram()
{
    std::error_code ec;
    return std::filesystem::read_symlink( "/proc/self/exe", ec );
}

/// Only what a converter needs to see: system libraries, its own program and its folder.
std::vector<std::string> bubblewrap( const std::filesystem::path& folder )
{
    const auto program = ownProgram();
    std::vector<std::string> out = { "bwrap", "--unshare-all", "--die-with-parent", "--new-session", "--ro-bind",
        "/usr", "/usr", "--ro-bind-try", "/lib", "/lib", "--ro-bind-try", "/lib64", "/lib64", "--ro-bind-try",
        "/etc/ld.so.cache", "/etc/ld.so.cache", "--ro-bind-try", "/etc/alternatives", "/etc/alternatives", "--proc",
        "/proc", "--dev", "/dev", "--tmpfs", "/tmp" };
    const auto prefix = program.parent_path().parent_path();
    for ( const auto& dir : { program.parent_path(), prefix / "lib" } )
        out.insert( out.end(), { "--ro-bind-try", dir.string(), dir.string() } );
    out.insert( out.end(), { "--bind", folder.string(), "/job", "--chdir", "/job", "--" } );
    return out;
}

bool showsErrors()
{
    return std::getenv( "ORVANTA_WORKER_STDERR" ) != nullptr;
}

std::vector<std::string> workerEnvironment()
{
    std::vector<std::string> out = { "PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "HOME=/tmp" };
    if ( !cHasSanitizer && ::access( cAllocator, R_OK ) == 0 )
        out.push_back( std::string( "LD_PRELOAD=" ) + cAllocator );
    for ( const char* name : { "ORVANTA_WORKER_STDERR", "ASAN_OPTIONS", "TSAN_OPTIONS" } )
        if ( const char* value = std::getenv( name ) )
            out.push_back( std::string( name ) + "=" + value );
    return out;
}

/// One line of a worker: its last words, or how far it is.
struct ReportLine
{
    std::optional<WorkerReport> last;
    float progress = 0;
};

ReportLine lineOf( const std::string& text )
{
    const auto json = deserializeJsonValue( text );
    ReportLine out;
    if ( !json || !json->isObject() )
        out.last = WorkerReport{ WorkerReport::End::Failed, cCouldNotFinish };
    else if ( ( *json )["done"].isBool() && ( *json )["done"].asBool() )
        out.last = WorkerReport{ WorkerReport::End::Done, {} };
    else if ( ( *json )["error"].isString() )
        out.last = WorkerReport{ WorkerReport::End::Failed, ( *json )["error"].asString() };
    else if ( ( *json )["progress"].isNumeric() )
        out.progress = float( std::clamp( ( *json )["progress"].asDouble(), 0., 1. ) );
    return out;
}

tl::expected<void, std::string> endText( int status )
{
    if ( WIFSIGNALED( status ) || ( WIFEXITED( status ) && WEXITSTATUS( status ) > 128 ) )
        return tl::unexpected( std::string(
            "The converter ran out of its limits or crashed on this file; it may be damaged or too large" ) );
    return tl::unexpected( std::string( cCouldNotFinish ) );
}

} // namespace

bool hasBubblewrap()
{
    static const bool sWorks = []
    {
        auto trial = ChildProcess::start( { { "bwrap", "--unshare-all", "--ro-bind", "/", "/", "true" },
            std::vector<std::string>{ "PATH=/usr/bin:/bin" } } );
        const bool works = trial && trial->wait() == 0;
        if ( !works )
            spdlog::warn( "bubblewrap cannot be used here: workers run with limits and the kernel's filters alone" );
        return works;
    }();
    return sWorks;
}

std::vector<std::string> workerCommand( const std::filesystem::path& folder, const std::vector<std::string>& program )
{
    auto out = hasBubblewrap() ? bubblewrap( folder ) : std::vector<std::string>{};
    out.insert( out.end(), program.begin(), program.end() );
    return out;
}

tl::expected<std::unique_ptr<WorkerProcess>, std::string> WorkerProcess::start(
    const std::filesystem::path& root, const WorkerLimits& limits, std::vector<std::string> program )
{
    static std::atomic<unsigned> sCounter{ 0 };
    std::unique_ptr<WorkerProcess> worker( new WorkerProcess );
    worker->limits_ = limits;
    worker->folder_ = root / fmt::format( "worker-{}-{}", ::getpid(), sCounter++ );
    std::error_code ec;
    std::filesystem::create_directories( worker->folder_, ec );
    if ( ec )
        return tl::unexpected( std::string( "No folder for a worker can be made" ) );

    const auto folder = hasBubblewrap() ? std::string( "/job" ) : worker->folder_.string();
    if ( program.empty() )
        program = { ownProgram().string(), "worker" };
    program.insert( program.end(), { folder, std::to_string( limits.memory ), std::to_string( limits.outputSize ),
                                       std::to_string( limits.time.count() ) } );
    auto process =
        ChildProcess::start( { workerCommand( worker->folder_, program ), workerEnvironment(), showsErrors() } );
    if ( !process )
    {
        spdlog::error( "{}", process.error() );
        return tl::unexpected( std::string( "No worker can be started" ) );
    }
    worker->process_.emplace( std::move( *process ) );
    return worker;
}

WorkerProcess::~WorkerProcess()
{
    process_.reset();
    std::error_code ec;
    std::filesystem::remove_all( folder_, ec );
}

bool WorkerProcess::isAlive() const
{
    return process_ && process_->waitForOutput( 0 ) == ChildProcess::Output::Silent;
}

WorkerReport WorkerProcess::report_( const std::atomic<bool>& stop, const Progress& progress ) const
{
    constexpr int cSlice = 100; // ms between two looks at `stop`
    const auto deadline = std::chrono::steady_clock::now() + limits_.time;
    std::string pending;
    float done = 0;
    while ( !stop && std::chrono::steady_clock::now() < deadline )
    {
        if ( process_->waitForOutput( cSlice ) == ChildProcess::Output::Silent )
            continue;
        char buffer[1024];
        const auto n = process_->read( buffer, sizeof buffer );
        pending.append( buffer, n );
        for ( size_t end = 0; ( end = pending.find( '\n' ) ) != pending.npos; pending.erase( 0, end + 1 ) )
        {
            const auto line = lineOf( pending.substr( 0, end ) );
            if ( line.last )
                return *line.last;
            done = std::max( done, line.progress );
            if ( progress )
                progress( done );
        }
        if ( pending.size() > cMaxLine )
            return { WorkerReport::End::Failed, cCouldNotFinish };
        if ( n == 0 )
            return {};
    }
    return { WorkerReport::End::Stopped, {} };
}

tl::expected<void, std::string> WorkerProcess::convert( const std::atomic<bool>& stop, const Progress& progress )
{
    const char go = '\n';
    const auto report = process_->write( &go, 1 ) ? report_( stop, progress ) : WorkerReport{};
    switch ( report.end )
    {
    case WorkerReport::End::Done:
        // The result is whole once its report has come; tearing a large process down can wait.
        return {};
    case WorkerReport::End::Failed:
        // What a hostile file may have made of a worker speaks here, and users read it.
        return tl::unexpected( printable( report.error, cMaxWords ) );
    case WorkerReport::End::Stopped:
        process_->kill();
        return tl::unexpected( std::string( "The conversion took too long and was stopped" ) );
    case WorkerReport::End::Silent:
        break;
    }
    // One that only closed its mouth would keep us waiting; for one that is ending already this changes nothing.
    process_->kill();
    return endText( process_->wait() );
}

} // namespace VX::Backend
