#include <VXMesh/system/ChildProcess.h>

#include <VXMesh/io/WriteAll.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VX
{
namespace
{

class Pipe
{
public:
    Pipe() { ok_ = ::pipe2( ends_, O_CLOEXEC ) == 0; }
    Pipe( const Pipe& ) = delete;
    Pipe& operator=( const Pipe& ) = delete;
    ~Pipe()
    {
        for ( const int fd : ends_ )
            if ( fd >= 0 )
                ::close( fd );
    }
    explicit operator bool() const { return ok_; }
    [[nodiscard]] int readEnd() const { return ends_[0]; }
    [[nodiscard]] int writeEnd() const { return ends_[1]; }
    [[nodiscard]] int takeReadEnd() { return std::exchange( ends_[0], -1 ); }
    [[nodiscard]] int takeWriteEnd() { return std::exchange( ends_[1], -1 ); }

private:
    int ends_[2] = { -1, -1 };
    bool ok_ = false;
};

std::vector<char*> pointersTo( const std::vector<std::string>& texts )
{
    std::vector<char*> out;
    out.reserve( texts.size() + 1 );
    for ( const auto& text : texts )
        out.push_back( const_cast<char*>( text.c_str() ) );
    out.push_back( nullptr );
    return out;
}

/// The error number of posix_spawn, or 0.
int spawn( const ChildProcess::Setup& setup, int input, int output, pid_t& pid )
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init( &actions );
    posix_spawn_file_actions_adddup2( &actions, input, STDIN_FILENO );
    posix_spawn_file_actions_adddup2( &actions, output, STDOUT_FILENO );
    if ( !setup.showsErrors )
        posix_spawn_file_actions_addopen( &actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0 );
    // Not all files and sockets of a process close themselves on exec, and libraries open some too.
    posix_spawn_file_actions_addclosefrom_np( &actions, STDERR_FILENO + 1 );
    posix_spawnattr_t attributes;
    posix_spawnattr_init( &attributes );
    sigset_t none;
    sigemptyset( &none );
    posix_spawnattr_setsigmask( &attributes, &none );
    // In a session of its own it has no terminal on which it could type for us.
    posix_spawnattr_setflags( &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID );
    auto argv = pointersTo( setup.command );
    auto variables = setup.environment ? pointersTo( *setup.environment ) : std::vector<char*>{};
    char** const envp = setup.environment ? variables.data() : environ;
    const int error = ::posix_spawnp( &pid, argv[0], &actions, &attributes, argv.data(), envp );
    ::posix_spawnattr_destroy( &attributes );
    ::posix_spawn_file_actions_destroy( &actions );
    return error;
}

} // namespace

tl::expected<ChildProcess, std::string> ChildProcess::start( const Setup& setup )
{
    const auto failed = [&]( int error )
    { return tl::unexpected( "\"" + setup.command.front() + "\" cannot be started: " + std::strerror( error ) ); };
    Pipe down, up;
    if ( !down || !up )
        return failed( errno );
    ChildProcess child;
    if ( const int error = spawn( setup, down.readEnd(), up.writeEnd(), child.pid_ ) )
    {
        child.pid_ = -1;
        return failed( error );
    }
    child.input_ = down.takeWriteEnd();
    child.output_ = up.takeReadEnd();
    return child;
}

ChildProcess::ChildProcess( ChildProcess&& other ) noexcept
    : pid_( std::exchange( other.pid_, -1 ) )
    , input_( std::exchange( other.input_, -1 ) )
    , output_( std::exchange( other.output_, -1 ) )
{
}

ChildProcess& ChildProcess::operator=( ChildProcess&& other ) noexcept
{
    std::swap( pid_, other.pid_ );
    std::swap( input_, other.input_ );
    std::swap( output_, other.output_ );
    return *this;
}

ChildProcess::~ChildProcess()
{
    kill();
    wait();
    for ( const int fd : { input_, output_ } )
        if ( fd >= 0 )
            ::close( fd );
}

bool ChildProcess::write( const void* data, size_t size ) const
{
    return writeAll( input_, { static_cast<const std::byte*>( data ), size } ) == 0;
}

ChildProcess::Output ChildProcess::waitForOutput( int milliseconds ) const
{
    pollfd poll{ output_, POLLIN, 0 };
    return ::poll( &poll, 1, milliseconds ) > 0 ? Output::Ready : Output::Silent;
}

size_t ChildProcess::read( void* data, size_t size ) const
{
    for ( ;; )
        if ( const ssize_t n = ::read( output_, data, size ); n >= 0 || errno != EINTR )
            return size_t( std::max<ssize_t>( n, 0 ) );
}

bool ChildProcess::hasEndedWithin( int milliseconds ) const
{
    const int process = pid_ > 0 ? int( ::syscall( SYS_pidfd_open, pid_, 0 ) ) : -1;
    if ( process < 0 )
        return false;
    pollfd poll{ process, POLLIN, 0 };
    const bool ended = ::poll( &poll, 1, milliseconds ) > 0;
    ::close( process );
    return ended;
}

void ChildProcess::kill() const
{
    // With whatever it has started by now: it leads a session, and so a group, of its own.
    if ( pid_ > 0 )
        ::kill( -pid_, SIGKILL );
}

int ChildProcess::wait()
{
    int status = 0;
    const pid_t pid = std::exchange( pid_, -1 );
    while ( pid > 0 && ::waitpid( pid, &status, 0 ) < 0 )
        if ( errno != EINTR )
            return -1;
    return status;
}

} // namespace VX
