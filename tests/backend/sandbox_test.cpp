#include "support/Command.h"
#include "support/ScratchFolder.h"

#include "converter/WorkerProcess.h"

#include <VXMesh/system/Sandbox.h>
#include <VXMesh/system/Sanitizer.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>
#include <new>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr SandboxLimits cLimits{ uint64_t( 1 ) << 40, 4096, 5 };

/// Does something in a process that has entered the sandbox; its exit code, or the negative signal that ended it.
int inSandbox(
    const std::function<int()>& work, const SandboxLimits& limits = cLimits, SandboxFiles files = SandboxFiles::Write )
{
    const pid_t child = ::fork();
    if ( child == 0 )
    {
        const bool entered = enterSandbox( limits, files ).empty();
        ::_exit( entered ? work() : 99 );
    }
    int status = 0;
    ::waitpid( child, &status, 0 );
    return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
}

int errorOf( long result )
{
    return result < 0 ? errno : 0;
}

} // namespace

TEST( Sandbox, NoNetworkNoProgramsNoOtherProcesses )
{
    EXPECT_EQ( inSandbox( [] { return errorOf( ::socket( AF_INET, SOCK_STREAM, 0 ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [] { return errorOf( ::socket( AF_UNIX, SOCK_STREAM, 0 ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [] { return errorOf( ::execl( "/bin/true", "true", nullptr ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [] { return errorOf( ::kill( ::getppid(), 0 ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [] { return errorOf( ::syscall( SYS_tgkill, ::getppid(), ::getppid(), 0 ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [] { return errorOf( ::syscall( SYS_tgkill, ::getpid(), ::getpid(), 0 ) ); } ), 0 );
    EXPECT_EQ( inSandbox( [] { return errorOf( ::ptrace( PTRACE_ATTACH, ::getppid(), nullptr, nullptr ) ); } ), EPERM );
}

TEST( Sandbox, NoLinksModesOrMounts )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "f", "x" ).string();
    const auto other = ( folder.path() / "g" ).string();
    EXPECT_EQ( inSandbox( [&] { return errorOf( ::symlink( "/etc", other.c_str() ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [&] { return errorOf( ::link( file.c_str(), other.c_str() ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [&] { return errorOf( ::chmod( file.c_str(), 0777 ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [&] { return errorOf( ::chroot( "/" ) ); } ), EPERM );
    EXPECT_EQ( inSandbox( [&] { return errorOf( ::setuid( 0 ) ); } ), EPERM );
}

TEST( Sandbox, AReaderChangesNoFileAndHasNoCopies )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "f", "x" ).string();
    const auto other = ( folder.path() / "g" ).string();
    const auto reading = []( const std::function<int()>& work )
    { return inSandbox( work, cLimits, SandboxFiles::Read ); };
    const auto open = [&]( int flags ) { return errorOf( ::open( file.c_str(), flags, 0600 ) ); };
    EXPECT_EQ( reading( [&] { return open( O_RDONLY | O_CLOEXEC ); } ), 0 );
    for ( const int flags : { O_WRONLY, O_RDWR, O_RDONLY | O_TRUNC, O_RDONLY | O_CREAT } )
        EXPECT_EQ( reading( [&] { return open( flags ); } ), EPERM ) << flags;
    EXPECT_EQ( reading( [&] { return errorOf( ::unlink( file.c_str() ) ); } ), EPERM );
    EXPECT_EQ( reading( [&] { return errorOf( ::rename( file.c_str(), other.c_str() ) ); } ), EPERM );
    EXPECT_EQ( reading( [&] { return errorOf( ::truncate( file.c_str(), 0 ) ); } ), EPERM );
    EXPECT_EQ( reading( [] { return errorOf( ::fork() ); } ), EPERM );
    const auto inThread = []
    {
        int out = 1;
        std::thread( [&] { out = 0; } ).join();
        return out;
    };
    EXPECT_EQ( reading( inThread ), 0 );
    EXPECT_EQ( std::filesystem::file_size( file ), 1u );
}

TEST( Sandbox, FilesOfALimitedSize )
{
    const Testing::ScratchFolder folder;
    const auto name = ( folder.path() / "out" ).string();
    const auto write = [&]
    {
        ::signal( SIGXFSZ, SIG_IGN );
        const int fd = ::open( name.c_str(), O_CREAT | O_WRONLY, 0600 );
        const std::vector<char> bytes( 10'000 );
        const ssize_t first = ::write( fd, bytes.data(), bytes.size() );
        return first == 4096 ? errorOf( ::write( fd, bytes.data(), 1 ) ) : 98;
    };
    EXPECT_EQ( inSandbox( write ), EFBIG );
}

TEST( Sandbox, TimeEnds )
{
    const auto spin = []
    {
        while ( ::getpid() > 0 )
            continue;
        return 0;
    };
    EXPECT_EQ( inSandbox( spin, { cLimits.memory, cLimits.outputSize, 1 } ), -SIGKILL );
}

TEST( Sandbox, MemoryEnds )
{
    if ( cHasSanitizer )
        GTEST_SKIP() << "a sanitizer needs all of it";
    const auto allocate = []
    {
        std::vector<std::vector<char>> all;
        try
        {
            for ( ;; )
                all.emplace_back( size_t( 1 ) << 26, 'x' );
        }
        catch ( const std::bad_alloc& )
        {
            return 7;
        }
    };
    EXPECT_EQ( inSandbox( allocate, { uint64_t( 1 ) << 29, cLimits.outputSize, 5 } ), 7 );
}

TEST( Sandbox, LeavesNoCoreOfWhatItRead )
{
    const auto coresAreOff = []
    {
        std::ifstream limits( "/proc/self/limits" );
        for ( std::string line; std::getline( limits, line ); )
            if ( line.starts_with( "Max core file size" ) )
                return line.find( " 0 " ) != std::string::npos ? 0 : 1;
        return 2;
    };
    EXPECT_EQ( inSandbox( coresAreOff ), 0 );
}

TEST( Sandbox, AWorkerSeesOnlyItsFolderAndTheSystem )
{
    if ( !hasBubblewrap() )
        GTEST_SKIP() << "bubblewrap cannot be used here";
    const Testing::ScratchFolder own, other;
    own.write( "input.zip", "mine" );
    other.write( "input.zip", "another's" );
    const auto inView = [&]( const std::string& script )
    {
        std::string line;
        for ( const auto& word : workerCommand( own.path(), { "/usr/bin/bash", "-c", script } ) )
            line += "'" + word + "' ";
        return Testing::runCommand( line + "2> /dev/null" ).text;
    };
    EXPECT_EQ( inView( "cat /job/input.zip" ), "mine" );
    EXPECT_EQ( inView( "cat " + ( other.path() / "input.zip" ).string() + " || echo -n no" ), "no" );
    EXPECT_EQ( inView( "ls /root /home /var /srv /boot || echo -n no" ), "no" );
    EXPECT_EQ( inView( "echo $(ls /etc)" ), "alternatives ld.so.cache\n" );
    EXPECT_EQ( inView( "touch /usr/lib/x || echo -n no" ), "no" );
    EXPECT_EQ( inView( "kill -0 " + std::to_string( ::getpid() ) + " || echo -n no" ), "no" );
    EXPECT_EQ(
        inView( "(exec 3<> /dev/tcp/127.0.0.1/" + std::to_string( ORVANTA_TEST_PORT ) + ") || echo -n no" ), "no" );
}
