#include "TestPlaces.h"
#include "support/Command.h"
#include "support/ScratchFolder.h"

#include "converter/Bubblewrap.h"
#include "converter/WorkerProcess.h"

#include <VXMesh/io/Zip.h>
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
#include <linux/fs.h>
#include <pty.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr SandboxLimits cLimits{ uint64_t( 1 ) << 40, 4096, 5, 0 };
constexpr unsigned cNobody = 65534;

const FileView cAll{ {}, { "/" } };

/// Does something in a process of its own; its exit code, or the negative signal that ended it.
int inCopy( const std::function<int()>& work )
{
    const pid_t child = ::fork();
    if ( child == 0 )
        ::_exit( work() );
    int status = 0;
    ::waitpid( child, &status, 0 );
    return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
}

/// The same in a process that has entered the sandbox.
int inSandbox( const std::function<int()>& work, const SandboxLimits& limits = cLimits,
    SandboxFiles files = SandboxFiles::Write, const FileView& view = cAll )
{
    return inCopy( [&] { return enterSandbox( limits, files, view ).empty() ? work() : 99; } );
}

int inReader( const std::function<int()>& work, const FileView& view = cAll )
{
    return inSandbox( work, cLimits, SandboxFiles::Read, view );
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
    const auto reading = []( const std::function<int()>& work ) { return inReader( work ); };
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

TEST( Sandbox, TypesOnNoTerminal )
{
    int keyboard = -1, screen = -1;
    ASSERT_EQ( ::openpty( &keyboard, &screen, nullptr, nullptr, nullptr ), 0 );
    const auto type = [&] { return errorOf( ::ioctl( screen, TIOCSTI, "x" ) ); };
    const auto onOwnTerminal = [&]( const std::function<int()>& work )
    {
        return inCopy(
            [&]
            {
                ::setsid();
                return ::ioctl( screen, TIOCSCTTY, 0 ) == 0 ? work() : 98;
            } );
    };
    for ( const auto files : { SandboxFiles::Read, SandboxFiles::Write } )
    {
        const auto caged = [&] { return enterSandbox( cLimits, files, cAll ).empty() ? type() : 99; };
        EXPECT_EQ( onOwnTerminal( caged ), EPERM );
    }
    int typed = -1;
    ASSERT_EQ( ::ioctl( screen, FIONREAD, &typed ), 0 );
    EXPECT_EQ( typed, 0 );
    termios settings{};
    EXPECT_EQ( inReader( [&] { return errorOf( ::tcgetattr( screen, &settings ) ); } ), 0 );
    EXPECT_EQ( inReader( [&] { return errorOf( ::tcsetattr( screen, TCSANOW, &settings ) ); } ), EPERM );
    ::close( keyboard );
    ::close( screen );
}

TEST( Sandbox, LetsNobodyBeSignalledByADescriptor )
{
    int ends[2];
    ASSERT_EQ( ::pipe( ends ), 0 );
    const auto command = [&]( int name, int value )
    { return inReader( [&] { return errorOf( ::fcntl( ends[0], name, value ) ); } ); };
    EXPECT_EQ( command( F_SETOWN, ::getpid() ), EPERM );
    EXPECT_EQ( command( F_SETSIG, SIGTERM ), EPERM );
    EXPECT_EQ( command( F_SETFL, O_ASYNC ), EPERM );
    EXPECT_EQ( command( F_SETFL, O_ASYNC | O_NONBLOCK ), EPERM );
    EXPECT_EQ( command( F_NOTIFY, 1 ), EPERM );
    EXPECT_EQ( command( F_SETLEASE, F_RDLCK ), EPERM );
    EXPECT_EQ( command( F_SETFL, O_NONBLOCK ), 0 );
    EXPECT_EQ( command( F_SETFD, FD_CLOEXEC ), 0 );
    EXPECT_EQ( command( F_DUPFD_CLOEXEC, 0 ), 0 );
    int on = 1, owner = ::getpid();
    EXPECT_EQ( inReader( [&] { return errorOf( ::ioctl( ends[0], FIOASYNC, &on ) ); } ), EPERM );
    EXPECT_EQ( inReader( [&] { return errorOf( ::ioctl( ends[0], FIOSETOWN, &owner ) ); } ), EPERM );
    ::close( ends[0] );
    ::close( ends[1] );
}

TEST( Sandbox, LeavesAttributesAndLocksOfFilesAlone )
{
    const Testing::ScratchFolder folder;
    const int fd = ::open( folder.write( "f", "x" ).c_str(), O_RDONLY | O_CLOEXEC );
    long attributes = FS_NODUMP_FL;
    EXPECT_EQ( inReader( [&] { return errorOf( ::ioctl( fd, FS_IOC_SETFLAGS, &attributes ) ); } ), EPERM );
    struct flock lock{};
    lock.l_type = F_RDLCK;
    EXPECT_EQ( inReader( [&] { return errorOf( ::fcntl( fd, F_SETLK, &lock ) ); } ), EPERM );
    EXPECT_EQ( inReader( [&] { return errorOf( ::fcntl( fd, F_OFD_SETLK, &lock ) ); } ), EPERM );
    EXPECT_EQ( inReader( [&] { return errorOf( ::flock( fd, LOCK_SH ) ); } ), EPERM );
    ::close( fd );
}

TEST( Sandbox, SeesNothingOutsideOfItsView )
{
    if ( !canNarrowFiles() )
        GTEST_SKIP() << "this kernel cannot hide files";
    const Testing::ScratchFolder own, other;
    const auto mine = own.write( "f", "x" ), beside = own.write( "g", "y" ), strange = other.write( "f", "z" );
    const auto memory = "/proc/" + std::to_string( ::getpid() ) + "/mem";
    const auto opening = []( const std::filesystem::path& file, const FileView& view )
    { return inReader( [&] { return errorOf( ::open( file.c_str(), O_RDONLY ) ); }, view ); };
    const FileView folder{ { own.path() }, {} }, file{ { mine }, {} };
    EXPECT_EQ( opening( beside, folder ), 0 );
    EXPECT_EQ( opening( mine, file ), 0 );
    EXPECT_EQ( opening( beside, file ), EACCES );
    for ( const auto& hidden : { strange, std::filesystem::path( memory ), std::filesystem::path( "/etc/passwd" ),
              std::filesystem::path( "/dev/tty" ), std::filesystem::path( "/proc" ) } )
        EXPECT_EQ( opening( hidden, folder ), EACCES ) << hidden;
    EXPECT_EQ( opening( memory, {} ), EACCES );
    // A link into the view leads nowhere else.
    std::filesystem::create_symlink( strange, own.path() / "link" );
    EXPECT_EQ( opening( own.path() / "link", folder ), EACCES );
}

TEST( Sandbox, ChangesNothingOutsideOfItsFolder )
{
    if ( !canNarrowFiles() )
        GTEST_SKIP() << "this kernel cannot hide files";
    const Testing::ScratchFolder own, other;
    own.write( "f", "x" );
    const auto strange = other.write( "f", "z" );
    const FileView view{ { other.path() }, { own.path() } };
    const auto writing = [&]( const std::function<int()>& work )
    { return inSandbox( work, cLimits, SandboxFiles::Write, view ); };
    const auto in = []( const Testing::ScratchFolder& folder, const char* name )
    { return ( folder.path() / name ).string(); };
    const auto make = [&]( const std::string& name )
    { return writing( [&] { return errorOf( ::open( name.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600 ) ); } ); };
    EXPECT_EQ( make( in( own, "new" ) ), 0 );
    EXPECT_EQ( make( in( other, "new" ) ), EACCES );
    EXPECT_EQ( make( strange ), EACCES );
    EXPECT_EQ( writing( [&] { return errorOf( ::rename( in( own, "f" ).c_str(), in( own, "g" ).c_str() ) ); } ), 0 );
    EXPECT_EQ( writing( [&] { return errorOf( ::unlink( in( own, "g" ).c_str() ) ); } ), 0 );
    EXPECT_EQ( writing( [&] { return errorOf( ::unlink( strange.c_str() ) ); } ), EACCES );
    EXPECT_EQ( Testing::readFile( strange ), "z" );
}

TEST( Sandbox, IsNoWayIntoOtherNamespacesOrOnOtherCores )
{
    for ( const int flag : { CLONE_NEWUSER, CLONE_NEWPID | CLONE_NEWUSER, CLONE_NEWNS } )
        EXPECT_EQ( inSandbox( [&] { return errorOf( ::syscall( SYS_clone, flag | SIGCHLD, 0, 0, 0, 0 ) ); } ), EPERM );
    cpu_set_t cores;
    CPU_ZERO( &cores );
    CPU_SET( 0, &cores );
    const pid_t parent = ::getpid();
    EXPECT_EQ( inSandbox( [&] { return errorOf( ::sched_setaffinity( parent, sizeof cores, &cores ) ); } ), EPERM );
}

TEST( Sandbox, ItsMemoryIsClosedToOthersOfTheSameUser )
{
    const auto becomeSomebody = [] { return ::setresuid( 65534, 65534, 65534 ) == 0; };
    if ( inCopy( [&] { return becomeSomebody() ? 0 : 1; } ) != 0 )
        GTEST_SKIP() << "only root can become another user";
    int told[2], never[2];
    ASSERT_EQ( ::pipe( told ) + ::pipe( never ), 0 );
    const pid_t child = ::fork();
    if ( child == 0 )
    {
        const bool entered = becomeSomebody() && enterSandbox( cLimits, SandboxFiles::Read, cAll ).empty();
        char byte = entered ? 'y' : 'n';
        const bool said = ::write( told[1], &byte, 1 ) == 1;
        ::_exit( said && ::read( never[0], &byte, 1 ) == 1 ? 0 : 1 );
    }
    char entered = 0;
    EXPECT_EQ( ::read( told[0], &entered, 1 ), 1 );
    EXPECT_EQ( entered, 'y' );
    const auto memory = "/proc/" + std::to_string( child ) + "/mem";
    const auto look = [&] { return becomeSomebody() ? errorOf( ::open( memory.c_str(), O_RDONLY ) ) : 98; };
    EXPECT_EQ( inCopy( look ), EACCES );
    ::kill( child, SIGKILL );
    ::waitpid( child, nullptr, 0 );
    for ( const int fd : { told[0], told[1], never[0], never[1] } )
        ::close( fd );
}

TEST( Sandbox, FilesOfALimitedSize )
{
    const Testing::ScratchFolder folder;
    const auto name = ( folder.path() / "out" ).string();
    const auto write = [&]
    {
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
    EXPECT_EQ( inSandbox( spin, { cLimits.memory, cLimits.outputSize, 1, 0 } ), -SIGXCPU );
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
    EXPECT_EQ( inSandbox( allocate, { uint64_t( 1 ) << 29, cLimits.outputSize, 5, 0 } ), 7 );
}

TEST( Sandbox, AReaderGetsMemoryByTheSizeOfItsFile )
{
    constexpr uint64_t cGiB = uint64_t( 1 ) << 30;
    EXPECT_EQ( memoryForReading( 0, 64 * cGiB ), cGiB );
    EXPECT_EQ( memoryForReading( cGiB / 50, 64 * cGiB ), cGiB );
    EXPECT_EQ( memoryForReading( cGiB / 5, 64 * cGiB ), cGiB / 5 * 50 );
    EXPECT_EQ( memoryForReading( cGiB, 64 * cGiB ), 16 * cGiB );
    EXPECT_EQ( memoryForReading( UINT64_MAX, 64 * cGiB ), 16 * cGiB );
    EXPECT_EQ( memoryForReading( 0, 2 * cGiB ), cGiB / 2 );
}

TEST( Sandbox, ItsUserHasSoManyProcessesAtMost )
{
    constexpr uint64_t cMore = 5, cTried = 50;
    const auto fork = [&]
    {
        // No limit holds root.
        if ( ::geteuid() == 0 && ::setresuid( cNobody, cNobody, cNobody ) != 0 )
            return 98;
        int never[2];
        auto limits = cLimits;
        limits.tasks = tasksOfThisUser() + cMore;
        if ( ::pipe( never ) != 0 || !enterSandbox( limits, SandboxFiles::Write, cAll ).empty() )
            return 99;
        for ( uint64_t i = 0; i < cTried; ++i )
        {
            const pid_t child = ::fork();
            if ( child < 0 )
                return errno == EAGAIN ? int( i ) : 97;
            char byte = 0;
            ::close( child == 0 ? never[1] : -1 );
            if ( child == 0 )
                ::_exit( int( ::read( never[0], &byte, 1 ) ) );
        }
        return 96;
    };
    const auto made = inCopy( fork );
    EXPECT_GE( made, 1 );
    EXPECT_LE( made, int( cMore ) );
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
    if ( !canUseBubblewrap() )
        GTEST_SKIP() << "bubblewrap cannot be used here";
    const Testing::ScratchFolder own, other;
    own.write( "input.zip", "mine" );
    other.write( "input.zip", "another's" );
    const auto inView = [&]( const std::string& script )
    {
        std::string line;
        for ( const auto& word : inBubblewrap( own.path(), { "/usr/bin/bash", "-c", script } ) )
            line += "'" + word + "' ";
        return Testing::runCommand( line + "2> /dev/null" ).text;
    };
    EXPECT_EQ( inView( "cat /job/input.zip" ), "mine" );
    EXPECT_EQ( inView( "cat " + ( other.path() / "input.zip" ).string() + " || echo -n no" ), "no" );
    EXPECT_EQ( inView( "ls /root /home /var /srv /boot || echo -n no" ), "no" );
    EXPECT_EQ( inView( "echo $(ls /etc)" ), "alternatives ld.so.cache\n" );
    for ( const char* place : { "/usr/lib/x", "/x", "/dev/x" } )
        EXPECT_EQ( inView( std::string( "touch " ) + place + " || echo -n no" ), "no" ) << place;
    EXPECT_EQ( inView( "head -c 2000000 /dev/zero > /tmp/x || echo -n no" ), "no" ) << "memory that no limit counts";
    EXPECT_EQ( inView( "kill -0 " + std::to_string( ::getpid() ) + " || echo -n no" ), "no" );
    EXPECT_EQ(
        inView( "(exec 3<> /dev/tcp/127.0.0.1/" + std::to_string( ORVANTA_TEST_PORT ) + ") || echo -n no" ), "no" );
}

TEST( Sandbox, AWorkerWithoutBubblewrapSeesOnlyItsFolderToo )
{
    if ( !canNarrowFiles() )
        GTEST_SKIP() << "this kernel cannot hide files";
    const Testing::ScratchFolder source, other, own;
    std::filesystem::copy_file(
        std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step", source.path() / "bracket.step" );
    const auto zip = other.path() / "input.zip";
    ASSERT_TRUE( compressZip( zip, source.path() ) );
    std::filesystem::permissions( zip, std::filesystem::perms( 0644 ) );
    const auto words = [&]( const std::string& first = {} )
    {
        const auto command = "echo " + first + " | " + ORVANTA_BACKEND + " worker " + own.path().string();
        return Testing::runCommand( command + " 8000000000 100000000 60 1 1000 " + std::to_string( cNobody ) ).text;
    };
    if ( ::geteuid() == 0 )
    {
        ASSERT_EQ( ::chown( own.path().c_str(), cNobody, cNobody ), 0 );
    }
    std::filesystem::create_symlink( zip, own.path() / "input.zip" );
    EXPECT_NE( words().find( "error" ), std::string::npos );
    std::filesystem::remove( own.path() / "input.zip" );
    std::filesystem::copy_file( zip, own.path() / "input.zip" );
    EXPECT_TRUE( words().ends_with( "{\"done\":true}\n" ) );
    const auto tried = words( "t" );
    EXPECT_NE( tried.find( "{\"done\":true}\n{" ), std::string::npos ) << "it goes on after a try: " << tried;
    EXPECT_TRUE( tried.ends_with( "{\"done\":true}\n" ) );
}
