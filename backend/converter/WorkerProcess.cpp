#include "converter/WorkerProcess.h"

#include "converter/Bubblewrap.h"
#include "worker/WorkerMain.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/Sanitizer.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cMaxLine = 4096;
constexpr size_t cMaxWords = 300;
/// Milliseconds for a worker whose output has ended to end itself.
constexpr int cLastMoment = 1000;
constexpr const char* cCouldNotFinish = "The converter could not finish this file";
constexpr const char* cAllocator = "/usr/lib/x86_64-linux-gnu/libmimalloc.so.2.0";

// In pieces of less than that a large file is not worth sharing.
constexpr uint64_t cLeastMemory = uint64_t( 2 ) << 30;
// Users that no system gives to anybody, and the one that every system calls nobody.
constexpr unsigned cFirstUser = 1'900'000'000, cUsers = 100'000'000, cNobody = 65534;
// Where others are the same user, they may begin so much beside a worker.
constexpr uint64_t cTasksOfOthers = 1000;

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

/// Bubblewrap tells of what it runs as a shell does.
bool isKilled( int status )
{
    return WIFSIGNALED( status ) ? WTERMSIG( status ) == SIGKILL
                                 : WIFEXITED( status ) && WEXITSTATUS( status ) == 128 + SIGKILL;
}

tl::expected<void, std::string> endText( int status )
{
    if ( WIFSIGNALED( status ) || ( WIFEXITED( status ) && WEXITSTATUS( status ) > 128 ) )
        return tl::unexpected( std::string(
            "The converter ran out of its limits or crashed on this file; it may be damaged or too large" ) );
    return tl::unexpected( std::string( cCouldNotFinish ) );
}

} // namespace

int processesOf( uint64_t memory, unsigned cores )
{
    return int( std::clamp<uint64_t>( memory / cLeastMemory, 1, std::max( cores, 1u ) ) );
}

uint64_t memoryOfAConversion( int atATime )
{
    const auto pages = uint64_t( std::max( ::sysconf( _SC_PHYS_PAGES ), 0L ) );
    return pages * uint64_t( ::sysconf( _SC_PAGESIZE ) ) / 4 * 3 / uint64_t( std::max( atATime, 1 ) );
}

tl::expected<std::unique_ptr<WorkerProcess>, std::string> WorkerProcess::start(
    const std::filesystem::path& root, const WorkerSetup& setup )
{
    static std::atomic<unsigned> sCounter{ 0 };
    const auto number = sCounter++;
    const auto& limits = setup.limits;
    std::unique_ptr<WorkerProcess> worker( new WorkerProcess );
    worker->limits_ = limits;
    worker->folder_ = root / fmt::format( "worker-{}-{}", ::getpid(), number );
    if ( ::geteuid() == 0 )
        worker->user_ = cFirstUser + ( unsigned( ::getpid() ) * 100 + number % 100 ) % cUsers;
    if ( !worker->makeFolder_() )
        return tl::unexpected( std::string( "No folder for a worker can be made" ) );

    const auto cores = std::max( std::thread::hardware_concurrency(), 1u );
    const auto processes = processesOf( limits.memory, cores );
    // Copies, and the threads of each where it has cores of its own.
    const bool isAlone = setup.inBubblewrap || worker->user_ > cNobody;
    const auto tasks = uint64_t( processes ) + cores + ( isAlone ? 0 : cTasksOfOthers );
    auto command =
        setup.program.empty() ? std::vector{ ownProgram().string(), std::string( "worker" ) } : setup.program;
    command.push_back( setup.inBubblewrap ? "/job" : worker->folder_.string() );
    for ( const uint64_t number : { limits.memory / uint64_t( processes ), limits.outputSize,
              uint64_t( limits.time.count() ), uint64_t( processes ), tasks, uint64_t( worker->user_ ) } )
        command.push_back( std::to_string( number ) );
    if ( setup.inBubblewrap )
        command = inBubblewrap( worker->folder_, command );
    auto process = ChildProcess::start( { command, workerEnvironment(), setup.showsErrors || showsErrors() } );
    if ( !process )
    {
        spdlog::error( "{}", process.error() );
        return tl::unexpected( std::string( "No worker can be started" ) );
    }
    worker->process_.emplace( std::move( *process ) );
    return worker;
}

bool WorkerProcess::makeFolder_()
{
    std::error_code ec;
    std::filesystem::create_directories( folder_, ec );
    if ( ec || user_ == 0 )
        return !ec;
    // A container may know few users.
    if ( ::chown( folder_.c_str(), user_, -1U ) != 0 )
        user_ = cNobody;
    return ::chown( folder_.c_str(), user_, -1U ) == 0 && ::chmod( folder_.c_str(), 0770 ) == 0;
}

bool WorkerProcess::handOverInput_() const
{
    if ( user_ == 0 )
        return true;
    bool done = true;
    for ( const auto& file : { inputFile(), plainInputFile() } )
    {
        const int fd = ::open( file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC );
        if ( fd < 0 )
            continue;
        // It may be the stored object itself, which nobody is to change.
        done = ::fchown( fd, -1U, user_ ) == 0 && ::fchmod( fd, 0640 ) == 0 && done;
        ::close( fd );
    }
    return done;
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

WorkerReport WorkerProcess::report_(
    std::chrono::seconds time, const std::atomic<bool>& stop, const Progress& progress ) const
{
    constexpr int cSlice = 100; // ms between two looks at `stop`
    const auto deadline = std::chrono::steady_clock::now() + time;
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
    return order_( cConvert, limits_.time, stop, progress );
}

tl::expected<void, std::string> WorkerProcess::tryOut( std::chrono::seconds time )
{
    const std::atomic<bool> never{ false };
    return order_( cTry, time, never, {} );
}

tl::expected<void, std::string> WorkerProcess::order_(
    char what, std::chrono::seconds time, const std::atomic<bool>& stop, const Progress& progress )
{
    const auto report =
        handOverInput_() && process_->write( &what, 1 ) ? report_( time, stop, progress ) : WorkerReport{};
    switch ( report.end )
    {
    case WorkerReport::End::Done:
        // The result is whole once its report has come; tearing a large process down can wait.
        return {};
    case WorkerReport::End::Failed:
        judged_ = true;
        // What a hostile file may have made of a worker speaks here, and users read it.
        return tl::unexpected( printable( report.error, cMaxWords ) );
    case WorkerReport::End::Stopped:
        process_->kill();
        return tl::unexpected( std::string( "The conversion took too long and was stopped" ) );
    case WorkerReport::End::Silent:
        break;
    }
    // One that only closed its mouth would keep us waiting.
    const bool ended = process_->hasEndedWithin( cLastMoment );
    process_->kill();
    const int status = process_->wait();
    killed_ = ended && isKilled( status );
    return endText( status );
}

} // namespace VX::Backend
