#include "converter/WorkerProcess.h"

#include <VXMesh/io/Json.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace VX::Backend
{
namespace
{

constexpr size_t cMaxReport = 4096;
constexpr const char* cAllocator = "/usr/lib/x86_64-linux-gnu/libmimalloc.so.2.0";
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
constexpr bool cFastAllocator = false; // a sanitizer has one of its own
#else
constexpr bool cFastAllocator = true;
#endif

std::filesystem::path ownProgram()
{
    std::error_code ec;
    return std::filesystem::read_symlink( "/proc/self/exe", ec );
}

struct Pipes
{
    int control[2] = { -1, -1 };
    int report[2] = { -1, -1 };

    Pipes() = default;
    Pipes( const Pipes& ) = delete;
    Pipes& operator=( const Pipes& ) = delete;
    [[nodiscard]] bool open() { return ::pipe2( control, O_CLOEXEC ) == 0 && ::pipe2( report, O_CLOEXEC ) == 0; }
    ~Pipes()
    {
        for ( const int fd : { control[0], control[1], report[0], report[1] } )
            if ( fd >= 0 )
                ::close( fd );
    }
};

pid_t spawn(
    const std::vector<std::string>& arguments, const std::vector<std::string>& environment, const Pipes* pipes )
{
    const auto pointers = []( const std::vector<std::string>& texts )
    {
        std::vector<char*> out;
        for ( const auto& text : texts )
            out.push_back( const_cast<char*>( text.c_str() ) );
        out.push_back( nullptr );
        return out;
    };
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init( &actions );
    if ( pipes )
    {
        posix_spawn_file_actions_adddup2( &actions, pipes->control[0], STDIN_FILENO );
        posix_spawn_file_actions_adddup2( &actions, pipes->report[1], STDOUT_FILENO );
    }
    else
        posix_spawn_file_actions_addopen( &actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0 );
    if ( !std::getenv( "ORVANTA_WORKER_STDERR" ) )
        posix_spawn_file_actions_addopen( &actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0 );
    // Not all of our sockets close themselves on exec, and a worker must hold none of them.
    posix_spawn_file_actions_addclosefrom_np( &actions, STDERR_FILENO + 1 );
    posix_spawnattr_t attributes;
    posix_spawnattr_init( &attributes );
    sigset_t none;
    sigemptyset( &none );
    posix_spawnattr_setsigmask( &attributes, &none );
    posix_spawnattr_setflags( &attributes, POSIX_SPAWN_SETSIGMASK );
    auto argv = pointers( arguments );
    auto envp = pointers( environment );
    pid_t pid = -1;
    if ( posix_spawnp( &pid, argv[0], &actions, &attributes, argv.data(), envp.data() ) != 0 )
        pid = -1;
    posix_spawnattr_destroy( &attributes );
    posix_spawn_file_actions_destroy( &actions );
    return pid;
}

int waitStatus( pid_t pid )
{
    int status = 0;
    while ( ::waitpid( pid, &status, 0 ) < 0 )
        if ( errno != EINTR )
            return -1;
    return status;
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

std::vector<std::string> workerEnvironment()
{
    std::vector<std::string> out = { "PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "HOME=/tmp" };
    if ( cFastAllocator && ::access( cAllocator, R_OK ) == 0 )
        out.push_back( std::string( "LD_PRELOAD=" ) + cAllocator );
    for ( const char* name : { "ORVANTA_WORKER_STDERR", "ASAN_OPTIONS", "TSAN_OPTIONS" } )
        if ( const char* value = std::getenv( name ) )
            out.push_back( std::string( name ) + "=" + value );
    return out;
}

tl::expected<void, std::string> endText( int status, bool timedOut )
{
    if ( timedOut )
        return tl::unexpected( std::string( "The conversion took too long and was stopped" ) );
    if ( WIFSIGNALED( status ) || ( WIFEXITED( status ) && WEXITSTATUS( status ) > 128 ) )
        return tl::unexpected( std::string(
            "The converter ran out of its limits or crashed on this file; it may be damaged or too large" ) );
    return tl::unexpected( std::string( "The converter could not finish this file" ) );
}

/// A worker's words are shown to users, so they are taken for what a hostile file may have made of them.
std::string sanitized( std::string text )
{
    std::erase_if( text, []( unsigned char c ) { return c < 0x20 || c > 0x7e; } );
    text.resize( std::min<size_t>( text.size(), 300 ) );
    return text;
}

} // namespace

bool hasBubblewrap()
{
    static const bool sWorks = []
    {
        const pid_t pid =
            spawn( { "bwrap", "--unshare-all", "--ro-bind", "/", "/", "true" }, { "PATH=/usr/bin:/bin" }, nullptr );
        const bool works = pid > 0 && waitStatus( pid ) == 0;
        if ( !works )
            spdlog::warn( "bubblewrap cannot be used here: workers run with limits and a system-call filter alone" );
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
    const std::filesystem::path& root, const WorkerLimits& limits )
{
    static std::atomic<unsigned> sCounter{ 0 };
    std::unique_ptr<WorkerProcess> worker( new WorkerProcess );
    worker->limits_ = limits;
    worker->folder_ = root / fmt::format( "worker-{}-{}", ::getpid(), sCounter++ );
    std::error_code ec;
    std::filesystem::create_directories( worker->folder_, ec );
    Pipes pipes;
    if ( ec || !pipes.open() )
        return tl::unexpected( std::string( "No folder for a worker can be made" ) );

    const auto folder = hasBubblewrap() ? std::string( "/job" ) : worker->folder_.string();
    const auto command = workerCommand(
        worker->folder_, { ownProgram().string(), "worker", folder, std::to_string( limits.memory ),
                             std::to_string( limits.outputSize ), std::to_string( limits.time.count() ) } );
    worker->pid_ = spawn( command, workerEnvironment(), &pipes );
    if ( worker->pid_ <= 0 )
        return tl::unexpected( std::string( "No worker can be started" ) );
    worker->control_ = std::exchange( pipes.control[1], -1 );
    worker->report_ = std::exchange( pipes.report[0], -1 );
    return worker;
}

WorkerProcess::~WorkerProcess()
{
    for ( const int fd : { control_, report_ } )
        if ( fd >= 0 )
            ::close( fd );
    if ( pid_ > 0 )
    {
        ::kill( pid_, SIGKILL );
        waitStatus( pid_ );
    }
    std::error_code ec;
    std::filesystem::remove_all( folder_, ec );
}

bool WorkerProcess::isAlive() const
{
    pollfd poll{ report_, POLLIN, 0 };
    return pid_ > 0 && ::poll( &poll, 1, 0 ) == 0;
}

std::string WorkerProcess::readReport_() const
{
    std::string out;
    char buffer[1024];
    for ( ssize_t n = 0; out.size() < cMaxReport && ( n = ::read( report_, buffer, sizeof buffer ) ) > 0; )
        out.append( buffer, size_t( n ) );
    return out;
}

bool WorkerProcess::waitForReport_( const std::atomic<bool>& stop ) const
{
    constexpr int cSlice = 100; // ms between two looks at `stop`
    const auto deadline = std::chrono::steady_clock::now() + limits_.time;
    pollfd poll{ report_, POLLIN, 0 };
    while ( !stop && std::chrono::steady_clock::now() < deadline )
        if ( ::poll( &poll, 1, cSlice ) > 0 )
            return true;
    return false;
}

tl::expected<void, std::string> WorkerProcess::convert( const std::atomic<bool>& stop )
{
    const char go = '\n';
    const bool started = ::write( control_, &go, 1 ) == 1;
    const bool inTime = !started || waitForReport_( stop );
    if ( !inTime )
        ::kill( pid_, SIGKILL );
    const auto json = deserializeJsonValue( readReport_() );
    // The result is whole once its report has come; tearing a large process down can wait.
    if ( inTime && json && json->isObject() && ( *json )["done"].isBool() && ( *json )["done"].asBool() )
        return {};
    const int status = waitStatus( pid_ );
    pid_ = -1;
    if ( inTime && json && json->isObject() && ( *json )["error"].isString() )
        return tl::unexpected( sanitized( ( *json )["error"].asString() ) );
    return endText( status, !inTime );
}

} // namespace VX::Backend
