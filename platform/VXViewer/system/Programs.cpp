#include <VXViewer/system/Programs.h>

#include <VXMesh/system/ChildProcess.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VX
{
namespace
{

// A browser that is closed after a while may end with any status.
constexpr auto cStarting = std::chrono::seconds( 15 );

void collect( pid_t pid, const std::function<void()>& failed )
{
    const auto started = std::chrono::steady_clock::now();
    int status = 0;
    while ( ::waitpid( pid, &status, 0 ) < 0 )
        if ( errno != EINTR )
            return;
    const bool done = WIFEXITED( status ) && WEXITSTATUS( status ) == 0;
    if ( failed && !done && std::chrono::steady_clock::now() - started < cStarting )
        failed();
}

} // namespace

ChildResult runChild( const std::vector<std::string>& arguments )
{
    auto child = ChildProcess::start( { arguments, {}, true } );
    ChildResult out;
    if ( !child )
        return out;
    char buffer[4096];
    for ( size_t n = 0; ( n = child->read( buffer, sizeof buffer ) ) > 0; )
        out.output.append( buffer, n );
    if ( const int status = child->wait(); WIFEXITED( status ) )
        out.status = WEXITSTATUS( status );
    return out;
}

bool startDetached( const std::vector<std::string>& arguments, std::function<void()> failed )
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init( &actions );
    posix_spawn_file_actions_addopen( &actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0 );
    posix_spawn_file_actions_addclosefrom_np( &actions, STDERR_FILENO + 1 );
    std::vector<char*> argv;
    for ( const auto& argument : arguments )
        argv.push_back( const_cast<char*>( argument.c_str() ) );
    argv.push_back( nullptr );
    pid_t pid = -1;
    const int error = ::posix_spawnp( &pid, argv[0], &actions, nullptr, argv.data(), environ );
    ::posix_spawn_file_actions_destroy( &actions );
    if ( error != 0 )
        return false;
    // Somebody has to collect the exit status, or the child stays a zombie as long as we live.
    std::thread( [pid, failed = std::move( failed )] { collect( pid, failed ); } ).detach();
    return true;
}

bool isInPath( const std::string& program )
{
    const char* path = std::getenv( "PATH" );
    std::istringstream folders( path ? path : "" );
    for ( std::string folder; std::getline( folders, folder, ':' ); )
        if ( !folder.empty() && ::access( ( std::filesystem::path( folder ) / program ).c_str(), X_OK ) == 0 )
            return true;
    return false;
}

} // namespace VX
