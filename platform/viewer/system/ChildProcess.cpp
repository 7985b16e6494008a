#include <VXViewer/system/ChildProcess.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace VX
{
namespace
{

std::vector<char*> toArgv( const std::vector<std::string>& arguments )
{
    std::vector<char*> out;
    for ( const auto& argument : arguments )
        out.push_back( const_cast<char*>( argument.c_str() ) );
    out.push_back( nullptr );
    return out;
}

pid_t spawn( const std::vector<std::string>& arguments, int outputFd )
{
    if ( arguments.empty() )
        return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init( &actions );
    posix_spawn_file_actions_addopen( &actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0 );
    if ( outputFd >= 0 )
        posix_spawn_file_actions_adddup2( &actions, outputFd, STDOUT_FILENO );
    pid_t pid = -1;
    auto argv = toArgv( arguments );
    if ( posix_spawnp( &pid, argv[0], &actions, nullptr, argv.data(), environ ) != 0 )
        pid = -1;
    posix_spawn_file_actions_destroy( &actions );
    return pid;
}

int waitFor( pid_t pid )
{
    int status = 0;
    while ( ::waitpid( pid, &status, 0 ) < 0 )
        if ( errno != EINTR )
            return -1;
    return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
}

} // namespace

ChildResult runChild( const std::vector<std::string>& arguments )
{
    int pipes[2];
    if ( ::pipe2( pipes, O_CLOEXEC ) != 0 )
        return {};
    const pid_t pid = spawn( arguments, pipes[1] );
    ::close( pipes[1] );
    ChildResult out;
    char buffer[4096];
    for ( ssize_t n = 0; pid > 0 && ( n = ::read( pipes[0], buffer, sizeof buffer ) ) != 0; )
    {
        if ( n < 0 && errno == EINTR )
            continue;
        if ( n < 0 )
            break;
        out.output.append( buffer, size_t( n ) );
    }
    ::close( pipes[0] );
    if ( pid > 0 )
        out.status = waitFor( pid );
    return out;
}

bool startDetached( const std::vector<std::string>& arguments )
{
    const pid_t pid = spawn( arguments, -1 );
    if ( pid <= 0 )
        return false;
    // Somebody has to collect the exit status, or the child stays a zombie as long as we live.
    std::thread( [pid] { static_cast<void>( waitFor( pid ) ); } ).detach();
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
